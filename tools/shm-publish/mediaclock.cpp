#include "mediaclock.h"

#include <time.h>

#include <cstdlib>

namespace {

constexpr int64_t LargestIgnoredStep = 1000000;

int64_t microseconds(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

/** How far the wall clock is ahead of the monotonic one. */
int64_t monotonicToWall()
{
    // The two readings can be torn apart by another process that gets the core in between; the
    // closest of a few pairs was not.
    int64_t best = 0;
    int64_t shortest = INT64_MAX;
    for (int i = 0; i < 3; ++i) {
        int64_t const before = microseconds(CLOCK_MONOTONIC);
        int64_t const wall = microseconds(CLOCK_REALTIME);
        int64_t const after = microseconds(CLOCK_MONOTONIC);
        if (after - before < shortest) {
            shortest = after - before;
            best = wall - before - shortest / 2;
        }
    }
    return best;
}

} // namespace

MediaClock::MediaClock(Basis basis)
    : mBasis(basis)
    , mMonotonicToWall(monotonicToWall())
{
    if (mBasis == Basis::WallClock)
        mMediaToMonotonic = -mMonotonicToWall;
}

void MediaClock::start(int64_t media)
{
    if (mBasis == Basis::Start)
        mMediaToMonotonic = monotonicNow() - media;
}

int64_t MediaClock::followWallClock()
{
    int64_t const current = monotonicToWall();
    int64_t const step = current - mMonotonicToWall;
    if (std::abs(step) <= LargestIgnoredStep)
        return 0;
    mMonotonicToWall = current;
    if (mBasis == Basis::WallClock)
        mMediaToMonotonic = -current;
    return step;
}

int64_t MediaClock::monotonicNow()
{
    return microseconds(CLOCK_MONOTONIC);
}
