#ifndef PICTURECONVERTER_H
#define PICTURECONVERTER_H

#include "ffmpeg.h"

#include <shm_writer.h>

#include <memory>

/**
 * Scales decoded pictures and converts their format into a slot, in one step. Samples of YUV
 * pictures keep their range and matrix; RGB becomes full-range BT.601, as the stream's readers
 * take everything. Thread-bound.
 */
class PictureConverter
{
public:
    /** Fills @p slot with @p frame at @p width × @p height; throws Failure for an odd format. */
    void convert(AVFrame const& frame, shm_writer_frame_t const& slot, int width, int height);

private:
    struct Key
    {
        int format, width, height;
        bool operator!=(Key const& other) const
        {
            return format != other.format || width != other.width || height != other.height;
        }
    };
    struct Closer
    {
        void operator()(SwsContext* context) const { sws_freeContext(context); }
    };

    Key mFrom = {AV_PIX_FMT_NONE, 0, 0};
    std::unique_ptr<SwsContext, Closer> mContext;
};

#endif
