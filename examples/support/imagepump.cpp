#include "imagepump.h"

#include <utility>

ImagePump::ImagePump(QSharedPointer<MediaSource> source, int rateNum, int rateDen)
    : FramePump(std::move(source), rateNum, rateDen, &MediaSource::requestImage)
{
    connect(this->source(), &MediaSource::imageReady, this, [this](QImage const& image) {
        answered();
        // A moment without a frame is no reason to take the picture away.
        if (!image.isNull())
            Q_EMIT imageReady(image);
    });
}

void ImagePump::setImageSize(QSize const& size)
{
    requestSize(size, false);
}

void ImagePump::fitImagesInto(QSize const& size)
{
    requestSize(size, true);
}

void ImagePump::requestSize(QSize const& size, bool keepAspectRatio)
{
    // Never waits here for a conversion that is under way.
    QMetaObject::invokeMethod(source(), [source = source(), size, keepAspectRatio] {
        source->setRequestedImageSize(size, keepAspectRatio, false);
    });
}
