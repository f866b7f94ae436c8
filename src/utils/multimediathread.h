#ifndef MULTIMEDIATHREAD_H
#define MULTIMEDIATHREAD_H

#include <QObject>

#include "qvorlinexport.h"

class MultimediaThreadImpl;

/**
 * Ticks at an exact rational rate, such as 30000/1001 times a second, from a thread of its own.
 *
 * Each tick is due at a time computed from the start and the number of ticks so far, so the rate
 * does not drift, however long it runs. No tick is dropped: after a delay the missed ones follow
 * back to back.
 *
 * Thread-bound: start, stop and destroy it in the thread it belongs to. The thread that ticks
 * carries the object name as its system name, if set before start().
 */
class QVORLIN_EXPORT MultimediaThread : public QObject
{
    Q_OBJECT

public:
    explicit MultimediaThread(QObject* parent = nullptr);

    /** Stops ticking as stop(0) does. */
    ~MultimediaThread() override;

    /**
     * Starts to tick every @p intervalNum / @p intervalDen seconds, the first time after
     * @p startDelay nanoseconds. Does nothing while ticking already, while no receiver is connected
     * to tick(), and for an interval that is not positive.
     */
    void start(int intervalNum, int intervalDen, qint64 startDelay);

    /**
     * Ends the ticking; it can be started again. Must not be called from the ticking thread.
     * @param timeout nanoseconds that the tick under way may take; 0 stands for two intervals
     * @return whether the thread ended in that time, true also when there was none. The thread has
     * ended in any case; one that goes on for seconds after the timeout ends the process.
     */
    bool stop(qint64 timeout);

Q_SIGNALS:
    /** One tick, emitted in the ticking thread. */
    void tick();

private:
    MultimediaThreadImpl* mImpl = nullptr;
};

#endif
