#ifndef TIMEGRID_H
#define TIMEGRID_H

#include <cstdint>

extern "C" {
#include <libavutil/mathematics.h>
}

/**
 * The instants k / rate seconds in whole microseconds, for any k: each is rounded on its own, so
 * that no error adds up over days. A grid of frames (30000/1001) or of samples (48000/1).
 */
class TimeGrid
{
public:
    /** @param rate instants a second, above 0 */
    explicit TimeGrid(AVRational rate)
        : mRate(rate)
    {}

    AVRational rate() const { return mRate; }

    /** The instant @p index in microseconds. */
    int64_t at(int64_t index) const
    {
        return av_rescale_rnd(index, Second * mRate.den, mRate.num, AV_ROUND_NEAR_INF);
    }

    /** The index whose instant is nearest to @p time. */
    int64_t nearest(int64_t time) const
    {
        return av_rescale_rnd(time, mRate.num, Second * mRate.den, AV_ROUND_NEAR_INF);
    }

    /** The first index whose instant is not before @p time. */
    int64_t firstAtOrAfter(int64_t time) const
    {
        int64_t index = nearest(time);
        while (at(index) < time)
            ++index;
        while (at(index - 1) >= time)
            --index;
        return index;
    }

    static constexpr int64_t Second = 1000000; /**< µs */

private:
    AVRational mRate;
};

#endif
