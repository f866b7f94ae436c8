#ifndef AUDIOLEVELCALC_H
#define AUDIOLEVELCALC_H

#include <cstdint>

#include "qvorlinexport.h"

extern "C" {

/**
 * Measures how loud interleaved PCM is, channel by channel. A libavutil that has this function is
 * used for it; otherwise it is the library's own, described here. Thread-safe; allocates nothing.
 *
 * A level is 20 · log10(value / 32768) decibels: 0 is full scale, and a single step, the smallest
 * peak there is, is -90.3. Silence, which has no logarithm, is -100, and so is the level of
 * channels that there aren't and of no frames at all. (The RMS of a few single steps in a long
 * silence lies below even that.)
 *
 * @param samples need not be aligned
 * @param frames number of frames, one sample of each channel
 * @param channels 1 to 8
 * @param sampleFormat as FFmpeg counts them; only 1, signed 16-bit, is supported
 * @param levels room for 16: RMS of channels 0 to 7, then their peaks
 * @return 0; negative when a pointer is null, or @p channels or @p sampleFormat isn't supported,
 * @p levels is then left as it is
 */
QVORLIN_EXPORT int av_audio_level_calc(
    void const* samples, uint64_t frames, int64_t channels, int sampleFormat, float* levels);
}

#endif
