#include "decoder.h"

#include "failure.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace {

/** Each decoding thread holds a frame and delays the output by one. */
constexpr unsigned MaxThreads = 4;

} // namespace

Decoder::Decoder(InputStream const& stream, Medium medium, PacketBuffer& packets,
    std::function<void(AVCodecContext&)> setUp)
    : mStream(stream)
    , mMedium(medium)
    , mPackets(packets)
    , mSetUp(std::move(setUp))
{
    restart();
}

void Decoder::restart()
{
    AVCodecID const id = mStream.parameters->codec_id;
    AVCodec const* const codec = avcodec_find_decoder(id);
    std::string const name = avcodec_get_name(id);
    if (!codec)
        throw Failure("no decoder for " + name);
    mDraining = false;
    mContext.reset(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(mContext.get(), mStream.parameters.get());
    mContext->pkt_timebase = mStream.timeBase;
    mContext->thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, MaxThreads));
    mSetUp(*mContext);
    if (int const error = avcodec_open2(mContext.get(), codec, nullptr); error < 0)
        throw Failure("no decoder for this " + name + ": " + ffmpeg::errorText(error));
}

Decoder::Result Decoder::next(AVFrame& frame)
{
    for (;;) {
        int const received = avcodec_receive_frame(mContext.get(), &frame);
        if (received == 0)
            return Result::Frame;
        if (received == AVERROR_EOF) {
            avcodec_flush_buffers(mContext.get());
            mDraining = false;
        } else if (received != AVERROR(EAGAIN)) {
            ++mUndecodable;
            if (mDraining)
                continue;
        }

        ffmpeg::Packet packet;
        switch (mPackets.take(mMedium, packet)) {
        case PacketBuffer::Result::Empty:
            return Result::Starved;
        case PacketBuffer::Result::Finished:
            return Result::Ended;
        case PacketBuffer::Result::EndOfPass: // a null packet makes the decoder give out its rest
        case PacketBuffer::Result::Packet:
            break;
        }
        mDraining = !packet;
        if (avcodec_send_packet(mContext.get(), packet.get()) < 0)
            ++mUndecodable;
    }
}
