#include "pcm.h"
#include "support/report.h"

#include "shm_reader.h"
#include "shm_writer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "utils/audioreader.h"
#include "utils/mediasource.h"

namespace {

// Of the two seconds that a stream holds, all but its ends are read, over and over.
constexpr qint64 delay = 1900000;
constexpr int readsPerRound = 17;
constexpr int chunkFrames = 1024;

std::vector<short> sine(const QAudioFormat& format)
{
    std::vector<short> samples(size_t(2 * format.sampleRate() * format.channelCount()));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = short(std::lround(10000 * std::sin(0.13 * double(i))));
    return samples;
}

/** A stream that holds two seconds, to which nothing is added. */
class HeldStream
{
public:
    explicit HeldStream(const QAudioFormat& format)
        : mFormat(format)
        , mName("bench-reader-" + std::to_string(format.sampleRate()))
    {
        shm_writer_config_t config;
        shm_writer_config_init(&config);
        config.name = mName.c_str();
        config.audio_sample_rate = format.sampleRate();
        config.audio_channels = format.channelCount();
        char error[200] = "";
        mWriter = shm_writer_open(&config, error, sizeof error);
        const std::vector<short> samples = sine(format);
        if (!mWriter || shm_writer_append_audio(mWriter, samples.data(),
                            uint32_t(2 * format.sampleRate()), 1700000000000000) != 0) {
            std::fprintf(stderr, "no stream: %s\n", error);
            std::exit(1);
        }
    }
    ~HeldStream() { shm_writer_close(mWriter); }
    HeldStream(const HeldStream&) = delete;
    HeldStream& operator=(const HeldStream&) = delete;

    QString name() const { return QString::fromStdString(mName); }
    const QAudioFormat& format() const { return mFormat; }

private:
    QAudioFormat mFormat;
    std::string mName;
    shm_writer_t* mWriter = nullptr;
};

class OpenedUp : public AudioReader
{
public:
    using AudioReader::readData;
};

void read(benchmark::State& state, const HeldStream& stream, const QAudioFormat& format)
{
    MediaSource source(stream.name());
    OpenedUp reader;
    reader.setDelay(delay);
    reader.setMaxDelay(2 * delay);
    if (!reader.open(&source, format, true)) {
        state.SkipWithError("not opened");
        return;
    }
    std::vector<char> data(size_t(format.bytesForDuration(100000)));
    int reads = 0;
    for (auto _ : state) {
        reader.readData(data.data(), qint64(data.size()));
        benchmark::ClobberMemory();
        if (++reads % readsPerRound == 0)
            reader.resetTimer();
    }
    if (reader.underruns() != 0)
        state.SkipWithError("no audio");
}

// What a read asks of the source, and nothing else.
void grab(benchmark::State& state, const HeldStream& stream)
{
    MediaSource source(stream.name());
    const QAudioFormat format = stream.format();
    const unsigned long frames = ulong(format.sampleRate() / 10);
    std::vector<short> data(frames * ulong(format.channelCount()));
    int reads = 0;
    qint64 timestamp = source.getAudioLastTimestamp() - delay;
    for (auto _ : state) {
        benchmark::DoNotOptimize(source.getAudioFormat() != format);
        const qint64 last = source.getAudioLastTimestamp();
        if (source.grabAudio(SHM_AUDIO_CONTINUOUS, frames, data.data(), timestamp) != frames) {
            state.SkipWithError("no audio");
            break;
        }
        benchmark::ClobberMemory();
        timestamp += 100000;
        if (++reads % readsPerRound == 0)
            timestamp = last - delay;
    }
}

void copy(benchmark::State& state, const QAudioFormat& format)
{
    const std::vector<short> samples = sine(format);
    const size_t size = samples.size() / 20;
    std::vector<short> data(size);
    size_t reads = 0;
    for (auto _ : state) {
        std::memcpy(
            data.data(), samples.data() + reads % readsPerRound * size, size * sizeof(short));
        benchmark::ClobberMemory();
        ++reads;
    }
}

struct ResamplerDeleter
{
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

using Resampler = std::unique_ptr<SwrContext, ResamplerDeleter>;

Resampler makeResampler(const QAudioFormat& from, const QAudioFormat& to)
{
    AVChannelLayout input = {};
    AVChannelLayout output = {};
    av_channel_layout_default(&input, from.channelCount());
    av_channel_layout_default(&output, to.channelCount());
    SwrContext* context = nullptr;
    swr_alloc_set_opts2(&context, &output, AV_SAMPLE_FMT_S16, to.sampleRate(), &input,
        AV_SAMPLE_FMT_S16, from.sampleRate(), 0, nullptr);
    av_opt_set_int(context, "filter_size", 32, 0);
    av_opt_set_int(context, "phase_shift", 5, 0);
    av_opt_set_double(context, "cutoff", 1.0, 0);
    return Resampler(swr_init(context) == 0 ? context : nullptr);
}

// The same chunks through the same filter.
void resample(benchmark::State& state, const QAudioFormat& from, const QAudioFormat& to)
{
    const Resampler resampler = makeResampler(from, to);
    const std::vector<short> samples = sine(from);
    const size_t chunkSize = size_t(chunkFrames * from.channelCount());
    const size_t chunks = samples.size() / chunkSize;
    std::vector<uint8_t> data(size_t(to.bytesForDuration(100000)));
    size_t chunk = 0;
    for (auto _ : state) {
        int frames = to.sampleRate() / 10;
        uint8_t* output = data.data();
        while (frames > 0) {
            const auto* input =
                reinterpret_cast<const uint8_t*>(samples.data() + chunk++ % chunks * chunkSize);
            const int made = swr_convert(resampler.get(), &output, frames, &input, chunkFrames);
            output += to.bytesForFrames(made);
            frames -= made;
        }
        benchmark::ClobberMemory();
    }
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const HeldStream stereo(pcm(48000, 2));
    const HeldStream mono(pcm(44100, 1));
    const QAudioFormat format = stereo.format();
    benchmark::RegisterBenchmark(
        "readData, direct", [&](auto& state) { read(state, stereo, format); });
    benchmark::RegisterBenchmark("memcpy", [&](auto& state) { copy(state, format); });
    benchmark::RegisterBenchmark("the source alone", [&](auto& state) { grab(state, stereo); });
    std::vector<Comparison> comparisons = {
        {"readData, direct", "memcpy", "at most 1.1"},
        {"readData, direct", "the source alone", ""},
        {"the source alone", "memcpy", ""},
    };
    for (const HeldStream* const stream : {&mono, &stereo}) {
        const QAudioFormat from = stream->format();
        const QAudioFormat to = (stream == &mono ? stereo : mono).format();
        const std::string name =
            std::to_string(from.sampleRate()) + " to " + std::to_string(to.sampleRate());
        const std::string figure = "readData, " + name;
        const std::string peer = "bare swr_convert, " + name;
        benchmark::RegisterBenchmark(
            figure.c_str(), [=](auto& state) { read(state, *stream, to); });
        benchmark::RegisterBenchmark(peer.c_str(), [=](auto& state) { resample(state, from, to); });
        comparisons.push_back({figure, peer, "at most 1.1"});
    }
    report.runLoops();
    return report.finish(comparisons);
}
