#ifndef TRANSPORT_H
#define TRANSPORT_H

#include "framelog.h"
#include "tick.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

constexpr int frameWidth = 1920;
constexpr int frameHeight = 1080;

constexpr size_t frameBytes = size_t(frameWidth) * frameHeight * 3 / 2;

/** Memory for one frame of planar YUV 4:2:0. */
struct FramePlanes
{
    uint8_t* plane[3];
    int stride[3];
};

/** The planes of a frame that lie one behind the other, without gaps, in frameBytes of memory. */
inline FramePlanes packedPlanes(uint8_t* memory)
{
    uint8_t* const chroma = memory + frameWidth * frameHeight;
    return {{memory, chroma, chroma + frameWidth * frameHeight / 4},
        {frameWidth, frameWidth / 2, frameWidth / 2}};
}

/** The sending side; it is there for the receiver as soon as it is constructed. */
class FrameSender
{
public:
    virtual ~FrameSender() = default;
    /** @return false when there is no memory for a frame; it is then dropped */
    virtual bool acquire(FramePlanes& planes) = 0;
    /** Hands the acquired frame over. */
    virtual void publish() = 0;
};

/** One meeting of a sender and a receiver. */
struct Round
{
    std::string path; /**< of no file yet, in a folder of this program alone */
    double phase; /**< where between two frames a receiver looks that has its own tick, 0 to 1 */
};

/** One way of getting frames from one process into another. */
struct Transport
{
    std::string name;
    /** @return null when it can't be used here; what is wrong has been said */
    std::function<std::unique_ptr<FrameSender>(const Round&)> makeSender;
    /** Says when it is ready, then receives until the log is complete. */
    std::function<void(const Round&, const std::function<void()>& ready, FrameLog&)> receive;
};

/** This project's streams. */
Transport streamTransport(Tick tick);
/** GStreamer's shmsink and shmsrc, without any other element, queue or copy around them. */
Transport gstreamerTransport();
/** The limit for a reader that is woken: no frame, but a process that sleeps in read(). */
Transport bareWakeUp();
/** The limit for a reader with its own tick: no frame, but a number in shared memory. */
Transport bareTick(Tick tick);

#endif
