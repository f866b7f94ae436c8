#ifndef DRMCONNECTOR_H
#define DRMCONNECTOR_H

#include <QString>

#include <xf86drmMode.h>

#include "qvorlinexport.h"

namespace drm {

/**
 * A connector of a display device, as the kernel described it when it was asked.
 *
 * Owns the description: held by QSharedPointer, it is freed when the last pointer goes. Reentrant.
 */
class QVORLIN_EXPORT Connector
{
public:
    /** Takes @p description over; it must not be null. */
    explicit Connector(drmModeConnector* description);
    ~Connector();
    Connector(Connector const&) = delete;
    Connector& operator=(Connector const&) = delete;

    drmModeConnector* connector;
    /** What Qt's platform plug-in calls it: type and number within the type, such as "HDMI1". */
    QString name;
};

} // namespace drm

#endif
