#include "tick.h"

#include "support/clocks.h"

#include <ctime>

const char* tickName(Tick tick)
{
    return tick == Tick::EveryFrame ? "60 Hz tick" : "1 ms tick";
}

void lookByTick(Tick tick, double phase, const std::function<void()>& look, FrameLog& log)
{
    for (int64_t interval = nextFrameInterval(); !log.isComplete(); ++interval) {
        const timespec pause = {0, 1000000};
        if (tick == Tick::EveryFrame)
            sleepUntilFrameInterval(interval, phase);
        else
            nanosleep(&pause, nullptr);
        const double began = monotonicTime();
        look();
        log.lookedFor(monotonicTime() - began);
    }
}

int64_t nextFrameInterval()
{
    return int64_t(monotonicTime() * framesPerSecond) + 1;
}

void sleepUntilFrameInterval(int64_t index, double phase)
{
    sleepUntil((double(index) + phase) / framesPerSecond);
}
