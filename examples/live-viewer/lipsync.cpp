#include "lipsync.h"

#include <algorithm>
#include <cstdlib>

namespace {

// What was on its way when the picture was moved says nothing of the new place.
constexpr qint64 OnItsWay = 500'000; // µs
constexpr size_t Judged = 25;        // frames

// Where moving doesn't help, as when the stream doesn't keep frames that are old enough, it is
// tried less and less often.
constexpr size_t MostJudged = 8 * Judged;

// What a frame takes to the screen, at most; more would be the work of vain moves. In frames.
constexpr qint64 MaxLead = 3;

// In frame intervals; beyond the place that is wanted, so that noise doesn't move the picture.
constexpr double Tolerance = 0.1;

} // namespace

LipSync::LipSync()
    : mJudged(Judged)
{}

void LipSync::restart()
{
    mPlaced = false;
    mJudged = Judged;
}

std::optional<qint64> LipSync::painted(
    qint64 timestamp, qint64 now, qint64 soundLag, qint64 interval)
{
    if (!mPlaced)
        return move(now, soundLag);
    if (now - mPlacedAt < OnItsWay)
        return {};
    mOffsets.push_back(timestamp - (now - soundLag));
    if (mOffsets.size() < mJudged)
        return {};
    auto const middle = mOffsets.begin() + static_cast<std::ptrdiff_t>(mOffsets.size() / 2);
    std::nth_element(mOffsets.begin(), middle, mOffsets.end());
    qint64 const offset = *middle;
    mOffsets.clear();
    qint64 const fromMiddle = offset - interval / 2;
    if (std::abs(static_cast<double>(fromMiddle)) <=
        (0.5 + Tolerance) * static_cast<double>(interval)) {
        mJudged = Judged;
        return {};
    }
    mJudged = std::min(2 * mJudged, MostJudged);
    mLead = qBound(-MaxLead * interval, mLead - fromMiddle, MaxLead * interval);
    return move(now, soundLag);
}

qint64 LipSync::move(qint64 now, qint64 soundLag)
{
    mPlaced = true;
    mPlacedAt = now;
    mOffsets.clear();
    // The delay is then cut to whole frames, which is what puts the picture ahead.
    return now - soundLag + mLead;
}
