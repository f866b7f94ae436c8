#ifndef PACER_H
#define PACER_H

#include <cstdint>

/**
 * Waits for an instant of the monotonic clock, for the signals that end the program, and for other
 * threads, whichever comes first. One exists in a program; it takes SIGINT and SIGTERM over for
 * good.
 *
 * wait() is for one thread; wake() and stopRequested() may be called from any.
 */
class Pacer
{
public:
    enum class Event
    {
        Due,
        Woken,
        Stopped
    };

    /** Throws Failure when the system refuses the descriptors. */
    Pacer();
    ~Pacer();
    Pacer(Pacer const&) = delete;
    Pacer& operator=(Pacer const&) = delete;

    /** Waits until @p deadline (µs, monotonic) at the latest. */
    Event wait(int64_t deadline);

    /** Ends the present or the next wait(). */
    void wake();

    /** Tells whether SIGINT or SIGTERM has come; stays true. */
    static bool stopRequested();

private:
    void close();

    int mTimer;
    int mWake;
};

#endif
