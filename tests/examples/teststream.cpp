#include "teststream.h"

#include <cstring>
#include <vector>

#include "framestatistics.h"
#include "shm_writer.h"

namespace {

constexpr int SoundRate = 48000;
constexpr qint64 SoundDuration = 40'000; // µs

} // namespace

TestStream::TestStream(QByteArray const& name, QSize const& size, int channels)
    : mChannels(channels)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name.constData();
    config.video_width = size.width();
    config.video_height = size.height();
    config.frame_rate_num = 50;
    config.frame_rate_den = 1;
    config.audio_sample_rate = channels > 0 ? SoundRate : 0;
    config.audio_channels = channels;
    mWriter.reset(shm_writer_open(&config, nullptr, 0));
}

bool TestStream::publish(int grey)
{
    shm_writer_frame_t frame;
    if (shm_writer_acquire_frame(mWriter.get(), &frame) != 0)
        return false;
    for (int plane = 0; plane < 3; ++plane) {
        std::memset(frame.plane[plane], plane == 0 ? grey : 128,
            size_t(frame.stride[plane]) * frame.lines[plane]);
    }
    return shm_writer_commit_frame(mWriter.get(), &frame, wallClock()) == 0;
}

bool TestStream::publishSound(short sample)
{
    size_t const frames = SoundRate * SoundDuration / 1'000'000;
    std::vector<short> const samples(frames * size_t(mChannels), sample);
    return shm_writer_append_audio(
               mWriter.get(), samples.data(), frames, wallClock() - SoundDuration) == 0;
}

int TestStream::pins() const
{
    shm_writer_statistics_t statistics;
    return shm_writer_get_statistics(mWriter.get(), &statistics) == 0 ? int(statistics.pins) : -1;
}

void TestStream::Close::operator()(shm_writer* writer) const
{
    shm_writer_close(writer);
}
