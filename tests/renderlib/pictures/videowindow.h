#ifndef VIDEOWINDOW_H
#define VIDEOWINDOW_H

#include <functional>

#include <QImage>
#include <QSize>

#include "renderlib/customsubwidget.h"
#include "renderlib/customvideowidget.h"

#include "picture.h"
#include "reference.h"

/** An overlay that paints nothing but keeps what has been painted before it. */
class FramebufferReader : public renderlib::CustomSubWidget
{
public:
    using CustomSubWidget::CustomSubWidget;
    void paint(QPainter* painter) override;

    /** All of the window's pixels, opaque, in the order of the screen. */
    QImage image;
    int paintCount = 0;
};

/** A video widget alone on the screen, whose pixels can be read. */
class VideoWindow : public renderlib::CustomVideoWidget
{
public:
    /** Shows a window of @p size and waits until it is ready for frames. */
    explicit VideoWindow(QSize const& size);

    /** What the next paint puts into the window; a null image if none comes. */
    QImage next(std::function<void()> const& change);
    /** What the window shows once it has this frame; a null image if it refuses it. */
    QImage show(QVideoFrame const& frame);
    /** What the X server has on the screen. */
    QImage onScreen() const;

    /** How the whole of @p picture has to be painted into the window. */
    Scene scene(Picture const& picture) const;
    /** The part that video is painted into, of @p image, when QPainter paints it. */
    QImage painted(QImage const& image) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int mPaintCount = 0;
    FramebufferReader mReader;
};

#endif
