#include "utils/clockadjustmentdetector.h"

#include <chrono>

#include "utils/clocks.h"

namespace {

constexpr qint64 NanosecondsPerMillisecond = 1000000;

} // namespace

ClockAdjustmentDetector::ClockAdjustmentDetector()
{
    start();
}

void ClockAdjustmentDetector::start()
{
    mSystemStart = clockNanoseconds<std::chrono::system_clock>();
    mSteadyStart = clockNanoseconds<std::chrono::steady_clock>();
}

qint64 ClockAdjustmentDetector::check()
{
    qint64 const systemNow = clockNanoseconds<std::chrono::system_clock>();
    qint64 const steadyNow = clockNanoseconds<std::chrono::steady_clock>();
    return (systemNow - mSystemStart) / NanosecondsPerMillisecond -
           (steadyNow - mSteadyStart) / NanosecondsPerMillisecond;
}
