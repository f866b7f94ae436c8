#include "livestream.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <unistd.h>

namespace {

constexpr int framesPerSecond = 60;

class Publisher
{
public:
    Publisher(shm_writer_t* writer, const StreamShape& shape)
        : mWriter(writer)
        , mShape(shape)
        , mAudio(size_t(shape.audioRate * shape.audioChannels))
    {
        for (size_t i = 0; i < mAudio.size(); ++i)
            mAudio[i] = int16_t(10000 * std::sin(double(i) * 0.05));
    }

    // What belongs to the time until the given count of frames.
    void publish(int64_t start, int64_t count)
    {
        const int64_t timestamp = start + count * 1000000 / framesPerSecond;
        shm_writer_frame_t frame;
        if (mShape.width > 0 && shm_writer_acquire_frame(mWriter, &frame) == 0)
            shm_writer_commit_frame(mWriter, &frame, timestamp);

        const int64_t rate = mShape.audioRate;
        const int64_t end = count * rate / framesPerSecond;
        if (end > mAudioWritten) {
            shm_writer_append_audio(mWriter, mAudio.data(), uint32_t(end - mAudioWritten),
                start + mAudioWritten * 1000000 / rate);
            mAudioWritten = end;
        }
    }

private:
    shm_writer_t* mWriter;
    StreamShape mShape;
    std::vector<int16_t> mAudio;
    int64_t mAudioWritten = 0;
};

int64_t microsecondsNow()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

void sleepUntil(int64_t microseconds)
{
    const timespec due = {microseconds / 1000000, microseconds % 1000000 * 1000};
    clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &due, nullptr);
}

void runPublisher(const std::string& name, const StreamShape& shape, Line& line)
{
    shm_writer_t* const writer = openWriter(name, shape);
    if (!writer)
        return;
    Publisher publisher(writer, shape);
    // The first three seconds have passed already: the stream is full before anyone reads it.
    constexpr int64_t seconds = 3;
    const int64_t start = microsecondsNow() - seconds * 1000000;
    for (int64_t count = 1; line.isOpen(); ++count) {
        sleepUntil(start + count * 1000000 / framesPerSecond);
        publisher.publish(start, count);
        if (count == seconds * framesPerSecond)
            line.signal();
    }
    shm_writer_close(writer);
}

} // namespace

shm_writer_t* openWriter(const std::string& name, const StreamShape& shape)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name.c_str();
    config.video_width = shape.width;
    config.video_height = shape.height;
    config.frame_rate_num = framesPerSecond;
    config.frame_rate_den = 1;
    config.audio_sample_rate = shape.audioRate;
    config.audio_channels = shape.audioChannels;
    char error[256];
    shm_writer_t* const writer = shm_writer_open(&config, error, sizeof error);
    if (!writer)
        std::fprintf(stderr, "%s\n", error);
    return writer;
}

LiveStream::LiveStream(const std::string& name, const StreamShape& shape)
    : mName(name + "-" + std::to_string(getpid()))
    , mPublisher([&](Line& line) { runPublisher(mName, shape, line); })
{
    if (!mPublisher.line().wait())
        std::exit(1);
}
