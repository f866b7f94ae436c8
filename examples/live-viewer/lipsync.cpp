#include "lipsync.h"

#include <algorithm>
#include <cstdlib>

namespace {

// What was on its way when the picture was moved says nothing of the new place.
constexpr qint64 OnItsWay = 500'000; // µs
constexpr size_t Judged = 25;        // frames

// Below half a frame there is no better place; a little more keeps noise from moving the picture.
constexpr double Tolerance = 0.55;

} // namespace

void LipSync::restart()
{
    mPlaced = false;
}

std::optional<qint64> LipSync::painted(
    qint64 timestamp, qint64 now, qint64 soundLag, qint64 interval)
{
    if (!mPlaced)
        return move(now, soundLag, interval);
    if (now - mPlacedAt < OnItsWay)
        return {};
    mOffsets.push_back(timestamp - (now - soundLag));
    if (mOffsets.size() < Judged)
        return {};
    auto const middle = mOffsets.begin() + Judged / 2;
    std::nth_element(mOffsets.begin(), middle, mOffsets.end());
    qint64 const offset = *middle;
    mOffsets.clear();
    if (std::abs(static_cast<double>(offset)) <= Tolerance * static_cast<double>(interval))
        return {};
    mLead -= offset;
    return move(now, soundLag, interval);
}

std::optional<qint64> LipSync::move(qint64 now, qint64 soundLag, qint64 interval)
{
    mPlaced = true;
    mPlacedAt = now;
    mOffsets.clear();
    // The delay asked for is cut to whole frames; with half a frame more it is rounded.
    return now - soundLag + mLead - interval / 2;
}
