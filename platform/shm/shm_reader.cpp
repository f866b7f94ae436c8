#include "shm_reader.h"

#include "shm_audio_reader.h"
#include "shm_claim.h"
#include "shm_video_reader.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <new>

namespace {

/**
 * The locks that a handle has given out. A lock's number is never used again, so that a frame
 * record that is unlocked twice, or a copy of it, ends no other lock.
 */
class LockTable
{
public:
    /** A number for a lock on @p slot, or 0 when there are too many. */
    uint64_t add(uint32_t slot)
    {
        uint64_t const serial = mNextSerial.fetch_add(1, std::memory_order_relaxed);
        for (uint64_t i = 0; i < size; ++i) {
            uint64_t const place = (serial + i) % size;
            uint64_t const lock = serial << serialShift | place << placeShift | slot;
            uint64_t unused = 0;
            if (mLocks[place].compare_exchange_strong(unused, lock))
                return lock;
        }
        return 0;
    }

    /** Ends the lock; false when there is no such lock. */
    bool remove(uint64_t lock)
    {
        uint64_t const place = lock >> placeShift & (size - 1);
        return lock != 0 && mLocks[place].compare_exchange_strong(lock, 0);
    }

    static uint32_t slotOf(uint64_t lock) { return lock & (shm::maximumSlotCount - 1); }

private:
    static constexpr uint64_t size = 1024;
    static constexpr int placeShift = 8;
    static constexpr int serialShift = 20;
    static_assert(shm::maximumSlotCount <= 1 << placeShift);
    static_assert(size <= 1 << (serialShift - placeShift));

    std::array<std::atomic<uint64_t>, size> mLocks = {};
    std::atomic<uint64_t> mNextSerial{1};
};

} // namespace

struct shm_reader
{
    shm_reader(shm::StreamFiles files_, shm::Media media_, shm::ReaderPins pins_)
        : files(std::move(files_))
        , media(std::move(media_))
        , pins(std::move(pins_))
        , video(media, pins)
        , audio(media)
    {}

    bool isOpen() const { return isOwned.load(std::memory_order_relaxed); }
    bool hasVideo() const { return isOpen() && media.config().video_width != 0; }
    bool hasAudio() const { return isOpen() && media.config().audio_rate != 0; }

    shm::StreamFiles const files;
    shm::Media const media;
    shm::ReaderPins pins;
    shm::VideoReader video;
    shm::AudioReader audio;
    LockTable locks;
    std::atomic<bool> isOwned{true};     /**< not closed yet */
    std::atomic<uint32_t> references{1}; /**< the owner's and one for each locked frame */
};

