#include "extdisplay/extdisplay.h"

#include <QGuiApplication>
#include <QScreen>

#include "extdisplay/drmdevice.h"

namespace extdisplay {

bool isOutputConnected(QString output)
{
    if (output.isEmpty())
        return false;

    drm::Device const device;
    for (uint32_t const id : device) {
        // A probe can take 100 ms and more, so only the connector in question gets one.
        auto connector = device.currentConnector(id);
        if (!connector || connector->name != output)
            continue;
        connector.reset();
        connector = device.probedConnector(id);
        if (connector)
            return connector->connector->connection == DRM_MODE_CONNECTED;
    }
    return false;
}

bool isEGLFSKMSOutputConnected(OutputInfo const& info)
{
    return isOutputConnected(info.output);
}

bool isCurrentOutputConnected()
{
    QScreen const* screen = QGuiApplication::primaryScreen();
    return screen && isOutputConnected(screen->name());
}

VideoMode getCurrentOutputVideoMode()
{
    // QPlatformScreen of Qt 5.15 can't be asked for the size that the display really has.
    return {};
}

} // namespace extdisplay
