#include "support/report.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <QSemaphore>

#include "utils/multimediathread.h"

namespace {

constexpr int rate = 60;
constexpr int seconds = 20;
constexpr size_t tickCount = size_t(rate) * seconds;
constexpr int64_t nanosecondsPerSecond = 1000000000;

int64_t monotonicTime()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
}

int64_t dueTime(size_t n)
{
    return int64_t(n) * nanosecondsPerSecond / rate;
}

struct Ticks
{
    int64_t start = 0; // what the due times count from
    std::vector<int64_t> times;
};

void tickBare(Ticks& ticks)
{
    ticks.start = monotonicTime();
    for (size_t n = 0; n < tickCount; ++n) {
        const int64_t due = ticks.start + dueTime(n);
        const timespec time = {
            time_t(due / nanosecondsPerSecond), long(due % nanosecondsPerSecond)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
        ticks.times.push_back(monotonicTime());
    }
}

// The start is known to the thread alone. Tick 0, which is not slept for, comes within a
// microsecond of it, unless something got in between; no tick comes early.
int64_t estimatedStart(const std::vector<int64_t>& times)
{
    int64_t start = times.front();
    for (size_t n = 1; n < times.size(); ++n)
        start = std::min(start, times[n] - dueTime(n));
    return start;
}

std::vector<double> lateness(const Ticks& ticks)
{
    std::vector<double> values;
    for (size_t n = 1; n < ticks.times.size(); ++n)
        values.push_back(
            double(ticks.times[n] - ticks.start - dueTime(n)) / double(nanosecondsPerSecond));
    return values;
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);

    // Side by side, so that both meet the same load, and half an interval apart, so that they
    // don't meet each other.
    Ticks ticks;
    Ticks bareTicks;
    ticks.times.reserve(2 * tickCount);
    bareTicks.times.reserve(tickCount);
    QSemaphore complete;
    MultimediaThread thread;
    QObject::connect(
        &thread, &MultimediaThread::tick, &thread,
        [&] {
            ticks.times.push_back(monotonicTime());
            if (ticks.times.size() == tickCount)
                complete.release();
        },
        Qt::DirectConnection);
    thread.start(1, rate, nanosecondsPerSecond / rate / 2);
    std::thread bare(tickBare, std::ref(bareTicks));
    bare.join();
    const bool isComplete = complete.tryAcquire(1, 10000);
    thread.stop(0);
    if (!isComplete) {
        report.fail("MultimediaThread", "it ticked too rarely");
        return report.finish({});
    }
    ticks.times.resize(tickCount);
    ticks.start = estimatedStart(ticks.times);

    struct Rank
    {
        const char* name;
        double rank;
    };
    std::vector<Comparison> comparisons;
    for (const Rank& rank : {Rank{"p50", 0.5}, Rank{"p99", 0.99}, Rank{"max", 1}}) {
        const std::string figure = std::string("tick lateness, MultimediaThread, ") + rank.name;
        const std::string peer = std::string("tick lateness, clock_nanosleep, ") + rank.name;
        report.add(figure, Report::Unit::Seconds, {percentile(lateness(ticks), rank.rank)});
        report.add(peer, Report::Unit::Seconds, {percentile(lateness(bareTicks), rank.rank)});
        comparisons.push_back({figure, peer, ""});
    }
    return report.finish(comparisons);
}
