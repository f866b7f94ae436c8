#include "fakeaudio.h"

#include <algorithm>
#include <utility>

#include "utils/mediasource.h"

namespace {

FakeAudio* fake = nullptr;

} // namespace

FakeAudio::FakeAudio(QAudioFormat const& firstFormat, qint64 liveEdge)
    : format(firstFormat)
    , last(liveEdge)
{
    if (fake)
        qFatal("there is one sound at a time");
    fake = this;
}

FakeAudio::~FakeAudio()
{
    fake = nullptr;
}

QStringList FakeAudio::takeCalls()
{
    return std::exchange(mCalls, {});
}

void FakeAudio::record(QString const& call)
{
    mCalls.append(call);
}

QAudioFormat FakeAudio::nextFormat()
{
    QAudioFormat const result = format;
    if (!laterFormats.isEmpty())
        format = laterFormats.takeFirst();
    return result;
}

unsigned long FakeAudio::deliver(unsigned long frames, short* samples)
{
    destination = samples;
    unsigned long const count = std::min(frames, available);
    unsigned long const sampleCount = count * static_cast<unsigned long>(format.channelCount());
    for (unsigned long i = 0; i < sampleCount; ++i)
        samples[i] = static_cast<short>(++mSamplesDelivered);
    return count;
}

QAudioFormat MediaSource::getAudioFormat()
{
    fake->record(QStringLiteral("format"));
    return fake->nextFormat();
}

qint64 MediaSource::getAudioLastTimestamp()
{
    fake->record(QStringLiteral("last"));
    return fake->last;
}

unsigned long MediaSource::grabAudio(int mode, unsigned long count, short* dest, qint64 timestamp)
{
    fake->record(QStringLiteral("grab %1 %2 %3").arg(mode).arg(count).arg(timestamp));
    return fake->deliver(count, dest);
}
