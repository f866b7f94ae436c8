#ifndef FFMPEG_H
#define FFMPEG_H

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

/** Owners of FFmpeg's objects. */
namespace ffmpeg {

template<auto Free>
struct Deleter
{
    template<typename T>
    void operator()(T* object) const
    {
        Free(&object);
    }
};

using CodecContext = std::unique_ptr<AVCodecContext, Deleter<avcodec_free_context>>;
using CodecParameters = std::unique_ptr<AVCodecParameters, Deleter<avcodec_parameters_free>>;
using Format = std::unique_ptr<AVFormatContext, Deleter<avformat_close_input>>;
using Frame = std::unique_ptr<AVFrame, Deleter<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Deleter<av_packet_free>>;
using Resampler = std::unique_ptr<SwrContext, Deleter<swr_free>>;

/** What an error number means, in words. */
inline std::string errorText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(error, text, sizeof text);
    return text;
}

constexpr AVRational Microseconds = {1, 1000000};

} // namespace ffmpeg

#endif
