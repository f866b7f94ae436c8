#include "utils/audioreader.h"

#include <algorithm>
#include <cstring>
#include <string>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include "logger.h"
#include "qvorlinassert.h"
#include "shm_reader.h"
#include "utils/mediasource.h"

namespace {

struct SampleFormat
{
    int bytes;
    QAudioFormat::SampleType type;
    AVSampleFormat format;
};

constexpr SampleFormat SampleFormats[] = {
    {1, QAudioFormat::UnSignedInt, AV_SAMPLE_FMT_U8},
    {2, QAudioFormat::SignedInt, AV_SAMPLE_FMT_S16},
    {4, QAudioFormat::SignedInt, AV_SAMPLE_FMT_S32},
    {4, QAudioFormat::Float, AV_SAMPLE_FMT_FLT},
    {8, QAudioFormat::Float, AV_SAMPLE_FMT_DBL},
};

AVSampleFormat sampleFormat(QAudioFormat const& format)
{
    for (SampleFormat const& row : SampleFormats) {
        if (row.bytes == format.sampleSize() / 8 && row.type == format.sampleType())
            return row.format;
    }
    return AV_SAMPLE_FMT_NONE;
}

quint64 channelLayout(QAudioFormat const& format)
{
    int const count = format.channelCount();
    QVORLIN_ASSERT(count <= 2, "count <= 2", "utils/audioreader");
    constexpr quint64 layouts[] = {0, AV_CH_LAYOUT_MONO, AV_CH_LAYOUT_STEREO};
    return layouts[std::max(count, 0)];
}

// The names of the options that describe one side of the conversion.
struct SideOptions
{
    char const* layout;
    char const* sampleFormat;
    char const* sampleRate;
    char const* channelCount;
};

#if LIBSWRESAMPLE_VERSION_MAJOR >= 5

constexpr SideOptions Input = {"in_chlayout", "in_sample_fmt", "in_sample_rate", nullptr};
constexpr SideOptions Output = {"out_chlayout", "out_sample_fmt", "out_sample_rate", nullptr};

void setLayout(SwrContext* resampler, char const* option, quint64 mask)
{
    AVChannelLayout layout = {};
    av_channel_layout_from_mask(&layout, mask);
    av_opt_set_chlayout(resampler, option, &layout, 0);
}

#else

constexpr SideOptions Input = {
    "in_channel_layout", "in_sample_fmt", "in_sample_rate", "in_channel_count"};
constexpr SideOptions Output = {
    "out_channel_layout", "out_sample_fmt", "out_sample_rate", "out_channel_count"};

void setLayout(SwrContext* resampler, char const* option, quint64 mask)
{
    // Deprecated by the versions that have the successor as well, but the only way that all
    // versions before number 5 know.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    av_opt_set_channel_layout(resampler, option, static_cast<int64_t>(mask), 0);
#pragma GCC diagnostic pop
}

#endif

// What is wrong with a value shows when the resampler is initialised.
void setSide(SwrContext* resampler, SideOptions const& options, QAudioFormat const& format)
{
    setLayout(resampler, options.layout, channelLayout(format));
    av_opt_set_sample_fmt(resampler, options.sampleFormat, sampleFormat(format), 0);
    av_opt_set_int(resampler, options.sampleRate, format.sampleRate(), 0);
    if (options.channelCount)
        av_opt_set_int(resampler, options.channelCount, format.channelCount(), 0);
}

} // namespace

void AudioReader::ResamplerDeleter::operator()(SwrContext* resampler) const
{
    swr_free(&resampler);
}

AudioReader::AudioReader(QObject* parent)
    : QIODevice(parent)
{}

AudioReader::~AudioReader() = default;

bool AudioReader::open(MediaSource* source, QAudioFormat const& format, bool requireAudio)
{
    QVORLIN_ASSERT(source != nullptr, "source != nullptr", "utils/audioreader");
    QVORLIN_ASSERT(mSource == nullptr, "mSource == nullptr", "utils/audioreader");
    mFormat = format;
    QAudioFormat const sourceFormat = source->getAudioFormat();
    bool const ready = sourceFormat.isValid() ? updateResampler(sourceFormat) : !requireAudio;
    if (!ready)
        return false;
    mSource = source;
    mSourceFormat = sourceFormat;
    mTimestamp = 0;
    mStartTimestamp = 0;
    mRequireAudio = requireAudio;
    mReanchors = 0;
    mSkippedTime = 0;
    mSilentFrames = 0;
    mUnderruns = 0;
    return QIODevice::open(QIODevice::ReadOnly);
}

