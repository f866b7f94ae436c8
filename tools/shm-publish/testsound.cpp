#include "testsound.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr double ToneLevel = 2000;
constexpr double ClickLevel = 30000;
constexpr int ClicksPerSecond = 250; /**< the click's length is the 250th part of a second */
constexpr int LowestTone = 440;
constexpr int ToneStep = 220;

} // namespace

TestSound::TestSound(int rate, int channels)
    : mRate(rate)
    , mChannels(channels)
    , mSecond(static_cast<size_t>(rate) * static_cast<size_t>(channels))
{
    int const clickLength = rate / ClicksPerSecond;
    auto sample = mSecond.begin();
    for (int i = 0; i < rate; ++i) {
        double const click = ClickLevel * std::max(0, clickLength - i) / clickLength;
        for (int channel = 0; channel < channels; ++channel) {
            // Tones above half the rate would come out as others; they start again from below.
            int const tone = LowestTone + channel * ToneStep % (rate / 2 - LowestTone);
            double const phase = 2 * Pi * tone * i / rate;
            *sample++ = static_cast<int16_t>(std::lround(ToneLevel * std::sin(phase) + click));
        }
    }
}
