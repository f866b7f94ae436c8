#ifndef CLOCKADJUSTMENTDETECTOR_H
#define CLOCKADJUSTMENTDETECTOR_H

#include <QtGlobal>

#include "qvorlinexport.h"

/**
 * Tells how far the wall clock has been moved, by a user or a time service, by comparing it with
 * the monotonic clock.
 *
 * Reentrant: one detector belongs to one thread at a time.
 */
class QVORLIN_EXPORT ClockAdjustmentDetector
{
public:
    /** Starts watching now. */
    ClockAdjustmentDetector();

    /** Forgets what was before and starts watching now. */
    void start();

    /**
     * Milliseconds by which the wall clock has been moved since the start, positive when it was
     * set forward. Goes on counting from the same start.
     */
    qint64 check();

private:
    qint64 mSystemStart = 0;
    qint64 mSteadyStart = 0;
};

#endif
