#include "pcm.h"
#include "support/report.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
}

#include "utils/audio.h"

namespace {

constexpr int rate = 48000;
constexpr int channels = 2;
// Far more than the processor's caches hold.
constexpr size_t memorySamples = size_t(256) << 20;

using Samples = std::vector<int16_t>;

struct Block
{
    const char* name;
    int frames;
};

const Block shortBlock = {"20 ms", rate / 50};
const Block longBlock = {"100 ms", rate / 10};

Samples sine(size_t count)
{
    Samples samples(count);
    for (size_t i = 0; i < count; ++i)
        samples[i] = int16_t(std::lround(10000 * std::sin(0.13 * double(i / channels))));
    return samples;
}

/** Like music in that hardly any sample is like the one before. */
Samples noise(size_t count)
{
    Samples samples(count);
    std::mt19937 random(1);
    std::normal_distribution<float> value(0, 4000);
    for (int16_t& sample : samples)
        sample = int16_t(std::lround(std::fmin(std::fmax(value(random), -32768), 32767)));
    return samples;
}

/** Goes through the samples block by block, over and over. */
template<typename Measure>
void walk(benchmark::State& state, const Samples& samples, int frames, Measure measure)
{
    const size_t size = size_t(frames) * channels;
    size_t offset = 0;
    for (auto _ : state) {
        measure(samples.data() + offset, size);
        offset += size;
        if (offset + size > samples.size())
            offset = 0;
    }
    state.SetItemsProcessed(int64_t(state.iterations() * size));
}

void levels(
    benchmark::State& state, const Samples& samples, int frames, int channelCount = channels)
{
    const QAudioFormat format = pcm(rate, channelCount);
    walk(state, samples, frames, [&](const int16_t* data, size_t size) {
        benchmark::DoNotOptimize(getRmsMaxDecibels(data, size / size_t(channelCount), format));
    });
}

void plainRead(benchmark::State& state, const Samples& samples, int frames)
{
    walk(state, samples, frames, [](const int16_t* data, size_t size) {
        const auto* const words = reinterpret_cast<const uint64_t*>(data);
        benchmark::DoNotOptimize(std::accumulate(words, words + size / 4, uint64_t{0}));
    });
}

struct GraphDeleter
{
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};

struct FrameDeleter
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

using Frame = std::unique_ptr<AVFrame, FrameDeleter>;

/** FFmpeg's filter between a source of frames and a sink. */
class VolumeDetect
{
public:
    VolumeDetect()
        : mGraph(avfilter_graph_alloc())
    {
        const std::string description = "sample_rate=" + std::to_string(rate) +
                                        ":sample_fmt=s16:channel_layout=stereo:time_base=1/" +
                                        std::to_string(rate);
        AVFilterContext* filter = nullptr;
        mGood = add(&mSource, "abuffer", description.c_str()) && add(&filter, "volumedetect") &&
                add(&mSink, "abuffersink") && avfilter_link(mSource, 0, filter, 0) == 0 &&
                avfilter_link(filter, 0, mSink, 0) == 0 &&
                avfilter_graph_config(mGraph.get(), nullptr) >= 0;
    }

    /** Measures the frame, and lets it go again. */
    bool pass(AVFrame* frame)
    {
        if (!mGood ||
            av_buffersrc_add_frame_flags(mSource, frame, AV_BUFFERSRC_FLAG_KEEP_REF) < 0 ||
            av_buffersink_get_frame(mSink, mResult.get()) < 0)
            return false;
        av_frame_unref(mResult.get());
        return true;
    }

private:
    bool add(AVFilterContext** context, const char* name, const char* options = nullptr)
    {
        return avfilter_graph_create_filter(
                   context, avfilter_get_by_name(name), name, options, nullptr, mGraph.get()) >= 0;
    }

    std::unique_ptr<AVFilterGraph, GraphDeleter> mGraph;
    AVFilterContext* mSource = nullptr;
    AVFilterContext* mSink = nullptr;
    Frame mResult{av_frame_alloc()};
    bool mGood = false;
};

void volumeDetect(benchmark::State& state, const Samples& samples, int frames)
{
    VolumeDetect filter;
    const Frame frame(av_frame_alloc());
    frame->format = AV_SAMPLE_FMT_S16;
    frame->sample_rate = rate;
    frame->nb_samples = frames;
    av_channel_layout_default(&frame->ch_layout, channels);
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
        state.SkipWithError("no memory");
        return;
    }
    std::copy_n(samples.begin(), frames * channels, reinterpret_cast<int16_t*>(frame->data[0]));
    for (auto _ : state) {
        if (!filter.pass(frame.get())) {
            state.SkipWithError("not filtered");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * frames * channels);
}

/** Registers a figure and its peer, and puts them beside each other. */
class Pairs
{
public:
    template<typename Function>
    std::string add(const std::string& name, Function function)
    {
        benchmark::RegisterBenchmark(name.c_str(), function);
        return name;
    }
    void compare(const std::string& figure, const std::string& peer, const std::string& goal)
    {
        comparisons.push_back({figure, peer, goal});
    }

    std::vector<Comparison> comparisons;
};

void compareWithFilter(Pairs& pairs, const std::string& sound, const Samples& samples)
{
    for (const Block& block : {shortBlock, longBlock}) {
        const std::string what = ", " + sound + ", " + block.name;
        const int frames = block.frames;
        const auto part =
            std::make_shared<Samples>(samples.begin(), samples.begin() + frames * channels);
        pairs.compare(pairs.add("levels" + what,
                          [part, frames](auto& state) { levels(state, *part, frames); }),
            pairs.add("volumedetect" + what,
                [part, frames](auto& state) { volumeDetect(state, *part, frames); }),
            "at most 0.1");
    }
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    // The filter tells its result when it ends.
    av_log_set_level(AV_LOG_WARNING);
    Pairs pairs;
    const int frames = longBlock.frames;
    const Samples inCache = noise(size_t(frames * channels));
    Samples inMemory(memorySamples);
    for (size_t i = 0; i < memorySamples; ++i)
        inMemory[i] = inCache[i % inCache.size()];

    pairs.compare(
        pairs.add("levels, from memory", [&](auto& state) { levels(state, inMemory, frames); }),
        pairs.add(
            "plain read, from memory", [&](auto& state) { plainRead(state, inMemory, frames); }),
        "at most 3");
    const std::string plain = pairs.add(
        "plain read, from the cache", [&](auto& state) { plainRead(state, inCache, frames); });
    pairs.compare(
        pairs.add("levels, from the cache", [&](auto& state) { levels(state, inCache, frames); }),
        plain, "");
    pairs.compare(
        pairs.add("levels, mono", [&](auto& state) { levels(state, inCache, frames, 1); }), plain,
        "");
    pairs.compare(
        pairs.add("levels, 8 channels", [&](auto& state) { levels(state, inCache, frames, 8); }),
        plain, "");
    compareWithFilter(pairs, "noise", inCache);
    compareWithFilter(pairs, "sine", sine(inCache.size()));
    report.runLoops();
    return report.finish(pairs.comparisons);
}
