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
    return int(mDescriptors.size() + mResources.size() + mHandedOut.size());
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
    if (resourcesFail)
        return nullptr;
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
    mHandedOut.insert(connector);
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
