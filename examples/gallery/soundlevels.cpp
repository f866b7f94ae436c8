#include "soundlevels.h"

#include <utility>

namespace {

constexpr int PeriodMs = 40;
constexpr qint64 MsToUs = 1000;

// Sound that stands still for so long has ended, whether or not the stream has.
constexpr int AbsenceMs = 500;

} // namespace

SoundLevels::SoundLevels(QSharedPointer<MediaSource> source)
    : mSource(std::move(source))
{
    connect(&mTimer, &QTimer::timeout, this, &SoundLevels::measure);
}

void SoundLevels::start()
{
    mTimer.start(PeriodMs);
}

void SoundLevels::measure()
{
    qint64 const newest = mSource->getAudioLastTimestamp();
    if (std::exchange(mNewest, newest) != newest)
        mSinceNew.start();
    QAudioFormat const format = mSource->getAudioFormat();
    if (newest == 0 || !format.isValid() || mSinceNew.hasExpired(AbsenceMs)) {
        setFormat(QAudioFormat());
        return;
    }
    setFormat(format);
    int const frames = format.framesForDuration(PeriodMs * MsToUs);
    Q_EMIT levelsChanged(
        getRmsMaxDecibels(mSource->grabAudio(static_cast<unsigned long>(frames), 0)));
}

void SoundLevels::setFormat(QAudioFormat const& format)
{
    if (format == mFormat)
        return;
    mFormat = format;
    Q_EMIT channelsChanged(format.isValid() ? format.channelCount() : 0);
    Q_EMIT levelsChanged({});
}
