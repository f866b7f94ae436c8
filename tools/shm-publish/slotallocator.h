#ifndef SLOTALLOCATOR_H
#define SLOTALLOCATOR_H

#include "ffmpeg.h"
#include "stream.h"

#include <mutex>
#include <vector>

/**
 * Gives a video decoder the slots of a stream to decode into, where the format of the pictures
 * allows it, and ordinary memory otherwise. Decoders may call it from several threads.
 */
class SlotAllocator
{
public:
    SlotAllocator() = default;
    SlotAllocator(SlotAllocator const&) = delete;
    SlotAllocator& operator=(SlotAllocator const&) = delete;

    /** Whether @p decoder can put pictures such as @p frame into slots. */
    static bool takes(AVCodecContext const& decoder, AVFrame const& frame);

    /** Makes @p decoder, not yet opened, ask here. This must outlive it and its frames. */
    void install(AVCodecContext& decoder);

    /**
     * Gives out up to @p limit slots of @p stream at a time from now on; it must outlive the
     * frames decoded into them.
     */
    void attach(Stream& stream, int limit);

    /** Whether @p frame lies in a slot as the stream's readers expect it, not yet published. */
    bool isPublishable(AVFrame const& frame) const;

    /** Publishes a publishable frame; the decoder may go on reading it. */
    bool publish(AVFrame const& frame, int64_t timestamp);

private:
    struct Slot
    {
        SlotAllocator* allocator;
        shm_writer_frame_t frame;
        bool published;
    };

    static int getBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);
    static void freeBuffer(void* slot, uint8_t* data);
    bool allocate(AVCodecContext& decoder, AVFrame& frame);
    Slot* find(AVFrame const& frame) const;

    mutable std::mutex mMutex;
    Stream* mStream = nullptr;
    size_t mLimit = 0;
    std::vector<Slot*> mSlots; /**< that decoded frames lie in; few enough to search */
};

#endif
