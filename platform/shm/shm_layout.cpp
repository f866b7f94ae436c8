#include "shm_layout.h"

#include <cstring>

namespace shm {

namespace {

constexpr uint64_t pageSize = 4096;
constexpr uint32_t indexCapacity = 2 * maximumSlotCount;
constexpr uint32_t anchorCapacity = 1024;

static_assert((indexCapacity & (indexCapacity - 1)) == 0, "a power of two");

constexpr uint64_t aligned(uint64_t value, uint64_t alignment)
{
    return (value + alignment - 1) / alignment * alignment;
}

bool areVideoChoicesValid(MediaConfig const& config)
{
    if (config.video_width == 0) {
        return config.video_height == 0 && config.frame_count == 0 && config.slot_count == 0 &&
               config.rate_num == 0 && config.rate_den == 0;
    }
    return config.video_width <= maximumVideoSide && config.video_height >= 1 &&
           config.video_height <= maximumVideoSide && config.frame_count >= 2 &&
           config.frame_count <= maximumFrameCount && config.slot_count > config.frame_count &&
           config.slot_count <= config.frame_count + maximumSpareCount &&
           (config.rate_num == 0) == (config.rate_den == 0);
}

bool areAudioChoicesValid(MediaConfig const& config)
{
    if (config.audio_rate == 0)
        return config.audio_channels == 0 && config.audio_readable == 0;
    uint64_t const rate = config.audio_rate;
    return rate <= maximumAudioRate && config.audio_channels >= 1 &&
           config.audio_channels <= maximumAudioChannels &&
           config.audio_readable >= rate * minimumAudioMilliseconds / 1000 &&
           config.audio_readable <= rate * maximumAudioMilliseconds / 1000;
}

} // namespace

bool deriveLayout(MediaConfig& config)
{
    bool const hasVideo = config.video_width != 0;
    bool const hasAudio = config.audio_rate != 0;
    if (!areVideoChoicesValid(config) || !areAudioChoicesValid(config) || (!hasVideo && !hasAudio))
        return false;

    std::memcpy(config.magic, mediaMagic, sizeof config.magic);
    config.version = mediaVersion;
    config.header_size = sizeof(MediaHeader);
    uint64_t end = sizeof(MediaHeader);
    if (hasVideo) {
        config.index_capacity = indexCapacity;
        config.index_offset = end;
        end += indexCapacity * sizeof(FrameEntry);
        config.generations_offset = end;
        end += maximumSlotCount * sizeof(std::atomic<uint64_t>);
    }
    if (hasAudio) {
        config.anchor_capacity = anchorCapacity;
        config.anchors_offset = end;
        end += anchorCapacity * sizeof(AudioAnchor);
        config.samples_offset = end;
        // A quarter of a second is being overwritten while the rest is read.
        config.audio_capacity = config.audio_readable + config.audio_rate / 4 + 1;
        end += config.audio_capacity * config.audio_channels * sizeof(int16_t);
    }
    if (hasVideo) {
        // Decoders write whole macroblocks and, some of them, a few lines more.
        config.luma_lines = uint32_t(aligned(config.video_height, 64)) + 16;
        config.chroma_lines = config.luma_lines / 2;
        config.luma_stride = uint32_t(aligned(config.video_width, lineAlignment));
        config.chroma_stride = uint32_t(aligned((config.video_width + 1) / 2, lineAlignment));
        uint64_t const chromaSize = uint64_t(config.chroma_stride) * config.chroma_lines;
        uint64_t const lumaSize = uint64_t(config.luma_stride) * config.luma_lines;
        config.plane1_offset = aligned(lumaSize, planeAlignment);
        config.plane2_offset = aligned(config.plane1_offset + chromaSize, planeAlignment);
        config.slot_size = aligned(config.plane2_offset + chromaSize, pageSize);
        config.slots_offset = aligned(end, pageSize);
        end = config.slots_offset + config.slot_size * config.slot_count;
    }
    config.file_size = aligned(end, pageSize);
    return true;
}

bool isValidConfig(MediaConfig const& config, uint64_t fileSize)
{
    if (config.name_length == 0 || config.name_length >= sizeof config.name)
        return false;
    // Derived anew from what the writer chose, every other field has one right value.
    MediaConfig expected = {};
    expected.instance = config.instance;
    expected.video_width = config.video_width;
    expected.video_height = config.video_height;
    expected.frame_count = config.frame_count;
    expected.slot_count = config.slot_count;
    expected.rate_num = config.rate_num;
    expected.rate_den = config.rate_den;
    expected.audio_rate = config.audio_rate;
    expected.audio_channels = config.audio_channels;
    expected.audio_readable = config.audio_readable;
    expected.name_length = config.name_length;
    std::memcpy(expected.name, config.name, config.name_length);
    return deriveLayout(expected) && std::memcmp(&expected, &config, sizeof config) == 0 &&
           config.file_size == fileSize;
}

} // namespace shm
