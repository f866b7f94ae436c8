/**
 * Reading live media streams out of shared memory.
 *
 * A stream has a name, one writer (see shm_writer.h) and any number of readers in any processes.
 * It carries video (planar YUV 4:2:0), audio (interleaved signed 16-bit little-endian PCM) or
 * both. All timestamps are microseconds of the wall clock since the Unix epoch.
 *
 * Lifetime: a handle lives from shm_reader_open() to shm_reader_close(). A locked frame keeps its
 * bytes unchanged and mapped until it is unlocked, also after the handle was closed, after the
 * writer has ended and after another writer has taken the name.
 *
 * Threads: every function is thread-safe, except that nothing else may be called with a handle
 * while it is closed. A frame may be unlocked by another thread than the one that locked it.
 * Locking, unlocking, status, timestamps and audio copies make no system call.
 *
 * Processes: streams lie in /dev/shm/qvorlin, or in the directory that the environment variable
 * QVORLIN_SHM_DIR names. When a process that holds a handle is killed, the kernel tells the others,
 * unless it has forked a child that hasn't called exec.
 *
 * Errors: nothing is logged and nothing aborts. A corrupt stream reads as an absent one.
 */
#ifndef SHM_READER_H
#define SHM_READER_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SHM_API __attribute__((visibility("default")))

/** One open stream; opaque. */
typedef struct shm_reader shm_reader_t;

/** What a stream carries. */
typedef struct shm_reader_format
{
    uint32_t valid;            /**< nonzero: the stream exists and the rest is meaningful */
    uint32_t has_video;        /**< nonzero: the stream carries video */
    int32_t video_width;       /**< pixels */
    int32_t video_height;      /**< pixels */
    int32_t video_frame_count; /**< number of frames that the stream keeps visible */
    uint32_t has_audio;        /**< nonzero: the stream carries audio */
    int32_t audio_sample_rate; /**< sample frames per second */
    int32_t audio_channels;    /**< interleaved channels */
    uint8_t reserved[8];
} shm_reader_format_t;

/** The audio that a stream holds now. */
typedef struct shm_audio_status
{
    uint32_t valid;        /**< nonzero: there is audio to report */
    uint32_t sample_count; /**< number of sample frames that can be read */
    uint64_t reserved;
    int64_t first_timestamp; /**< start of the oldest audio held, µs */
    int64_t last_timestamp;  /**< end of the newest audio held, µs */
} shm_audio_status_t;

/** The video that a stream holds now, as this reader is shown it (see shm_reader_set_fps()). */
typedef struct shm_video_status
{
    uint32_t frames_valid;   /**< nonzero: there are frames to report */
    uint32_t frame_count;    /**< number of frames that can be locked */
    int64_t first_timestamp; /**< oldest frame, µs */
    int64_t last_timestamp;  /**< newest frame, µs */
    int64_t frame_interval;  /**< nominal time between two frames, µs */
    int64_t interval_jitter; /**< mean deviation of the frame spacing from the nominal one, µs */
    uint64_t frames_written; /**< frames that the writer has published since it opened the stream */
    uint64_t frames_dropped; /**< frames that the writer dropped because every slot was pinned */
} shm_video_status_t;

/** One locked frame. */
typedef struct shm_video_frame
{
    int32_t width;     /**< pixels */
    int32_t height;    /**< pixels */
    int64_t timestamp; /**< in: the time asked for; out: the time of the locked frame; µs */
    uint8_t* plane0;   /**< Y; null: nothing is locked. Memory is mapped read-only. */
    uint8_t* plane1;   /**< Cb, half width and half height, each rounded up */
    uint8_t* plane2;   /**< Cr, like Cb */
    uint64_t lock;     /**< the library's own */
    int32_t stride0;   /**< bytes from line to line of Y */
    int32_t stride1;   /**< bytes from line to line of Cb */
    int32_t stride2;   /**< bytes from line to line of Cr */
    uint32_t reserved;
} shm_video_frame_t;

/** How shm_reader_lock_video() picks a frame. */
typedef enum shm_video_lookup_mode
{
    SHM_VIDEO_LOOKUP_BY_TIMESTAMP = 0, /**< nearest; the earlier of two equally near */
    SHM_VIDEO_LOOKUP_LATEST = 1,       /**< newest, whatever the timestamp */
    SHM_VIDEO_LOOKUP_AT_OR_BEFORE = 2, /**< newest that is not later than the timestamp */
    SHM_VIDEO_LOOKUP_AT_OR_AFTER = 3   /**< oldest that is not earlier than the timestamp */
} shm_video_lookup_mode_t;

