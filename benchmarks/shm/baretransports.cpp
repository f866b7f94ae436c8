#include "transport.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Takes the same pictures as the others, but only their marks leave the process.
class BareSender : public FrameSender
{
public:
    explicit BareSender(std::function<void(const FrameMark&)> sendMark)
        : mSendMark(std::move(sendMark))
        , mPicture(frameBytes)
    {}

    bool acquire(FramePlanes& planes) override
    {
        planes = packedPlanes(mPicture.data());
        return true;
    }

    void publish() override
    {
        FrameMark mark;
        std::memcpy(&mark, mPicture.data(), sizeof mark);
        mSendMark(mark);
    }

private:
    std::function<void(const FrameMark&)> mSendMark;
    std::vector<uint8_t> mPicture;
};

// The processes of a round end after it, and with them what they have opened or mapped.
std::unique_ptr<FrameSender> makePipeSender(const Round& round)
{
    // Opened for both directions it doesn't wait for the receiver.
    int fd = -1;
    if (mkfifo(round.path.c_str(), 0600) < 0 ||
        (fd = open(round.path.c_str(), O_RDWR | O_CLOEXEC)) < 0) {
        std::perror(round.path.c_str());
        return nullptr;
    }
    return std::make_unique<BareSender>([fd](const FrameMark& mark) {
        if (write(fd, &mark, sizeof mark) < 0)
            std::perror("pipe");
    });
}

void receiveFromPipe(const Round& round, const std::function<void()>& ready, FrameLog& log)
{
    const int fd = open(round.path.c_str(), O_RDONLY | O_CLOEXEC);
    unlink(round.path.c_str());
    if (fd < 0)
        return;
    ready();
    FrameMark mark;
    while (!log.isComplete() && read(fd, &mark, sizeof mark) == sizeof mark)
        log.arrived(mark);
    close(fd);
}

struct SharedMark
{
    std::atomic<double> sent;
    std::atomic<int64_t> index; // written last and read first
};

SharedMark* mapMark(const Round& round)
{
    const int fd = open(round.path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (fd >= 0 && ftruncate(fd, sizeof(SharedMark)) == 0)
        memory = mmap(nullptr, sizeof(SharedMark), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED)
        std::perror(round.path.c_str());
    close(fd);
    return memory == MAP_FAILED ? nullptr : static_cast<SharedMark*>(memory);
}

std::unique_ptr<FrameSender> makeMarkSender(const Round& round)
{
    SharedMark* const shared = mapMark(round);
    if (!shared)
        return nullptr;
    return std::make_unique<BareSender>([shared](const FrameMark& mark) {
        shared->sent = mark.sent;
        shared->index = mark.index;
    });
}

void receiveMarks(const Round& round, Tick tick, const std::function<void()>& ready, FrameLog& log)
{
    const SharedMark* const shared = mapMark(round);
    unlink(round.path.c_str());
    if (!shared)
        return;
    ready();
    const auto look = [&] {
        const int64_t index = shared->index;
        log.arrived({index, shared->sent});
    };
    lookByTick(tick, round.phase, look, log);
}

} // namespace

Transport bareWakeUp()
{
    return {"bare wake-up by a pipe", makePipeSender, receiveFromPipe};
}

Transport bareTick(Tick tick)
{
    return {std::string("bare ") + tickName(tick), makeMarkSender,
        [tick](const Round& round, const std::function<void()>& ready, FrameLog& log) {
            receiveMarks(round, tick, ready, log);
        }};
}
