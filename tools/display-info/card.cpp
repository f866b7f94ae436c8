#include "card.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include <xf86drmMode.h>

#include "extdisplay/drmconnector.h"

namespace {

constexpr char Device[] = "/dev/dri/card0";

template<auto Function>
struct Releaser
{
    template<typename T>
    void operator()(T* object) const
    {
        Function(object);
    }
};

using Resources = std::unique_ptr<drmModeRes, Releaser<drmModeFreeResources>>;
using Property = std::unique_ptr<drmModePropertyRes, Releaser<drmModeFreeProperty>>;
using Blob = std::unique_ptr<drmModePropertyBlobRes, Releaser<drmModeFreePropertyBlob>>;

class FileDescriptor
{
public:
    explicit FileDescriptor(int fd)
        : mFd(fd)
    {}
    ~FileDescriptor()
    {
        if (mFd >= 0)
            close(mFd);
    }
    Q_DISABLE_COPY(FileDescriptor)

    int get() const { return mFd; }

private:
    int mFd;
};

Output::Connection connectionOf(drmModeConnector const& connector)
{
    switch (connector.connection) {
    case DRM_MODE_CONNECTED:
        return Output::Connection::Connected;
    case DRM_MODE_DISCONNECTED:
        return Output::Connection::Disconnected;
    default:
        return Output::Connection::Unknown;
    }
}

/** The kernel's own number is rounded to a whole one. */
double rateOf(drmModeModeInfo const& mode)
{
    double const pixels = double(mode.htotal) * mode.vtotal;
    if (pixels == 0)
        return mode.vrefresh;
    double rate = mode.clock * 1000.0 / pixels;
    if (mode.flags & DRM_MODE_FLAG_INTERLACE)
        rate *= 2;
    if (mode.flags & DRM_MODE_FLAG_DBLSCAN)
        rate /= 2;
    return mode.vscan > 1 ? rate / mode.vscan : rate;
}

QVector<OutputMode> modesOf(drmModeConnector const& connector)
{
    QVector<OutputMode> modes;
    for (int i = 0; i < connector.count_modes; ++i) {
        drmModeModeInfo const& mode = connector.modes[i];
        modes.append({QSize(mode.hdisplay, mode.vdisplay), rateOf(mode),
            (mode.flags & DRM_MODE_FLAG_INTERLACE) != 0,
            (mode.type & DRM_MODE_TYPE_PREFERRED) != 0});
    }
    return modes;
}

std::optional<Edid> edidOf(int fd, drmModeConnector const& connector)
{
    for (int i = 0; i < connector.count_props; ++i) {
        Property const property(drmModeGetProperty(fd, connector.props[i]));
        if (!property || std::strcmp(property->name, "EDID") != 0)
            continue;
        Blob const blob(
            drmModeGetPropertyBlob(fd, static_cast<uint32_t>(connector.prop_values[i])));
        if (!blob)
            return {};
        int const length = static_cast<int>(qMin<uint32_t>(blob->length, EdidBlockSize));
        return parseEdid(QByteArray(static_cast<char const*>(blob->data), length));
    }
    return {};
}

} // namespace

Card readCard()
{
    Card card;
    card.device = QString::fromLatin1(Device);
    FileDescriptor const fd(open(Device, O_RDWR | O_CLOEXEC));
    if (fd.get() < 0) {
        card.fault = QStringLiteral("can't open %1: %2").arg(card.device, qt_error_string(errno));
        return card;
    }
    Resources const resources(drmModeGetResources(fd.get()));
    if (!resources) {
        card.fault = QStringLiteral("%1 has no display outputs: %2")
                         .arg(card.device, qt_error_string(errno));
        return card;
    }
    for (int i = 0; i < resources->count_connectors; ++i) {
        drmModeConnector* const found =
            drmModeGetConnectorCurrent(fd.get(), resources->connectors[i]);
        // It may have gone since the list was made.
        if (!found)
            continue;
        drm::Connector const connector(found);
        card.outputs.append(
            {connector.name, connectionOf(*found), QSize(int(found->mmWidth), int(found->mmHeight)),
                edidOf(fd.get(), *found), modesOf(*found)});
    }
    return card;
}
