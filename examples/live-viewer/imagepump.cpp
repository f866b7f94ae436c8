#include "imagepump.h"

#include <utility>

namespace {

// One image is converted while another is painted; more would only grow old in a queue.
constexpr int MaxUnderway = 2;

} // namespace

ImagePump::ImagePump(QSharedPointer<MediaSource> source, int rateNum, int rateDen)
    : mSource(std::move(source))
    , mTimeline(mSource, rateNum, rateDen)
{
    mWorker.setObjectName(QStringLiteral("images"));
    mSource->moveToThread(&mWorker);
    connect(
        &mTimeline, &VideoTimeline::tick, this, [this](qint64 timestamp) { request(timestamp); },
        Qt::DirectConnection);
    connect(mSource.data(), &MediaSource::imageReady, this, &ImagePump::deliver);
}

ImagePump::~ImagePump()
{
    stop();
}

void ImagePump::start()
{
    mWorker.start();
    mTimeline.start();
}

void ImagePump::stop()
{
    mTimeline.stop();
    mWorker.quit();
    mWorker.wait();
}

void ImagePump::setImageSize(QSize const& size)
{
    // Never waits here for a conversion that is under way.
    QMetaObject::invokeMethod(mSource.data(),
        [source = mSource.data(), size] { source->setRequestedImageSize(size, false, false); });
}

/** Runs in the timing thread, the only one that adds to what is under way. */
void ImagePump::request(qint64 timestamp)
{
    if (mUnderway >= MaxUnderway) {
        ++mSkippedTicks;
        return;
    }
    ++mUnderway;
    QMetaObject::invokeMethod(
        mSource.data(), [source = mSource.data(), timestamp] { source->requestImage(timestamp); },
        Qt::QueuedConnection);
}

void ImagePump::deliver(QImage const& image)
{
    --mUnderway;
    // A moment without a frame is no reason to take the picture away.
    if (!image.isNull())
        Q_EMIT imageReady(image);
}
