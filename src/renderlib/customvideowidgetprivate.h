#ifndef CUSTOMVIDEOWIDGETPRIVATE_H
#define CUSTOMVIDEOWIDGETPRIVATE_H

#include <memory>

#include <QColor>
#include <QRectF>
#include <QSize>

#include "qvorlinexport.h"
#include "renderlib/rendererror.h"

class QHideEvent;
class QMoveEvent;
class QPaintEngine;
class QPaintEvent;
class QResizeEvent;
class QVideoFrame;

namespace renderlib {

class CustomRendererVideoWidgetBackend;
class CustomSubWidget;
class CustomVideoWidget;
class CustomVideoWidgetBackend;
class CustomVideoWidgetControlInterface;

/**
 * The inside of a CustomVideoWidget: forwards what the widget is asked and told to the backend in
 * use. Owns the renderer backend, and uses it from construction and from each showEvent() on.
 *
 * Thread-bound to the GUI thread. Without a backend in use everything has its default, nothing
 * happens, and the log says so.
 */
class QVORLIN_EXPORT CustomVideoWidgetPrivate
{
public:
    explicit CustomVideoWidgetPrivate(CustomVideoWidget* widget);
    ~CustomVideoWidgetPrivate();
    CustomVideoWidgetPrivate(CustomVideoWidgetPrivate const&) = delete;
    CustomVideoWidgetPrivate& operator=(CustomVideoWidgetPrivate const&) = delete;

    /** Uses @p control and @p backend, which stay the caller's and may be null, from now on. */
    void use(CustomVideoWidgetControlInterface* control, CustomVideoWidgetBackend* backend);

    QColor backgroundColor() const;
    void setBackgroundColor(QColor const& color);
    Qt::AspectRatioMode aspectRatioMode() const;
    void setAspectRatioMode(Qt::AspectRatioMode mode);
    QRectF viewport() const;
    void setViewport(QRectF const& viewport);
    bool mirrored() const;
    void setMirrored(bool mirrored);
    void updateFrame(QVideoFrame const& frame);

    RenderError renderError() const;
    QSize sizeHint() const;
    QPaintEngine* paintEngine() const;
    void addCustomSubWidget(CustomSubWidget* subWidget);

    void showEvent();
    void hideEvent(QHideEvent* event);
    void resizeEvent(QResizeEvent* event);
    void moveEvent(QMoveEvent* event);
    void paintEvent(QPaintEvent* event);

private:
    bool hasControl() const;
    bool hasBackend() const;

    CustomVideoWidget* mWidget;
    std::unique_ptr<CustomRendererVideoWidgetBackend> mRendererBackend;
    CustomVideoWidgetControlInterface* mCurrentControl = nullptr;
    CustomVideoWidgetBackend* mCurrentBackend = nullptr;
};

} // namespace renderlib

#endif
