#include "framestatistics.h"

#include <algorithm>
#include <chrono>

namespace {

// More than any stream holds; frames older than that are not shown any more.
constexpr size_t MaxRecent = 1024;

constexpr qint64 LatencyClass = 100;      // µs
constexpr qint64 MaxLatency = 10'000'000; // µs; all above counts as this

constexpr double MicrosecondsPerMs = 1000;
constexpr double MicrosecondsPerSecond = 1e6;

std::optional<double> milliseconds(std::optional<double> const& microseconds)
{
    return microseconds ? std::optional(*microseconds / MicrosecondsPerMs) : std::nullopt;
}

} // namespace

qint64 wallClock()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

FrameStatistics::FrameStatistics(qint64 start)
    : mStart(start)
    , mLatencies(0, MaxLatency, LatencyClass)
{}

void FrameStatistics::published(QVector<qint64> const& timestamps)
{
    std::lock_guard const lock(mMutex);
    if (timestamps.isEmpty())
        return;
    auto fresh = timestamps.begin();
    // Times that have all stepped back belong to a clock set back or to another publisher.
    if (!mRecent.empty() && timestamps.last() >= mRecent.back().timestamp)
        fresh = std::upper_bound(fresh, timestamps.end(), mRecent.back().timestamp);
    std::for_each(fresh, timestamps.end(), [this](qint64 timestamp) { append(timestamp); });
}

bool FrameStatistics::painted(qint64 timestamp, qint64 now)
{
    std::lock_guard const lock(mMutex);
    qint64 index = indexOf(timestamp);
    if (index < 0) {
        // Too old to be remembered, or else shown sooner than its publication was noticed.
        if (!mRecent.empty() && timestamp < mRecent.back().timestamp)
            return false;
        append(timestamp);
        index = mRecentBegin + qint64(mRecent.size()) - 1;
    }
    Frame& frame = mRecent[index - mRecentBegin];
    if (frame.shown)
        return false;
    frame.shown = true;
    ++mCounts.shown;

    if (mFirstShown < 0) {
        mFirstShown = index;
        mFirstPaint = now;
    } else {
        if (index > mLastShown)
            mCounts.missed += index - mLastShown - 1;
        else if (index > mFirstShown)
            --mCounts.missed; // after all: the display stepped back to it
        mLongestPause = std::max(mLongestPause, now - mLastPaint);
    }
    mLastShown = std::max(mLastShown, index);
    mLastPaint = now;
    mLatencies.add(now - timestamp);
    return true;
}

void FrameStatistics::repeated()
{
    std::lock_guard const lock(mMutex);
    ++mCounts.repeated;
}

FrameFigures FrameStatistics::figures() const
{
    std::lock_guard const lock(mMutex);
    FrameFigures figures = mCounts;
    if (mLastPaint > mFirstPaint) {
        figures.displayRate =
            (mCounts.shown - 1) * MicrosecondsPerSecond / (mLastPaint - mFirstPaint);
    }
    figures.latencyP50Ms = milliseconds(mLatencies.percentile(0.50));
    figures.latencyP99Ms = milliseconds(mLatencies.percentile(0.99));
    figures.longestPauseMs = mLongestPause / MicrosecondsPerMs;
    return figures;
}

void FrameStatistics::append(qint64 timestamp)
{
    mRecent.push_back({timestamp, false});
    if (timestamp >= mStart)
        ++mCounts.published;
    if (mRecent.size() > MaxRecent) {
        mRecent.pop_front();
        ++mRecentBegin;
    }
}

qint64 FrameStatistics::indexOf(qint64 timestamp) const
{
    auto const found = std::find_if(mRecent.rbegin(), mRecent.rend(),
        [timestamp](Frame const& frame) { return frame.timestamp == timestamp; });
    return found == mRecent.rend() ? -1 : mRecentBegin + (mRecent.rend() - found) - 1;
}
