#include "utils/audioplayer.h"

#include <cstdint>

#include <QFile>

#include "logger.h"
#include "qvorlinassert.h"
#include "utils/mediasource.h"

namespace {

constexpr qint32 MaxClockShiftMs = 1000;

} // namespace

AudioPlayer* AudioPlayer::instance = nullptr;

AudioPlayer* AudioPlayer::getInstance()
{
    if (!instance)
        instance = new AudioPlayer;
    return instance;
}

void AudioPlayer::teardown()
{
    delete instance;
    instance = nullptr;
}

AudioPlayer::AudioPlayer()
{
    qRegisterMetaType<QAudio::State>();
}

AudioPlayer::~AudioPlayer()
{
    stop();
    deleteOutput();
}

bool AudioPlayer::setDevice(QString const& name)
{
    if (enabled())
        stop();
    if (name == QLatin1String("default")) {
        mOutDevice = QAudioDeviceInfo::defaultOutputDevice();
        return true;
    }
    QList<QAudioDeviceInfo> const devices = QAudioDeviceInfo::availableDevices(QAudio::AudioOutput);
    for (QAudioDeviceInfo const& device : devices) {
        if (device.deviceName() == name) {
            mOutDevice = device;
            return true;
        }
    }
    logger::warning("Audio device not found");
    return false;
}

bool AudioPlayer::enabled() const
{
    return !mOutDevice.isNull();
}

bool AudioPlayer::start(MediaSource* source, qreal frameRate, bool requireAudio)
{
    logger::Call const call("start");
    QVORLIN_ASSERT(source != nullptr, "source != nullptr", "utils/audioplayer");
    QVORLIN_ASSERT(!mOutDevice.isNull(), "!mOutDevice.isNull()", "utils/audioplayer");
    stop();

    QAudioFormat format = source->getAudioFormat();
    if (format.isValid()) {
        format = mOutDevice.nearestFormat(format);
    } else if (!requireAudio) {
        format = mOutDevice.preferredFormat();
    } else {
        logger::error("Source does not have audio");
        return false;
    }
    if (!mReader.open(source, format, requireAudio)) {
        logger::error("Failed to open audio reader");
        return false;
    }

    prepareOutput(format);
    if (frameRate > 0.0)
        mAudioOutput->setNotifyInterval(static_cast<int>(1000.0 / frameRate));
    mAudioOutput->start(&mReader);
    if (mAudioOutput->error() != QAudio::NoError) {
        logger::error("Audio playback failed");
        stop();
        return false;
    }
    mClockDetector.start();
    logger::info("Audio playback started");
    return true;
}

void AudioPlayer::stop()
{
    logger::Call const call("stop");
    if (mAudioOutput) {
        mAudioOutput->disconnect(this);
        // Idle or suspended it is left as it is, for the next start to reset.
        if (mAudioOutput->state() == QAudio::ActiveState) {
            logger::debug("stopping audio output");
            mAudioOutput->stop();
            logger::debug("audio output stopped");
        }
    }
    if (mReader.isOpen())
        mReader.close();
}

bool AudioPlayer::isActive() const
{
    return mAudioOutput && mAudioOutput->state() == QAudio::ActiveState;
}

qint64 AudioPlayer::getPlayedTime() const
{
    if (!isActive())
        return 0;
    qint64 const first = mReader.startTimestamp();
    if (first < 1)
        return first;
    QAudioFormat const format = mAudioOutput->format();
    // What still lies in the output's buffer has been consumed but not heard, and so has the period
    // under way.
    return mAudioOutput->processedUSecs() - format.durationForBytes(mAudioOutput->bufferSize()) -
           format.durationForBytes(mAudioOutput->periodSize()) + first;
}

int AudioPlayer::sampleRate() const
{
    return isActive() ? mAudioOutput->format().sampleRate() : 0;
}

double AudioPlayer::volume() const
{
    return mVolume;
}

float AudioPlayer::volume()
{
    return static_cast<float>(mVolume);
}

void AudioPlayer::setVolume(double v)
{
    mVolume = qBound(0.0, v, 1.0);
    if (mAudioOutput && !mMute)
        mAudioOutput->setVolume(mVolume);
}

bool AudioPlayer::isMute() const
{
    return mMute;
}

void AudioPlayer::setMute(bool mute)
{
    mMute = mute;
    if (mAudioOutput)
        mAudioOutput->setVolume(effectiveVolume());
}

void AudioPlayer::setDelay(qint64 usec)
{
    mReader.setDelay(usec);
}

qint64 AudioPlayer::delay() const
{
    return mReader.delay();
}

void AudioPlayer::setMaxDelay(qint64 usec)
{
    mReader.setMaxDelay(usec);
}

qint64 AudioPlayer::maxDelay() const
{
    return mReader.maxDelay();
}

qint64 AudioPlayer::reanchors() const
{
    return mReader.reanchors();
}

qint64 AudioPlayer::skippedTime() const
{
    return mReader.skippedTime();
}

qint64 AudioPlayer::silentFrames() const
{
    return mReader.silentFrames();
}

qint64 AudioPlayer::underruns() const
{
    return mReader.underruns();
}

void AudioPlayer::setWaveformFile(QString const& path)
{
    if (path.isEmpty())
        return;
    // One that another replaces stays open until the reader goes.
    auto* file = new QFile(path, &mReader);
    if (!file->open(QIODevice::WriteOnly)) {
        delete file;
        file = nullptr;
    }
    mReader.setWaveformOutput(file);
}

void AudioPlayer::onFrameTimer()
{
    qint64 const shift = mClockDetector.check();
    auto const shiftMs = static_cast<qint32>(shift);
    if (shiftMs > MaxClockShiftMs || shiftMs < -MaxClockShiftMs) {
        logger::warning("Audio. Clock shift detected (%jd ms)", static_cast<intmax_t>(shift));
        stop();
        emit playerStopped();
    }
    emit audioPlayed(getPlayedTime());
}

void AudioPlayer::playerStateChanged(QAudio::State state)
{
    logger::debug("Audio player state changed to %d", static_cast<int>(state));
    if (state != QAudio::StoppedState)
        return;
    stop();
    emit playerStopped();
}

/** Sees to an output of this format, quiet so far, whose signals reach the player. */
void AudioPlayer::prepareOutput(QAudioFormat const& format)
{
    if (mAudioOutput && mAudioOutput->format() == format) {
        mAudioOutput->reset();
    } else {
        deleteOutput();
        mAudioOutput = new QAudioOutput(mOutDevice, format, nullptr);
    }
    mAudioOutput->setVolume(effectiveVolume());
    connect(mAudioOutput, &QAudioOutput::stateChanged, this, &AudioPlayer::playerStateChanged,
        Qt::UniqueConnection);
    connect(mAudioOutput, &QAudioOutput::notify, this, &AudioPlayer::onFrameTimer,
        Qt::UniqueConnection);
}

void AudioPlayer::deleteOutput()
{
    // Qt's PulseAudio output can still feed itself while it is destroyed, and ends the process
    // then.
    if (mAudioOutput && mAudioOutput->state() != QAudio::StoppedState)
        mAudioOutput->stop();
    delete mAudioOutput;
}

double AudioPlayer::effectiveVolume() const
{
    return mMute ? 0.0 : mVolume;
}
