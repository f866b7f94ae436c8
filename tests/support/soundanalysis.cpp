#include "soundanalysis.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr double Pi = 3.14159265358979323846;

double angle(double frequency, int rate)
{
    return 2 * Pi * frequency / rate;
}

/** The first of each group of indices less than 10 ms apart, as they come in. */
class Groups
{
public:
    explicit Groups(int rate)
        : mGap(rate / 100)
    {}

    void add(int index)
    {
        if (mStarts.empty() || index - mLast > mGap)
            mStarts.push_back(index);
        mLast = index;
    }
    std::vector<int> const& starts() const { return mStarts; }

private:
    int mGap;
    int mLast = 0;
    std::vector<int> mStarts;
};

} // namespace

namespace soundanalysis {

Part::Part(std::vector<qint16> const& channel)
    : Part(channel, 0, static_cast<int>(channel.size()))
{}

Part::Part(std::vector<qint16> const& channel, int first, int last)
{
    int const size = static_cast<int>(channel.size());
    first = qBound(0, first, size);
    samples = channel.data() + first;
    count = qBound(first, last, size) - first;
}

Tone fitTone(Part const& part, double frequency, int rate)
{
    // Least squares of a cos + b sin.
    double cc = 0;
    double ss = 0;
    double cs = 0;
    double xc = 0;
    double xs = 0;
    double xx = 0;
    double const step = angle(frequency, rate);
    for (int i = 0; i < part.count; ++i) {
        double const c = std::cos(step * i);
        double const s = std::sin(step * i);
        double const x = part.samples[i];
        cc += c * c;
        ss += s * s;
        cs += c * s;
        xc += x * c;
        xs += x * s;
        xx += x * x;
    }
    double const determinant = cc * ss - cs * cs;
    if (determinant == 0)
        return {};
    double const a = (xc * ss - xs * cs) / determinant;
    double const b = (xs * cc - xc * cs) / determinant;
    double const rest = xx - a * xc - b * xs;
    return {std::hypot(a, b), std::atan2(a, b), std::sqrt(std::max(0.0, rest) / part.count)};
}

double toneFrequency(Part const& part, double guess, int rate)
{
    int const half = part.count / 2;
    Part first = part;
    first.count = half;
    Part second = first;
    second.samples += half;
    double const advance = fitTone(second, guess, rate).phase - fitTone(first, guess, rate).phase;
    double const error = std::remainder(advance - angle(guess, rate) * half, 2 * Pi);
    return guess + error * rate / (2 * Pi * half);
}

int peak(Part const& part)
{
    int result = 0;
    for (int i = 0; i < part.count; ++i)
        result = std::max(result, std::abs(int{part.samples[i]}));
    return result;
}

std::vector<int> findClicks(Part const& part, int level, int rate)
{
    Groups clicks(rate);
    for (int i = 0; i < part.count; ++i) {
        if (std::abs(int{part.samples[i]}) > level)
            clicks.add(i);
    }
    return clicks.starts();
}

std::vector<int> findBreaks(Part const& part, double frequency, int tolerance, int rate)
{
    Groups breaks(rate);
    double const factor = 2 * std::cos(angle(frequency, rate));
    for (int i = 2; i < part.count; ++i) {
        double const expected = factor * part.samples[i - 1] - part.samples[i - 2];
        if (std::abs(part.samples[i] - expected) > tolerance)
            breaks.add(i);
    }
    return breaks.starts();
}

} // namespace soundanalysis
