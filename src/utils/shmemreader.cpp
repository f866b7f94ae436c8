#include "utils/shmemreader.h"

#include <limits>
#include <memory>

#include <QMutexLocker>
#include <QVariant>

#include "utils/shmemvideobuffer.h"

extern "C" {
#include <libavutil/time.h>
}

namespace {

constexpr qint64 CheckIntervalMs = 1000;

// The product stays 32 bits wide, so it wraps beyond 35 minutes.
qint64 toMicroseconds(int milliseconds)
{
    return static_cast<qint32>(static_cast<quint32>(milliseconds) * 1000u);
}

// The stream states rate and channels: whatever they are, Qt's own arithmetic, which is 32 bits
// wide and divides by the rate, has to stay sound, or the buffer would be too small for the copy.
bool fitsAudioBuffer(QAudioFormat const& format, unsigned long count)
{
    if (format.sampleRate() < 1 || format.channelCount() < 1)
        return false;
    constexpr int maxBytes = std::numeric_limits<int>::max();
    int const maxChannels = maxBytes / format.sampleSize();
    return format.channelCount() <= maxChannels &&
           count <= static_cast<unsigned long>(maxBytes / format.bytesPerFrame());
}

} // namespace

QAudioFormat shmemFormatToAudioFormat(shm_reader_format_t const& format)
{
    QAudioFormat result;
    if (format.has_audio == 0)
        return result;
    result.setChannelCount(format.audio_channels);
    result.setSampleRate(format.audio_sample_rate);
    result.setSampleSize(16);
    result.setSampleType(QAudioFormat::SignedInt);
    result.setByteOrder(QAudioFormat::LittleEndian);
    result.setCodec(QStringLiteral("audio/pcm"));
    return result;
}

ShmemReader::ShmemReader(QString shmname)
    : mName(shmname.toUtf8())
{}

ShmemReader::~ShmemReader()
{
    close();
}

bool ShmemReader::open()
{
    QMutexLocker lock(&mMutex);
    return reopen();
}

void ShmemReader::close()
{
    QMutexLocker lock(&mMutex);
    mFormat.valid = 0;
    mReader.reset();
}

void ShmemReader::setRealtimeSyncRange(int minMs, int maxMs)
{
    QMutexLocker lock(&mMutex);
    mSyncMin = toMicroseconds(minMs);
    mSyncMax = toMicroseconds(maxMs);
}

void ShmemReader::setVideoFrameRate(unsigned int num, unsigned int den)
{
    QMutexLocker lock(&mMutex);
    mFpsNum = num;
    mFpsDen = den;
    if (mFormat.valid && mFormat.has_video)
        applyVideoFrameRate();
}

void ShmemReader::setVideoFrameRate(double fps)
{
    double const scaled = fps * 1000.0;
    // Converting a number out of range (NaN included) is undefined.
    bool const inRange = scaled > 0.0 && scaled <= std::numeric_limits<unsigned int>::max();
    setVideoFrameRate(inRange ? static_cast<unsigned int>(scaled) : 0u, 1000u);
}

QSize ShmemReader::getVideoFrameSize()
{
    QMutexLocker lock(&mMutex);
    if (!check(false) || !mFormat.has_video)
        return QSize(-1, -1);
    return QSize(mFormat.video_width, mFormat.video_height);
}

shm_video_status_t ShmemReader::getVideoStatus()
{
    QMutexLocker lock(&mMutex);
    shm_video_status_t status = {};
    if (check(false) && mFormat.has_video)
        shm_reader_get_video_status(mReader.data(), &status);
    return status;
}

QVector<qint64> ShmemReader::getVideoTimestamps()
{
    static_assert(sizeof(qint64) == sizeof(int64_t), "two names of one type");

    QMutexLocker lock(&mMutex);
    if (!check(false) || !mFormat.has_video)
        return {};
    QVector<qint64> timestamps(qMax(0, mFormat.video_frame_count));
    int const count = shm_reader_get_video_timestamps(
        mReader.data(), reinterpret_cast<int64_t*>(timestamps.data()), timestamps.size());
    timestamps.resize(qBound(0, count, timestamps.size()));
    return timestamps;
}

QAudioFormat ShmemReader::getAudioFormat()
{
    QMutexLocker lock(&mMutex);
    return check(false) ? mAudioFormat : QAudioFormat();
}

unsigned long ShmemReader::grabAudio(int mode, unsigned long count, void* dest, qint64 timestamp)
{
    QMutexLocker lock(&mMutex);
    if (!check(false) || !mFormat.has_audio)
        return 0;
    // As many blocks of one sample frame as there are.
    int const copied = shm_reader_query_audio(mReader.data(), mode, dest, count, 1, timestamp);
    return static_cast<unsigned long>(qMax(0, copied));
}

