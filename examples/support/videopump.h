#ifndef VIDEOPUMP_H
#define VIDEOPUMP_H

#include <QVideoFrame>

#include "framepump.h"

/** Fetches the frames of a stream, without a copy, at the display rate. */
class VideoPump : public FramePump
{
    Q_OBJECT

public:
    /** Fetches @p rateNum / @p rateDen frames a second. */
    VideoPump(QSharedPointer<MediaSource> source, int rateNum, int rateDen);

Q_SIGNALS:
    /** A frame to show now; the one before comes again where there is no newer one. */
    void frameReady(QVideoFrame const& frame);
};

#endif
