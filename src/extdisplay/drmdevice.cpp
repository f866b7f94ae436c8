#include "extdisplay/drmdevice.h"

#include <fcntl.h>
#include <unistd.h>

#include <QFile>

namespace drm {

static constexpr int cardNumber = 0;

static QSharedPointer<Connector> share(drmModeConnector* description)
{
    return description ? QSharedPointer<Connector>::create(description) : nullptr;
}

Device::Device()
    : mPath(QStringLiteral("/dev/dri/card%1").arg(cardNumber))
{
    mDescriptor = open(QFile::encodeName(mPath).constData(), O_RDWR | O_CLOEXEC);
    if (mDescriptor >= 0)
        mResources = drmModeGetResources(mDescriptor);
}

Device::~Device()
{
    if (mResources)
        drmModeFreeResources(mResources);
    if (mDescriptor >= 0)
        close(mDescriptor);
}

uint32_t const* Device::begin() const
{
    return mResources ? mResources->connectors : nullptr;
}

uint32_t const* Device::end() const
{
    return mResources ? mResources->connectors + mResources->count_connectors : nullptr;
}

QSharedPointer<Connector> Device::currentConnector(uint32_t id) const
{
    return share(drmModeGetConnectorCurrent(mDescriptor, id));
}

QSharedPointer<Connector> Device::probedConnector(uint32_t id) const
{
    return share(drmModeGetConnector(mDescriptor, id));
}

} // namespace drm
