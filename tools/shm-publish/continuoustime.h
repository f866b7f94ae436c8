#ifndef CONTINUOUSTIME_H
#define CONTINUOUSTIME_H

#include "ffmpeg.h"

#include <cstdint>

/**
 * Moves the timestamps of packets so that they go on through repeated passes over an input and,
 * where its format allows jumps, through those. Thread-bound.
 */
class ContinuousTime
{
public:
    /**
     * @param begin where a pass begins, µs; AV_NOPTS_VALUE: unknown
     * @param frameRate of the video; 0: none or unknown
     * @param jumps whether the format's timestamps may jump
     */
    ContinuousTime(int64_t begin, AVRational frameRate, bool jumps);

    /** Moves the packet's timestamps. @return where it ends, in moved µs */
    int64_t move(AVPacket& packet, AVRational timeBase);

    /** Says that the next packet is the first of another pass. */
    void startPass();

private:
    int64_t mBegin;
    AVRational mFrameRate;
    bool mJumps;
    int64_t mOffset = 0;               /**< µs added to the input's own time */
    int64_t mLast = AV_NOPTS_VALUE;    /**< start of the packet before, moved */
    int64_t mPassEnd = AV_NOPTS_VALUE; /**< largest end in this pass, moved */
};

#endif
