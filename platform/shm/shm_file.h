#ifndef SHM_FILE_H
#define SHM_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <sys/types.h>

namespace shm {

/** Owns a file descriptor. */
class UniqueFd
{
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd)
        : mFd(fd)
    {}
    UniqueFd(UniqueFd&& other) noexcept
        : mFd(std::exchange(other.mFd, -1))
    {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        std::swap(mFd, other.mFd);
        return *this;
    }
    UniqueFd(UniqueFd const&) = delete;
    UniqueFd& operator=(UniqueFd const&) = delete;
    ~UniqueFd();

    int get() const { return mFd; }
    explicit operator bool() const { return mFd >= 0; }

private:
    int mFd = -1;
};

/** Owns a shared mapping of a file from its start. */
class Mapping
{
public:
    Mapping() = default;
    /** Empty, with errno set, on failure. @p protection is as for mmap(). */
    Mapping(int fd, size_t size, int protection);
    Mapping(Mapping&& other) noexcept
        : mData(std::exchange(other.mData, nullptr))
        , mSize(std::exchange(other.mSize, 0))
    {}
    Mapping& operator=(Mapping&& other) noexcept
    {
        std::swap(mData, other.mData);
        std::swap(mSize, other.mSize);
        return *this;
    }
    Mapping(Mapping const&) = delete;
    Mapping& operator=(Mapping const&) = delete;
    ~Mapping();

    uint8_t* data() const { return mData; }
    size_t size() const { return mSize; }
    explicit operator bool() const { return mData != nullptr; }

private:
    uint8_t* mData = nullptr;
    size_t mSize = 0;
};

/** Opens @p name in the directory @p place; never follows a link, never waits, never inherited. */
UniqueFd openAt(int place, std::string const& name, int flags, mode_t mode = 0);

/**
 * Byte locks that belong to the open file (not to the process): the kernel drops them with the
 * last descriptor, also when the process is killed, and two opens in one process exclude each
 * other.
 */
bool tryLockByte(int fd, off_t byte);
void unlockByte(int fd, off_t byte);
/** Whether another open file holds the byte. Needs no more than read access. */
bool isByteLocked(int fd, off_t byte);

/** Whether @p name in @p place still names the open file @p fd. */
bool isStillNamed(int place, std::string const& name, int fd);

} // namespace shm

#endif
