#ifndef SHMEMREADER_H
#define SHMEMREADER_H

#include <QAudioBuffer>
#include <QAudioFormat>
#include <QByteArray>
#include <QElapsedTimer>
#include <QMutex>
#include <QSharedPointer>
#include <QSize>
#include <QString>
#include <QVector>
#include <QVideoFrame>

#include "qvorlinexport.h"
#include "shm_reader.h"

/** The stream's audio as Qt describes it; invalid when it carries none. */
QVORLIN_EXPORT QAudioFormat shmemFormatToAudioFormat(shm_reader_format_t const& format);

/**
 * Reads one named media stream out of shared memory and hands its media out as Qt types;
 * MediaSource is the public face.
 *
 * The stream is opened by the first access. A stream that is absent is tried again, and an open one
 * checked for being alive, by an access at most once a second; the settings survive that. Video
 * frames keep their memory locked, and the stream's handle open, until their last copy is gone,
 * also when the reader is gone before.
 *
 * All times are microseconds of the wall clock since the Unix epoch, and 0 stands for the newest
 * media.
 *
 * Thread-safe, except for checkRealtimeSync(). Failures are invalid or empty results.
 */
class QVORLIN_EXPORT ShmemReader
{
public:
    explicit ShmemReader(QString shmname);
    ~ShmemReader();

    /** The stream's name in UTF-8. */
    QByteArray const& name() const { return mName; }

    /** Opens the stream at once, anew if it is open. @return whether it can be read */
    bool open();
    /** Lets go of the stream; the next access opens it again. */
    void close();

    /**
     * Refuses media whose time lies outside @p minMs to @p maxMs from now, bounds included
     * (negative is past). 0, 0 accepts all. Raw audio is not subject to this.
     */
    void setRealtimeSyncRange(int minMs, int maxMs);
    /** Thins the video to @p num / @p den frames a second; every frame when either is 0. */
    void setVideoFrameRate(unsigned int num, unsigned int den);
    /** The same with three decimals of @p fps, cut off; every frame for one that is no rate. */
    void setVideoFrameRate(double fps);

    /** QSize(-1, -1) without video. */
    QSize getVideoFrameSize();
    /** All zero without video. */
    shm_video_status_t getVideoStatus();
    /** Times of the frames that the stream holds, ascending. */
    QVector<qint64> getVideoTimestamps();
    /** Invalid without audio. */
    QAudioFormat getAudioFormat();

    /**
     * Copies @p count sample frames from @p timestamp on to @p dest, which has room for @p count ×
     * channels samples; @p mode is the stream library's.
     * @return the number of sample frames copied
     */
    unsigned long grabAudio(int mode, unsigned long count, void* dest, qint64 timestamp);
    /**
     * Exactly @p count sample frames from @p timestamp on. A time of 0 or less counts back from
     * the newest audio that is @p count long. A start outside the audio held is moved into it.
     */
    QAudioBuffer grabAudio(int mode, unsigned long count, qint64 timestamp);
    /** End of the newest audio, 0 when unknown. */
    qint64 getAudioLastTimestamp();

    /** The frame of @p timestamp, or the newest for 0. */
    QVideoFrame grabVideo(qint64 timestamp);
    /** The frame that @p mode finds for @p timestamp. */
    QVideoFrame grabVideo(qint64 timestamp, shm_video_lookup_mode_t mode);

    /**
     * Whether media of @p timestamp lie within the realtime sync range. Takes no lock: not to be
     * called while another thread sets the range.
     */
    bool checkRealtimeSync(qint64 timestamp) const;

private:
    Q_DISABLE_COPY(ShmemReader)

    // The first three are called with mMutex locked.
    bool reopen();
    bool check(bool force);
    void applyVideoFrameRate();
    QVideoFrame grabVideoInternal(qint64 timestamp, shm_video_lookup_mode_t const* mode);

    QByteArray const mName;
    QSharedPointer<shm_reader_t> mReader;
    shm_reader_format_t mFormat = {};
    QMutex mMutex;
    QElapsedTimer mCheckTimer;
    qint64 mSyncMin = 0;
    qint64 mSyncMax = 0;
    unsigned int mFpsNum = 0;
    unsigned int mFpsDen = 0;
    // Of mFormat: asked for with each read of audio, and a new one would take memory.
    QAudioFormat mAudioFormat;
};

#endif
