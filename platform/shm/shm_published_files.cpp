#include "shm_published_files.h"

#include "shm_claim.h"
#include "shm_open_error.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shm {

namespace {

constexpr mode_t readBits = S_IRUSR | S_IRGRP | S_IROTH;
constexpr mode_t ownerBits = S_IRUSR | S_IWUSR;

/** Takes the memory now: without this a full file system shows as SIGBUS at the first write. */
void reserve(int fd, uint64_t size)
{
    int error = 0;
    do {
        error = ::posix_fallocate(fd, 0, off_t(size));
    } while (error == EINTR);
    if (error != 0)
        refuseCall(error, "can't reserve " + std::to_string(size >> 10) + " KiB of shared memory");
}

} // namespace

PublishedFiles::PublishedFiles(
    StreamFiles const& names, MediaConfig const& config, Access const& access)
    : mNames(names)
    , mInstance(config.instance)
    , mPlace(makePlace())
{
    if (!mPlace)
        refuseCall(errno, "can't open the directory of the streams");
    // Memory that dead writers left may be just what this stream needs.
    removeDeadStreams(mPlace.get());
    mLock = claimName(mPlace.get(), mNames);
    if (!mLock && errno == EBUSY)
        refuse(EBUSY, "already published by a live writer");
    if (!mLock)
        refuseCall(errno, "can't take the name");
    try {
        makeFiles(config, access);
    } catch (...) {
        giveUpName(mPlace.get(), mNames, mLock.get());
        throw;
    }
}

PublishedFiles::~PublishedFiles()
{
    // Explicitly, since a forked child may have inherited the open file.
    unlockByte(mMedia.get(), aliveByte);
    giveUpName(mPlace.get(), mNames, mLock.get());
}

void PublishedFiles::makeFiles(MediaConfig const& config, Access const& access)
{
    mode_t const readable = access.mode & readBits;
    mode_t const writable = readable >> 1;
    mPins = makeFile(mNames.pins(mInstance), pinsFileSize(config.slot_count),
        ownerBits | readable | writable, access);
    mMedia = makeFile(mNames.draft(mInstance), config.file_size, ownerBits | readable, access);
    mMapping = Mapping(mMedia.get(), config.file_size, PROT_READ | PROT_WRITE);
    if (!mMapping)
        refuseCall(errno, "can't map the media");
    std::memcpy(mMapping.data(), &config, sizeof config);
    if (!tryLockByte(mMedia.get(), aliveByte))
        refuseCall(errno, "can't lock the media");
}

UniqueFd PublishedFiles::makeFile(
    std::string const& name, uint64_t size, mode_t mode, Access const& access)
{
    UniqueFd file = openAt(mPlace.get(), name, O_RDWR | O_CREAT | O_EXCL, ownerBits);
    if (!file)
        refuseCall(errno, "can't make a file for it");
    reserve(file.get(), size);
    if (access.group && ::fchown(file.get(), uid_t(-1), *access.group) != 0)
        refuseCall(errno, "can't give it to group " + std::to_string(*access.group));
    if (::fchmod(file.get(), mode) != 0)
        refuseCall(errno, "can't set its access mode");
    return file;
}

void PublishedFiles::publish()
{
    int const place = mPlace.get();
    if (::renameat(place, mNames.draft(mInstance).c_str(), place, mNames.media().c_str()) != 0)
        refuseCall(errno, "can't publish it");
}

} // namespace shm
