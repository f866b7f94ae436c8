#include "videopump.h"

#include <utility>

VideoPump::VideoPump(QSharedPointer<MediaSource> source, int rateNum, int rateDen)
    : FramePump(std::move(source), rateNum, rateDen, &MediaSource::requestVideo)
{
    connect(this->source(), &MediaSource::videoReady, this, [this](QVideoFrame const& frame) {
        answered();
        // A moment without a frame is no reason to take the picture away.
        if (frame.isValid())
            Q_EMIT frameReady(frame);
    });
}
