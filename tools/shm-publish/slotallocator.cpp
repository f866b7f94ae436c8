#include "slotallocator.h"

#include <algorithm>
#include <memory>

namespace {

/** Whether @p decoder has the room in @p slot that it needs for @p frame. */
bool fits(AVCodecContext& decoder, AVFrame const& frame, shm_writer_frame_t const& slot)
{
    int width = frame.width;
    int height = frame.height;
    int alignments[AV_NUM_DATA_POINTERS] = {};
    avcodec_align_dimensions2(&decoder, &width, &height, alignments);
    for (int plane = 0; plane < 3; ++plane) {
        int const shift = plane ? 1 : 0;
        if (slot.stride[plane] < AV_CEIL_RSHIFT(width, shift) ||
            slot.lines[plane] < AV_CEIL_RSHIFT(height, shift) ||
            slot.stride[plane] % alignments[plane] != 0)
            return false;
    }
    return true;
}

size_t sizeOf(shm_writer_frame_t const& slot)
{
    return static_cast<size_t>(slot.plane[2] - slot.plane[0]) +
           static_cast<size_t>(slot.stride[2]) * static_cast<size_t>(slot.lines[2]);
}

} // namespace

bool SlotAllocator::takes(AVCodecContext const& decoder, AVFrame const& frame)
{
    return decoder.codec->capabilities & AV_CODEC_CAP_DR1 &&
           (frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P);
}

void SlotAllocator::install(AVCodecContext& decoder)
{
    decoder.opaque = this;
    decoder.get_buffer2 = getBuffer;
}

void SlotAllocator::attach(Stream& stream, int limit)
{
    std::lock_guard const lock(mMutex);
    mStream = &stream;
    mLimit = static_cast<size_t>(limit);
}

int SlotAllocator::getBuffer(AVCodecContext* decoder, AVFrame* frame, int flags)
{
    bool const wanted =
        decoder->codec->capabilities & AV_CODEC_CAP_DR1 &&
        (frame->format == AV_PIX_FMT_YUV420P || frame->format == AV_PIX_FMT_YUVJ420P);
    if (wanted && static_cast<SlotAllocator*>(decoder->opaque)->allocate(*decoder, *frame))
        return 0;
    return avcodec_default_get_buffer2(decoder, frame, flags);
}

bool SlotAllocator::allocate(AVCodecContext& decoder, AVFrame& frame)
{
    std::lock_guard const lock(mMutex);
    auto slot = std::make_unique<Slot>(Slot{this, {}, false});
    if (!mStream || mSlots.size() >= mLimit || !mStream->mayTakeAhead() ||
        !mStream->acquire(slot->frame))
        return false;
    // Read-only: some decoders go on writing into a frame that nobody else seems to use, but its
    // readers are in other processes.
    AVBufferRef* const buffer = fits(decoder, frame, slot->frame)
                                    ? av_buffer_create(slot->frame.plane[0], sizeOf(slot->frame),
                                          freeBuffer, slot.get(), AV_BUFFER_FLAG_READONLY)
                                    : nullptr;
    if (!buffer) {
        mStream->release(slot->frame);
        return false;
    }
    frame.buf[0] = buffer;
    for (int plane = 0; plane < 3; ++plane) {
        frame.data[plane] = slot->frame.plane[plane];
        frame.linesize[plane] = slot->frame.stride[plane];
    }
    frame.extended_data = frame.data;
    mSlots.push_back(slot.release());
    return true;
}

void SlotAllocator::freeBuffer(void* opaque, uint8_t*)
{
    std::unique_ptr<Slot> const slot(static_cast<Slot*>(opaque));
    SlotAllocator& self = *slot->allocator;
    std::lock_guard const lock(self.mMutex);
    self.mStream->release(slot->frame);
    self.mSlots.erase(std::find(self.mSlots.begin(), self.mSlots.end(), slot.get()));
}

SlotAllocator::Slot* SlotAllocator::find(AVFrame const& frame) const
{
    // Only our own buffers have a slot behind them.
    void const* const opaque = frame.buf[0] ? av_buffer_get_opaque(frame.buf[0]) : nullptr;
    auto const slot = std::find(mSlots.begin(), mSlots.end(), opaque);
    return slot == mSlots.end() ? nullptr : *slot;
}

bool SlotAllocator::isPublishable(AVFrame const& frame) const
{
    std::lock_guard const lock(mMutex);
    Slot const* const slot = find(frame);
    // Cropping on the left or above moves the planes; some codecs show a frame twice.
    return slot && !slot->published && std::equal(frame.data, frame.data + 3, slot->frame.plane) &&
           frame.width == mStream->format().width && frame.height == mStream->format().height;
}

bool SlotAllocator::publish(AVFrame const& frame, int64_t timestamp)
{
    std::lock_guard const lock(mMutex);
    Slot* const slot = find(frame);
    mStream->hold(slot->frame);
    slot->published = mStream->commit(slot->frame, timestamp);
    if (!slot->published)
        mStream->release(slot->frame);
    return slot->published;
}
