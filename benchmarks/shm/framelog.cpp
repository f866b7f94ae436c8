#include "framelog.h"

#include <ctime>

namespace {

double timeOf(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

} // namespace

double monotonicTime()
{
    return timeOf(CLOCK_MONOTONIC);
}

double processorTime()
{
    return timeOf(CLOCK_PROCESS_CPUTIME_ID);
}

FrameLog::FrameLog()
    : mDeadline(monotonicTime() + 20)
{
    mLatencies.reserve(measured);
}

void FrameLog::arrived(const FrameMark& mark)
{
    if (mark.index <= warmUp || mark.index <= mLastIndex)
        return;
    const double now = monotonicTime();
    mLatencies.push_back(now - mark.sent);
    mLastIndex = mark.index;
    if (mLatencies.size() == 1) {
        mFirstIndex = mark.index;
        mBeginTime = processorTime();
    }
    if (mark.index == last) {
        mEndTime = processorTime();
        mComplete = true;
    }
}

void FrameLog::lookedFor(double seconds)
{
    if (mFirstIndex > 0)
        mLookTime += seconds;
}

bool FrameLog::isComplete() const
{
    return mComplete || monotonicTime() > mDeadline;
}