QAudioBuffer ShmemReader::grabAudio(int mode, unsigned long count, qint64 timestamp)
{
    if (count == 0)
        return {};

    QMutexLocker lock(&mMutex);
    if (!check(false) || !mFormat.has_audio)
        return {};
    shm_audio_status_t status = {};
    if (shm_reader_get_audio_status(mReader.data(), mode, &status) != 0 ||
        count > status.sample_count)
        return {};
    QAudioFormat const format = shmemFormatToAudioFormat(mFormat);
    if (!fitsAudioBuffer(format, count))
        return {};

    int const frameCount = static_cast<int>(count);
    qint64 const latestStart = status.last_timestamp - format.durationForFrames(frameCount);
    qint64 start = timestamp >= 1 ? timestamp : latestStart + timestamp;
    // The oldest audio wins where rounding leaves less time between the two than count samples.
    if (start < status.first_timestamp)
        start = status.first_timestamp;
    else if (start > latestStart)
        start = latestStart;
    if (!checkRealtimeSync(start))
        return {};

    QAudioBuffer buffer(frameCount, format, start);
    // One block of count sample frames: all of them or none.
    if (buffer.byteCount() == 0 ||
        shm_reader_query_audio(mReader.data(), mode, buffer.data(), 1, count, start) != 1)
        return {};
    return buffer;
}

qint64 ShmemReader::getAudioLastTimestamp()
{
    QMutexLocker lock(&mMutex);
    shm_audio_status_t status = {};
    if (!check(false) || !mFormat.has_audio ||
        shm_reader_get_audio_status(mReader.data(), SHM_AUDIO_STRICT, &status) < 0)
        return 0;
    return status.last_timestamp;
}

QVideoFrame ShmemReader::grabVideo(qint64 timestamp)
{
    return grabVideoInternal(timestamp, nullptr);
}

QVideoFrame ShmemReader::grabVideo(qint64 timestamp, shm_video_lookup_mode_t mode)
{
    return grabVideoInternal(timestamp, &mode);
}

bool ShmemReader::checkRealtimeSync(qint64 timestamp) const
{
    if (mSyncMin == 0 && mSyncMax == 0)
        return true;
    // Bounds around now rather than a difference, which a wild timestamp could make overflow.
    qint64 const now = av_gettime();
    return now + mSyncMin <= timestamp && timestamp <= now + mSyncMax;
}

bool ShmemReader::reopen()
{
    mFormat.valid = 0;
    shm_reader_t* const handle = shm_reader_open(mName.constData());
    if (!handle) {
        mReader.reset();
        return false;
    }
    mReader.reset(handle, shm_reader_close);
    shm_reader_get_format(handle, &mFormat);
    if (!mFormat.valid) {
        mReader.reset();
        return false;
    }
    mAudioFormat = shmemFormatToAudioFormat(mFormat);
    if (mFormat.has_video)
        applyVideoFrameRate();
    return true;
}

bool ShmemReader::check(bool force)
{
    bool const recent = !force && mCheckTimer.isValid() && mCheckTimer.elapsed() < CheckIntervalMs;
    if (recent)
        return mFormat.valid != 0;
    bool const usable = (mFormat.valid && shm_reader_is_ready(mReader.data())) || reopen();
    mCheckTimer.start();
    return usable;
}

void ShmemReader::applyVideoFrameRate()
{
    bool const set = mFpsNum != 0 && mFpsDen != 0;
    shm_reader_set_fps(mReader.data(), set ? mFpsNum : 1, set ? mFpsDen : 1);
}

QVideoFrame ShmemReader::grabVideoInternal(qint64 timestamp, shm_video_lookup_mode_t const* mode)
{
    QMutexLocker lock(&mMutex);
    if (!check(false) || !mFormat.has_video)
        return {};
    auto buffer = mode ? std::make_unique<ShmemVideoBuffer>(mReader, timestamp, *mode)
                       : std::make_unique<ShmemVideoBuffer>(mReader, timestamp);
    QSize const size = buffer->size();
    qint64 const lockedTimestamp = buffer->timestamp();
    if (size.width() < 1 || size.height() < 1 || !checkRealtimeSync(lockedTimestamp))
        return {};

    QVideoFrame frame(buffer.release(), size, QVideoFrame::Format_YUV420P);
    frame.setStartTime(lockedTimestamp);
    frame.setFieldType(QVideoFrame::ProgressiveFrame);
    frame.setMetaData(QStringLiteral("shmname"), mName);
    return frame;
}
