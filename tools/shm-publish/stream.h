#ifndef STREAM_H
#define STREAM_H

#include "options.h"

#include <shm_writer.h>

#include <cstdint>
#include <memory>
#include <string>

/** What a source has to publish. */
struct MediaFormat
{
    int width = 0; /**< pixels; 0: no video */
    int height = 0;
    AVRational rate = {0, 1}; /**< nominal frames a second; 0: unknown */
    int sampleRate = 0;       /**< 0: no audio */
    int channels = 0;
    int heldSlots = 0; /**< slots that the source itself holds at most beside the visible ones */
};

/** What the stream itself can't count. */
struct Counters
{
    uint64_t direct = 0;      /**< frames decoded straight into their slot */
    uint64_t converted = 0;   /**< frames that went through a conversion */
    uint64_t late = 0;        /**< frames left out because their time was over or came twice */
    uint64_t stalls = 0;      /**< times that everything was moved because the input came late */
    uint64_t undecodable = 0; /**< packets that were no use to the decoder */
};

/**
 * The stream being published. Its slots end with it and with reopen(): whoever holds one gives it
 * back before.
 */
class Stream
{
public:
    /** Opens the stream; throws Failure, for example when the name is taken. */
    Stream(Options const& options, MediaFormat const& format);

    MediaFormat const& format() const { return mFormat; }

    /**
     * Whether a slot can be taken before it is due. When readers hold more than their share, it
     * would cost them a frame that they still see.
     */
    bool mayTakeAhead() const;

    /** Takes a slot to fill; false when readers hold them all, which counts as a dropped frame. */
    bool acquire(shm_writer_frame_t& frame);

    /** Publishes a slot; false, with the slot still held, when @p timestamp does not ascend. */
    bool commit(shm_writer_frame_t const& frame, int64_t timestamp);

    /** Adds a hold, which release() ends, to a slot that is to outlive its commit(). */
    void hold(shm_writer_frame_t const& frame);
    void release(shm_writer_frame_t const& frame);

    void append(int16_t const* samples, uint32_t count, int64_t timestamp);

    /** Ends the stream and opens it again, so that timestamps may step back; throws Failure. */
    void reopen();

    /** The counters since the first opening. */
    shm_writer_statistics_t statistics() const;

    Counters counters;

private:
    void open();

    struct Closer
    {
        void operator()(shm_writer_t* writer) const { shm_writer_close(writer); }
    };

    Options mOptions;
    MediaFormat mFormat;
    std::unique_ptr<shm_writer_t, Closer> mWriter;
    shm_writer_statistics_t mBefore = {}; /**< sums over the writers closed by reopen() */
};

#endif
