#include "utils/mediasource.h"

#include "utils/shmemreader.h"
#include "utils/videoconverter.h"

namespace {

constexpr qint64 DefaultAudioDuration = 100000; // µs

// What the signals carry has to be known before they can cross threads.
void registerMetaTypes()
{
    qRegisterMetaType<QVideoFrame>("QVideoFrame");

    // A buffer is one pointer, so it may be moved in memory; Qt's own declaration doesn't say so.
    // Only the registration does here: declaring the type movable in a header would change the
    // layout of the containers that programs keep buffers in.
    using Functions = QtMetaTypePrivate::QMetaTypeFunctionHelper<QAudioBuffer>;
    QMetaType::registerNormalizedType("QAudioBuffer", Functions::Destruct, Functions::Construct,
        sizeof(QAudioBuffer),
        QMetaType::NeedsConstruction | QMetaType::NeedsDestruction | QMetaType::MovableType |
            QMetaType::WasDeclaredAsMetaType,
        nullptr);
}

} // namespace

MediaSource::MediaSource(QString shmname, QObject* parent)
    : QObject(parent)
    , mReader(std::make_unique<ShmemReader>(shmname))
{
    static bool const registered = (registerMetaTypes(), true);
    Q_UNUSED(registered)
}

MediaSource::~MediaSource()
{
    delete mConverter.load();
}

bool MediaSource::open()
{
    return mReader->open();
}

void MediaSource::close()
{
    mReader->close();
}

QString MediaSource::name() const
{
    // As the stream library sees it: a NUL ends the name.
    return QString::fromUtf8(mReader->name().constData());
}

void MediaSource::setRequestedAudioSamplesCount(unsigned long count)
{
    mRequestedAudioSamplesCount = count;
}

void MediaSource::setRequestedImageSize(QSize const& size, bool keepAspectRatio, bool pointScaling)
{
    if (!createConverter(size, keepAspectRatio, pointScaling))
        mConverter.load()->reset(size, keepAspectRatio, pointScaling);
}

VideoFrameConverter* MediaSource::getVideoFrameConverter()
{
    createConverter(QSize(), true, true);
    return mConverter;
}

void MediaSource::setRealtimeSyncRange(int minMs, int maxMs)
{
    mReader->setRealtimeSyncRange(minMs, maxMs);
}

void MediaSource::setVideoFrameRate(unsigned int num, unsigned int den)
{
    mReader->setVideoFrameRate(num, den);
}

void MediaSource::setVideoFrameRate(double fps)
{
    mReader->setVideoFrameRate(fps);
}

QSize MediaSource::getVideoFrameSize()
{
    return mReader->getVideoFrameSize();
}

QVideoFrame MediaSource::grabVideo(qint64 timestamp)
{
    return mReader->grabVideo(timestamp);
}

QImage MediaSource::grabImage(qint64 timestamp)
{
    return getVideoFrameConverter()->convert(grabVideo(timestamp));
}

QAudioFormat MediaSource::getAudioFormat()
{
    return mReader->getAudioFormat();
}

unsigned long MediaSource::grabAudio(int mode, unsigned long count, short* dest, qint64 timestamp)
{
    return mReader->grabAudio(mode, count, dest, timestamp);
}

QAudioBuffer MediaSource::grabAudio(unsigned long count, long timestamp)
{
    return mReader->grabAudio(SHM_AUDIO_STRICT, count, timestamp);
}

qint64 MediaSource::getAudioLastTimestamp()
{
    return mReader->getAudioLastTimestamp();
}

unsigned long MediaSource::getDefaultSamplesCount()
{
    if (unsigned long const requested = mRequestedAudioSamplesCount)
        return requested;
    // An invalid format has no frames for any duration.
    qint32 const count = getAudioFormat().framesForDuration(DefaultAudioDuration);
    return static_cast<unsigned long>(qMax(0, count));
}

MediaSource::VideoStatus MediaSource::getVideoStatus()
{
    shm_video_status_t const status = mReader->getVideoStatus();
    if (!status.frames_valid)
        return {};
    return {mReader->getVideoTimestamps(), status.frame_interval, status.interval_jitter};
}

void MediaSource::requestVideo(qint64 timestamp)
{
    emit videoReady(grabVideo(timestamp));
}

void MediaSource::requestImage(qint64 timestamp)
{
    emit imageReady(grabImage(timestamp));
}

void MediaSource::requestAudio(qint64 timestamp)
{
    emit audioReady(grabAudio(getDefaultSamplesCount(), timestamp));
}

void MediaSource::requestVideoAudio(qint64 timestamp)
{
    QVideoFrame const frame = grabVideo(timestamp);
    if (!frame.isValid()) {
        emit videoReady(frame);
        return;
    }
    QAudioBuffer const audio = grabAudioOf(frame);
    emit videoReady(frame);
    emit audioReady(audio);
}

void MediaSource::requestImageAudio(qint64 timestamp)
{
    VideoFrameConverter* const converter = getVideoFrameConverter();
    QVideoFrame frame = grabVideo(timestamp);
    if (!frame.isValid()) {
        emit imageReady(QImage());
        return;
    }
    QAudioBuffer const audio = grabAudioOf(frame);
    QImage const image = converter->convert(frame);
    // The stream has its slot back before the receivers take their time.
    frame = QVideoFrame();
    emit imageReady(image);
    emit audioReady(audio);
}

// Another thread may be creating the converter at the same time: the first one wins.
bool MediaSource::createConverter(QSize const& size, bool keepAspectRatio, bool pointScaling)
{
    if (mConverter)
        return false;
    auto* const converter = new VideoFrameStreamConverter(size, keepAspectRatio, pointScaling);
    VideoFrameStreamConverter* none = nullptr;
    bool const first = mConverter.compare_exchange_strong(none, converter);
    if (!first)
        delete converter;
    return first;
}

QAudioBuffer MediaSource::grabAudioOf(QVideoFrame const& frame)
{
    return grabAudio(getDefaultSamplesCount(), frame.startTime());
}
