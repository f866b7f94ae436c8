#ifndef VIDEOTIMELINE_H
#define VIDEOTIMELINE_H

#include <atomic>

#include <QObject>
#include <QSharedPointer>

#include "qvorlinexport.h"
#include "utils/mediasource.h"
#include "utils/multimediathread.h"

/**
 * Paces the display of a live video stream: tells at every display frame which moment of the
 * stream to show.
 *
 * That moment stays a whole number of frame intervals (the depth) behind the newest frame, so that
 * a frame is always there to show, and moves on with the wall clock. It is taken anew only when it
 * comes to lie so close to the middle between two frames that jitter would decide which is shown.
 * All timestamps are microseconds of the wall clock since the Unix epoch.
 *
 * Thread-bound, but for adjustReadPosition() and setMinDepth(), which any thread may call. tick()
 * comes from a thread of its own. An absent stream is not an error: the ticks go on.
 *
 *     VideoTimeline timeline(source, 60, 1);
 *     QObject::connect(&timeline, &VideoTimeline::tick, source.data(), &MediaSource::requestVideo);
 *     timeline.start();
 */
class QVORLIN_EXPORT VideoTimeline : public QObject
{
    Q_OBJECT

public:
    /** Paces @p source, which is shared, at @p frameRateNum / @p frameRateDen ticks a second. */
    VideoTimeline(QSharedPointer<MediaSource> source, int frameRateNum, int frameRateDen);

    /** Stops ticking. */
    ~VideoTimeline() override;

    /** Starts to tick; nothing while ticking already. */
    void start();

    /**
     * Ends the ticking; start() goes on where it left off. The next adjustReadPosition() counts
     * again.
     * @return false when a tick under way took longer than two display frames to end
     */
    bool stop();

    /** Least depth, in frame intervals of the stream (1); heeded when the depth is next taken. */
    void setMinDepth(int depth);

public Q_SLOTS:
    /**
     * Asks that @p timestamp, such as that of the sound heard now, be what is shown now. The depth
     * becomes the whole number of frame intervals that comes up to this delay, but stays at or
     * above the least one. Only the first call after construction or stop() counts; 0 is ignored.
     */
    void adjustReadPosition(qint64 timestamp);

Q_SIGNALS:
    /** Show the stream as of @p timestamp; emitted in the ticking thread. */
    void tick(qint64 timestamp);

private:
    qint64 nextTimestamp(qint64 now);
    bool keepsPhase(qint64 timestamp, MediaSource::VideoStatus const& status) const;
    qint64 updateReadOffset(qint64 now, MediaSource::VideoStatus const& status);

    QSharedPointer<MediaSource> mSource;
    MultimediaThread mThread;
    int mFrameRateNum;
    int mFrameRateDen;
    // Set by callers while the ticking thread reads them.
    std::atomic<int> mMinDepth{1};
    std::atomic<qint64> mTargetDelay{0};
    std::atomic<qint64> mReadOffset{0};
    std::atomic<int> mAdjustCount{0};
};

#endif
