#ifndef STREAMFEED_H
#define STREAMFEED_H

#include <functional>
#include <memory>

#include <QSharedPointer>

#include "framestatistics.h"
#include "streamobserver.h"
#include "streamreport.h"
#include "utils/mediasource.h"

/**
 * A stream that is read: a pump fetches what is shown, an observer watches. Both and the source
 * can be replaced by new ones while what is known of the stream goes on. Thread-bound.
 */
template<class Pump>
class StreamFeed
{
public:
    /** Connects new ones to who wants to hear of them. */
    using Connect = std::function<void(StreamObserver& observer, Pump& pump)>;

    StreamFeed(QString const& name, int rateNum, int rateDen, Connect connect)
        : mName(name)
        , mRateNum(rateNum)
        , mRateDen(rateDen)
        , mConnect(std::move(connect))
        , mOpened(open())
    {}

    void start()
    {
        mOpened->observer.start();
        mOpened->pump.start();
    }

    void stop()
    {
        mOpened->pump.stop();
        mOpened->observer.stop();
    }

    /** Lets go of the stream and reads it anew. */
    void reopen()
    {
        stop();
        mSkippedTicks += mOpened->pump.skippedTicks();
        mOpened = open();
        start();
    }

    Pump& pump() { return mOpened->pump; }
    FrameStatistics& statistics() { return mStatistics; }
    QSharedPointer<MediaSource> source() const { return mOpened->source; }

    /** @param state what the observer told last */
    StreamReport report(StreamState const& state) const
    {
        return {mName, state, mStatistics.figures(), mSkippedTicks + mOpened->pump.skippedTicks()};
    }

private:
    struct Opened
    {
        Opened(QString const& name, int rateNum, int rateDen, FrameStatistics& statistics)
            : source(QSharedPointer<MediaSource>::create(name))
            , observer(source, statistics)
            , pump(source, rateNum, rateDen)
        {}

        QSharedPointer<MediaSource> source;
        StreamObserver observer;
        Pump pump;
    };

    std::unique_ptr<Opened> open()
    {
        auto opened = std::make_unique<Opened>(mName, mRateNum, mRateDen, mStatistics);
        mConnect(opened->observer, opened->pump);
        return opened;
    }

    QString const mName;
    int const mRateNum;
    int const mRateDen;
    Connect const mConnect;
    FrameStatistics mStatistics{wallClock()};
    qint64 mSkippedTicks = 0; // of those replaced
    std::unique_ptr<Opened> mOpened;
};

#endif
