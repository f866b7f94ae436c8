#ifndef SHM_MEDIA_H
#define SHM_MEDIA_H

#include "shm_file.h"
#include "shm_layout.h"

#include <optional>
#include <string_view>

namespace shm {

/** A reader's view of a media file: mapped read-only, its configuration copied and checked. */
class Media
{
public:
    /**
     * Opens the live stream @p name.
     * @return nothing, with errno set, on failure; ENOENT: no such stream or its writer is dead.
     */
    static std::optional<Media> open(int place, char const* fileName, std::string_view name);

    MediaConfig const& config() const { return mConfig; }
    bool isWriterAlive() const { return isByteLocked(mFile.get(), aliveByte); }

    VideoState const& video() const { return header().video; }
    AudioState const& audio() const { return header().audio; }
    FrameEntry const& frameEntry(uint64_t number) const
    {
        return at<FrameEntry>(mConfig.index_offset)[number % mConfig.index_capacity];
    }
    AudioAnchor const& audioAnchor(uint64_t number) const
    {
        return at<AudioAnchor>(mConfig.anchors_offset)[number % mConfig.anchor_capacity];
    }
    /** The number of the frame in @p slot plus 1, or 0 when the slot may be written. */
    std::atomic<uint64_t> const& generation(uint32_t slot) const
    {
        return at<std::atomic<uint64_t>>(mConfig.generations_offset)[slot];
    }
    uint8_t* slot(uint32_t slot) const
    {
        return mMapping.data() + mConfig.slots_offset + slot * mConfig.slot_size;
    }
    int16_t const* samples() const { return at<int16_t>(mConfig.samples_offset); }

private:
    Media(UniqueFd file, Mapping mapping, MediaConfig const& config)
        : mFile(std::move(file))
        , mMapping(std::move(mapping))
        , mConfig(config)
    {}

    MediaHeader const& header() const { return *at<MediaHeader>(0); }
    template<typename T>
    T const* at(uint64_t offset) const
    {
        return reinterpret_cast<T const*>(mMapping.data() + offset);
    }

    UniqueFd mFile;
    Mapping mMapping;
    MediaConfig mConfig;
};

} // namespace shm

#endif
