// Plays a stream's tone for minutes while as many processes as there are cores keep them busy, and
// looks for gaps in what is heard. Beside it plays a bare QAudioOutput, with the same buffer and in
// the same thread, from memory: the stream is heard on the left, the memory on the right.
//
// QVORLIN_SOAK_SECONDS says for how long, 600 by default.

#include "support/childprocess.h"
#include "support/clocks.h"
#include "support/livestream.h"
#include "support/report.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <QAudioDeviceInfo>
#include <QAudioOutput>
#include <QCoreApplication>
#include <QEventLoop>
#include <QIODevice>
#include <QTimer>

#include "soundanalysis.h"
#include "soundrecorder.h"
#include "utils/audioplayer.h"
#include "utils/mediasource.h"

namespace {

constexpr int sampleRate = SoundRecording::Rate;
constexpr int frequency = 1000;
constexpr double level = 8000;
constexpr int period = sampleRate / frequency;
constexpr int blockFrames = sampleRate / 100;
constexpr int64_t blockLength = 10000; // µs
constexpr int tolerance = 8;
constexpr int listeningSeconds = 2;

/** A block of the tone on the one side, silence on the other; it goes on seamlessly with itself. */
std::vector<int16_t> makeBlock(size_t side)
{
    static_assert(blockFrames % period == 0);
    constexpr double pi = 3.14159265358979323846;
    std::vector<int16_t> samples(size_t(blockFrames) * 2);
    for (size_t i = 0; i < blockFrames; ++i)
        samples[2 * i + side] = int16_t(std::lround(level * std::sin(2 * pi * double(i) / period)));
    return samples;
}

/** Publishes the tone in real time, from a second ago on. */
void publishTone(const std::string& name, Line& line)
{
    shm_writer_t* const writer = openWriter(name, {0, 0, sampleRate, 2});
    if (!writer)
        return;
    const std::vector<int16_t> block = makeBlock(0);
    using namespace std::chrono;
    const int64_t wall =
        duration_cast<microseconds>(system_clock::now().time_since_epoch()).count() - 1000000;
    const double start = monotonicTime() - 1;
    for (int64_t i = 0; line.isOpen(); ++i) {
        sleepUntil(start + double(i + 1) * blockLength / 1e6);
        shm_writer_append_audio(writer, block.data(), blockFrames, wall + i * blockLength);
        if (i == 100)
            line.signal();
    }
    shm_writer_close(writer);
}

void keepBusy(Line& line)
{
    while (line.isOpen()) {
        const double end = monotonicTime() + 0.1;
        while (monotonicTime() < end) {
        }
    }
}

/** The tone from memory, without an end. */
class ToneDevice : public QIODevice
{
public:
    ToneDevice() { open(ReadOnly); }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const auto* bytes = reinterpret_cast<const char*>(mBlock.data());
        const auto length = qint64(mBlock.size()) * qint64(sizeof(int16_t));
        for (qint64 done = 0; done < size;) {
            const qint64 part = std::min(size - done, length - mPosition);
            std::memcpy(data + done, bytes + mPosition, size_t(part));
            mPosition = (mPosition + part) % length;
            done += part;
        }
        return size;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    const std::vector<int16_t> mBlock = makeBlock(1);
    qint64 mPosition = 0;
};

void waitSeconds(int seconds)
{
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/** How often the tone is broken after the first seconds, in which both outputs begin. */
double gaps(const SoundRecording& recording, const std::vector<qint16>& channel)
{
    using namespace soundanalysis;
    const Part part(channel, listeningSeconds * sampleRate, recording.size());
    const std::vector<int> breaks = findBreaks(part, frequency, tolerance, sampleRate);
    for (size_t i = 0; i < std::min(breaks.size(), size_t{10}); ++i)
        std::printf(
            "a gap %.3f s after the start\n", double(breaks[i]) / sampleRate + listeningSeconds);
    return double(breaks.size());
}

bool isHeard(const std::vector<qint16>& channel)
{
    const soundanalysis::Part part(
        channel, listeningSeconds * sampleRate, int(channel.size()) - sampleRate);
    return std::abs(soundanalysis::fitTone(part, frequency, sampleRate).amplitude - level) <
           level / 10;
}

int soakSeconds()
{
    const char* const text = std::getenv("QVORLIN_SOAK_SECONDS");
    const long seconds = text ? std::strtol(text, nullptr, 10) : 600;
    return int(std::clamp(seconds, 5L, 86400L));
}

std::string play(Report& report, const std::string& stream, int seconds)
{
    const QAudioDeviceInfo device = QAudioDeviceInfo::defaultOutputDevice();
    MediaSource source(QString::fromStdString(stream));
    AudioPlayer* const player = AudioPlayer::getInstance();
    if (device.isNull() || !player->setDevice(QStringLiteral("default")))
        return "there is no sound server";
    // Twice what the output takes ahead, so that the reader never meets the live edge.
    player->setDelay(500000);
    player->setMaxDelay(1000000);
    int stopped = 0;
    QObject::connect(player, &AudioPlayer::playerStopped, [&] { ++stopped; });

    ToneDevice tone;
    QAudioOutput bare(device, source.getAudioFormat());
    // The null sink takes two seconds at a time until somebody listens, and goes on for as long.
    auto early = std::make_unique<SoundRecorder>();
    waitSeconds(3);
    bare.start(&tone);
    if (!player->start(&source, 25, true))
        return "the player doesn't start";
    const SoundRecorder recorder;
    if (!recorder.isRecording())
        return "nothing is recorded";
    early.reset();
    waitSeconds(seconds + listeningSeconds);
    player->stop();
    const SoundRecording recording = recorder.recording();
    // What follows takes longer than the output has sound for, and Qt's PulseAudio output can end
    // the process when it is destroyed after it ran dry.
    bare.stop();

    report.add("AudioPlayer: gaps heard", Report::Unit::Count, {gaps(recording, recording.left())});
    report.add(
        "bare QAudioOutput: gaps heard", Report::Unit::Count, {gaps(recording, recording.right())});
    report.add("AudioPlayer: underruns", Report::Unit::Count, {double(player->underruns())});
    report.add("AudioPlayer: re-anchors", Report::Unit::Count, {double(player->reanchors())});
    report.add("AudioPlayer: silent frames", Report::Unit::Count, {double(player->silentFrames())});
    report.add("AudioPlayer: ended by itself", Report::Unit::Count, {double(stopped)});
    report.add("seconds recorded", Report::Unit::Count, {double(recording.size()) / sampleRate});
    if (!isHeard(recording.left()) || !isHeard(recording.right()))
        return "the tone isn't what is heard";
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const int seconds = soakSeconds();
    const std::string stream = "audiosoak-" + std::to_string(getpid());
    ChildProcess publisher([&](Line& line) { publishTone(stream, line); });
    std::list<ChildProcess> busy;
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < cores; ++i)
        busy.emplace_back(keepBusy);

    const QCoreApplication app(argc, argv);
    std::string fault = "the stream isn't published";
    if (publisher.line().wait()) {
        std::printf(
            "playing for %d seconds beside %u busy processes on %u cores\n", seconds, cores, cores);
        std::fflush(stdout);
        const double start = monotonicTime();
        const auto busyTime = [&] {
            double sum = 0;
            for (const ChildProcess& process : busy)
                sum += processorTime(process.pid());
            return sum;
        };
        const double before = busyTime();
        fault = play(report, stream, seconds);
        report.add("busy processes: cores taken", Report::Unit::Count,
            {(busyTime() - before) / (monotonicTime() - start)});
        report.add("cores", Report::Unit::Count, {double(cores)});
        AudioPlayer::teardown();
    }
    if (!fault.empty())
        report.fail("AudioPlayer", fault);
    return report.finish({
        {"AudioPlayer: gaps heard", "bare QAudioOutput: gaps heard", "none"},
        {"AudioPlayer: underruns", "", "none"},
        {"AudioPlayer: re-anchors", "", "none"},
        {"AudioPlayer: silent frames", "", "none"},
        {"AudioPlayer: ended by itself", "", "never"},
        {"seconds recorded", "", ""},
        {"busy processes: cores taken", "cores", ""},
    });
}