void AudioReader::close()
{
    mSource = nullptr;
    QIODevice::close();
    mTimer.invalidate();
}

void AudioReader::setDelay(qint64 usec)
{
    mDelay = usec;
}

void AudioReader::setMaxDelay(qint64 usec)
{
    mMaxDelay = usec;
}

void AudioReader::setWaveformOutput(QIODevice* device)
{
    mWaveformOutput = device;
}

void AudioReader::resetTimer()
{
    mTimestamp = 0;
    mStartTimestamp = 0;
    mTimer.invalidate();
}

bool AudioReader::check_delta()
{
    if (mStartTimestamp < 1 || mTimestamp < 1)
        return false;
    qint64 const consumed = mTimestamp - mStartTimestamp;
    auto const elapsed = static_cast<qint64>(mTimer.nsecsElapsed() / 1000.0);
    qint64 const drift = elapsed - consumed;
    if (mMaxDelay >= qAbs(drift))
        return false;
    logger::info("check_delta: %s, %s, %s, %s, %s", std::to_string(mStartTimestamp).c_str(),
        std::to_string(mTimestamp).c_str(), std::to_string(consumed).c_str(),
        std::to_string(elapsed).c_str(), std::to_string(drift).c_str());
    return true;
}

bool AudioReader::updateResampler(QAudioFormat sourceFormat)
{
    mResampler.reset();
    if (sourceFormat == mFormat)
        return true;

    mResampler.reset(swr_alloc());
    logger::debug("Create new resampler context: %d ---> %d", sourceFormat.sampleRate(),
        mFormat.sampleRate());
    SwrContext* const resampler = mResampler.get();
    if (resampler) {
        setSide(resampler, Input, sourceFormat);
        setSide(resampler, Output, mFormat);
        av_opt_set_int(resampler, "filter_size", 32, 0);
        av_opt_set_int(resampler, "phase_shift", 5, 0);
        av_opt_set_double(resampler, "cutoff", 1.0, 0);
    }
    if (!resampler || swr_init(resampler) < 0) {
        mResampler.reset();
        logger::error("Error in creating resampler");
        return false;
    }
    mBuffer.resize(sourceFormat.bytesForFrames(mChunkFrames));
    return true;
}

qint64 AudioReader::readDataInternal(char* data, qint64 maxSize)
{
    if (maxSize == 0)
        return 0;
    QVORLIN_ASSERT(mSource != nullptr, "mSource != nullptr", "utils/audioreader");
    QAudioFormat const sourceFormat = mSource->getAudioFormat();
    if (!sourceFormat.isValid()) {
        if (mRequireAudio)
            return -1;
        std::memset(data, 0, static_cast<size_t>(maxSize));
        countSilence(mFormat.framesForBytes(static_cast<int>(maxSize)));
        return maxSize;
    }
    if (sourceFormat != mSourceFormat && !changeSourceFormat(sourceFormat))
        return -1;

    qint64 const last = mSource->getAudioLastTimestamp();
    updatePosition(last, maxSize);
    int missing = mFormat.framesForBytes(static_cast<int>(maxSize));
    if (mResampler)
        missing = convertSource(data, missing, last);
    else
        missing -= readSource(data, missing, last);
    if (missing < 0)
        return -1;
    return padWithSilence(data, maxSize, missing);
}

qint64 AudioReader::delay() const
{
    return mDelay;
}

qint64 AudioReader::maxDelay() const
{
    return mMaxDelay;
}

qint64 AudioReader::startTimestamp() const
{
    return mStartTimestamp;
}

QAudioFormat AudioReader::format() const
{
    return mFormat;
}

qint64 AudioReader::reanchors() const
{
    return mReanchors;
}

qint64 AudioReader::skippedTime() const
{
    return mSkippedTime;
}

qint64 AudioReader::silentFrames() const
{
    return mSilentFrames;
}

qint64 AudioReader::underruns() const
{
    return mUnderruns;
}

bool AudioReader::isSequential() const
{
    return true;
}

qint64 AudioReader::bytesAvailable() const
{
    QVORLIN_ASSERT(mSource != nullptr, "mSource != nullptr", "utils/audioreader");
    return 0;
}

