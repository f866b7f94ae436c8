#ifndef IMAGEPUMP_H
#define IMAGEPUMP_H

#include <atomic>

#include <QImage>
#include <QObject>
#include <QSharedPointer>
#include <QSize>
#include <QThread>

#include "utils/mediasource.h"
#include "utils/videotimeline.h"

/**
 * Fetches images from a stream at the display rate. The work is done in a thread of its own, into
 * which the source is moved, so that the GUI thread has only to paint.
 *
 * Thread-bound; start it only when imageReady() is connected.
 */
class ImagePump : public QObject
{
    Q_OBJECT

public:
    /** Fetches @p rateNum / @p rateDen images a second. */
    ImagePump(QSharedPointer<MediaSource> source, int rateNum, int rateDen);
    ~ImagePump() override;

    void start();
    void stop();

    /** Scales all further images to exactly @p size. */
    void setImageSize(QSize const& size);

    /** Ticks left out so far because fetching or painting had not kept up. */
    qint64 skippedTicks() const { return mSkippedTicks; }

Q_SIGNALS:
    /** An image to show now; the one before comes again where there is no newer one. */
    void imageReady(QImage const& image);

private:
    void request(qint64 timestamp);
    void deliver(QImage const& image);

    QSharedPointer<MediaSource> mSource;
    QThread mWorker;
    VideoTimeline mTimeline;
    std::atomic<int> mUnderway{0};
    std::atomic<qint64> mSkippedTicks{0};
};

#endif
