#include "fade.h"

#include <algorithm>

namespace {

constexpr double DurationMs = 300;

} // namespace

void Fade::to(double opacity)
{
    mFrom = value();
    mTo = opacity;
    mTimer.start();
}

double Fade::value() const
{
    if (!mTimer.isValid())
        return mTo;
    double const share = std::min(1.0, static_cast<double>(mTimer.elapsed()) / DurationMs);
    return mFrom + (mTo - mFrom) * share;
}
