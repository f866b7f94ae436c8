#include "streamsound.h"

#include <algorithm>
#include <utility>

#include "framestatistics.h"
#include "logger.h"
#include "utils/audioplayer.h"

namespace {

constexpr int PollPeriodMs = 100;
constexpr int RetryPeriodMs = 3000;

// How far it may fall behind, beyond the delay, before some is left out.
constexpr qint64 DelayTolerance = 100'000; // µs

// How much later than at first it may be heard. Each time that the output runs dry it falls back,
// and the picture, which follows it, can only be held back for as long as the stream keeps frames.
constexpr qint64 LagTolerance = 60'000; // µs

constexpr int FullVolume = 100;
constexpr qreal DefaultReportRate = 25;
constexpr qint64 MeteredDuration = 40'000; // µs

/**
 * Has PulseAudio keep a buffer that the delay has room for: what it fetches at the start would
 * otherwise reach beyond the live edge, and be silence.
 */
void limitPulseBuffer(qint64 delay)
{
    constexpr char variable[] = "PULSE_LATENCY_MSEC";
    constexpr qint64 least = 40'000;
    if (!qEnvironmentVariableIsSet(variable))
        qputenv(variable, QByteArray::number(std::max(delay * 3 / 5, least) / 1000));
}

QAudioDeviceInfo deviceNamed(QString const& name)
{
    if (name == QLatin1String("default"))
        return QAudioDeviceInfo::defaultOutputDevice();
    QList<QAudioDeviceInfo> const devices = QAudioDeviceInfo::availableDevices(QAudio::AudioOutput);
    auto const found = std::find_if(devices.begin(), devices.end(),
        [&name](QAudioDeviceInfo const& device) { return device.deviceName() == name; });
    return found == devices.end() ? QAudioDeviceInfo() : *found;
}

} // namespace

StreamSound::StreamSound(QString const& device, qint64 delay)
    : mDevice(device)
    , mDelay(delay)
{
    limitPulseBuffer(delay);
    connect(&mPollTimer, &QTimer::timeout, this, &StreamSound::poll);
}

StreamSound::~StreamSound()
{
    blockSignals(true);
    close();
}

void StreamSound::open(QSharedPointer<MediaSource> source)
{
    close();
    mSource = std::move(source);
    AudioPlayer* const player = AudioPlayer::getInstance();
    player->setDelay(mDelay);
    player->setMaxDelay(mDelay + DelayTolerance);
    player->setVolume(mVolume / double(FullVolume));
    player->setMute(mMuted);
    connect(player, &AudioPlayer::audioPlayed, this, &StreamSound::onAudioPlayed);
    connect(player, &AudioPlayer::playerStopped, this, [this] {
        stopPlaying();
        mNextTry.setRemainingTime(RetryPeriodMs);
    });
    mNextTry = QDeadlineTimer();
    mPollTimer.start(PollPeriodMs);
}

void StreamSound::close()
{
    mPollTimer.stop();
    if (mSource) {
        stopPlaying();
        AudioPlayer::teardown();
    }
    mSource.reset();
    mSinceAudio.invalidate();
}

void StreamSound::changeVolume(int difference)
{
    mVolume = qBound(0, mVolume + difference, FullVolume);
    if (mSource)
        AudioPlayer::getInstance()->setVolume(mVolume / double(FullVolume));
}

void StreamSound::setMuted(bool muted)
{
    mMuted = muted;
    if (mSource)
        AudioPlayer::getInstance()->setMute(muted);
}

SoundFigures StreamSound::figures() const
{
    SoundFigures figures = mFigures;
    if (mPlaying) {
        AudioPlayer const& player = *AudioPlayer::getInstance();
        figures.underruns += player.underruns();
        figures.reanchors += player.reanchors();
        figures.silence += silence();
    }
    return figures;
}

void StreamSound::poll()
{
    QAudioFormat const format = mSource->getAudioFormat();
    if (!format.isValid() || mSource->getAudioLastTimestamp() == 0) {
        mSinceAudio.invalidate();
        setChannels(0);
        // A stream that has gone is heard as silence; one that has only pictures now is not.
        if (mPlaying && mSource->getVideoFrameSize().isValid())
            stopPlaying();
        return;
    }
    bool const isNew = !mSinceAudio.isValid();
    if (isNew)
        mSinceAudio.start();
    // Earlier there would be less than the delay to read. Sound that is back begins anew then.
    bool const begins = isNew || mSinceAudio.elapsed() * 1000 < mDelay;
    if (begins && mPlaying)
        stopPlaying();
    if (mPlaying) {
        setChannels(format.channelCount());
        if (hasFallenBack() && mNextTry.hasExpired())
            play(format);
    } else if (!begins && mNextTry.hasExpired() && findDevice()) {
        play(format);
    }
}

bool StreamSound::hasFallenBack() const
{
    std::optional<qint64> const lag = mLag.value();
    return lag && mFirstLag && *lag > *mFirstLag + LagTolerance;
}

/** @return whether there is one; when there is none, that is said once */
bool StreamSound::findDevice()
{
    bool const found = !deviceNamed(mDevice).isNull();
    if (found) {
        mDeviceMissed = false;
        return AudioPlayer::getInstance()->setDevice(mDevice);
    }
    mNextTry.setRemainingTime(RetryPeriodMs);
    if (!std::exchange(mDeviceMissed, true))
        logger::warning("no sound: there is no device '%s'", qPrintable(mDevice));
    return false;
}

void StreamSound::play(QAudioFormat const& format)
{
    mFigures = figures();
    mFirstLag.reset();
    mLag.clear();
    qint64 const interval = mSource->getVideoStatus().frameInterval;
    qreal const rate = interval > 0 ? 1e6 / qreal(interval) : DefaultReportRate;
    // What follows a stream that ends is silence, until it is back.
    mPlaying = AudioPlayer::getInstance()->start(mSource.data(), rate, false);
    setChannels(mPlaying ? format.channelCount() : 0);
    mNextTry.setRemainingTime(RetryPeriodMs);
}

void StreamSound::stopPlaying()
{
    if (mPlaying) {
        mFigures = figures();
        mPlaying = false;
        AudioPlayer::getInstance()->stop();
    }
    mLag.clear();
    setChannels(0);
}

void StreamSound::setChannels(int channels)
{
    if (std::exchange(mChannels, channels) != channels)
        Q_EMIT channelsChanged(channels);
}

void StreamSound::onAudioPlayed(qint64 timestamp)
{
    if (timestamp < 1 || !mPlaying)
        return;
    qint64 const now = wallClock();
    mRate = AudioPlayer::getInstance()->sampleRate();
    // The player counts all that the output has consumed as if the stream had no gaps.
    mLag.add(timestamp + AudioPlayer::getInstance()->skippedTime() - silence(), now);
    std::optional<qint64> const lag = mLag.value();
    if (lag && !mFirstLag)
        mFirstLag = lag;
    if (!lag || mChannels == 0)
        return;
    int const frames = mSource->getAudioFormat().framesForDuration(MeteredDuration);
    if (frames > 0) {
        Q_EMIT levelsChanged(getRmsMaxDecibels(mSource->grabAudio(
            static_cast<unsigned long>(frames), now - *lag - MeteredDuration / 2)));
    }
}

/** Played since the last start for want of sound, µs. */
qint64 StreamSound::silence() const
{
    return mRate > 0 ? AudioPlayer::getInstance()->silentFrames() * 1'000'000 / mRate : 0;
}
