#ifndef VIDEOSCENE_H
#define VIDEOSCENE_H

#include <QImage>
#include <QOpenGLContext>
#include <QSignalSpy>
#include <QTransform>

#include "renderlib/customsubwidget.h"
#include "renderlib/customvideowidget.h"

/** An overlay that paints nothing but keeps the picture that is there when its turn comes. */
class Probe : public renderlib::CustomSubWidget
{
public:
    using CustomSubWidget::CustomSubWidget;

    void paint(QPainter* painter) override;

    int paints = 0;
    /** What has been painted, in the pixels of the framebuffer. */
    QImage picture;
    QTransform transform;
    QOpenGLContext* context = nullptr;
};

/** Shows @p widget, or its window, and waits until it has an OpenGL context. */
bool showVideo(renderlib::CustomVideoWidget& widget);

/** The context that the widget paints in; null while there is none. */
QOpenGLContext* contextOf(renderlib::CustomVideoWidget const& widget);

/** Has the widget show @p frame, and waits until it is painted. */
bool present(renderlib::CustomVideoWidget& widget, Probe const& probe, QVideoFrame const& frame);

/** Lets pending repaints happen, where a test is about there being none. */
void letRepaint();

/** A video widget in a window of its own. */
struct VideoScene
{
    explicit VideoScene(QSize const& size = QSize(160, 90)) { widget.resize(size); }

    bool show() { return showVideo(widget); }
    bool present(QVideoFrame const& frame) { return ::present(widget, probe, frame); }

    /** Colour of the picture painted last at this place. */
    QColor at(int x, int y) const { return probe.picture.pixelColor(x, y); }
    /** The same in the middle. */
    QColor middle() const { return at(probe.picture.width() / 2, probe.picture.height() / 2); }

    renderlib::CustomVideoWidget widget;
    Probe probe{&widget};
    QSignalSpy errors{&widget, &renderlib::CustomVideoWidget::renderErrorOccurred};
};

#endif
