#include "systemcalls.h"

#include <atomic>
#include <cerrno>

#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace systemcalls {

QVector<SocketPair> socketPairs;
QVector<Action> actions;
std::function<void()> onSocketPair;
std::function<void()> onAction;
std::function<void()> onRead;
bool socketPairFails = false;

} // namespace systemcalls

using namespace systemcalls;

namespace {

// Read by the signal handler's write, wherever it runs.
std::atomic<int> watchedEnds[2] = {{-1}, {-1}};
std::atomic<int> writes{0};
std::atomic<size_t> lastLength{0};

template<typename Function>
Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void call(std::function<void()> const& function)
{
    if (function)
        function();
}

} // namespace

void systemcalls::start()
{
    socketPairs.clear();
    actions.clear();
    onSocketPair = nullptr;
    onAction = nullptr;
    onRead = nullptr;
    socketPairFails = false;
    writes = 0;
    lastLength = 0;
}

int systemcalls::writeCount()
{
    return writes;
}

size_t systemcalls::lastWriteLength()
{
    return lastLength;
}

EXPORTED int socketpair(int domain, int type, int protocol, int ends[2]) noexcept
{
    static auto* const real = next<decltype(socketpair)>("socketpair");
    call(onSocketPair);
    int result = -1;
    if (socketPairFails)
        errno = EMFILE;
    else
        result = real(domain, type, protocol, ends);
    socketPairs.append({domain, type, protocol, {ends[0], ends[1]}});
    watchedEnds[0] = ends[0];
    watchedEnds[1] = ends[1];
    return result;
}

EXPORTED int sigaction(int signal, struct sigaction const* action, struct sigaction* old) noexcept
{
    static auto* const real = next<decltype(sigaction)>("sigaction");
    if (action) {
        call(onAction);
        actions.append({signal, *action, old != nullptr});
    }
    return real(signal, action, old);
}

EXPORTED ssize_t write(int fd, void const* data, size_t length)
{
    static auto* const real = next<decltype(write)>("write");
    if (fd >= 0 && fd == watchedEnds[0]) {
        ++writes;
        lastLength = length;
    }
    return real(fd, data, length);
}

EXPORTED ssize_t read(int fd, void* data, size_t length)
{
    static auto* const real = next<decltype(read)>("read");
    if (fd >= 0 && fd == watchedEnds[1])
        call(onRead);
    return real(fd, data, length);
}
