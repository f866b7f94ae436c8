#include "continuoustime.h"

#include "timegrid.h"

#include <algorithm>
#include <cstdlib>

namespace {

/** What is more than this away from the packet before is a jump, not a pause. */
constexpr int64_t LargestStep = 10000000;

} // namespace

ContinuousTime::ContinuousTime(int64_t begin, AVRational frameRate, bool jumps)
    : mBegin(begin)
    , mFrameRate(frameRate)
    , mJumps(jumps)
{}

int64_t ContinuousTime::move(AVPacket& packet, AVRational timeBase)
{
    auto const toMicroseconds = [&](int64_t t) {
        return av_rescale_q(t, timeBase, ffmpeg::Microseconds);
    };
    int64_t own = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
    if (own != AV_NOPTS_VALUE) {
        own = toMicroseconds(own);
        if (mBegin == AV_NOPTS_VALUE)
            mBegin = own;
        if (mJumps && mLast != AV_NOPTS_VALUE && std::abs(own + mOffset - mLast) > LargestStep)
            mOffset = mLast - own;
        mLast = own + mOffset;
    }
    int64_t const offset = av_rescale_q(mOffset, ffmpeg::Microseconds, timeBase);
    if (packet.dts != AV_NOPTS_VALUE)
        packet.dts += offset;
    if (packet.pts != AV_NOPTS_VALUE)
        packet.pts += offset;

    // Without any time of its own a packet lasts as long as it says, after the one before.
    int64_t end = mPassEnd == AV_NOPTS_VALUE ? 0 : mPassEnd;
    if (packet.pts != AV_NOPTS_VALUE)
        end = toMicroseconds(packet.pts);
    else if (mLast != AV_NOPTS_VALUE)
        end = mLast;
    end += toMicroseconds(packet.duration);
    mPassEnd = mPassEnd == AV_NOPTS_VALUE ? end : std::max(mPassEnd, end);
    return end;
}

void ContinuousTime::startPass()
{
    if (mPassEnd == AV_NOPTS_VALUE)
        return;
    int64_t const begin = mBegin == AV_NOPTS_VALUE ? 0 : mBegin;
    if (mFrameRate.num) {
        // Whole frames, so that pictures stay evenly spaced from pass to pass.
        constexpr int64_t Tolerance = 1000;
        TimeGrid const grid(mFrameRate);
        mOffset = grid.at(grid.firstAtOrAfter(mPassEnd - begin - Tolerance));
    } else {
        mOffset = mPassEnd - begin;
    }
    mLast = AV_NOPTS_VALUE;
}