bool AudioReader::seek(qint64 position)
{
    Q_UNUSED(position)
    return false;
}

qint64 AudioReader::readData(char* data, qint64 maxSize)
{
    qint64 const result = readDataInternal(data, maxSize);
    if (result >= 0 && mWaveformOutput)
        mWaveformOutput->write(data, result);
    return result;
}

qint64 AudioReader::writeData(char const* data, qint64 size)
{
    Q_UNUSED(data)
    Q_UNUSED(size)
    return 0;
}

bool AudioReader::changeSourceFormat(QAudioFormat const& sourceFormat)
{
    // Should this fail, there is no resampler for the format before either.
    mSourceFormat = QAudioFormat();
    if (!updateResampler(sourceFormat))
        return false;
    mSourceFormat = sourceFormat;
    mTimer.invalidate();
    return true;
}

void AudioReader::updatePosition(qint64 last, qint64 maxSize)
{
    bool const fresh = !mTimer.isValid();
    if (!fresh && last - mTimestamp <= mMaxDelay)
        return;
    qint64 const before = mTimestamp;
    mTimestamp = last - std::max(mDelay, mSourceFormat.durationForBytes(static_cast<int>(maxSize)));
    if (fresh) {
        mSamplesRead = 0;
        mTimer.start();
    } else {
        ++mReanchors;
        mSkippedTime += mTimestamp - before;
    }
}

/** @return the number of frames that were there, of @p frames asked for */
int AudioReader::readSource(void* samples, int frames, qint64 last)
{
    auto const count = static_cast<int>(mSource->grabAudio(SHM_AUDIO_CONTINUOUS,
        static_cast<unsigned long>(frames), static_cast<short*>(samples), mTimestamp));
    logger::trace("Audio reader got %d/%d samples at %ld (%ld)", count, frames,
        static_cast<long>(mTimestamp), static_cast<long>(mTimestamp - last));
    if (count > 0 && mStartTimestamp == 0)
        mStartTimestamp = mTimestamp;
    mTimestamp += mSourceFormat.durationForFrames(count);
    mSamplesRead += count;
    return count;
}

/** @return the number of @p frames that the source is too short for; -1 on error */
int AudioReader::convertSource(char* data, int frames, qint64 last)
{
    while (frames > 0) {
        int const read = readSource(mBuffer.data(), mChunkFrames, last);
        int const made = resample(data, frames, mBuffer.constData(), read);
        if (made < 0)
            return -1;
        data += mFormat.bytesForFrames(made);
        frames -= std::min(made, frames);
        if (read < mChunkFrames && frames > 0)
            return drainResampler(data, frames);
    }
    return 0;
}

/** @return the number of frames made; negative on error */
int AudioReader::resample(char* data, int frames, unsigned char const* source, int sourceFrames)
{
    uint8_t* output[] = {reinterpret_cast<uint8_t*>(data)};
    uint8_t const* input[] = {source};
    int const made =
        swr_convert(mResampler.get(), output, frames, source ? input : nullptr, sourceFrames);
    if (made < 0)
        logger::error("Error while converting audio format");
    return made;
}

/** Takes what the resampler still holds, and readies it for sound that doesn't follow on that. */
int AudioReader::drainResampler(char* data, int frames)
{
    int const made = resample(data, frames, nullptr, 0);
    if (made < 0)
        return -1;
    if (swr_init(mResampler.get()) < 0) {
        mResampler.reset();
        // The next read makes a new one.
        mSourceFormat = QAudioFormat();
        logger::error("Error reseting resampler");
        return -1;
    }
    return frames - made;
}

/** Fills the last @p frames of @p data. */
qint64 AudioReader::padWithSilence(char* data, qint64 maxSize, int frames)
{
    if (frames == 0)
        return maxSize;
    // A stream that has just ended shows here, not as silence.
    if (!mSource->getAudioFormat().isValid() && mRequireAudio)
        return -1;
    int const size = mFormat.bytesForFrames(frames);
    std::memset(data + maxSize - size, 0, static_cast<size_t>(size));
    countSilence(frames);
    return maxSize;
}

void AudioReader::countSilence(int frames)
{
    if (mStartTimestamp == 0)
        return;
    mSilentFrames += frames;
    ++mUnderruns;
}
