#include "support/livestream.h"
#include "support/report.h"
#include "support/systemcalls.h"

#include "shm_reader.h"

#include <atomic>
#include <memory>
#include <string>

#include <sys/syscall.h>
#include <unistd.h>

#include <QAbstractVideoBuffer>
#include <QSize>
#include <QVariant>
#include <QVideoFrame>

#include "utils/shmemreader.h"

namespace {

constexpr long tracedCalls = 100000;

// A video buffer without memory: what remains of a grab is the frame object itself.
class EmptyBuffer : public QAbstractVideoBuffer
{
public:
    EmptyBuffer()
        : QAbstractVideoBuffer(NoHandle)
    {}
    MapMode mapMode() const override { return NotMapped; }
    uchar* map(MapMode, int*, int*) override { return nullptr; }
    void unmap() override {}
};

void grabVideo(benchmark::State& state, const std::string& stream)
{
    ShmemReader reader(QString::fromStdString(stream));
    for (auto _ : state) {
        if (!reader.grabVideo(0).isValid()) {
            state.SkipWithError("no frame");
            break;
        }
    }
}

void bareLock(benchmark::State& state, const std::string& stream)
{
    const std::unique_ptr<shm_reader_t, void (*)(shm_reader_t*)> reader(
        shm_reader_open(stream.c_str()), shm_reader_close);
    for (auto _ : state) {
        shm_video_frame_t frame = {};
        if (shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_LATEST) < 0) {
            state.SkipWithError("no frame");
            break;
        }
        benchmark::DoNotOptimize(frame);
        shm_reader_unlock_video(reader.get(), &frame);
    }
}

void bareFrame(benchmark::State& state)
{
    const QByteArray name = "stream";
    qint64 timestamp = 1;
    for (auto _ : state) {
        QVideoFrame frame(new EmptyBuffer, QSize(1920, 1080), QVideoFrame::Format_YUV420P);
        frame.setStartTime(timestamp++);
        frame.setFieldType(QVideoFrame::ProgressiveFrame);
        frame.setMetaData(QStringLiteral("shmname"), name);
        benchmark::DoNotOptimize(frame);
    }
}

void atomicPair(benchmark::State& state)
{
    std::atomic<uint32_t> pins{0};
    for (auto _ : state) {
        benchmark::DoNotOptimize(pins.fetch_add(1));
        benchmark::DoNotOptimize(pins.fetch_sub(1));
    }
}

void addSystemCalls(Report& report, const std::string& name, long count)
{
    if (count < 0)
        report.fail(name, "the process can't be traced");
    else
        report.add(name, Report::Unit::Count, {double(count)});
}

long countInGrabs(const std::string& stream, useconds_t pause)
{
    std::unique_ptr<ShmemReader> reader;
    return countSystemCalls(
        [&] {
            reader = std::make_unique<ShmemReader>(QString::fromStdString(stream));
            reader->grabVideo(0);
            usleep(pause);
        },
        [&] {
            for (long i = 0; i < tracedCalls; ++i)
                reader->grabVideo(0);
        });
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const LiveStream streams[] = {
        {"bench-1080p", {1920, 1080, 0, 0}},
        {"bench-2160p", {3840, 2160, 0, 0}},
    };
    const std::string sizes[] = {"1080p", "2160p"};
    const std::string grab = "grabVideo + release, ";
    const std::string lock = "bare lock + unlock, ";
    const std::string calls = "system calls of 100000 grabs, ";
    const std::string pollCalls = "system calls of 100000 grabs with a liveness check";
    const std::string control = "system calls of 100000 getppid() (control)";

    for (int i = 0; i < 2; ++i) {
        benchmark::RegisterBenchmark((grab + sizes[i]).c_str(), grabVideo, streams[i].name());
        benchmark::RegisterBenchmark((lock + sizes[i]).c_str(), bareLock, streams[i].name());
        addSystemCalls(report, calls + sizes[i], countInGrabs(streams[i].name(), 0));
    }
    // Once a second a grab asks whether the stream is still alive.
    addSystemCalls(report, pollCalls, countInGrabs(streams[0].name(), 1100000));
    addSystemCalls(report, control,
        countSystemCalls([] {},
            [] {
                for (long i = 0; i < tracedCalls; ++i)
                    syscall(SYS_getppid);
            }));
    benchmark::RegisterBenchmark("bare QVideoFrame", bareFrame);
    benchmark::RegisterBenchmark("atomic increment + decrement", atomicPair);
    report.runLoops();

    const std::string goal = "below 2 µs";
    return report.finish({
        {grab + sizes[0], lock + sizes[0], goal},
        {grab + sizes[1], lock + sizes[1], goal},
        {grab + sizes[1], grab + sizes[0], "the same for both sizes"},
        {grab + sizes[0], "bare QVideoFrame", ""},
        {lock + sizes[0], "atomic increment + decrement", ""},
        {lock + sizes[1], "atomic increment + decrement", ""},
        {calls + sizes[0], control, "none"},
        {calls + sizes[1], control, "none"},
        {pollCalls, control, ""},
    });
}
