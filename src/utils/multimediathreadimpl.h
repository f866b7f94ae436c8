#ifndef MULTIMEDIATHREADIMPL_H
#define MULTIMEDIATHREADIMPL_H

#include <functional>

#include <QThread>

#include "qvorlinexport.h"

/** Wide enough for any tick count times any interval in nanoseconds. */
__extension__ typedef __int128 TickCount;

/**
 * When tick @p n is due, in nanoseconds after tick 0. Always computed from the count, never by
 * adding periods up, so the error stays below a nanosecond for ever.
 */
constexpr TickCount tickDueTime(TickCount n, int intervalNum, int intervalDen)
{
    return n * 1000000000 * intervalNum / intervalDen;
}

/** The thread behind MultimediaThread. */
class QVORLIN_EXPORT MultimediaThreadImpl : public QThread
{
public:
    MultimediaThreadImpl(
        int intervalNum, int intervalDen, qint64 startDelay, std::function<void()> callback);

    /** Waits for a thread that was asked to stop and is still in its callback. */
    ~MultimediaThreadImpl() override;

    /** See MultimediaThread::stop(). */
    bool stop(qint64 timeout);

protected:
    void run() override;

private:
    qint64 period() const;

    qint64 mStartDelay;
    std::function<void()> mCallback;
    int mIntervalNum;
    int mIntervalDen;
};

#endif
