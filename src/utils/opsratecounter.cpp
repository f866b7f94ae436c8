#include "utils/opsratecounter.h"

#include <chrono>

#include "utils/clocks.h"

namespace {

constexpr double NanosecondsPerSecond = 1e9;

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
    qint64 const now = clockNanoseconds<std::chrono::system_clock>();
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
