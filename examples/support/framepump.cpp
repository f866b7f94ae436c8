#include "framepump.h"

#include <utility>

namespace {

// One is fetched while another is painted; more would only grow old in a queue, and each frame
// there keeps a slot of the stream occupied.
constexpr int MaxUnderway = 2;

} // namespace

FramePump::FramePump(QSharedPointer<MediaSource> source, int rateNum, int rateDen, Request request)
    : mSource(std::move(source))
    , mRequest(request)
    , mTimeline(mSource, rateNum, rateDen)
{
    mWorker.setObjectName(QStringLiteral("frames"));
    mSource->moveToThread(&mWorker);
    connect(
        &mTimeline, &VideoTimeline::tick, this, [this](qint64 timestamp) { onTick(timestamp); },
        Qt::DirectConnection);
}

FramePump::~FramePump()
{
    stop();
}

void FramePump::start()
{
    mWorker.start();
    mTimeline.start();
}

void FramePump::stop()
{
    mTimeline.stop();
    mWorker.quit();
    mWorker.wait();
}

void FramePump::moveTo(qint64 timestamp)
{
    // The timeline heeds the first request after a stop only.
    mTimeline.stop();
    mTimeline.adjustReadPosition(timestamp);
    mTimeline.start();
}

/** Runs in the timing thread, the only one that adds to what is under way. */
void FramePump::onTick(qint64 timestamp)
{
    if (mUnderway >= MaxUnderway) {
        ++mSkippedTicks;
        return;
    }
    ++mUnderway;
    QMetaObject::invokeMethod(
        mSource.data(),
        [source = mSource.data(), request = mRequest, timestamp] { (source->*request)(timestamp); },
        Qt::QueuedConnection);
}
