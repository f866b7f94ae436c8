#ifndef MEDIASOURCE_H
#define MEDIASOURCE_H

#include <atomic>
#include <memory>

#include <QAudioBuffer>
#include <QAudioFormat>
#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QVector>
#include <QVideoFrame>

#include "qvorlinexport.h"

class ShmemReader;
class VideoFrameConverter;
class VideoFrameStreamConverter;

/**
 * One live media stream in shared memory: pull its media with the get and grab functions, or push
 * it by invoking the request slots, which answer through signals.
 *
 * The stream need not exist: it is opened by the first access and again when it comes back after a
 * loss (looked for at most once a second). Frames, images and audio stay valid for as long as they
 * are held, also after the source is gone; a held frame occupies a slot of the stream.
 *
 * All times are microseconds of the wall clock since the Unix epoch, and 0 stands for the newest
 * media.
 *
 * Thread-safe, apart from destruction; signals are emitted by the thread that runs the slot. What
 * is not there shows as an invalid or empty result, and every request is answered all the same.
 *
 * @code
 * MediaSource source(QStringLiteral("camera"));
 * QObject::connect(&source, &MediaSource::videoReady,
 *     &widget, &renderlib::CustomVideoWidget::updateFrame);
 * QObject::connect(&timer, &QTimer::timeout, &source, [&source] { source.requestVideo(); });
 * @endcode
 */
class QVORLIN_EXPORT MediaSource : public QObject
{
    Q_OBJECT

public:
    /** What video the stream holds; all empty and 0 when there is none. */
    struct VideoStatus
    {
        QVector<qint64> timestamps; /**< times of the frames, ascending */
        qint64 frameInterval = 0;   /**< nominal time between two frames, µs */
        qint64 intervalJitter = 0;  /**< irregularity of the frame timing, µs */
    };

    explicit MediaSource(QString shmname, QObject* parent = nullptr);
    ~MediaSource() override;

    /** Opens the stream at once, anew if it is open. @return whether it can be read */
    bool open();
    /** Lets go of the stream; the next access opens it again. */
    void close();
    /** The stream's name. */
    QString name() const;

    /** Length of the audio that the slots grab, sample frames; 0 for 100 ms. */
    void setRequestedAudioSamplesCount(unsigned long count);
    /** How images are made, see VideoFrameConverter; by default at the frame's own size. */
    void setRequestedImageSize(QSize const& size, bool keepAspectRatio, bool pointScaling);
    /** What makes the images; stays owned by the source. */
    VideoFrameConverter* getVideoFrameConverter();
    /**
     * Refuses media whose time lies outside @p minMs to @p maxMs from now, bounds included
     * (negative is past); 0, 0 accepts all.
     */
    void setRealtimeSyncRange(int minMs, int maxMs);
    /** Thins the video to @p num / @p den frames a second; every frame when either is 0. */
    void setVideoFrameRate(unsigned int num, unsigned int den);
    /** The same with three decimals of @p fps, cut off. */
    void setVideoFrameRate(double fps);

    /** QSize(-1, -1) without video. */
    QSize getVideoFrameSize();
    /** The frame of @p timestamp, or the newest for 0. */
    QVideoFrame grabVideo(qint64 timestamp);
    /** The same as an image. */
    QImage grabImage(qint64 timestamp);
    /** 16-bit signed little-endian PCM; invalid without audio. */
    QAudioFormat getAudioFormat();
    /**
     * Copies @p count sample frames from @p timestamp on to @p dest, which has room for @p count ×
     * channels samples; @p mode is the stream library's. Ignores the realtime sync range.
     * @return the number of sample frames copied
     */
    unsigned long grabAudio(int mode, unsigned long count, short* dest, qint64 timestamp);
    /**
     * Exactly @p count sample frames from @p timestamp on. A time of 0 or less counts back from
     * the newest audio that is @p count long. A start outside the audio held is moved into it.
     */
    QAudioBuffer grabAudio(unsigned long count, long timestamp);
    /** End of the newest audio, 0 when unknown. */
    qint64 getAudioLastTimestamp();
    /** Length of the audio that the slots grab now, sample frames; 0 when unknown. */
    unsigned long getDefaultSamplesCount();
    VideoStatus getVideoStatus();

public slots:
    void requestVideo(qint64 timestamp = 0);
    void requestImage(qint64 timestamp = 0);
    void requestAudio(qint64 timestamp = 0);
    /** Answers with the frame and the audio that begins with it; without a frame, with that only.
     */
    void requestVideoAudio(qint64 timestamp = 0);
    /** Answers with the image and the audio that begins with it; without a frame, with that only.
     */
    void requestImageAudio(qint64 timestamp = 0);

signals:
    void videoReady(QVideoFrame const& frame);
    void imageReady(QImage const& image);
    void audioReady(QAudioBuffer const& buffer);

private:
    bool createConverter(QSize const& size, bool keepAspectRatio, bool pointScaling);
    QAudioBuffer grabAudioOf(QVideoFrame const& frame);

    std::unique_ptr<ShmemReader> const mReader;
    std::atomic<unsigned long> mRequestedAudioSamplesCount{0};
    std::atomic<VideoFrameStreamConverter*> mConverter{nullptr};
};

#endif
