#include "shm_video_writer.h"

#include "shm_fence.h"

#include <cerrno>

namespace shm {

namespace {

using std::chrono::milliseconds;

// Dead readers are looked for this often while frames are written, and sooner when slots run out.
constexpr milliseconds usualClearingPause(250);
constexpr milliseconds urgentClearingPause(20);

} // namespace

VideoWriter::VideoWriter(uint8_t* media, MediaConfig const& config, UniqueFd pins)
    : mMedia(media)
    , mConfig(config)
    , mShared(reinterpret_cast<MediaHeader*>(media)->video)
    , mPins(std::move(pins), config.slot_count)
    , mLastClearing(Clock::now())
{}

FrameEntry& VideoWriter::entry(uint64_t number) const
{
    auto* const index = reinterpret_cast<FrameEntry*>(mMedia + mConfig.index_offset);
    return index[number % mConfig.index_capacity];
}

std::atomic<uint64_t>& VideoWriter::generation(uint32_t slot) const
{
    return reinterpret_cast<std::atomic<uint64_t>*>(mMedia + mConfig.generations_offset)[slot];
}

/** The slot of @p frame if the caller holds it, else null. */
VideoWriter::Slot* VideoWriter::heldSlot(shm_writer_frame_t const& frame)
{
    if (frame.slot >= mConfig.slot_count)
        return nullptr;
    Slot& slot = mSlots[frame.slot];
    return slot.serial == frame.generation && slot.holds > 0 ? &slot : nullptr;
}

int VideoWriter::findFree() const
{
    for (uint32_t i = 0; i < mConfig.slot_count; ++i) {
        if (mSlots[i].state == State::Free)
            return int(i);
    }
    return -1;
}

/** Frees the retired slots that nobody holds any more; @return one of them or -1. */
int VideoWriter::freeRetired()
{
    mPins.refresh();
    for (uint32_t i = 0; i < mConfig.slot_count; ++i) {
        Slot& slot = mSlots[i];
        if (slot.state == State::Retired && slot.holds == 0 && !mPins.isPinned(i))
            slot.state = State::Free;
    }
    return findFree();
}

/** Takes the oldest visible slot that nobody holds, and all older ones, out of the window. */
int VideoWriter::freeVisible()
{
    bool isAnyLoose = false;
    for (uint64_t number = mTail; number != mHead; ++number) {
        uint32_t const slot = mWindow[number % mConfig.frame_count];
        isAnyLoose |= mSlots[slot].holds == 0 && !mPins.isPinned(slot);
    }
    // Readers keep their window when emptying it would help nobody.
    int found = -1;
    while (isAnyLoose && found < 0 && mTail != mHead) {
        retireOldest();
        found = freeRetired();
    }
    return found;
}

int VideoWriter::findSlot()
{
    int slot = findFree();
    if (slot < 0)
        slot = freeRetired();
    return slot < 0 ? freeVisible() : slot;
}

void VideoWriter::clearDeadPins(Clock::duration leastPause)
{
    auto const now = Clock::now();
    if (now - mLastClearing < leastPause)
        return;
    mLastClearing = now;
    mPins.clearDeadRows();
}

void VideoWriter::retireOldest()
{
    uint32_t const slot = mWindow[mTail % mConfig.frame_count];
    mShared.tail.store(++mTail, std::memory_order_release);
    generation(slot).store(0, std::memory_order_seq_cst);
    // The pins are looked at after this, by a system call.
    fullFence();
    mSlots[slot].state = State::Retired;
}

int VideoWriter::acquire(shm_writer_frame_t& frame)
{
    clearDeadPins(usualClearingPause);
    int found = findSlot();
    if (found < 0) {
        clearDeadPins(urgentClearingPause);
        found = findSlot();
    }
    if (found < 0) {
        mShared.dropped.store(++mDropped, std::memory_order_relaxed);
        return EAGAIN;
    }
    Slot& slot = mSlots[size_t(found)];
    slot.state = State::Filling;
    slot.holds = 1;
    slot.serial = mNextSerial++;

    uint8_t* const base = mMedia + mConfig.slots_offset + uint64_t(found) * mConfig.slot_size;
    frame = {};
    frame.plane[0] = base;
    frame.plane[1] = base + mConfig.plane1_offset;
    frame.plane[2] = base + mConfig.plane2_offset;
    for (int plane = 0; plane < 3; ++plane) {
        frame.stride[plane] = int32_t(plane == 0 ? mConfig.luma_stride : mConfig.chroma_stride);
        frame.lines[plane] = int32_t(plane == 0 ? mConfig.luma_lines : mConfig.chroma_lines);
    }
    frame.slot = uint32_t(found);
    frame.generation = slot.serial;
    return 0;
}

int VideoWriter::commit(shm_writer_frame_t const& frame, int64_t timestamp)
{
    Slot* const slot = heldSlot(frame);
    if (!slot || slot->state != State::Filling || (mHead != 0 && timestamp <= mLastTimestamp))
        return EINVAL;
    // First, so that readers never see more frames than the stream says it keeps.
    if (mHead - mTail == mConfig.frame_count)
        retireOldest();

    FrameEntry& description = entry(mHead);
    description.sequence.store(0, std::memory_order_relaxed);
    description.timestamp.store(timestamp, std::memory_order_release);
    description.previous.store(mLastTimestamp, std::memory_order_release);
    description.slot.store(frame.slot, std::memory_order_release);
    description.sequence.store(mHead + 1, std::memory_order_release);
    generation(frame.slot).store(mHead + 1, std::memory_order_release);

    mWindow[mHead % mConfig.frame_count] = frame.slot;
    mLastTimestamp = timestamp;
    slot->state = State::Visible;
    --slot->holds;
    mShared.head.store(++mHead, std::memory_order_release);
    return 0;
}

int VideoWriter::hold(shm_writer_frame_t const& frame)
{
    Slot* const slot = heldSlot(frame);
    if (!slot)
        return EINVAL;
    ++slot->holds;
    return 0;
}

int VideoWriter::release(shm_writer_frame_t const& frame)
{
    Slot* const slot = heldSlot(frame);
    if (!slot)
        return EINVAL;
    if (--slot->holds == 0 && slot->state == State::Filling)
        slot->state = State::Free;
    return 0;
}

void VideoWriter::getStatistics(shm_writer_statistics_t& statistics)
{
    clearDeadPins(usualClearingPause);
    mPins.refresh();
    statistics.video_frames_written = mHead;
    statistics.video_frames_dropped = mDropped;
    statistics.readers = mPins.countReaders();
    statistics.slot_count = mConfig.slot_count;
    for (uint32_t i = 0; i < mConfig.slot_count; ++i) {
        statistics.pins += mPins.lockCount(i);
        statistics.pinned_slots += mPins.isPinned(i);
    }
}

} // namespace shm
