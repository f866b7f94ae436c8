#include "teststream.h"

#include <cstring>

#include "framestatistics.h"
#include "shm_writer.h"

TestStream::TestStream(QByteArray const& name, QSize const& size)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name.constData();
    config.video_width = size.width();
    config.video_height = size.height();
    config.frame_rate_num = 50;
    config.frame_rate_den = 1;
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

int TestStream::pins() const
{
    shm_writer_statistics_t statistics;
    return shm_writer_get_statistics(mWriter.get(), &statistics) == 0 ? int(statistics.pins) : -1;
}

void TestStream::Close::operator()(shm_writer* writer) const
{
    shm_writer_close(writer);
}