namespace {

void release(shm_reader* reader)
{
    if (reader->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete reader;
}

shm_reader* openReader(char const* name)
{
    if (int const error = shm::checkName(name)) {
        errno = error;
        return nullptr;
    }
    shm::StreamFiles files(name);
    shm::UniqueFd const place = shm::openPlace();
    if (!place)
        return nullptr;
    auto media = shm::Media::open(place.get(), files.media().c_str(), name);
    if (!media) {
        int const error = errno;
        if (error == ENOENT)
            shm::removeDeadStream(place.get(), files);
        errno = error;
        return nullptr;
    }
    shm::MediaConfig const& config = media->config();
    auto pins = shm::ReaderPins::open(place.get(), files.pins(config.instance), config.slot_count);
    if (!pins)
        return nullptr;
    return new shm_reader(std::move(files), std::move(*media), std::move(*pins));
}

} // namespace

shm_reader_t* shm_reader_open(const char* name)
{
    try {
        return openReader(name);
    } catch (std::bad_alloc const&) {
        errno = ENOMEM;
        return nullptr;
    }
}

void shm_reader_close(shm_reader_t* reader)
{
    if (reader && reader->isOwned.exchange(false))
        release(reader);
}

int shm_reader_is_ready(shm_reader_t* reader)
{
    if (!reader || !reader->isOpen())
        return 0;
    if (reader->media.isWriterAlive())
        return 1;
    try {
        if (shm::UniqueFd const place = shm::openPlace())
            shm::removeDeadStream(place.get(), reader->files);
    } catch (std::bad_alloc const&) {
        // The next one who meets the dead stream will clean up.
    }
    return 0;
}

int shm_reader_get_format(shm_reader_t* reader, shm_reader_format_t* format)
{
    if (!format)
        return -1;
    *format = {};
    if (!shm_reader_is_ready(reader))
        return -1;
    shm::MediaConfig const& config = reader->media.config();
    format->valid = 1;
    format->has_video = reader->hasVideo();
    format->video_width = int32_t(config.video_width);
    format->video_height = int32_t(config.video_height);
    format->video_frame_count = int32_t(config.frame_count);
    format->has_audio = reader->hasAudio();
    format->audio_sample_rate = int32_t(config.audio_rate);
    format->audio_channels = int32_t(config.audio_channels);
    return 0;
}

int shm_reader_set_fps(shm_reader_t* reader, unsigned num, unsigned den)
{
    if (!reader || !reader->isOpen() || num == 0 || den == 0)
        return -1;
    reader->video.setRate({num, den});
    return 0;
}

int shm_reader_get_video_status(shm_reader_t* reader, shm_video_status_t* status)
{
    if (!status)
        return -1;
    *status = {};
    if (!reader || !reader->hasVideo())
        return -1;
    reader->video.getStatus(*status);
    return 0;
}

int shm_reader_get_video_timestamps(shm_reader_t* reader, int64_t* out, int capacity)
{
    if (!reader || !reader->hasVideo() || capacity < 0 || (!out && capacity > 0))
        return -1;
    return reader->video.getTimestamps(out, capacity);
}

int shm_reader_lock_video(
    shm_reader_t* reader, shm_video_frame_t* frame, shm_video_lookup_mode_t mode)
{
    if (!frame)
        return -1;
    int64_t const timestamp = frame->timestamp;
    *frame = {};
    frame->timestamp = timestamp;
    if (!reader || !reader->hasVideo() || mode < SHM_VIDEO_LOOKUP_BY_TIMESTAMP ||
        mode > SHM_VIDEO_LOOKUP_AT_OR_AFTER)
        return -1;
    int const slot = reader->video.lock(*frame, mode);
    if (slot < 0)
        return -1;
    frame->lock = reader->locks.add(uint32_t(slot));
    if (frame->lock == 0) {
        reader->video.unlock(uint32_t(slot));
        *frame = {};
        frame->timestamp = timestamp;
        return -1;
    }
    reader->references.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

void shm_reader_unlock_video(shm_reader_t* reader, shm_video_frame_t* frame)
{
    if (!frame)
        return;
    uint64_t const lock = frame->lock;
    *frame = {};
    if (!reader || !reader->locks.remove(lock))
        return;
    reader->video.unlock(LockTable::slotOf(lock));
    release(reader);
}

int shm_reader_get_audio_status(shm_reader_t* reader, int mode, shm_audio_status_t* status)
{
    if (!status)
        return -1;
    *status = {};
    if (!reader || !reader->hasAudio() ||
        (mode != SHM_AUDIO_STRICT && mode != SHM_AUDIO_CONTINUOUS))
        return -1;
    reader->audio.getStatus(*status);
    return 0;
}

int shm_reader_query_audio(shm_reader_t* reader, int mode, void* dest, unsigned long blocks,
    unsigned long block_frames, int64_t timestamp)
{
    if (!reader || !reader->hasAudio() ||
        (mode != SHM_AUDIO_STRICT && mode != SHM_AUDIO_CONTINUOUS))
        return -1;
    if (blocks == 0 || block_frames == 0)
        return 0;
    if (!dest || blocks > INT_MAX)
        return -1;
    auto* const samples = static_cast<int16_t*>(dest);
    return int(mode == SHM_AUDIO_STRICT
                   ? reader->audio.readStrict(samples, blocks, block_frames, timestamp)
                   : reader->audio.readContinuous(samples, blocks, block_frames, timestamp));
}
