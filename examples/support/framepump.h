#ifndef FRAMEPUMP_H
#define FRAMEPUMP_H

#include <atomic>

#include <QObject>
#include <QSharedPointer>
#include <QThread>

#include "utils/mediasource.h"
#include "utils/videotimeline.h"

/**
 * Makes requests to a stream at the display rate. The work is done in a thread of its own, into
 * which the source is moved, so that the GUI thread has only to paint. What is requested and what
 * is done with the answer is up to the class derived.
 *
 * Thread-bound; start it only when the answers are connected.
 */
class FramePump : public QObject
{
    Q_OBJECT

public:
    ~FramePump() override;

    void start();
    void stop();

    /**
     * Shows the frame of @p timestamp now, and goes on at that distance from the wall clock: as
     * near to it as whole frames, and at least one of delay, allow. For a pump that is running.
     */
    void moveTo(qint64 timestamp);

    /** Ticks left out so far because fetching or painting had not kept up. */
    qint64 skippedTicks() const { return mSkippedTicks; }

protected:
    using Request = void (MediaSource::*)(qint64);

    /** Makes the request @p rateNum / @p rateDen times a second. */
    FramePump(QSharedPointer<MediaSource> source, int rateNum, int rateDen, Request request);

    MediaSource* source() const { return mSource.data(); }

    /** To be called once for each answer, when it is delivered. */
    void answered() { --mUnderway; }

private:
    void onTick(qint64 timestamp);

    QSharedPointer<MediaSource> mSource;
    Request mRequest;
    QThread mWorker;
    VideoTimeline mTimeline;
    std::atomic<int> mUnderway{0};
    std::atomic<qint64> mSkippedTicks{0};
};

#endif
