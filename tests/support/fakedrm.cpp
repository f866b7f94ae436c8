#include "fakedrm.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <QtGlobal>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

std::atomic<FakeDrm*> fake{nullptr};

constexpr uint32_t dpmsProperty = 1;
constexpr uint32_t edidProperty = 2;

template<typename Function>
Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int realOpen(char const* path, int flags, mode_t mode)
{
    static auto* const function = next<int(char const*, int, ...)>("open");
    return function(path, flags, mode);
}

int realClose(int descriptor)
{
    static auto* const function = next<int(int)>("close");
    return function(descriptor);
}

} // namespace

FakeDrm::FakeDrm()
{
    if (fake.exchange(this))
        qFatal("there is one display device at a time");
}

FakeDrm::~FakeDrm()
{
    fake = nullptr;
    if (int const count = outstanding())
        qFatal("%d things of the display device were not given back", count);
}

QStringList FakeDrm::takeCalls()
{
    QMutexLocker const locker(&mMutex);
    QStringList const calls = mCalls;
    mCalls.clear();
    return calls;
}

int FakeDrm::outstanding() const
{
    QMutexLocker const locker(&mMutex);
    return int(mDescriptors.size() + mResources.size() + mHandedOut.size() + mProperties.size() +
               mBlobs.size());
}

void FakeDrm::checkDescriptor(int descriptor) const
{
    if (mDescriptors.count(descriptor) == 0)
        qFatal("%d is no descriptor of the display device", descriptor);
}

int FakeDrm::open(char const* path, int flags)
{
    QMutexLocker const locker(&mMutex);
    mCalls.append(QStringLiteral("open ") + QString::fromUtf8(path));
    mOpenFlags = flags;
    if (openFails) {
        errno = EACCES;
        return -1;
    }
    // A descriptor that is really taken: closing it twice or not at all is then noticed.
    int const descriptor = realOpen("/dev/null", O_RDWR | O_CLOEXEC, 0);
    mDescriptors.insert(descriptor);
    return descriptor;
}

bool FakeDrm::close(int descriptor)
{
    QMutexLocker const locker(&mMutex);
    if (mDescriptors.erase(descriptor) == 0)
        return false;
    mCalls.append(QStringLiteral("close"));
    return true;
}

drmModeRes* FakeDrm::getResources(int descriptor)
{
    QMutexLocker const locker(&mMutex);
    checkDescriptor(descriptor);
    mCalls.append(QStringLiteral("resources"));
    if (resourcesFail) {
        errno = EOPNOTSUPP;
        return nullptr;
    }
    auto* const resources = new drmModeRes{};
    std::vector<uint32_t>& ids = mResources[resources];
    for (uint32_t id = 1; id <= connectors.size(); ++id)
        ids.push_back(id);
    resources->count_connectors = int(ids.size());
    resources->connectors = ids.data();
    return resources;
}

void FakeDrm::freeResources(drmModeRes* resources)
{
    QMutexLocker const locker(&mMutex);
    mCalls.append(QStringLiteral("free resources"));
    if (mResources.erase(resources) == 0)
        qFatal("these resources are not there to be freed");
    delete resources;
}

drmModeConnector* FakeDrm::getConnector(int descriptor, uint32_t id, bool probe)
{
    QMutexLocker const locker(&mMutex);
    checkDescriptor(descriptor);
    mCalls.append((probe ? QStringLiteral("probe %1") : QStringLiteral("current %1")).arg(id));
    if (id == 0 || id > connectors.size())
        qFatal("there is no connector %u", id);
    Connector const& known = connectors[id - 1];
    if (probe ? known.probeFails : known.currentFails)
        return nullptr;
    auto* const connector = new drmModeConnector{};
    connector->connector_id = id;
    connector->connector_type = known.type;
    connector->connector_type_id = known.typeId;
    connector->connection =
        probe ? known.probedConnection.value_or(known.connection) : known.connection;
    connector->mmWidth = known.widthMm;
    connector->mmHeight = known.heightMm;
    connector->count_modes = int(known.modes.size());
    connector->modes = const_cast<drmModeModeInfo*>(known.modes.data());
    // The number of its blob is the connector's; that of no blob is 0.
    Values& properties = mHandedOut[connector];
    properties.ids = {dpmsProperty, edidProperty};
    properties.values = {0, known.edid ? id : 0};
    connector->count_props = int(properties.ids.size());
    connector->props = properties.ids.data();
    connector->prop_values = properties.values.data();
    return connector;
}

