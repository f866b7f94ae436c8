#include "report.h"

#include "mediaclock.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

namespace {

constexpr int64_t Interval = 1000000;

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    auto const seconds = [](timeval const& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

Report::Report(Options const& options, Stream const& stream)
    : mStream(stream)
    , mName(options.name)
    , mStats(options.stats)
    , mProgress(isatty(STDERR_FILENO))
    , mStart(MediaClock::monotonicNow())
    , mUpdated(mStart)
    , mNext(mStart + Interval)
{}

void Report::update(int64_t now)
{
    if (now < mNext)
        return;
    shm_writer_statistics_t const statistics = mStream.statistics();
    if (mProgress)
        writeProgress(statistics, static_cast<double>(now - mUpdated) / 1e6);
    if (mStats)
        writeStatistics(statistics, false);
    mFramesBefore = statistics.video_frames_written;
    mUpdated = now;
    mNext += ((now - mNext) / Interval + 1) * Interval;
}

void Report::finish()
{
    if (mProgressShown)
        std::fputc('\n', stderr);
    if (mStats)
        writeStatistics(mStream.statistics(), true);
}

void Report::writeProgress(shm_writer_statistics_t const& statistics, double seconds)
{
    auto const frames = static_cast<double>(statistics.video_frames_written - mFramesBefore);
    // Blanks at the end cover what a longer line before left behind.
    std::fprintf(stderr,
        "\r%s: %" PRIu64 " frames, %.1f fps, %" PRIu64 " dropped, %" PRIu32 " readers   ",
        mName.c_str(), statistics.video_frames_written, frames / seconds,
        statistics.video_frames_dropped, statistics.readers);
    std::fflush(stderr);
    mProgressShown = true;
}

void Report::writeStatistics(shm_writer_statistics_t const& statistics, bool last)
{
    Counters const& counters = mStream.counters;
    double const elapsed = static_cast<double>(MediaClock::monotonicNow() - mStart) / 1e6;
    const struct
    {
        char const* name;
        uint64_t value;
    } fields[] = {
        {"video_frames", statistics.video_frames_written},
        {"video_dropped", statistics.video_frames_dropped},
        {"video_late", counters.late},
        {"video_direct", counters.direct},
        {"video_converted", counters.converted},
        {"audio_frames", statistics.audio_frames_written},
        {"audio_breaks", statistics.audio_breaks},
        {"stalls", counters.stalls},
        {"undecodable", counters.undecodable},
        {"readers", statistics.readers},
        {"pinned_slots", statistics.pinned_slots},
        {"slots", statistics.slot_count},
    };
    std::printf("{\"last\":%s,\"seconds\":%.3f,\"cpu_seconds\":%.3f", last ? "true" : "false",
        elapsed, cpuSeconds());
    for (auto const& field : fields)
        std::printf(",\"%s\":%" PRIu64, field.name, field.value);
    std::puts("}");
    std::fflush(stdout);
}
