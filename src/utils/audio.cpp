#include "utils/audio.h"

#include "qvorlinassert.h"
#include "utils/audiolevelcalc.h"

namespace {

constexpr int Signed16 = 1; // the sample format's number in FFmpeg
constexpr int MaxChannels = 8;

} // namespace

AudioLevels getRmsMaxDecibels(void const* data, size_t frames, QAudioFormat const& format)
{
    QVORLIN_ASSERT(format.sampleType() == QAudioFormat::SignedInt,
        "format.sampleType() == QAudioFormat::SignedInt", "utils/audio");
    QVORLIN_ASSERT(format.sampleSize() == 16, "format.sampleSize() == 16", "utils/audio");
    int const channels = format.channelCount();
    float values[2 * MaxChannels];
    if (av_audio_level_calc(data, frames, channels, Signed16, values) < 0 || channels < 1)
        return {};
    AudioLevels levels(channels);
    for (int i = 0; i < channels; ++i)
        levels[i] = {values[i], values[MaxChannels + i]};
    return levels;
}

AudioLevels getRmsMaxDecibels(QAudioBuffer const& buffer)
{
    if (!buffer.isValid())
        return {};
    return getRmsMaxDecibels(
        buffer.constData(), static_cast<size_t>(buffer.frameCount()), buffer.format());
}
