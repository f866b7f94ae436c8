#ifndef STREAMOBSERVER_H
#define STREAMOBSERVER_H

#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QSize>

#include "utils/mediasource.h"
#include "utils/multimediathread.h"

class FrameStatistics;

/** What is known of a stream; size and rate are those seen last. */
struct StreamState
{
    bool present = false;
    QSize size;
    double rate = 0; /**< frames a second; 0: unknown */

    bool operator==(StreamState const& other) const
    {
        return present == other.present && size == other.size && rate == other.rate;
    }
};
Q_DECLARE_METATYPE(StreamState)

/**
 * Watches, from a thread of its own, which frames a stream publishes and whether it is there at
 * all; often enough to see every frame before the stream gives it up.
 */
class StreamObserver : public QObject
{
    Q_OBJECT

public:
    /** @param statistics is told of the frames; must outlive the observer */
    StreamObserver(QSharedPointer<MediaSource> source, FrameStatistics& statistics);
    ~StreamObserver() override;

    void start();
    void stop();

Q_SIGNALS:
    /** Emitted in the observer's thread. */
    void stateChanged(StreamState const& state);

private:
    void observe();

    QSharedPointer<MediaSource> mSource;
    FrameStatistics& mStatistics;
    MultimediaThread mThread;
    // Only for the observing thread.
    StreamState mState;
    qint64 mNewest = 0;
    QElapsedTimer mSinceNewFrame;
};

#endif
