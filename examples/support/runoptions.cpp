#include "runoptions.h"

#include <cmath>

namespace {

// What fits into a timer.
constexpr double MaxSeconds = 2e6;
constexpr double MaxRate = 1000;
constexpr int RateDecimals = 1000;

bool takeSeconds(QString const& text, RunOptions& options)
{
    bool ok = false;
    options.seconds = text.toDouble(&ok);
    return ok && options.seconds > 0 && options.seconds <= MaxSeconds;
}

bool takeRate(QString const& text, RunOptions& options)
{
    bool ok = false;
    int const slash = text.indexOf(QLatin1Char('/'));
    if (slash >= 0) {
        bool denOk = false;
        options.rateNum = text.leftRef(slash).toInt(&ok);
        options.rateDen = text.midRef(slash + 1).toInt(&denOk);
        ok = ok && denOk;
    } else {
        double const rate = text.toDouble(&ok);
        if (!ok || !(rate > 0 && rate <= MaxRate))
            return false;
        bool const whole = rate == std::floor(rate);
        options.rateDen = whole ? 1 : RateDecimals;
        options.rateNum = qRound(rate * options.rateDen);
    }
    return ok && options.rateNum > 0 && options.rateDen > 0 &&
           options.rateNum <= MaxRate * options.rateDen;
}

} // namespace

QVector<CommandLineOption> runOptions(RunOptions& options)
{
    return {
        {"rate", "FPS", "Display rate: 60, 29.97, 30000/1001 (60).",
            [&options](QString const& text) {
                return takeRate(text, options);
            }},
        {"seconds", "N", "End after so long; by default when the window is closed.",
            [&options](QString const& text) {
                return takeSeconds(text, options);
            }},
        {"screenshot", "FILE", "Write the last picture of the window to FILE (PNG).",
            takeText(options.screenshot)},
        {"report", "FILE", "Write the figures of the run to FILE (JSON).",
            takeText(options.report)},
    };
}
