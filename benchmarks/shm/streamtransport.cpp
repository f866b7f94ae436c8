#include "transport.h"

#include "support/livestream.h"

#include "shm_reader.h"
#include "shm_writer.h"

#include <cstring>
#include <ctime>

namespace {

using Reader = std::unique_ptr<shm_reader_t, void (*)(shm_reader_t*)>;

// Both processes come to the same name by way of the path.
std::string streamName(const Round& round)
{
    std::string name = round.path;
    for (char& c : name) {
        if (c == '/')
            c = '-';
    }
    return name;
}

class StreamSender : public FrameSender
{
public:
    explicit StreamSender(shm_writer_t* writer)
        : mWriter(writer)
    {}
    ~StreamSender() override { shm_writer_close(mWriter); }

    bool acquire(FramePlanes& planes) override
    {
        if (shm_writer_acquire_frame(mWriter, &mFrame) < 0)
            return false;
        std::memcpy(planes.plane, mFrame.plane, sizeof planes.plane);
        std::memcpy(planes.stride, mFrame.stride, sizeof planes.stride);
        return true;
    }

    void publish() override
    {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        shm_writer_commit_frame(
            mWriter, &mFrame, int64_t(now.tv_sec) * 1000000 + now.tv_nsec / 1000);
    }

private:
    shm_writer_t* mWriter;
    shm_writer_frame_t mFrame = {};
};

std::unique_ptr<FrameSender> makeSender(const Round& round)
{
    shm_writer_t* const writer = openWriter(streamName(round), {frameWidth, frameHeight, 0, 0});
    return writer ? std::make_unique<StreamSender>(writer) : nullptr;
}

void look(shm_reader_t* reader, FrameLog& log)
{
    shm_video_frame_t frame = {};
    if (shm_reader_lock_video(reader, &frame, SHM_VIDEO_LOOKUP_LATEST) < 0)
        return;
    FrameMark mark;
    std::memcpy(&mark, frame.plane0, sizeof mark);
    log.arrived(mark);
    shm_reader_unlock_video(reader, &frame);
}

void receive(const Round& round, Tick tick, const std::function<void()>& ready, FrameLog& log)
{
    const Reader reader(shm_reader_open(streamName(round).c_str()), shm_reader_close);
    if (!reader)
        return;
    ready();
    lookByTick(
        tick, round.phase, [&] { look(reader.get(), log); }, log);
}

} // namespace

Transport streamTransport(Tick tick)
{
    return {std::string("stream, ") + tickName(tick), makeSender,
        [tick](const Round& round, const std::function<void()>& ready, FrameLog& log) {
            receive(round, tick, ready, log);
        }};
}
