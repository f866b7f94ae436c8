#include "soundlag.h"

#include <algorithm>
#include <vector>

namespace {

constexpr qint64 Window = 1'000'000; // µs
constexpr qint64 SettleTime = Window / 2;

} // namespace

void SoundLag::add(qint64 position, qint64 now)
{
    if (!mReports.empty() && (position < mReports.back().position || now < mReports.back().time))
        mReports.clear();
    mReports.push_back({position, now});
    while (mReports.front().time < now - Window)
        mReports.pop_front();
}

std::optional<qint64> SoundLag::value() const
{
    if (mReports.empty() || mReports.back().time - mReports.front().time < SettleTime)
        return {};
    std::vector<qint64> lags;
    lags.reserve(mReports.size());
    for (Report const& report : mReports)
        lags.push_back(report.time - report.position);
    auto const middle = lags.begin() + static_cast<std::ptrdiff_t>(lags.size() / 2);
    std::nth_element(lags.begin(), middle, lags.end());
    return *middle;
}
