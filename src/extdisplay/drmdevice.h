#ifndef DRMDEVICE_H
#define DRMDEVICE_H

#include <QSharedPointer>
#include <QString>

#include <xf86drmMode.h>

#include "extdisplay/drmconnector.h"

namespace drm {

/** A display device, open for as long as this lives. Without one it has no connectors. */
class Device
{
public:
    /** Opens the first card. */
    Device();
    ~Device();
    Device(Device const&) = delete;
    Device& operator=(Device const&) = delete;

    QString const& path() const { return mPath; }

    uint32_t const* begin() const;
    uint32_t const* end() const;

    /** The connector as the kernel knows it, at no cost; null when it is gone. */
    QSharedPointer<Connector> currentConnector(uint32_t id) const;
    /** The connector after a look at the hardware, which can take long; null when it is gone. */
    QSharedPointer<Connector> probedConnector(uint32_t id) const;

private:
    QString mPath;
    int mDescriptor = -1;
    drmModeRes* mResources = nullptr;
};

} // namespace drm

#endif