/** How audio is positioned by shm_reader_query_audio(). */
enum
{
    SHM_AUDIO_STRICT = 0,    /**< all that is asked must lie within the audio held */
    SHM_AUDIO_CONTINUOUS = 3 /**< goes on where the last read ended, sample for sample */
};

/**
 * Opens the stream @p name (UTF-8, not empty).
 * @return null with errno set when there is no such stream: ENOENT (no live writer), EINVAL,
 * EILSEQ or ENAMETOOLONG (not a name), EACCES (not for this user), EPROTO (corrupt or of another
 * version), EUSERS (too many readers).
 */
SHM_API shm_reader_t* shm_reader_open(const char* name);

/**
 * Closes @p reader; null is ignored. Frames that are still locked stay valid until they are
 * unlocked through this handle, which until then reads as a stream that has gone.
 */
SHM_API void shm_reader_close(shm_reader_t* reader);

/** Tells whether the writer of the stream is alive: 1, or 0 when the stream has gone. */
SHM_API int shm_reader_is_ready(shm_reader_t* reader);

/** Fills @p format. @return 0, or -1 when the stream has gone (@p format is then all zero). */
SHM_API int shm_reader_get_format(shm_reader_t* reader, shm_reader_format_t* format);

/**
 * Thins the video for this reader: from now on it sees only the first frame at or after each
 * instant of the grid of @p num / @p den frames a second. A rate at or above the stream's changes
 * nothing (where the writer named no rate: at or above 95 % of the measured one); exactly 1, 1
 * shows every frame (one frame a second is 1000, 1000).
 * @return 0, or -1 when a part is 0.
 */
SHM_API int shm_reader_set_fps(shm_reader_t* reader, unsigned num, unsigned den);

/**
 * Fills @p status; frames_valid is 0 as long as there are no frames.
 * @return 0, or -1 when the stream carries no video (@p status is then all zero).
 */
SHM_API int shm_reader_get_video_status(shm_reader_t* reader, shm_video_status_t* status);

/**
 * Writes the timestamps of the newest frames that can be locked, at most @p capacity, ascending.
 * @return how many were written, -1 when the stream carries no video or an argument is wrong.
 */
SHM_API int shm_reader_get_video_timestamps(shm_reader_t* reader, int64_t* out, int capacity);

/**
 * Locks one frame, found by @p mode and @p frame->timestamp, and fills @p frame.
 * @return 0; -1 when there is no such frame or this handle has given out 1,024 locks (@p frame is
 * then all zero but the timestamp).
 */
SHM_API int shm_reader_lock_video(
    shm_reader_t* reader, shm_video_frame_t* frame, shm_video_lookup_mode_t mode);

/** Gives a locked frame back and clears it. A frame that is not locked is ignored. */
SHM_API void shm_reader_unlock_video(shm_reader_t* reader, shm_video_frame_t* frame);

/**
 * Fills @p status, which is the same for both modes; valid is 0 as long as there is no audio.
 * @return 0, or -1 when the stream carries no audio or @p mode is unknown (@p status is then all
 * zero).
 */
SHM_API int shm_reader_get_audio_status(shm_reader_t* reader, int mode, shm_audio_status_t* status);

/**
 * Copies up to @p blocks whole blocks of @p block_frames sample frames, beginning at @p timestamp.
 *
 * SHM_AUDIO_STRICT delivers only when all blocks lie within the audio held. SHM_AUDIO_CONTINUOUS
 * delivers the whole blocks that are there; a read goes on at the very sample after the last one
 * unless @p timestamp lies more than 10 ms from it, and never starts before the oldest audio.
 *
 * @param dest room for blocks × block_frames × channels samples
 * @return the number of blocks copied, 0 when not even one is there, -1 when the stream carries no
 * audio or an argument is wrong.
 */
SHM_API int shm_reader_query_audio(shm_reader_t* reader, int mode, void* dest, unsigned long blocks,
    unsigned long block_frames, int64_t timestamp);

#ifdef __cplusplus
}

static_assert(sizeof(shm_reader_format_t) == 40, "fixed layout");
static_assert(sizeof(shm_audio_status_t) == 32, "fixed layout");
static_assert(sizeof(shm_video_status_t) == 56, "fixed layout");
static_assert(sizeof(shm_video_frame_t) == 64, "fixed layout");
static_assert(sizeof(shm_video_lookup_mode_t) == 4, "fixed layout");
#endif

#endif
