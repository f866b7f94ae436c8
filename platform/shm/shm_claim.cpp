#include "shm_claim.h"

#include "shm_layout.h"

#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

// A lock file is unlinked only by one who holds its clean-up byte and has then found the name
// byte free and the file still in its place. A writer takes the name byte first, then the clean-up
// byte, and then looks whether the file is still in its place. So nobody removes a living
// stream, and nobody writes under a lock that others don't find.

namespace shm {

namespace {

constexpr off_t nameByte = 0;
constexpr off_t cleanupByte = 1;

std::vector<std::string> fileNames(int place)
{
    std::vector<std::string> names;
    int const fd = ::openat(place, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return names;
    std::unique_ptr<DIR, int (*)(DIR*)> directory(::fdopendir(fd), ::closedir);
    if (!directory) {
        ::close(fd);
        return names;
    }
    while (dirent const* entry = ::readdir(directory.get()))
        names.emplace_back(entry->d_name);
    return names;
}

bool hasLiveMedia(int place, StreamFiles const& files)
{
    UniqueFd const media = openAt(place, files.media(), O_RDONLY);
    return media && isByteLocked(media.get(), aliveByte);
}

void removeContent(int place, StreamFiles const& files)
{
    for (std::string const& name : fileNames(place)) {
        if (files.isContent(name))
            ::unlinkat(place, name.c_str(), 0);
    }
}

/** Others hold the clean-up byte for microseconds; only one who is stopped makes this fail. */
bool waitForCleanupByte(int lock)
{
    using namespace std::chrono;
    auto const deadline = steady_clock::now() + seconds(2);
    while (!tryLockByte(lock, cleanupByte)) {
        if (steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

UniqueFd openLockFile(int place, StreamFiles const& files)
{
    // Linux refuses O_CREAT on another user's file in a sticky directory, so plain opening is
    // tried first.
    UniqueFd lock = openAt(place, files.lock(), O_RDWR);
    if (!lock && errno == ENOENT)
        lock = openAt(place, files.lock(), O_RDWR | O_CREAT | O_EXCL, 0600);
    return lock;
}

} // namespace

UniqueFd claimName(int place, StreamFiles const& files)
{
    // Each turn after the first means that somebody removed a dead stream of this name under us.
    constexpr int attempts = 100;
    for (int i = 0; i < attempts; ++i) {
        UniqueFd lock = openLockFile(place, files);
        if (!lock && errno == EEXIST)
            continue;
        if (!lock)
            return lock;
        if (!tryLockByte(lock.get(), nameByte) || !waitForCleanupByte(lock.get())) {
            errno = EBUSY;
            return UniqueFd();
        }
        if (!isStillNamed(place, files.lock(), lock.get()))
            continue;
        if (hasLiveMedia(place, files)) {
            errno = EBUSY;
            return UniqueFd();
        }
        removeContent(place, files);
        unlockByte(lock.get(), cleanupByte);
        return lock;
    }
    errno = EBUSY;
    return UniqueFd();
}

void giveUpName(int place, StreamFiles const& files, int lock)
{
    if (waitForCleanupByte(lock) && isStillNamed(place, files.lock(), lock)) {
        removeContent(place, files);
        ::unlinkat(place, files.lock().c_str(), 0);
    }
    // Explicitly, since a forked child may have inherited the open file.
    unlockByte(lock, nameByte);
    unlockByte(lock, cleanupByte);
}

void removeDeadStream(int place, StreamFiles const& files)
{
    UniqueFd const lock = openAt(place, files.lock(), O_RDWR);
    if (!lock || !tryLockByte(lock.get(), cleanupByte))
        return;
    if (isByteLocked(lock.get(), nameByte) || !isStillNamed(place, files.lock(), lock.get()) ||
        hasLiveMedia(place, files))
        return;
    removeContent(place, files);
    ::unlinkat(place, files.lock().c_str(), 0);
}

void removeDeadStreams(int place)
{
    for (std::string const& name : fileNames(place)) {
        StreamFiles const files = StreamFiles::ofLockFile(name);
        if (!files.isEmpty())
            removeDeadStream(place, files);
    }
}

} // namespace shm
