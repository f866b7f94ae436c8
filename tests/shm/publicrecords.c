/* The public headers in C, and where the fields of their records lie: programs rely on it. */
#include "shm_writer.h"

#define FIELD(type, member, offset)                                                                \
    _Static_assert(offsetof(type, member) == (offset), "position of a public field")

FIELD(shm_reader_format_t, valid, 0);
FIELD(shm_reader_format_t, has_video, 4);
FIELD(shm_reader_format_t, video_width, 8);
FIELD(shm_reader_format_t, video_height, 12);
FIELD(shm_reader_format_t, video_frame_count, 16);
FIELD(shm_reader_format_t, has_audio, 20);
FIELD(shm_reader_format_t, audio_sample_rate, 24);
FIELD(shm_reader_format_t, audio_channels, 28);
_Static_assert(sizeof(shm_reader_format_t) == 40, "size of a public record");

FIELD(shm_audio_status_t, valid, 0);
FIELD(shm_audio_status_t, sample_count, 4);
FIELD(shm_audio_status_t, first_timestamp, 16);
FIELD(shm_audio_status_t, last_timestamp, 24);
_Static_assert(sizeof(shm_audio_status_t) == 32, "size of a public record");

FIELD(shm_video_status_t, frames_valid, 0);
FIELD(shm_video_status_t, frame_count, 4);
FIELD(shm_video_status_t, first_timestamp, 8);
FIELD(shm_video_status_t, last_timestamp, 16);
FIELD(shm_video_status_t, frame_interval, 24);
FIELD(shm_video_status_t, interval_jitter, 32);
FIELD(shm_video_status_t, frames_written, 40);
FIELD(shm_video_status_t, frames_dropped, 48);
_Static_assert(sizeof(shm_video_status_t) == 56, "size of a public record");

FIELD(shm_video_frame_t, width, 0);
FIELD(shm_video_frame_t, height, 4);
FIELD(shm_video_frame_t, timestamp, 8);
FIELD(shm_video_frame_t, plane0, 16);
FIELD(shm_video_frame_t, plane1, 24);
FIELD(shm_video_frame_t, plane2, 32);
FIELD(shm_video_frame_t, lock, 40);
FIELD(shm_video_frame_t, stride0, 48);
FIELD(shm_video_frame_t, stride1, 52);
FIELD(shm_video_frame_t, stride2, 56);
_Static_assert(sizeof(shm_video_frame_t) == 64, "size of a public record");

_Static_assert(sizeof(shm_video_lookup_mode_t) == 4, "size of a public enumeration");
_Static_assert(SHM_VIDEO_LOOKUP_BY_TIMESTAMP == 0, "value of a public enumerator");
_Static_assert(SHM_VIDEO_LOOKUP_LATEST == 1, "value of a public enumerator");
_Static_assert(SHM_AUDIO_STRICT == 0, "value of a public enumerator");
_Static_assert(SHM_AUDIO_CONTINUOUS == 3, "value of a public enumerator");

/* C leaves no file without a declaration of its own. */
int publicRecordsAreChecked(void);
int publicRecordsAreChecked(void)
{
    return 1;
}
