#ifndef CUSTOMVIDEOWIDGETCONTROLINTERFACE_H
#define CUSTOMVIDEOWIDGETCONTROLINTERFACE_H

#include <QColor>
#include <QRectF>
#include <QtPlugin>

#include "qvorlinexport.h"
#include "renderlib/rendererror.h"

class QPaintEngine;
class QVideoFrame;

namespace renderlib {

class CustomSubWidget;

/**
 * What a CustomVideoWidget asks of the backend that renders for it: the settings and the frames. A
 * backend that is a QObject answers a qobject_cast to this interface.
 *
 * Thread-bound to the GUI thread. What each function means stands at CustomVideoWidget.
 */
class QVORLIN_EXPORT CustomVideoWidgetControlInterface
{
public:
    virtual ~CustomVideoWidgetControlInterface();

    virtual QColor backgroundColor() const = 0;
    virtual void setBackgroundColor(QColor const& color) = 0;

    virtual Qt::AspectRatioMode aspectRatioMode() const = 0;
    virtual void setAspectRatioMode(Qt::AspectRatioMode mode) = 0;

    virtual QRectF viewport() const = 0;
    virtual void setViewport(QRectF const& viewport) = 0;

    virtual bool mirrored() const = 0;
    virtual void setMirrored(bool mirrored) = 0;

    /** @return why the frame can't be shown, RenderNoError otherwise */
    virtual RenderError updateFrame(QVideoFrame const& frame) = 0;

    /** The engine that paints; stays owned by the backend. Null before there is one. */
    virtual QPaintEngine* paintEngine() const = 0;

    /** Has @p subWidget, which stays the caller's, painted over the video. */
    virtual void addCustomSubWidget(CustomSubWidget* subWidget) = 0;
};

} // namespace renderlib

Q_DECLARE_INTERFACE(
    renderlib::CustomVideoWidgetControlInterface, "CustomVideoWidgetControlInterface")

#endif
