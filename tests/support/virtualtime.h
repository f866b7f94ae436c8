#ifndef VIRTUALTIME_H
#define VIRTUALTIME_H

#include <functional>

#include <ctime>

#include <QVector>

/**
 * Puts the clocks and sleeps of the process under the test's hand for as long as it lives; there
 * is one at a time. Link qvorlin_virtual_time: its clock_gettime() and nanosleep() then take the
 * place of the C library's.
 *
 * The wall clock reads what the test sets, in every thread. The monotonic clock and nanosleep() are
 * virtual in the threads that start after the object was made, so that the test's own time-outs
 * keep working: the clock moves by advance() and by sleeping only, and each sleep lasts until the
 * test ends it, or until the sleeping QThread is asked to stop.
 */
class VirtualTime
{
public:
    explicit VirtualTime(qint64 wallClock = 0);
    ~VirtualTime();
    VirtualTime(VirtualTime const&) = delete;
    VirtualTime& operator=(VirtualTime const&) = delete;

    /** Nanoseconds since the Unix epoch. */
    void setWallClock(qint64 nanoseconds);

    /** Moves the monotonic clock on. */
    void advance(qint64 nanoseconds);

    /** Waits for the n-th sleep to begin, the first being 1. @return its length, -1 if none came */
    qint64 waitForSleep(int n);

    /** Ends the sleep under way, or else the next, after all its time. */
    void endSleep();

    /** Ends the sleep under way, or else the next, as a signal would: after @p slept nanoseconds.
     */
    void interruptSleep(qint64 slept);

    /** Runs @p body in a thread of virtual time. @return the clocks that it read, in order */
    static QVector<clockid_t> run(std::function<void()> const& body);
};

#endif
