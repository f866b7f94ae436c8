#include "fade.h"

#include <algorithm>

namespace {

constexpr double DurationMs = 300;

} // namespace

void Fade::setDimmed(bool dimmed)
{
    mDimmed = dimmed;
    change();
}

void Fade::setShown(bool shown)
{
    mShown = shown;
    change();
}

double Fade::value() const
{
    if (!mTimer.isValid())
        return mTo;
    double const share = std::min(1.0, static_cast<double>(mTimer.elapsed()) / DurationMs);
    return mFrom + (mTo - mFrom) * share;
}

void Fade::change()
{
    mFrom = value();
    mTo = !mShown ? 0 : mDimmed ? DimmedOpacity : 1;
    mTimer.start();
}
