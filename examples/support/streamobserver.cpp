#include "streamobserver.h"

#include <utility>

#include "framestatistics.h"

namespace {

// A stream of 60 frames a second that keeps only two would need half of this.
constexpr int ObservationsPerSecond = 100;

constexpr qint64 StopTimeout = 2'000'000'000; // ns

// A publisher that is replaced by another at once is not worth an interruption.
constexpr qint64 AbsenceMs = 1000;

} // namespace

StreamObserver::StreamObserver(QSharedPointer<MediaSource> source, FrameStatistics& statistics)
    : mSource(std::move(source))
    , mStatistics(statistics)
{
    qRegisterMetaType<StreamState>();
    mThread.setObjectName(QStringLiteral("observer"));
    connect(
        &mThread, &MultimediaThread::tick, this, [this] { observe(); }, Qt::DirectConnection);
}

StreamObserver::~StreamObserver()
{
    stop();
}

void StreamObserver::start()
{
    mThread.start(1, ObservationsPerSecond, 0);
}

void StreamObserver::stop()
{
    mThread.stop(StopTimeout);
}

void StreamObserver::observe()
{
    MediaSource::VideoStatus const status = mSource->getVideoStatus();
    StreamState state = mState;
    mStatistics.published(status.timestamps);
    // Not the statistics' word: they may know a frame already, from the one who painted it.
    if (!status.timestamps.isEmpty() && status.timestamps.last() != mNewest) {
        mNewest = status.timestamps.last();
        mSinceNewFrame.start();
        state.present = true;
        state.size = mSource->getVideoFrameSize();
        state.rate = status.frameInterval > 0 ? 1e6 / status.frameInterval : 0;
    } else if (status.timestamps.isEmpty() && mSinceNewFrame.isValid()) {
        state.present = !mSinceNewFrame.hasExpired(AbsenceMs);
    }
    if (!(state == mState)) {
        mState = state;
        Q_EMIT stateChanged(state);
    }
}