void FakeDrm::freeConnector(drmModeConnector* connector)
{
    QMutexLocker const locker(&mMutex);
    if (mHandedOut.erase(connector) == 0)
        qFatal("this connector is not there to be freed");
    mCalls.append(QStringLiteral("free %1").arg(connector->connector_id));
    delete connector;
}

drmModePropertyRes* FakeDrm::getProperty(int descriptor, uint32_t id)
{
    QMutexLocker const locker(&mMutex);
    checkDescriptor(descriptor);
    mCalls.append(QStringLiteral("property %1").arg(id));
    auto* const property = new drmModePropertyRes{};
    property->prop_id = id;
    std::strcpy(property->name, id == edidProperty ? "EDID" : "DPMS");
    mProperties.insert(property);
    return property;
}

void FakeDrm::freeProperty(drmModePropertyRes* property)
{
    QMutexLocker const locker(&mMutex);
    if (mProperties.erase(property) == 0)
        qFatal("this property is not there to be freed");
    delete property;
}

drmModePropertyBlobRes* FakeDrm::getPropertyBlob(int descriptor, uint32_t id)
{
    QMutexLocker const locker(&mMutex);
    checkDescriptor(descriptor);
    mCalls.append(QStringLiteral("blob %1").arg(id));
    if (id == 0)
        return nullptr;
    QByteArray& edid = connectors.at(id - 1).edid.value();
    auto* const blob = new drmModePropertyBlobRes{id, uint32_t(edid.size()), edid.data()};
    mBlobs.insert(blob);
    return blob;
}

void FakeDrm::freePropertyBlob(drmModePropertyBlobRes* blob)
{
    QMutexLocker const locker(&mMutex);
    if (mBlobs.erase(blob) == 0)
        qFatal("this blob is not there to be freed");
    delete blob;
}

EXPORTED int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    FakeDrm* const device = fake;
    if (device && std::strncmp(path, "/dev/dri/", 9) == 0)
        return device->open(path, flags);
    return realOpen(path, flags, mode);
}

EXPORTED int close(int descriptor)
{
    FakeDrm* const device = fake;
    if (device)
        device->close(descriptor);
    return realClose(descriptor);
}

EXPORTED drmModeResPtr drmModeGetResources(int descriptor)
{
    return fake.load()->getResources(descriptor);
}

EXPORTED void drmModeFreeResources(drmModeResPtr resources)
{
    fake.load()->freeResources(resources);
}

EXPORTED drmModeConnectorPtr drmModeGetConnectorCurrent(int descriptor, uint32_t id)
{
    return fake.load()->getConnector(descriptor, id, false);
}

EXPORTED drmModeConnectorPtr drmModeGetConnector(int descriptor, uint32_t id)
{
    return fake.load()->getConnector(descriptor, id, true);
}

EXPORTED void drmModeFreeConnector(drmModeConnectorPtr connector)
{
    fake.load()->freeConnector(connector);
}

EXPORTED drmModePropertyPtr drmModeGetProperty(int descriptor, uint32_t id)
{
    return fake.load()->getProperty(descriptor, id);
}

EXPORTED void drmModeFreeProperty(drmModePropertyPtr property)
{
    fake.load()->freeProperty(property);
}

EXPORTED drmModePropertyBlobPtr drmModeGetPropertyBlob(int descriptor, uint32_t id)
{
    return fake.load()->getPropertyBlob(descriptor, id);
}

EXPORTED void drmModeFreePropertyBlob(drmModePropertyBlobPtr blob)
{
    fake.load()->freePropertyBlob(blob);
}
