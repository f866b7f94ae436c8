#ifndef SHM_AUDIO_READER_H
#define SHM_AUDIO_READER_H

#include "shm_arithmetic.h"
#include "shm_media.h"
#include "shm_reader.h"

#include <mutex>

namespace shm {

/**
 * Copies audio out of the ring. Thread-safe; makes no system call unless two threads read
 * continuously through one handle at the same instant.
 */
class AudioReader
{
public:
    explicit AudioReader(Media const& media)
        : mMedia(media)
    {}

    void getStatus(shm_audio_status_t& status) const;

    /** Both: number of whole blocks that were copied; @p blocks and @p blockFrames are not 0. */
    uint64_t readStrict(int16_t* dest, uint64_t blocks, uint64_t blockFrames, int64_t timestamp);
    uint64_t readContinuous(
        int16_t* dest, uint64_t blocks, uint64_t blockFrames, int64_t timestamp);

private:
    struct Anchor
    {
        uint64_t position = 0;
        int64_t timestamp = 0;
    };
    /** A consistent copy of the audio's live state. */
    struct Span
    {
        uint64_t begin = 0;
        uint64_t end = 0;
        uint64_t anchorTail = 0;
        uint64_t anchorHead = 0;

        uint64_t count() const { return end - begin; }
    };

    bool readSpan(Span& span) const;
    bool tryReadSpan(Span& span) const;
    bool readAnchor(uint64_t number, Anchor& anchor) const;
    template<typename IsLater>
    bool findAnchor(Span const& span, IsLater isLater, uint64_t& number, Anchor& anchor) const;
    bool timeOf(Span const& span, uint64_t position, int64_t& timestamp) const;
    bool positionOf(Span const& span, int64_t timestamp, Wide& position) const;
    bool strictStart(Span const& span, uint64_t count, int64_t timestamp, uint64_t& start) const;
    bool continuousStart(Span const& span, int64_t timestamp, uint64_t& start) const;
    bool copy(int16_t* dest, uint64_t start, uint64_t count) const;

    Media const& mMedia;
    std::mutex mMutex; /**< guards the members below */
    bool mHasNext = false;
    uint64_t mNext = 0; /**< position after the last continuous read */
};

} // namespace shm

#endif
