// Publishes a stream whose media tell their own time, until its standard input ends; says "ready"
// once there is a second of it.
//
// Frames of 320 x 180 at 25 a second: the planes are filled with the number of the frame, counted
// from the epoch, and the two numbers after it. Audio of 48 kHz: the left samples are their own
// number, the right ones its complement.

#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include <poll.h>

#include "shm_writer.h"

namespace {

constexpr int Width = 320;
constexpr int Height = 180;
constexpr int64_t FrameInterval = 40000;
constexpr uint32_t SamplesPerFrame = 1920;
constexpr int64_t FramesAtStart = 25;

int64_t now()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

/** Waits until @p time, or for standard input to end. @return whether to go on */
bool waitUntil(int64_t time)
{
    pollfd input = {0, POLLIN, 0};
    for (int64_t left = time - now(); left > 0; left = time - now()) {
        if (poll(&input, 1, static_cast<int>(left / 1000 + 1)) > 0)
            return false;
    }
    return poll(&input, 1, 0) == 0;
}

/** Publishes frame @p number, and the audio that ends with it. */
bool publish(shm_writer_t* writer, int64_t number)
{
    int64_t const time = number * FrameInterval;
    std::vector<int16_t> samples(SamplesPerFrame * 2);
    int64_t const firstSample = (number - 1) * SamplesPerFrame;
    for (uint32_t i = 0; i < SamplesPerFrame; ++i) {
        samples[2 * i] = static_cast<int16_t>(firstSample + i);
        samples[2 * i + 1] = static_cast<int16_t>(~(firstSample + i));
    }
    if (shm_writer_append_audio(writer, samples.data(), SamplesPerFrame, time - FrameInterval) != 0)
        return false;

    shm_writer_frame_t frame = {};
    if (shm_writer_acquire_frame(writer, &frame) != 0)
        return true; // dropped, because the readers hold every slot
    for (int plane = 0; plane < 3; ++plane) {
        size_t const lines = plane == 0 ? Height : Height / 2;
        std::memset(frame.plane[plane], static_cast<uint8_t>(number + plane),
            lines * static_cast<size_t>(frame.stride[plane]));
    }
    return shm_writer_commit_frame(writer, &frame, time) == 0;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2)
        return 2;
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = argv[1];
    config.video_width = Width;
    config.video_height = Height;
    config.frame_rate_num = 25;
    config.frame_rate_den = 1;
    config.audio_sample_rate = 48000;
    config.audio_channels = 2;
    char error[200];
    shm_writer_t* const writer = shm_writer_open(&config, error, sizeof(error));
    if (!writer) {
        std::fprintf(stderr, "%s\n", error);
        return 1;
    }

    int64_t const newest = now() / FrameInterval;
    int64_t number = newest - FramesAtStart;
    bool good = true;
    do {
        good = publish(writer, ++number);
        if (number == newest) {
            std::puts("ready");
            std::fflush(stdout);
        }
    } while (good && (number < newest || waitUntil((number + 1) * FrameInterval)));
    shm_writer_close(writer);
    return good ? 0 : 1;
}
