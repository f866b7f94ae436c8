#include "pictureconverter.h"

#include "failure.h"

#include <string>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

/** The format without a statement about the range, which would make swscale convert that. */
AVPixelFormat withoutRange(AVPixelFormat format)
{
    constexpr AVPixelFormat Table[][2] = {
        {AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_YUV411P},
        {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P},
        {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV422P},
        {AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUV440P},
        {AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUV444P},
    };
    for (auto const& row : Table) {
        if (row[0] == format)
            return row[1];
    }
    return format;
}

SwsContext* makeContext(AVFrame const& frame, int width, int height)
{
    auto const format = static_cast<AVPixelFormat>(frame.format);
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    bool const rgb = description && description->flags & AV_PIX_FMT_FLAG_RGB;
    // The fast path from RGB knows the limited range only; this flag keeps swscale off it.
    int const flags = SWS_BILINEAR | (rgb ? SWS_ACCURATE_RND : 0);
    SwsContext* const context = sws_getContext(frame.width, frame.height, withoutRange(format),
        width, height, AV_PIX_FMT_YUV420P, flags, nullptr, nullptr, nullptr);
    if (!context) {
        std::string const name = description ? description->name : "unknown";
        throw Failure("pictures of the format " + name + " can't be converted");
    }
    int const* const bt601 = sws_getCoefficients(SWS_CS_ITU601);
    constexpr int FullRange = 1;
    constexpr int Unchanged = 1 << 16;
    sws_setColorspaceDetails(context, bt601, FullRange, bt601, FullRange, 0, Unchanged, Unchanged);
    return context;
}

} // namespace

void PictureConverter::convert(
    AVFrame const& frame, shm_writer_frame_t const& slot, int width, int height)
{
    Key const from = {frame.format, frame.width, frame.height};
    if (from != mFrom) {
        mContext.reset(makeContext(frame, width, height));
        mFrom = from;
    }
    sws_scale(mContext.get(), frame.data, frame.linesize, 0, frame.height, slot.plane, slot.stride);
}
