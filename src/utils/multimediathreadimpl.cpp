#include "utils/multimediathreadimpl.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include <QDeadlineTimer>
#include <QElapsedTimer>

namespace {

constexpr qint64 NanosecondsPerSecond = 1000000000;
constexpr qint64 NanosecondsPerMillisecond = 1000000;

// A sleep shorter than this takes longer than it is worth.
constexpr qint64 ShortestSleep = 100;

// How long a callback may outlast the timeout of stop() before Qt ends the process for it, as it
// does for every thread destroyed while running. On a busy machine two tick intervals pass easily;
// a callback that waits for the thread that stops it would never come back.
constexpr qint64 OverdueMilliseconds = 5000;

// A signal that interrupts the sleep only brings the next tick forward; its successor is due at
// its own time again.
void sleepFor(qint64 nanoseconds)
{
    timespec const duration{static_cast<time_t>(nanoseconds / NanosecondsPerSecond),
        static_cast<long>(nanoseconds % NanosecondsPerSecond)};
    nanosleep(&duration, nullptr);
}

} // namespace

MultimediaThreadImpl::MultimediaThreadImpl(
    int intervalNum, int intervalDen, qint64 startDelay, std::function<void()> callback)
    : mStartDelay(startDelay)
    , mCallback(std::move(callback))
    , mIntervalNum(intervalNum)
    , mIntervalDen(intervalDen)
{}

MultimediaThreadImpl::~MultimediaThreadImpl()
{
    wait(QDeadlineTimer(OverdueMilliseconds));
}

bool MultimediaThreadImpl::stop(qint64 timeout)
{
    requestInterruption();
    return wait(static_cast<unsigned long>(
        (timeout != 0 ? timeout : 2 * period()) / NanosecondsPerMillisecond));
}

void MultimediaThreadImpl::run()
{
    if (mStartDelay != 0)
        sleepFor(mStartDelay);

    QElapsedTimer timer;
    timer.start();
    TickCount n = 0;
    while (!isInterruptionRequested()) {
        mCallback();
        ++n;
        TickCount const remaining =
            tickDueTime(n, mIntervalNum, mIntervalDen) - timer.nsecsElapsed();
        if (remaining > ShortestSleep)
            sleepFor(static_cast<qint64>(remaining));
        else if (remaining > period())
            // Ticks closer together than the shortest sleep can't all be waited for.
            n += remaining / std::max<qint64>(period(), 1);
    }
}

qint64 MultimediaThreadImpl::period() const
{
    return mIntervalNum * NanosecondsPerSecond / mIntervalDen;
}
