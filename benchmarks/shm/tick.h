#ifndef TICK_H
#define TICK_H

#include "framelog.h"

#include <functional>

constexpr int framesPerSecond = 60;

/** How often a reader looks for a new frame. */
enum class Tick
{
    EveryFrame,
    EveryMillisecond
};

const char* tickName(Tick tick);

/**
 * Looks until the log is complete: every millisecond, or once a frame interval at the @p phase (0
 * to 1) between the sender's frames. The time that @p look takes is logged.
 */
void lookByTick(Tick tick, double phase, const std::function<void()>& look, FrameLog& log);

/** The frame interval that comes next, counted from the beginning of the monotonic clock. */
int64_t nextFrameInterval();
/** Sleeps until this frame interval, and @p phase of it, has begun. */
void sleepUntilFrameInterval(int64_t index, double phase);

#endif
