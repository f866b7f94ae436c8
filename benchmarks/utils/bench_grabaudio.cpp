#include "support/livestream.h"
#include "support/report.h"

#include "shm_reader.h"

#include <cstring>
#include <vector>

#include <QAudioBuffer>

#include "utils/mediasource.h"
#include "utils/shmemreader.h"

namespace {

constexpr int rate = 48000;
constexpr int channels = 2;
constexpr unsigned long frameCount = rate / 10;
constexpr size_t sampleCount = frameCount * channels;
// Well inside the two seconds that a stream holds, and there for as long as a measurement takes.
constexpr qint64 age = 600000;

void grabBuffer(benchmark::State& state, const std::string& stream)
{
    MediaSource source(QString::fromStdString(stream));
    const auto start = long(source.getAudioLastTimestamp() - age);
    for (auto _ : state) {
        if (!source.grabAudio(frameCount, start).isValid()) {
            state.SkipWithError("no audio");
            break;
        }
    }
}

void grabRaw(benchmark::State& state, const std::string& stream)
{
    ShmemReader reader(QString::fromStdString(stream));
    const qint64 start = reader.getAudioLastTimestamp() - age;
    std::vector<short> samples(sampleCount);
    for (auto _ : state) {
        if (reader.grabAudio(SHM_AUDIO_STRICT, frameCount, samples.data(), start) != frameCount) {
            state.SkipWithError("no audio");
            break;
        }
        benchmark::ClobberMemory();
    }
}

void copy(benchmark::State& state)
{
    const std::vector<short> source(sampleCount, 1);
    std::vector<short> samples(sampleCount);
    for (auto _ : state) {
        std::memcpy(samples.data(), source.data(), sampleCount * sizeof(short));
        benchmark::ClobberMemory();
    }
}

void copyIntoBuffer(benchmark::State& state)
{
    shm_reader_format_t streamFormat = {};
    streamFormat.has_audio = 1;
    streamFormat.audio_sample_rate = rate;
    streamFormat.audio_channels = channels;
    const QAudioFormat format = shmemFormatToAudioFormat(streamFormat);
    const std::vector<short> source(sampleCount, 1);
    for (auto _ : state) {
        QAudioBuffer buffer(int(frameCount), format, 0);
        std::memcpy(buffer.data(), source.data(), sampleCount * sizeof(short));
        benchmark::ClobberMemory();
    }
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const LiveStream stream("bench-audio", {0, 0, rate, channels});
    benchmark::RegisterBenchmark("ShmemReader::grabAudio, raw", grabRaw, stream.name());
    benchmark::RegisterBenchmark("MediaSource::grabAudio, buffer", grabBuffer, stream.name());
    benchmark::RegisterBenchmark("memcpy", copy);
    benchmark::RegisterBenchmark("QAudioBuffer + memcpy", copyIntoBuffer);
    report.runLoops();
    return report.finish({
        {"ShmemReader::grabAudio, raw", "memcpy", ""},
        {"MediaSource::grabAudio, buffer", "memcpy", ""},
        {"MediaSource::grabAudio, buffer", "QAudioBuffer + memcpy", ""},
        {"QAudioBuffer + memcpy", "memcpy", ""},
    });
}
