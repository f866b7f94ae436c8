/**
 * The segments of a stream as they lie in shared memory; docs/stream-format.md draws the map.
 *
 * All numbers are little-endian or rather the machine's own: a stream never leaves it.
 */
#ifndef SHM_LAYOUT_H
#define SHM_LAYOUT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace shm {

constexpr char mediaMagic[8] = {'Q', 'V', 'S', 'T', 'R', 'E', 'A', 'M'};
constexpr uint32_t mediaVersion = 1;

// Limits that keep every size well inside 64 bits, whatever a header claims.
constexpr uint32_t maximumVideoSide = 16384;
constexpr uint32_t maximumFrameCount = 64;
constexpr uint32_t maximumSpareCount = 64;
constexpr uint32_t maximumSlotCount = maximumFrameCount + maximumSpareCount;
constexpr uint32_t maximumAudioRate = 384000;
constexpr uint32_t maximumAudioChannels = 64;
constexpr uint32_t minimumAudioMilliseconds = 2000;
constexpr uint32_t maximumAudioMilliseconds = 60000;
constexpr uint32_t maximumReaderCount = 128;

/** The byte of the media file that its writer keeps locked for as long as it lives. */
constexpr long aliveByte = 0;

/**
 * What never changes while a stream lives. Readers copy it once, check the copy and use the copy.
 * The lines up to name are chosen by the writer; the rest follows from them (see deriveLayout()).
 */
struct MediaConfig
{
    char magic[8];
    uint32_t version;
    uint32_t header_size;
    uint64_t file_size;
    uint64_t instance; /**< random; tells two streams of one name apart, names the pins file */

    uint32_t video_width; /**< 0: no video */
    uint32_t video_height;
    uint32_t frame_count; /**< frames kept visible */
    uint32_t slot_count;  /**< memory for frames: the visible ones and spare */
    uint32_t rate_num;    /**< 0: not known */
    uint32_t rate_den;
    uint32_t luma_stride;
    uint32_t chroma_stride;
    uint32_t luma_lines; /**< allocated, the codec padding included */
    uint32_t chroma_lines;
    uint64_t plane1_offset; /**< from the start of a slot */
    uint64_t plane2_offset;
    uint64_t slot_size;
    uint64_t slots_offset;
    uint64_t generations_offset;
    uint64_t index_offset;
    uint32_t index_capacity;
    uint32_t reserved0;

    uint32_t audio_rate; /**< 0: no audio */
    uint32_t audio_channels;
    uint64_t audio_readable; /**< sample frames that are kept readable */
    uint64_t audio_capacity; /**< sample frames that the ring has room for */
    uint64_t samples_offset;
    uint64_t anchors_offset;
    uint32_t anchor_capacity;

    uint32_t name_length;
    char name[1024]; /**< UTF-8, the rest zero */
    uint8_t reserved1[848];
};

/**
 * Commits are counted from 0. The frames numbered tail up to, not including, head are visible.
 * A writer that is stopped between two stores has merely not advanced yet.
 */
struct VideoState
{
    std::atomic<uint64_t> tail;
    std::atomic<uint64_t> head;
    std::atomic<uint64_t> dropped;
    uint64_t reserved[5];
};

/** Description of the frame numbered n, at n modulo the capacity of the index. */
struct FrameEntry
{
    std::atomic<uint64_t> sequence; /**< n + 1 when the rest is that of frame n */
    std::atomic<int64_t> timestamp;
    std::atomic<int64_t> previous; /**< timestamp of frame n - 1; of no meaning in frame 0 */
    std::atomic<uint64_t> slot;
};

/** One of the two copies of the audio's state; number s of them is at s modulo 2. */
struct AudioSpan
{
    std::atomic<uint64_t> begin; /**< position of the oldest readable sample frame */
    std::atomic<uint64_t> end;   /**< position after the newest */
    std::atomic<uint64_t> anchor_tail;
    std::atomic<uint64_t> anchor_head;
    uint64_t reserved[4];
};

struct AudioState
{
    std::atomic<uint64_t> sequence; /**< number of the copy that holds; 0: no audio yet */
    std::atomic<uint64_t> intact;   /**< sample frames before this position may be overwritten */
    uint64_t reserved[6];
    AudioSpan spans[2];
};

/** Sample frame @p position was captured at @p timestamp; anchor n is at n modulo capacity. */
struct AudioAnchor
{
    std::atomic<uint64_t> sequence; /**< n + 1 when the rest is that of anchor n */
    std::atomic<uint64_t> position;
    std::atomic<int64_t> timestamp;
    uint64_t reserved;
};

/** Start of the media file. */
struct MediaHeader
{
    MediaConfig config;
    VideoState video;
    AudioState audio;
    uint8_t reserved[1792];
};

static_assert(std::atomic<uint64_t>::is_always_lock_free, "shared counters need no lock");
static_assert(std::atomic<int64_t>::is_always_lock_free, "shared counters need no lock");
static_assert(std::atomic<uint16_t>::is_always_lock_free, "shared counters need no lock");
static_assert(std::has_unique_object_representations_v<MediaConfig>, "no hidden padding");
static_assert(sizeof(MediaConfig) == 2048 && sizeof(MediaHeader) == 4096, "fixed layout");

/** The alignment of the start of a plane, in bytes. */
constexpr uint32_t planeAlignment = 64;
// A plane is uploaded as it is into a texture as wide as its lines, and wider ones would be seen.
constexpr uint32_t lineAlignment = 4;

/**
 * Fills the derived fields of @p config from the chosen ones.
 * @return false when a chosen field is out of its range.
 */
bool deriveLayout(MediaConfig& config);

/** Whether the copy @p config of a header is exactly what a writer of this version writes. */
bool isValidConfig(MediaConfig const& config, uint64_t fileSize);

/** Bytes from one reader's row of pins to the next. */
constexpr size_t pinRowSize(uint32_t slotCount)
{
    constexpr size_t cacheLine = 64;
    size_t const used = slotCount * sizeof(uint16_t);
    return used == 0 ? cacheLine : (used + cacheLine - 1) / cacheLine * cacheLine;
}

constexpr size_t pinsFileSize(uint32_t slotCount)
{
    return maximumReaderCount * pinRowSize(slotCount);
}

} // namespace shm

#endif
