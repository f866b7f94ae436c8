#ifndef SHM_AUDIO_WRITER_H
#define SHM_AUDIO_WRITER_H

#include "shm_layout.h"

namespace shm {

/** Appends audio to the ring. Not thread-safe. */
class AudioWriter
{
public:
    /** @p media: the whole media file, @p config: a copy of its configuration. */
    AudioWriter(uint8_t* media, MediaConfig const& config);

    void append(int16_t const* samples, uint64_t count, int64_t timestamp);

    uint64_t written() const { return mEnd; }
    uint64_t breaks() const { return mBreaks; }

private:
    struct Anchor
    {
        uint64_t position = 0;
        int64_t timestamp = 0;
    };

    void place(int64_t timestamp);
    void addAnchor(int64_t timestamp);
    void write(int16_t const* samples, uint64_t count);
    void publish();
    AudioAnchor& sharedAnchor(uint64_t number) const;

    uint8_t* const mMedia;
    MediaConfig const mConfig;
    AudioState& mShared;
    uint64_t mSequence = 0;
    uint64_t mBegin = 0;
    uint64_t mEnd = 0;
    uint64_t mIntact = 0;
    uint64_t mAnchorTail = 0;
    uint64_t mAnchorHead = 0;
    Anchor mLastAnchor;
    Anchor mLastBlock;
    uint64_t mBreaks = 0;
};

} // namespace shm

#endif
