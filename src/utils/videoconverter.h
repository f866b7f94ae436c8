#ifndef VIDEOCONVERTER_H
#define VIDEOCONVERTER_H

#include <QImage>
#include <QMutex>
#include <QSize>
#include <QVector>
#include <QVideoFrame>

#include "qvorlinexport.h"

struct SwsContext;

/**
 * Converts planar YUV 4:2:0 video frames to 32-bit images of a requested size.
 *
 * The images are QImage::Format_ARGB32_Premultiplied and opaque. Each carries the frame's start
 * time in decimal as its text "pts", and every metadata entry of the frame as a text of the same
 * key. The frame's samples are taken as full range (0 to 255), and as three planes of 4:2:0
 * whatever pixel format the frame declares.
 *
 * Thread-safe: conversions of one converter wait for each other. A failure of any kind is a null
 * image.
 */
class QVORLIN_EXPORT VideoFrameConverter
{
public:
    /**
     * @param size size of the images; a size with a side below 1 stands for the frame's own
     * @param keepAspectRatio fit the image into @p size, with even sides, instead of filling it
     * @param pointScaling take the nearest sample (fast and crude) instead of interpolating
     */
    VideoFrameConverter(QSize const& size, bool keepAspectRatio, bool pointScaling);
    virtual ~VideoFrameConverter();

    /** The image of @p frame; it shares its pixels with nothing that is written to later. */
    QImage convert(QVideoFrame frame);

    /** Converts a single frame; costs a new scaling context, so keep a converter for several. */
    static QImage convert(
        QVideoFrame frame, QSize const& size, bool keepAspectRatio, bool pointScaling);

    /**
     * What a converter that keeps its images adds, called by convert() with #mMutex locked. This
     * class keeps none: there is never a cached image, and every image is a new one.
     */
    virtual QImage* getCachedImage(qint64 timestamp);
    /** Where to put an image of @p size, null for a new one; the image stays owned here. */
    virtual QImage* allocateImage(QSize const& size);
    /** Told that @p image, which came from allocateImage(), now shows the frame of @p timestamp. */
    virtual void updateCache(QImage* image, qint64 timestamp);

protected:
    QMutex mMutex;
    QSize mSize;
    bool mKeepAspectRatio;
    bool mPointScaling;

private:
    Q_DISABLE_COPY(VideoFrameConverter)

    QSize outputSize(QSize const& frameSize) const;
    bool prepareContext(QSize const& frameSize, QSize const& size);

    SwsContext* mContext = nullptr;
};

/**
 * Converts the frames of a stream: recycles a pool of four images, and converts a frame only once
 * for as long as no other comes between (two frames of the same start time count as one).
 *
 * As long as the receivers hold at most three images, no memory is allocated. An image that a
 * receiver holds never changes.
 */
class QVORLIN_EXPORT VideoFrameStreamConverter : public VideoFrameConverter
{
public:
    VideoFrameStreamConverter(QSize const& size, bool keepAspectRatio, bool pointScaling);

    /**
     * Changes the settings for the frames to come. Another size drops all images kept; the same
     * size keeps them, so that a frame just converted still gives its image of the old settings.
     */
    void reset(QSize const& size, bool keepAspectRatio, bool pointScaling);

    QImage* getCachedImage(qint64 timestamp) override;
    QImage* allocateImage(QSize const& size) override;
    void updateCache(QImage* image, qint64 timestamp) override;

protected:
    /** The pool. A derived class may change its length before the first conversion. */
    QVector<QImage> mImages;

private:
    QImage* mCachedImage = nullptr;
    qint64 mCachedTimestamp = 0;
};

#endif
