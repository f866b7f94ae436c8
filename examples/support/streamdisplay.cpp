#include "streamdisplay.h"

#include "videoview.h"

namespace {

constexpr int FiguresPeriodMs = 1000;

} // namespace

StreamDisplay::StreamDisplay(QString const& streamName, int rateNum, int rateDen, VideoView& view)
    : mView(view)
    , mStatistics(wallClock())
    , mSource(QSharedPointer<MediaSource>::create(streamName))
    , mObserver(mSource, mStatistics)
    , mPump(mSource, rateNum, rateDen)
{
    connect(&mObserver, &StreamObserver::stateChanged, this, &StreamDisplay::setState);
    connect(&mPump, &VideoPump::frameReady, &mView, &VideoView::showFrame);
    connect(&mView, &VideoView::framePainted, this, &StreamDisplay::onFramePainted);
    connect(&mView, &VideoView::frameRepeated, this, [this] { mStatistics.repeated(); });
    connect(&mFiguresTimer, &QTimer::timeout, this, &StreamDisplay::updateFigures);
}

void StreamDisplay::start()
{
    mObserver.start();
    mPump.start();
    mClock.start();
    mFiguresTimer.start(FiguresPeriodMs);
}

void StreamDisplay::stop()
{
    mFiguresTimer.stop();
    mPump.stop();
    mObserver.stop();
}

StreamReport StreamDisplay::report() const
{
    return {mSource->name(), mState, mStatistics.figures(), mPump.skippedTicks()};
}

void StreamDisplay::setState(StreamState const& state)
{
    bool const gone = mState.present && !state.present;
    mState = state;
    mView.overlay().setState(state);
    if (gone) {
        mView.wait();
        mPaintBefore.reset();
        mWaiting = true;
        Q_EMIT waiting();
    }
}

void StreamDisplay::onFramePainted(qint64 timestamp)
{
    qint64 const now = wallClock();
    mStatistics.painted(timestamp, now);
    mLastPaint = mClock.nsecsElapsed();
    if (mPaintBefore) {
        ++mPainted;
        mLatencySum += now - timestamp;
    } else {
        mPaintBefore = mLastPaint;
    }
    if (mWaiting) {
        mWaiting = false;
        Q_EMIT showing();
    }
}

void StreamDisplay::updateFigures()
{
    if (mPainted == 0) {
        mView.overlay().setFigures(0, 0);
        return;
    }
    // From paint to paint, since the timer's period is no multiple of the time between two.
    mView.overlay().setFigures(
        mPainted * 1e9 / (mLastPaint - *mPaintBefore), mLatencySum / 1000.0 / mPainted);
    mPaintBefore = mLastPaint;
    mPainted = 0;
    mLatencySum = 0;
}
