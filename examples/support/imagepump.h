#ifndef IMAGEPUMP_H
#define IMAGEPUMP_H

#include <QImage>
#include <QSize>

#include "framepump.h"

/** Fetches images from a stream, converted and scaled, at the display rate. */
class ImagePump : public FramePump
{
    Q_OBJECT

public:
    /** Fetches @p rateNum / @p rateDen images a second. */
    ImagePump(QSharedPointer<MediaSource> source, int rateNum, int rateDen);

    /** Scales all further images to exactly @p size. */
    void setImageSize(QSize const& size);

    /** Scales all further images to fit into @p size. */
    void fitImagesInto(QSize const& size);

Q_SIGNALS:
    /** An image to show now; the one before comes again where there is no newer one. */
    void imageReady(QImage const& image);

private:
    void requestSize(QSize const& size, bool keepAspectRatio);
};

#endif
