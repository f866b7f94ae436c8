/**
 * Publishing live media streams in shared memory; shm_reader.h is the other side.
 *
 * The writer never waits for a reader. Video frames are written in place: acquire a frame, fill
 * its planes, commit it with its timestamp. The newest video_frame_count frames stay visible;
 * older ones that a reader or the writer itself still holds stay readable in spare slots. When
 * every slot is held, no frame can be acquired: that frame is dropped and counted.
 *
 * Lifetime: frames belong to the writer that gave them and end with shm_writer_close(). When the
 * process dies, the kernel tells the readers at once and another writer may take the name.
 *
 * Threads: every function is thread-safe, except that nothing else may be called with a writer
 * while it is closed.
 */
#ifndef SHM_WRITER_H
#define SHM_WRITER_H

#include "shm_reader.h"

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** One stream being written; opaque. */
typedef struct shm_writer shm_writer_t;

/** What is to be published; begin with shm_writer_config_init(). */
typedef struct shm_writer_config
{
    const char* name;          /**< stream name: UTF-8, not empty, at most 1023 bytes */
    int32_t video_width;       /**< pixels, up to 16384; 0: no video */
    int32_t video_height;      /**< pixels, up to 16384; 0: no video */
    int32_t video_frame_count; /**< frames kept visible, 2 to 64 (8) */
    int32_t video_spare_count; /**< further slots for frames that are held, 1 to 64 (8) */
    uint32_t frame_rate_num;   /**< nominal frames per second; 0: measured */
    uint32_t frame_rate_den;
    int32_t audio_sample_rate;  /**< sample frames per second, up to 384000; 0: no audio */
    int32_t audio_channels;     /**< 1 to 64; 0: no audio */
    uint32_t audio_duration_ms; /**< audio kept readable, 2000 to 60000 (2000) */
    mode_t mode;                /**< access, as for a file: its read bits allow reading (0660) */
    const char* group; /**< group name or number that owns the stream; null: the process's */
} shm_writer_config_t;

/** One video frame to be filled. */
typedef struct shm_writer_frame
{
    uint8_t* plane[3];   /**< Y, Cb, Cr; each line start is aligned to 64 bytes */
    int32_t stride[3];   /**< bytes from line to line */
    int32_t lines[3];    /**< lines that may be written: the picture and the codec padding below */
    uint32_t slot;       /**< the library's own */
    uint64_t generation; /**< the library's own */
} shm_writer_frame_t;

/** Counters since the stream was opened, and what is held now. */
typedef struct shm_writer_statistics
{
    uint64_t video_frames_written;
    uint64_t video_frames_dropped; /**< not acquired because every slot was held */
    uint64_t audio_frames_written; /**< sample frames */
    uint64_t audio_breaks;         /**< times that a step in the timestamps ended the older audio */
    uint32_t readers;              /**< handles open now */
    uint32_t pinned_slots;         /**< slots that readers hold now */
    uint32_t pins;                 /**< locks that readers hold now */
    uint32_t slot_count;           /**< video slots in all */
} shm_writer_statistics_t;

/** Sets every field of @p config to its default (in brackets above) or to 0. */
SHM_API void shm_writer_config_init(shm_writer_config_t* config);

/**
 * Opens a stream and publishes its format.
 * @param error receives one line without newline that names the stream and what was wrong; may be
 * null
 * @return null with errno set on failure; EBUSY: the name has a live writer; EINVAL, EILSEQ or
 * ENAMETOOLONG: a wrong configuration; ENOSPC: not enough shared memory.
 */
SHM_API shm_writer_t* shm_writer_open(
    const shm_writer_config_t* config, char* error, size_t error_size);

/** Ends the stream; readers keep the frames they hold. Null is ignored. */
SHM_API void shm_writer_close(shm_writer_t* writer);

/**
 * Takes a free slot to write a frame into. The caller holds it until it is committed or released.
 * @return 0; -1 with errno EAGAIN when every slot is held (the drop is counted), EINVAL when the
 * stream has no video (@p frame is then all zero).
 */
SHM_API int shm_writer_acquire_frame(shm_writer_t* writer, shm_writer_frame_t* frame);

/**
 * Publishes a frame and ends the caller's hold on it. Once committed it must not be written again.
 * @return 0; -1 with errno EINVAL when @p timestamp is not later than the last one committed, or
 * @p frame is not one that the caller holds (the hold stays as it is).
 */
SHM_API int shm_writer_commit_frame(
    shm_writer_t* writer, const shm_writer_frame_t* frame, int64_t timestamp);

/**
 * Adds a hold to a frame that is held, so that its memory stays readable after the commit (a video
 * decoder goes on reading its reference frames).
 * @return 0; -1 with errno EINVAL when the frame is not held.
 */
SHM_API int shm_writer_hold_frame(shm_writer_t* writer, const shm_writer_frame_t* frame);

/**
 * Ends one hold; a frame never committed is free again when its last hold ends.
 * @return 0; -1 with errno EINVAL when the frame is not held.
 */
SHM_API int shm_writer_release_frame(shm_writer_t* writer, const shm_writer_frame_t* frame);

/**
 * Appends @p count sample frames that begin at @p timestamp. A gap or a step back of more than a
 * millisecond against the end of the audio before ends the older audio.
 * @return 0; -1 with errno EINVAL when the stream has no audio or an argument is wrong.
 */
SHM_API int shm_writer_append_audio(
    shm_writer_t* writer, const int16_t* samples, uint32_t count, int64_t timestamp);

/** Fills @p statistics. @return 0; -1 with errno EINVAL when an argument is null. */
SHM_API int shm_writer_get_statistics(shm_writer_t* writer, shm_writer_statistics_t* statistics);

#ifdef __cplusplus
}
#endif

#endif
