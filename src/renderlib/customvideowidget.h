#ifndef CUSTOMVIDEOWIDGET_H
#define CUSTOMVIDEOWIDGET_H

#include <memory>

#include <QColor>
#include <QRectF>
#include <QVideoFrame>
#include <QWidget>

#include "qvorlinexport.h"
#include "renderlib/rendererror.h"

namespace renderlib {

class CustomSubWidget;
class CustomVideoWidgetPrivate;

/**
 * Shows live video in an OpenGL window of its own, with overlays painted over each frame.
 *
 * Of the frames that arrive between two repaints the first is shown and the rest are dropped; a
 * frame is held, and its slot of the stream occupied, for as long as it is shown. A frame of
 * another format than the one before stops the picture, and the next one starts it again.
 *
 * EGLFS has one OpenGL window and it must be the top level: there this is the only top-level
 * widget, with everything else as overlays (CustomSubWidget). As a child of another window it would
 * end the program.
 *
 * Thread-bound to the GUI thread; frames from other threads come through a queued connection to
 * updateFrame(). A frame that can't be shown is dropped and reported by renderErrorOccurred().
 *
 * @code
 * renderlib::CustomVideoWidget widget;
 * QObject::connect(&source, &MediaSource::videoReady,
 *     &widget, &renderlib::CustomVideoWidget::updateFrame);
 * widget.showFullScreen();
 * @endcode
 */
class QVORLIN_EXPORT CustomVideoWidget : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(Qt::AspectRatioMode aspectRatioMode READ aspectRatioMode WRITE setAspectRatioMode)
    Q_PROPERTY(QColor backgroundColor READ backgroundColor WRITE setBackgroundColor)

public:
    explicit CustomVideoWidget(QWidget* parent = nullptr);
    ~CustomVideoWidget() override;

    Qt::AspectRatioMode aspectRatioMode() const;
    QColor backgroundColor() const;
    QRectF viewport() const;
    bool mirrored() const;

    /** What became of the last frame or repaint. */
    RenderError renderError() const;

    /**
     * Has @p subWidget painted over the video, on top of the overlays there already; it stays the
     * caller's. Null is dropped.
     */
    void addCustomSubWidget(CustomSubWidget* subWidget);

    /** The size of the video, where there is one. */
    QSize sizeHint() const override;
    QPaintEngine* paintEngine() const override;

public Q_SLOTS:
    /** How the video is fitted into the widget; keeping its aspect ratio at first. */
    void setAspectRatioMode(Qt::AspectRatioMode mode);

    /** The colour around the video, black at first. */
    void setBackgroundColor(QColor bgColor);

    /**
     * Chooses the part of the frame that is shown, from the next start of the picture on: as parts
     * of the frame's size when neither width nor height exceeds 1, otherwise in pixels. All of it
     * when the width or height is not positive, as at first.
     */
    void setViewport(QRectF viewport);

    /** Exchanges left and right, from the next start of the picture on. */
    void setMirrored(bool mirrored);

    /** Shows @p frame; an invalid one clears the picture. */
    void updateFrame(QVideoFrame frame);

Q_SIGNALS:
    /** A frame could not be shown. */
    void renderErrorOccurred(renderlib::RenderError error);

protected:
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    std::unique_ptr<CustomVideoWidgetPrivate> mPrivate;
};

} // namespace renderlib

#endif
