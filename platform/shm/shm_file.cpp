#include "shm_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shm {

namespace {

struct flock byteLock(short type, off_t byte)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

} // namespace

UniqueFd::~UniqueFd()
{
    if (mFd >= 0)
        ::close(mFd);
}

Mapping::Mapping(int fd, size_t size, int protection)
{
    void* data = ::mmap(nullptr, size, protection, MAP_SHARED, fd, 0);
    if (data == MAP_FAILED)
        return;
    mData = static_cast<uint8_t*>(data);
    mSize = size;
}

Mapping::~Mapping()
{
    if (mData)
        ::munmap(mData, mSize);
}

UniqueFd openAt(int place, std::string const& name, int flags, mode_t mode)
{
    // O_NONBLOCK: somebody's FIFO under a stream's name must not hold up the open.
    return UniqueFd(::openat(
        place, name.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, mode));
}

bool tryLockByte(int fd, off_t byte)
{
    struct flock lock = byteLock(F_WRLCK, byte);
    return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

void unlockByte(int fd, off_t byte)
{
    struct flock lock = byteLock(F_UNLCK, byte);
    ::fcntl(fd, F_OFD_SETLK, &lock);
}

bool isByteLocked(int fd, off_t byte)
{
    // A read lock conflicts with write locks only: whoever may merely read a file can't pose as
    // its writer.
    struct flock lock = byteLock(F_RDLCK, byte);
    return ::fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool isStillNamed(int place, std::string const& name, int fd)
{
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(fd, &opened) == 0 &&
           ::fstatat(place, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

} // namespace shm
