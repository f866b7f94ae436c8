#include "framelog.h"

#include "support/clocks.h"

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
