#ifndef DECODER_H
#define DECODER_H

#include "demuxer.h"

#include <cstdint>
#include <functional>
#include <utility>

/** Decodes the packets of one medium as they are wanted. Thread-bound. */
class Decoder
{
public:
    enum class Result
    {
        Frame,
        Starved,
        Ended
    };

    /**
     * @p stream and @p packets must outlive this. @p setUp is called with each decoder before it
     * is opened. Throws Failure when there is no decoder.
     */
    Decoder(InputStream const& stream, Medium medium, PacketBuffer& packets,
        std::function<void(AVCodecContext&)> setUp);

    /** Decodes the next frame. Never waits for packets. */
    Result next(AVFrame& frame);

    /** Begins with a new decoder, which frees all frames that the old one holds. */
    void restart();

    InputStream const& stream() const { return mStream; }
    AVCodecContext const& context() const { return *mContext; }

    /** How many packets were no use since the last call. */
    uint64_t takeUndecodable() { return std::exchange(mUndecodable, 0); }

private:
    InputStream const& mStream;
    Medium mMedium;
    PacketBuffer& mPackets;
    std::function<void(AVCodecContext&)> mSetUp;
    ffmpeg::CodecContext mContext;
    bool mDraining = false; /**< at the end of a pass the decoder still has frames to give */
    uint64_t mUndecodable = 0;
};

#endif
