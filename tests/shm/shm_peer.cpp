// The other process of the stream tests. It ends with its parent.

#include "shmhandles.h"
#include "shmpicture.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using shmtest::openWriter;
using shmtest::Reader;
using shmtest::Writer;
using std::chrono::microseconds;

// Tells readers of the counting writer that no frame follows.
constexpr uint64_t lastSeed = 1u << 30;

void say(char const* line)
{
    std::printf("%s\n", line);
    std::fflush(stdout);
}

Reader waitForStream(char const* name)
{
    auto const deadline = Clock::now() + std::chrono::seconds(20);
    while (Clock::now() < deadline) {
        if (Reader reader{shm_reader_open(name)})
            return reader;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::fprintf(stderr, "shm_peer: stream \"%s\" doesn't come\n", name);
    return nullptr;
}

/** Publishes video and audio as fast as it can until it's killed. */
int writeForever(char const* name)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name;
    config.video_width = 320;
    config.video_height = 240;
    config.audio_sample_rate = 48000;
    config.audio_channels = 2;
    Writer const writer = openWriter(config);
    if (!writer)
        return 1;
    say("writing");
    std::vector<int16_t> const samples(2 * 480, 7);
    for (int64_t i = 1;; ++i) {
        shmpicture::publish(writer.get(), i * 10000, uint64_t(i));
        shm_writer_append_audio(writer.get(), samples.data(), 480, i * 10000);
    }
}

/** Publishes 1080p frames in real time and says how the calls behaved. */
int writeCounted(char const* name, int count, int rate)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name;
    config.video_width = 1920;
    config.video_height = 1080;
    config.video_frame_count = 64;
    config.frame_rate_num = uint32_t(rate);
    config.frame_rate_den = 1;
    Writer const writer = openWriter(config);
    if (!writer)
        return 1;
    say("writing");
    if (std::getchar() == EOF)
        return 1;

    auto const waits = [] {
        rusage usage = {};
        getrusage(RUSAGE_THREAD, &usage);
        return usage.ru_nvcsw;
    };
    Clock::duration longest{};
    Clock::duration total{};
    long waited = 0;
    int published = 0;
    auto const start = Clock::now();
    for (int i = 1; i <= count; ++i) {
        std::this_thread::sleep_until(start + microseconds(1000000LL * i / rate));
        shm_writer_frame_t frame;
        long const waitsBefore = waits();
        auto const acquiring = Clock::now();
        bool const acquired = shm_writer_acquire_frame(writer.get(), &frame) == 0;
        Clock::duration spent = Clock::now() - acquiring;
        long const waitsBetween = waits();
        if (!acquired)
            continue;
        shmpicture::fill(frame, i == count ? lastSeed : uint64_t(i));
        long const waitsAfter = waits();
        auto const committing = Clock::now();
        published += shm_writer_commit_frame(writer.get(), &frame, i * 1000000LL / rate) == 0;
        spent += Clock::now() - committing;
        waited += waitsBetween - waitsBefore + waits() - waitsAfter;
        longest = std::max(longest, spent);
        total += spent;
    }
    auto const toMicroseconds = [](Clock::duration duration) {
        return std::chrono::duration<double, std::micro>(duration).count();
    };
    std::printf("published %d waits %ld mean_us %.1f max_us %.1f\n", published, waited,
        toMicroseconds(total) / count, toMicroseconds(longest));
    std::fflush(stdout);
    // The readers are still busy with the last second.
    while (std::getchar() != EOF) {
    }
    return 0;
}

/** Reads every frame of the counting writer. */
int readCounted(char const* name)
{
    Reader const reader = waitForStream(name);
    if (!reader)
        return 1;
    say("reading");
    int frames = 0;
    int missed = 0;
    int torn = 0;
    int disordered = 0;
    int64_t lastTimestamp = 0;
    uint64_t expected = 1;
    auto const deadline = Clock::now() + std::chrono::seconds(60);
    for (uint64_t seed = 0; seed != lastSeed && Clock::now() < deadline;) {
        shm_video_frame_t frame = {};
        frame.timestamp = lastTimestamp + 1;
        if (shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_AT_OR_AFTER) != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            continue;
        }
        seed = shmpicture::seedOf(frame);
        torn += !shmpicture::isIntact(frame);
        disordered += frame.timestamp <= lastTimestamp;
        missed += seed != lastSeed && seed != expected;
        lastTimestamp = frame.timestamp;
        expected = seed + 1;
        ++frames;
        shm_reader_unlock_video(reader.get(), &frame);
    }
    std::printf("frames %d missed %d torn %d disordered %d\n", frames, missed, torn, disordered);
    return 0;
}

