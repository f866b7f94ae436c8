#include "streamdisplay.h"

#include "videoview.h"

namespace {

constexpr int FiguresPeriodMs = 1000;

} // namespace

StreamDisplay::StreamDisplay(QString const& streamName, int rateNum, int rateDen, VideoView& view)
    : mView(view)
    , mFeed(streamName, rateNum, rateDen,
          [this](StreamObserver& observer, VideoPump& pump) { connectFeed(observer, pump); })
{
    connect(&mView, &VideoView::framePainted, this, &StreamDisplay::onFramePainted);
    connect(&mView, &VideoView::frameRepeated, this, [this] { mFeed.statistics().repeated(); });
    connect(&mFiguresTimer, &QTimer::timeout, this, &StreamDisplay::updateFigures);
}

void StreamDisplay::start()
{
    mFeed.start();
    mClock.start();
    mFiguresTimer.start(FiguresPeriodMs);
}

void StreamDisplay::stop()
{
    mFiguresTimer.stop();
    mFeed.stop();
}

void StreamDisplay::reopen()
{
    mFeed.reopen();
    setState(StreamState());
}

void StreamDisplay::connectFeed(StreamObserver& observer, VideoPump& pump)
{
    // In the observer's name, so that what it had still to say is forgotten with it.
    connect(&observer, &StreamObserver::stateChanged, &observer,
        [this](StreamState const& state) { setState(state); });
    connect(&pump, &VideoPump::frameReady, &mView, &VideoView::showFrame);
}

void StreamDisplay::setState(StreamState const& state)
{
    // A frame may come to the screen before it is known that there is a stream.
    bool const gone = !state.present && (mState.present || !mWaiting);
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
    bool const isNew = mFeed.statistics().painted(timestamp, now);
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
    if (isNew)
        Q_EMIT framePainted(timestamp, now);
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
