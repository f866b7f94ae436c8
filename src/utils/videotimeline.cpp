#include "utils/videotimeline.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "utils/clocks.h"

namespace {

// When a tick is this close to a whole number of frame intervals, its phase against the frames
// creeps, and once near a midpoint between two frames stays there for many ticks. Other phases
// leap past the midpoints by themselves.
constexpr double CreepingPhase = 0.1;

// µs. Frames this far apart in their distances from a moment are told apart whatever the jitter,
// even where a tenth of the frame interval is less.
constexpr qint64 LeastMidpointMargin = 2000;

// µs. A delay is not counted in frames that are this close: such an interval is a fault.
constexpr qint64 ImplausibleInterval = 1000;

// µs
qint64 wallClock()
{
    return clockNanoseconds<std::chrono::system_clock>() / 1000;
}

} // namespace

VideoTimeline::VideoTimeline(QSharedPointer<MediaSource> source, int frameRateNum, int frameRateDen)
    : mSource(std::move(source))
    , mFrameRateNum(frameRateNum)
    , mFrameRateDen(frameRateDen)
{
    connect(
        &mThread, &MultimediaThread::tick, this,
        [this] { Q_EMIT tick(nextTimestamp(wallClock())); }, Qt::DirectConnection);
    mThread.setObjectName(QStringLiteral("VT %1").arg(mSource->name()));
}

VideoTimeline::~VideoTimeline()
{
    // No tick may find members gone that are destroyed before the thread is.
    mThread.stop(0);
}

void VideoTimeline::start()
{
    mThread.start(mFrameRateDen, mFrameRateNum, 0);
}

bool VideoTimeline::stop()
{
    bool const stopped = mThread.stop(0);
    mAdjustCount = 0;
    return stopped;
}

void VideoTimeline::setMinDepth(int depth)
{
    mMinDepth = depth;
}

void VideoTimeline::adjustReadPosition(qint64 timestamp)
{
    if (timestamp == 0 || mAdjustCount++ != 0)
        return;
    mTargetDelay = wallClock() - timestamp;
    mReadOffset = 0;
}

qint64 VideoTimeline::nextTimestamp(qint64 now)
{
    MediaSource::VideoStatus const status = mSource->getVideoStatus();
    qint64 const offset = mReadOffset;
    if (status.timestamps.size() < 2 || (offset != 0 && keepsPhase(now - offset, status)))
        return now - offset;
    return now - updateReadOffset(now, status);
}

bool VideoTimeline::keepsPhase(qint64 timestamp, MediaSource::VideoStatus const& status) const
{
    double const phaseStep =
        std::fmod(mFrameRateDen * 1e6 / mFrameRateNum / status.frameInterval, 1.0);
    // Without a frame interval the step is not a number, and there is no phase to watch.
    if (!(phaseStep < CreepingPhase || phaseStep > 1 - CreepingPhase))
        return true;

    auto const next =
        std::upper_bound(status.timestamps.begin(), status.timestamps.end(), timestamp);
    if (next == status.timestamps.begin() || next == status.timestamps.end())
        return true;
    qint64 const previous = *std::prev(next);
    return std::abs((timestamp - previous) + (timestamp - *next)) >=
           std::max(status.frameInterval / 10, LeastMidpointMargin);
}

qint64 VideoTimeline::updateReadOffset(qint64 now, MediaSource::VideoStatus const& status)
{
    qint64 const targetDelay = mTargetDelay;
    qint64 const latency = now - status.timestamps.last();
    int depth = 0;
    if (targetDelay != 0 && status.frameInterval > ImplausibleInterval)
        depth = static_cast<int>((targetDelay - latency) / status.frameInterval);
    int const minDepth = mMinDepth;
    if (depth <= minDepth)
        depth = minDepth + (status.intervalJitter > status.frameInterval / 10 ? 1 : 0);

    // 0 stands for "not computed yet".
    qint64 offset = depth * status.frameInterval + latency;
    if (offset == 0)
        offset = 1;
    mReadOffset = offset;
    // A request that came in between must not be lost under the offset just stored.
    if (mTargetDelay != targetDelay)
        mReadOffset = 0;
    return offset;
}
