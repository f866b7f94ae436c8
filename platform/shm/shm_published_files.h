#ifndef SHM_PUBLISHED_FILES_H
#define SHM_PUBLISHED_FILES_H

#include "shm_layout.h"
#include "shm_names.h"

#include <optional>

namespace shm {

/** Who may read a stream, as for a file. */
struct Access
{
    mode_t mode = 0;
    std::optional<gid_t> group;
};

/**
 * The files of a stream that is being written: the claimed name, the media, the pins. They are
 * removed when this ends.
 *
 * Every function throws OpenError, its text being what was tried.
 */
class PublishedFiles
{
public:
    /** Claims the name and makes the files; no reader sees them yet. */
    PublishedFiles(StreamFiles const& names, MediaConfig const& config, Access const& access);
    PublishedFiles(PublishedFiles const&) = delete;
    PublishedFiles& operator=(PublishedFiles const&) = delete;
    ~PublishedFiles();

    /** Lets readers in. */
    void publish();

    /** The media file, writable and zero but for its configuration. */
    uint8_t* media() const { return mMapping.data(); }
    /** The pins file; may be taken once. */
    UniqueFd takePins() { return std::move(mPins); }

private:
    UniqueFd makeFile(std::string const& name, uint64_t size, mode_t mode, Access const& access);
    void makeFiles(MediaConfig const& config, Access const& access);

    StreamFiles const mNames;
    uint64_t const mInstance;
    UniqueFd mPlace;
    UniqueFd mLock;
    UniqueFd mMedia;
    UniqueFd mPins;
    Mapping mMapping;
};

} // namespace shm

#endif
