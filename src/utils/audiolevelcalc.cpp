#include "utils/audiolevelcalc.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int MaxChannels = 8;
constexpr int Signed16 = 1;
constexpr double FullScale = 32768;
constexpr float Silence = -100;

/** What one channel adds up to. */
struct Sum
{
    double squares = 0; // of samples relative to full scale
    int peak = 0;
};

template<size_t Size>
struct Vectors
{
    using Samples [[gnu::vector_size(Size)]] = int16_t;
    using Words [[gnu::vector_size(Size)]] = uint32_t;
    using Integers [[gnu::vector_size(Size)]] = int32_t;
    using Floats [[gnu::vector_size(Size)]] = float;
};

// A sum of so many squares in single precision is less than 0.0003 dB off.
constexpr uint64_t VectorsPerSum = 1024;

/**
 * Adds @p count vectors of interleaved samples to @p sums; the samples of a vector are a whole
 * number of frames.
 *
 * Two neighbouring samples are looked at as one word. With the other one shifted or masked away,
 * either is the upper half of a word and so 65536 times itself: no bits are shuffled, the place of
 * a sample in the vector tells its channel.
 */
template<size_t Size>
[[gnu::always_inline]] inline void addVectors(
    char const* samples, uint64_t count, int channels, Sum* sums)
{
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the lower half comes first");
    using Integers = typename Vectors<Size>::Integers;
    using Floats = typename Vectors<Size>::Floats;
    constexpr double shiftedFullScale = FullScale * 65536;
    constexpr int lanes = Size / sizeof(int16_t);

    typename Vectors<Size>::Samples highest = {};
    typename Vectors<Size>::Samples lowest = {};
    while (count > 0) {
        uint64_t const part = std::min(count, VectorsPerSum);
        count -= part;
        Floats even = {};
        Floats odd = {};
        for (uint64_t i = 0; i < part; ++i, samples += Size) {
            typename Vectors<Size>::Samples values;
            std::memcpy(&values, samples, Size);
            highest = values > highest ? values : highest;
            lowest = values < lowest ? values : lowest;
            auto const words = (typename Vectors<Size>::Words)values;
            auto const lower = __builtin_convertvector((Integers)(words << 16), Floats);
            auto const upper = __builtin_convertvector((Integers)(words & 0xffff0000u), Floats);
            even += lower * lower;
            odd += upper * upper;
        }
        for (int channel = 0; channel < channels; ++channel) {
            double squares = 0;
            for (int lane = channel; lane < lanes; lane += channels)
                squares += lane % 2 == 0 ? even[lane / 2] : odd[lane / 2];
            sums[channel].squares += squares / (shiftedFullScale * shiftedFullScale);
        }
    }
    for (int channel = 0; channel < channels; ++channel) {
        int peak = 0;
        for (int lane = channel; lane < lanes; lane += channels)
            peak = std::max({peak, int{highest[lane]}, -int{lowest[lane]}});
        sums[channel].peak = std::max(sums[channel].peak, peak);
    }
}

/** Adds @p frames frames to @p sums, sample by sample. */
void addFrames(char const* samples, uint64_t frames, int channels, Sum* sums)
{
    for (uint64_t frame = 0; frame < frames; ++frame) {
        for (int channel = 0; channel < channels; ++channel, samples += sizeof(int16_t)) {
            int16_t value = 0;
            std::memcpy(&value, samples, sizeof(value));
            double const relative = value / FullScale;
            sums[channel].squares += relative * relative;
            sums[channel].peak = std::max(sums[channel].peak, std::abs(int{value}));
        }
    }
}

using AddVectors = void (*)(char const* samples, uint64_t count, int channels, Sum* sums);

struct Method
{
    size_t vectorSize;
    AddVectors add;
};

void addNarrowVectors(char const* samples, uint64_t count, int channels, Sum* sums)
{
    addVectors<16>(samples, count, channels, sums);
}

#ifdef __x86_64__

// The same on vectors two and four times as wide, which not every processor has.
[[gnu::target("avx512bw")]] void addWidestVectors(
    char const* samples, uint64_t count, int channels, Sum* sums)
{
    addVectors<64>(samples, count, channels, sums);
}

[[gnu::target("avx2,fma")]] void addWideVectors(
    char const* samples, uint64_t count, int channels, Sum* sums)
{
    addVectors<32>(samples, count, channels, sums);
}

Method bestMethod()
{
    if (__builtin_cpu_supports("avx512bw"))
        return {64, addWidestVectors};
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return {32, addWideVectors};
    return {16, addNarrowVectors};
}

#else

Method bestMethod()
{
    return {16, addNarrowVectors};
}

#endif

void addAll(char const* samples, uint64_t frames, int channels, Sum* sums)
{
    Method const method = bestMethod();
    size_t const frameSize = static_cast<size_t>(channels) * sizeof(int16_t);
    uint64_t done = 0;
    if (method.vectorSize % frameSize == 0) {
        uint64_t const framesPerVector = method.vectorSize / frameSize;
        uint64_t const count = frames / framesPerVector;
        method.add(samples, count, channels, sums);
        done = count * framesPerVector;
    }
    addFrames(samples + done * frameSize, frames - done, channels, sums);
}

float decibels(double square)
{
    return square > 0 ? 10 * std::log10(static_cast<float>(square)) : Silence;
}

} // namespace

int av_audio_level_calc(
    void const* samples, uint64_t frames, int64_t channels, int sampleFormat, float* levels)
{
    if (!samples || !levels || channels < 1 || channels > MaxChannels || sampleFormat != Signed16)
        return -EINVAL;

    Sum sums[MaxChannels];
    addAll(static_cast<char const*>(samples), frames, static_cast<int>(channels), sums);
    double const count = static_cast<double>(std::max<uint64_t>(frames, 1));
    for (int channel = 0; channel < MaxChannels; ++channel) {
        Sum const& sum = sums[channel];
        double const peak = sum.peak / FullScale;
        levels[channel] = decibels(sum.squares / count);
        levels[MaxChannels + channel] = decibels(peak * peak);
    }
    return 0;
}
