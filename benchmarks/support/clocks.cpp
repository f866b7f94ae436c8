#include "clocks.h"

#include <ctime>

namespace {

double timeOf(clockid_t clock)
{
    timespec now;
    if (clock_gettime(clock, &now) < 0)
        return -1;
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

} // namespace

double monotonicTime()
{
    return timeOf(CLOCK_MONOTONIC);
}

double processorTime()
{
    return timeOf(CLOCK_PROCESS_CPUTIME_ID);
}

double threadProcessorTime()
{
    return timeOf(CLOCK_THREAD_CPUTIME_ID);
}

double processorTime(pid_t process)
{
    clockid_t clock;
    return clock_getcpuclockid(process, &clock) == 0 ? timeOf(clock) : -1;
}

void sleepUntil(double time)
{
    const auto seconds = time_t(time);
    const timespec due = {seconds, long((time - double(seconds)) * 1e9)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
}
