#ifndef OPSRATECOUNTER_H
#define OPSRATECOUNTER_H

#include <QtGlobal>

#include "qvorlinexport.h"

/**
 * Smoothed rate of operations per second: an exponential moving average over the spacing of the
 * ticks, measured on the wall clock.
 *
 * Reentrant: one counter belongs to one thread at a time.
 */
class QVORLIN_EXPORT OpsRateCounter
{
public:
    /**
     * @param alpha weight of the newest spacing in the average, 0 to 1
     * @param initialRate operations per second reported until the second tick
     */
    OpsRateCounter(double alpha, double initialRate);

    /** Forgets all ticks; the rate is @p rate until the second tick from now. */
    void restart(double rate);

    /** Records one operation. The first one only starts the clock. */
    void tick();

    /** The smoothed rate, operations per second. */
    double rate() const { return mRate; }

    /** Seconds between the first and the latest tick; 0 before the second one. */
    double duration() const;

private:
    double mAlpha;
    quint64 mCount = 0;
    double mRate;
    qint64 mFirstTick = 0;
    qint64 mLastTick = 0;
};

#endif
