#ifndef STILLCLOCK_H
#define STILLCLOCK_H

#include <QtGlobal>

/**
 * Stops the clocks of the process for as long as it lives: the monotonic one (QElapsedTimer) and
 * av_gettime() read what the test sets. There is one at a time. Link qvorlin_still_clock: its
 * clock_gettime() and av_gettime() then take the place of the libraries'.
 *
 * Don't wait for anything with a time-out meanwhile.
 */
class StillClock
{
public:
    explicit StillClock(qint64 wallClock = 0);
    ~StillClock();
    StillClock(StillClock const&) = delete;
    StillClock& operator=(StillClock const&) = delete;

    /** Moves the monotonic clock on. */
    void advance(qint64 milliseconds);
    /** Microseconds since the Unix epoch. */
    void setWallClock(qint64 microseconds);
};

#endif
