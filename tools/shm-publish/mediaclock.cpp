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
        const int64_t before = microseconds(CLOCK_MONOTONIC);
        const int64_t wall = microseconds(CLOCK_REALTIME);
        const int64_t after = microseconds(CLOCK_MONOTONIC);
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
    const int64_t current = monotonicToWall();
    const int64_t step = current - mMonotonicToWall;
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
