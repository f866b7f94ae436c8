#ifndef STREAMDISPLAY_H
#define STREAMDISPLAY_H

#include <optional>

#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

#include "streamfeed.h"
#include "streamreport.h"
#include "videopump.h"

class VideoView;

/**
 * Brings a stream to a view: fetches its frames at the display rate, follows what becomes of them
 * and has the view say so, or wait while there is no stream.
 */
class StreamDisplay : public QObject
{
    Q_OBJECT

public:
    /** @param view must outlive the display */
    StreamDisplay(QString const& streamName, int rateNum, int rateDen, VideoView& view);

    void start();
    void stop();

    /** Lets go of the stream and opens it anew, as if it had gone. Only while it runs. */
    void reopen();

    /** See FramePump. */
    void moveTo(qint64 timestamp) { mFeed.pump().moveTo(timestamp); }

    /** Of the stream as it was opened last. */
    QSharedPointer<MediaSource> source() const { return mFeed.source(); }

    StreamReport report() const { return mFeed.report(mState); }

Q_SIGNALS:
    /** The frame of this time is on the screen for the first time, at @p now. */
    void framePainted(qint64 timestamp, qint64 now);

    /** The first frame since the start, or since waiting(), is on the screen. */
    void showing();

    /** The stream has gone. */
    void waiting();

private:
    void connectFeed(StreamObserver& observer, VideoPump& pump);
    void setState(StreamState const& state);
    void onFramePainted(qint64 timestamp);
    void updateFigures();

    VideoView& mView;
    StreamFeed<VideoPump> mFeed;
    StreamState mState;
    bool mWaiting = true;
    QTimer mFiguresTimer;
    QElapsedTimer mClock;
    // Of the paints since the figures were last updated; times in ns of the clock.
    std::optional<qint64> mPaintBefore;
    qint64 mLastPaint = 0;
    qint64 mPainted = 0;
    qint64 mLatencySum = 0; // µs
};

#endif
