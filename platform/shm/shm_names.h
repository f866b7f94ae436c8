#ifndef SHM_NAMES_H
#define SHM_NAMES_H

#include "shm_file.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace shm {

/** Longest stream name in bytes, without the terminating zero. */
constexpr size_t maximumNameLength = 1023;

/** 0 when @p name may name a stream, else EINVAL, EILSEQ or ENAMETOOLONG. */
int checkName(char const* name);

/** @p name with control characters escaped, for messages of one line. */
std::string printableName(std::string_view name);

/**
 * The file names of one stream. Letters, digits, '_' and '-' of the stream's name stand for
 * themselves and every other byte is written as %XX, so that no name leaves the place and every
 * file belongs to exactly one stream. Where that would be too long for a file name, it is cut and
 * ends in '~' and a hash of the whole name.
 */
class StreamFiles
{
public:
    explicit StreamFiles(std::string_view name);
    /** The files of the stream that the lock file @p fileName belongs to; empty if it is none. */
    static StreamFiles ofLockFile(std::string_view fileName);

    bool isEmpty() const { return mStem.empty(); }
    std::string lock() const { return mStem + ".lock"; }
    std::string media() const { return mStem + ".media"; }
    /** The media file while it's being made. */
    std::string draft(uint64_t instance) const;
    std::string pins(uint64_t instance) const;
    /** Whether @p fileName is a file of this stream other than its lock file. */
    bool isContent(std::string_view fileName) const;

private:
    StreamFiles() = default;

    std::string mStem;
};

/**
 * Opens the directory that holds the streams: /dev/shm/qvorlin, or what the environment variable
 * QVORLIN_SHM_DIR names. Invalid, with errno set, on failure.
 */
UniqueFd openPlace();

/** Like openPlace(), but makes the directory, open for all users, if there is none. */
UniqueFd makePlace();

} // namespace shm

#endif
