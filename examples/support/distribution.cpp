#include "distribution.h"

#include <cmath>

Distribution::Distribution(qint64 least, qint64 most, qint64 width)
    : mLeast(least)
    , mMost(most)
    , mWidth(width)
    , mClasses(static_cast<size_t>((most - least) / width + 1))
{}

void Distribution::add(qint64 value)
{
    ++mCount;
    ++mClasses[static_cast<size_t>((qBound(mLeast, value, mMost) - mLeast) / mWidth)];
}

std::optional<double> Distribution::percentile(double share) const
{
    if (mCount == 0)
        return {};
    auto left = static_cast<qint64>(std::ceil(share * static_cast<double>(mCount)));
    size_t place = 0;
    while ((left -= mClasses[place]) > 0)
        ++place;
    return static_cast<double>(mLeast) +
           (static_cast<double>(place) + 0.5) * static_cast<double>(mWidth);
}
