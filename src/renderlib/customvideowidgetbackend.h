#ifndef CUSTOMVIDEOWIDGETBACKEND_H
#define CUSTOMVIDEOWIDGETBACKEND_H

#include <QObject>
#include <QSize>

#include "qvorlinexport.h"
#include "renderlib/customvideowidgetcontrolinterface.h"

class QHideEvent;
class QMoveEvent;
class QPaintEvent;
class QResizeEvent;

namespace renderlib {

/**
 * What renders for a CustomVideoWidget: takes the widget's settings and frames, and is told of the
 * widget's events.
 *
 * Thread-bound to the GUI thread.
 */
class QVORLIN_EXPORT CustomVideoWidgetBackend : public QObject,
                                                public CustomVideoWidgetControlInterface
{
    Q_OBJECT
    Q_INTERFACES(renderlib::CustomVideoWidgetControlInterface)

public:
    CustomVideoWidgetBackend();
    ~CustomVideoWidgetBackend() override;

    /** The size that suits the video best; not positive when there is none. */
    virtual QSize sizeHint() const = 0;

    virtual void showEvent() = 0;
    virtual void hideEvent(QHideEvent* event) = 0;
    virtual void resizeEvent(QResizeEvent* event) = 0;
    virtual void moveEvent(QMoveEvent* event) = 0;
    virtual void paintEvent(QPaintEvent* event) = 0;
};

} // namespace renderlib

#endif
