#include "utils/opsratecounter.h"

#include <chrono>

namespace {

constexpr double NanosecondsPerSecond = 1e9;

qint64 wallClockNanoseconds()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
}

} // namespace

OpsRateCounter::OpsRateCounter(double alpha, double initialRate)
    : mAlpha(alpha)
    , mRate(initialRate)
{}

void OpsRateCounter::restart(double rate)
{
    // The times stay: nothing reads them before the next ticks set them again.
    mCount = 0;
    mRate = rate;
}

void OpsRateCounter::tick()
{
    ++mCount;
    qint64 const now = wallClockNanoseconds();
    if (mCount == 1) {
        mFirstTick = now;
        mLastTick = now;
        return;
    }
    qint64 const spacing = now - mLastTick;
    mLastTick = now;
    mRate = (1 - mAlpha) * mRate + mAlpha * (1 / (spacing / NanosecondsPerSecond));
}

double OpsRateCounter::duration() const
{
    return mCount < 2 ? 0.0 : (mLastTick - mFirstTick) / NanosecondsPerSecond;
}
