#include "inputaudiotrack.h"

#include "failure.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int BlocksPerSecond = 100;
/** Timestamps are taken as right up to this error, µs; decoders and files round them. */
constexpr int64_t Tolerance = 20000;
/** Samples further off than this, µs, are a new beginning. */
constexpr int64_t LargestGap = 10000000;

} // namespace

InputAudioTrack::InputAudioTrack(
    InputStream const& stream, PacketBuffer& packets, Options const& options)
    : mRate(options.audioRate)
    , mChannels(options.channels)
    , mDecoder(stream, Audio, packets, [](AVCodecContext&) {})
{}

void InputAudioTrack::describe(MediaFormat& format) const
{
    format.sampleRate = mRate;
    format.channels = mChannels;
}

int64_t InputAudioTrack::available() const
{
    return static_cast<int64_t>(mSamples.size() - mRead) / mChannels;
}

Track::State InputAudioTrack::prepare(int64_t)
{
    if (mBlock > 0)
        return State::Ready;
    while (!mGrid || available() < mRate / BlocksPerSecond) {
        Decoder::Result const result = mDecoder.next(*mFrame);
        if (result == Decoder::Result::Starved)
            return State::Starved;
        if (result == Decoder::Result::Ended) {
            if (mResampler)
                resample(nullptr, 0);
            mResampler.reset();
            break;
        }
        add(*mFrame);
    }
    if (!mGrid || available() == 0)
        return State::Ended;
    mBlock = std::min<int64_t>(available(), mRate / BlocksPerSecond);
    return State::Ready;
}

void InputAudioTrack::publish(int64_t timestamp)
{
    mStream->append(mSamples.data() + mRead, static_cast<uint32_t>(mBlock), timestamp);
    mStream->counters.undecodable += mDecoder.takeUndecodable();
    mRead += static_cast<size_t>(mBlock * mChannels);
    mIndex += mBlock;
    mBlock = 0;
}

void InputAudioTrack::add(AVFrame const& frame)
{
    if (!mGrid) {
        mRate = mRate ? mRate : frame.sample_rate;
        mChannels = mChannels ? mChannels : frame.ch_layout.nb_channels;
        mGrid.emplace(AVRational{mRate, 1});
    }
    if (!mResampler || frame.format != mInputFormat || frame.sample_rate != mInputRate ||
        frame.ch_layout.nb_channels != mInputChannels) {
        if (mResampler)
            resample(nullptr, 0);
        setFormat(frame);
    }
    int64_t const skipped = place(frame);
    if (skipped < frame.nb_samples)
        resample(&frame, skipped);
}

void InputAudioTrack::setFormat(AVFrame const& frame)
{
    mInputFormat = static_cast<AVSampleFormat>(frame.format);
    mInputRate = frame.sample_rate;
    mInputChannels = frame.ch_layout.nb_channels;

    AVChannelLayout in = frame.ch_layout;
    if (in.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&in, mInputChannels);
    AVChannelLayout out = in;
    if (mChannels != mInputChannels)
        av_channel_layout_default(&out, mChannels);
    SwrContext* resampler = nullptr;
    int error = swr_alloc_set_opts2(
        &resampler, &out, AV_SAMPLE_FMT_S16, mRate, &in, mInputFormat, mInputRate, 0, nullptr);
    mResampler.reset(resampler);
    if (error >= 0)
        error = swr_init(resampler);
    if (error < 0) {
        throw Failure("sound of " + std::to_string(mInputChannels) +
                      " channels can't be converted to " + std::to_string(mChannels));
    }
}

/** Keeps the sequence in step with the time of @p frame. @return how many of its samples to skip */
int64_t InputAudioTrack::place(AVFrame const& frame)
{
    int64_t time = frame.best_effort_timestamp;
    if (time == AV_NOPTS_VALUE) {
        mBase = mBase == AV_NOPTS_VALUE ? 0 : mBase;
        return 0;
    }
    time = av_rescale_q(time, mDecoder.stream().timeBase, ffmpeg::Microseconds);
    if (mBase == AV_NOPTS_VALUE)
        mBase = time;

    int64_t const delayed = swr_get_delay(mResampler.get(), mRate);
    int64_t const gap = time - mBase - mGrid->at(mIndex + available() + delayed);
    if (std::abs(gap) <= Tolerance)
        return 0;
    if (std::abs(gap) > LargestGap) {
        mSamples.clear();
        mRead = 0;
        mIndex = 0;
        mBase = time;
        setFormat(frame);
        return 0;
    }
    int64_t const samples = av_rescale(std::abs(gap), mInputRate, TimeGrid::Second);
    if (gap < 0)
        return samples;
    swr_inject_silence(mResampler.get(), static_cast<int>(samples));
    return 0;
}

/** Appends the samples of @p frame; null: what the resampler still keeps back. */
void InputAudioTrack::resample(AVFrame const* frame, int64_t skipped)
{
    mSamples.erase(mSamples.begin(), mSamples.begin() + static_cast<ptrdiff_t>(mRead));
    mRead = 0;

    std::vector<uint8_t const*> planes;
    if (frame) {
        bool const planar = av_sample_fmt_is_planar(mInputFormat);
        int const sampleSize =
            av_get_bytes_per_sample(mInputFormat) * (planar ? 1 : mInputChannels);
        for (int i = 0; i < (planar ? mInputChannels : 1); ++i)
            planes.push_back(frame->extended_data[i] + skipped * sampleSize);
    }
    int const count = frame ? frame->nb_samples - static_cast<int>(skipped) : 0;
    int const room = swr_get_out_samples(mResampler.get(), count);
    size_t const before = mSamples.size();
    mSamples.resize(before + static_cast<size_t>(std::max(room, 0) * mChannels));
    auto* out = reinterpret_cast<uint8_t*>(mSamples.data() + before);
    int const got =
        swr_convert(mResampler.get(), &out, room, frame ? planes.data() : nullptr, count);
    mSamples.resize(before + static_cast<size_t>(std::max(got, 0) * mChannels));
}