/** Locks the newest @p count frames, which are @p interval apart, and waits to be killed. */
int hold(char const* name, int count, int64_t interval)
{
    Reader const reader = waitForStream(name);
    shm_video_status_t status = {};
    if (!reader || shm_reader_get_video_status(reader.get(), &status) != 0)
        return 1;
    for (int i = 0; i < count; ++i) {
        shm_video_frame_t frame = {};
        frame.timestamp = status.last_timestamp - i * interval;
        if (shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_BY_TIMESTAMP) != 0)
            return 1;
    }
    say("holding");
    for (;;)
        pause();
}

/** Opens the stream as another user and says what came of it. */
int openAs(char const* name, unsigned user, unsigned group)
{
    if (setgid(group) != 0 || setuid(user) != 0)
        return 1;
    Reader const reader(shm_reader_open(name));
    say(reader ? "opened" : errno == EACCES ? "EACCES" : errno == ENOENT ? "ENOENT" : "other");
    return 0;
}

/** From here on, every system call but those that write and end kills the process. */
bool forbidSystemCalls()
{
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog const program = {sizeof filter / sizeof filter[0], filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/** The calls of @p what with system calls forbidden. */
int callSandboxed(char const* name, std::string const& what)
{
    Reader reader = waitForStream(name);
    std::vector<int16_t> samples(2 * 4800);
    int64_t timestamps[64];
    shm_video_status_t video = {};
    shm_audio_status_t audio = {};
    shm_video_frame_t frame = {};
    if (!reader || !forbidSystemCalls())
        return 2;
    bool good = true;
    shm_reader_t* const handle = reader.get();
    if (what == "is_ready")
        good = shm_reader_is_ready(handle) == 1;
    for (int i = 0; what == "all" && i < 1000; ++i) {
        good = good && shm_reader_get_video_status(handle, &video) == 0 &&
               shm_reader_get_video_timestamps(handle, timestamps, 64) > 0 &&
               shm_reader_set_fps(handle, 1, 1) == 0 &&
               shm_reader_get_audio_status(handle, SHM_AUDIO_STRICT, &audio) == 0;
        for (int mode = 0; good && mode < 4; ++mode) {
            frame.timestamp = video.first_timestamp + i;
            good = shm_reader_lock_video(handle, &frame, shm_video_lookup_mode_t(mode)) == 0;
            shm_reader_unlock_video(handle, &frame);
        }
        good = good &&
               shm_reader_query_audio(
                   handle, SHM_AUDIO_STRICT, samples.data(), 1, 4800, audio.first_timestamp) == 1 &&
               shm_reader_query_audio(handle, SHM_AUDIO_CONTINUOUS, samples.data(), 4800, 1,
                   audio.first_timestamp + i) == 4800;
    }
    // Neither closing nor the clean-up of the C library is part of what is shown.
    syscall(SYS_exit_group, good ? 0 : 1);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<std::string> const arguments(argv + 1, argv + argc);
    auto const number = [&](size_t i) {
        return std::atoi(arguments.at(i).c_str());
    };
    if (arguments.size() < 2)
        return 1;
    std::string const& command = arguments[0];
    char const* const name = arguments[1].c_str();
    if (command == "write")
        return writeForever(name);
    if (command == "write-counted")
        return writeCounted(name, number(2), number(3));
    if (command == "read-counted")
        return readCounted(name);
    if (command == "hold")
        return hold(name, number(2), number(3));
    if (command == "open-as")
        return openAs(name, unsigned(number(2)), unsigned(number(3)));
    if (command == "sandboxed")
        return callSandboxed(name, arguments.at(2));
    return 1;
}
