#ifndef FRAMELOG_H
#define FRAMELOG_H

#include <atomic>
#include <cstdint>
#include <vector>

/** What the sender writes into the first bytes of a frame, last of all before it hands it over. */
struct FrameMark
{
    int64_t index;
    double sent; /**< seconds of the monotonic clock */
};

/** Counts the frames of one round: first some to get everything going, then those measured. */
class FrameLog
{
public:
    static constexpr int64_t warmUp = 20;
    static constexpr int64_t measured = 80;
    static constexpr int64_t last = warmUp + measured;

    FrameLog();

    /** To be called as soon as a frame is there; one seen before is ignored. By one thread. */
    void arrived(const FrameMark& mark);

    /** Adds time that the transport took to look for a frame, s. By the thread of arrived(). */
    void lookedFor(double seconds);

    /** The last frame has come, or has been waited for too long. Any thread. */
    bool isComplete() const;

    /**
     * Frames from the first measured to the last one, those that were never seen included; 0 when
     * the last one has not come.
     */
    int64_t span() const { return mComplete ? mLastIndex - mFirstIndex : 0; }
    /** Processor time of the process between these two, s. */
    double processorTimeUsed() const { return mEndTime - mBeginTime; }
    /** Part of it that went into looking for frames, s. */
    double lookTime() const { return mLookTime; }
    const std::vector<double>& latencies() const { return mLatencies; }

private:
    std::vector<double> mLatencies;
    int64_t mFirstIndex = 0;
    int64_t mLastIndex = 0;
    double mBeginTime = 0;
    double mEndTime = 0;
    double mLookTime = 0;
    double mDeadline;
    std::atomic<bool> mComplete{false};
};

#endif
