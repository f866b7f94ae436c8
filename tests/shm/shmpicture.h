/**
 * Test pictures that carry their own check: every byte follows from the seed in the first eight.
 * Used by the tests and, without Qt, by their helper program.
 */
#ifndef SHMPICTURE_H
#define SHMPICTURE_H

#include "shm_writer.h"

#include <cstdint>
#include <cstring>

namespace shmpicture {

/** The 64-bit word at @p index of a plane; its seed at 0. */
inline uint64_t word(uint64_t seed, size_t index)
{
    return seed + index * 0x9e3779b97f4a7c15;
}

inline bool isPlaneIntact(uint8_t const* plane, size_t size, uint64_t seed)
{
    uint64_t difference = 0;
    for (size_t i = 0; i < size / 8; ++i) {
        uint64_t value = 0;
        std::memcpy(&value, plane + 8 * i, 8);
        difference |= value ^ word(seed, i);
    }
    return difference == 0;
}

/** Fills every byte that may be written. */
inline void fill(shm_writer_frame_t const& frame, uint64_t seed)
{
    for (unsigned plane = 0; plane < 3; ++plane) {
        size_t const words = size_t(frame.stride[plane]) * size_t(frame.lines[plane]) / 8;
        for (size_t i = 0; i < words; ++i) {
            uint64_t const value = word(seed + plane, i);
            std::memcpy(frame.plane[plane] + 8 * i, &value, 8);
        }
    }
}

inline uint64_t seedOf(shm_video_frame_t const& frame)
{
    uint64_t seed = 0;
    std::memcpy(&seed, frame.plane0, 8);
    return seed;
}

/** Whether the whole picture is as fill() left it, with the seed that it begins with. */
inline bool isIntact(shm_video_frame_t const& frame)
{
    uint64_t const seed = seedOf(frame);
    size_t const chromaLines = size_t(frame.height + 1) / 2;
    return isPlaneIntact(frame.plane0, size_t(frame.stride0) * size_t(frame.height), seed) &&
           isPlaneIntact(frame.plane1, size_t(frame.stride1) * chromaLines, seed + 1) &&
           isPlaneIntact(frame.plane2, size_t(frame.stride2) * chromaLines, seed + 2);
}

/** Publishes a frame of @p seed; false when no slot was free or the timestamp was refused. */
inline bool publish(shm_writer_t* writer, int64_t timestamp, uint64_t seed)
{
    shm_writer_frame_t frame;
    if (shm_writer_acquire_frame(writer, &frame) != 0)
        return false;
    fill(frame, seed);
    if (shm_writer_commit_frame(writer, &frame, timestamp) == 0)
        return true;
    shm_writer_release_frame(writer, &frame);
    return false;
}

} // namespace shmpicture

#endif
