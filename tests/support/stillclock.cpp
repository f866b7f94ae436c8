#include "stillclock.h"

#include <atomic>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

extern "C" {
#include <libavutil/time.h>
}

namespace {

std::atomic<bool> still{false};
std::atomic<qint64> monotonicMs{0};
std::atomic<qint64> wallUs{0};

int realTime(clockid_t clock, timespec* time)
{
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

} // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(
    clockid_t clock, timespec* time) noexcept
{
    if (!still || clock != CLOCK_MONOTONIC)
        return realTime(clock, time);
    *time = {static_cast<time_t>(monotonicMs / 1000), (monotonicMs % 1000) * 1000000};
    return 0;
}

extern "C" __attribute__((visibility("default"))) int64_t av_gettime()
{
    if (still)
        return wallUs;
    timespec now = {};
    realTime(CLOCK_REALTIME, &now);
    return now.tv_sec * INT64_C(1000000) + now.tv_nsec / 1000;
}

StillClock::StillClock(qint64 wallClock)
{
    if (still)
        qFatal("the clocks are stopped already");
    timespec now = {};
    realTime(CLOCK_MONOTONIC, &now);
    monotonicMs = now.tv_sec * 1000 + now.tv_nsec / 1000000;
    wallUs = wallClock;
    still = true;
}

StillClock::~StillClock()
{
    still = false;
}

void StillClock::advance(qint64 milliseconds)
{
    monotonicMs += milliseconds;
}

void StillClock::setWallClock(qint64 microseconds)
{
    wallUs = microseconds;
}
