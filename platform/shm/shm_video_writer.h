#ifndef SHM_VIDEO_WRITER_H
#define SHM_VIDEO_WRITER_H

#include "shm_layout.h"
#include "shm_pins.h"
#include "shm_writer.h"

#include <array>
#include <chrono>

namespace shm {

/** Hands out slots for frames and publishes them. Not thread-safe. */
class VideoWriter
{
public:
    /** @p media: the whole media file, @p config: a copy of its configuration. */
    VideoWriter(uint8_t* media, MediaConfig const& config, UniqueFd pins);

    // As the functions of shm_writer.h: 0, or an errno value.
    int acquire(shm_writer_frame_t& frame);
    int commit(shm_writer_frame_t const& frame, int64_t timestamp);
    int hold(shm_writer_frame_t const& frame);
    int release(shm_writer_frame_t const& frame);
    void getStatistics(shm_writer_statistics_t& statistics);

private:
    using Clock = std::chrono::steady_clock;

    enum class State
    {
        Free,    /**< nobody reads it nor can begin to */
        Filling, /**< acquired, not yet committed */
        Visible, /**< in the window: any reader may pin it */
        Retired  /**< out of the window: no reader can pin it anew, some may still hold it */
    };
    struct Slot
    {
        State state = State::Free;
        uint32_t holds = 0;  /**< the writer's own */
        uint64_t serial = 0; /**< tells the frames that were acquired in this slot apart */
    };

    Slot* heldSlot(shm_writer_frame_t const& frame);
    int findFree() const;
    int freeRetired();
    int freeVisible();
    int findSlot();
    void retireOldest();
    void clearDeadPins(Clock::duration leastPause);

    FrameEntry& entry(uint64_t number) const;
    std::atomic<uint64_t>& generation(uint32_t slot) const;

    uint8_t* const mMedia;
    MediaConfig const mConfig;
    VideoState& mShared;
    WriterPins mPins;
    std::array<Slot, maximumSlotCount> mSlots;
    std::array<uint32_t, maximumFrameCount> mWindow = {}; /**< slot of frame n at n % frame_count */
    uint64_t mTail = 0;
    uint64_t mHead = 0;
    uint64_t mDropped = 0;
    uint64_t mNextSerial = 1;
    int64_t mLastTimestamp = 0;
    Clock::time_point mLastClearing;
};

} // namespace shm

#endif
