/** Uses a stream that can't be trusted; shared by the tests and the fuzz target. */
#ifndef SHMEXERCISE_H
#define SHMEXERCISE_H

#include "shm_reader.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace shmexercise {

/** Reads a part of each page and the last byte; a plane that isn't mapped crashes here. */
inline void touch(uint8_t const volatile* data, size_t size)
{
    for (size_t i = 0; i < size; i += 509)
        static_cast<void>(data[i]);
    static_cast<void>(data[size - 1]);
}

inline void touchPicture(shm_video_frame_t const& frame)
{
    size_t const chromaLines = size_t(frame.height + 1) / 2;
    touch(frame.plane0, size_t(frame.stride0) * size_t(frame.height));
    touch(frame.plane1, size_t(frame.stride1) * chromaLines);
    touch(frame.plane2, size_t(frame.stride2) * chromaLines);
}

inline bool useVideo(shm_reader_t* reader)
{
    shm_video_status_t status;
    shm_reader_get_video_status(reader, &status);
    int64_t timestamps[64];
    if (status.frame_count > 64 || shm_reader_get_video_timestamps(reader, timestamps, 64) > 64)
        return false;
    for (unsigned rate : {1u, 10u}) {
        shm_reader_set_fps(reader, rate, 1);
        for (int mode = 0; mode < 4; ++mode) {
            shm_video_frame_t frame = {};
            frame.timestamp = status.first_timestamp;
            if (shm_reader_lock_video(reader, &frame, shm_video_lookup_mode_t(mode)) == 0)
                touchPicture(frame);
            shm_reader_unlock_video(reader, &frame);
        }
    }
    shm_reader_set_fps(reader, 1, 1);
    return true;
}

inline bool useAudio(shm_reader_t* reader)
{
    shm_reader_format_t format;
    shm_reader_get_format(reader, &format);
    shm_audio_status_t status;
    shm_reader_get_audio_status(reader, SHM_AUDIO_STRICT, &status);
    for (unsigned long count : {1ul, 100ul, 16000ul}) {
        // On the heap and no larger than asked, so that a sample too much is noticed.
        std::vector<int16_t> samples(count * size_t(std::max(1, format.audio_channels)));
        for (int64_t timestamp : {status.first_timestamp, INT64_MIN, INT64_MAX}) {
            for (int mode : {SHM_AUDIO_STRICT + 0, SHM_AUDIO_CONTINUOUS + 0}) {
                int const blocks =
                    shm_reader_query_audio(reader, mode, samples.data(), 1, count, timestamp);
                int const frames =
                    shm_reader_query_audio(reader, mode, samples.data(), count, 1, timestamp);
                if (blocks < -1 || blocks > 1 || frames < -1 || frames > int(count))
                    return false;
            }
        }
    }
    return true;
}

/** Calls all that a reader offers; false when an answer is out of its range. */
inline bool use(shm_reader_t* reader)
{
    return useVideo(reader) && useAudio(reader);
}

} // namespace shmexercise

#endif
