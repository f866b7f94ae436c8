#include "statustext.h"

#include "streamobserver.h"

namespace statustext {

namespace {

QString const Unknown = QStringLiteral("–");

} // namespace

QString size(StreamState const& state)
{
    return state.present
               ? QStringLiteral("%1 × %2").arg(state.size.width()).arg(state.size.height())
               : Unknown;
}

/** With as many decimals as the rate needs, at most two: 25, 29.97. */
QString streamRate(StreamState const& state)
{
    return state.present && state.rate > 0
               ? QStringLiteral("%1 fps").arg(qRound(state.rate * 100) / 100.0)
               : Unknown;
}

QString displayRate(StreamState const& state, double rate)
{
    return state.present ? QStringLiteral("%1 fps").arg(rate, 0, 'f', 1) : Unknown;
}

QString latency(StreamState const& state, double milliseconds)
{
    return state.present && milliseconds > 0 ? QStringLiteral("%1 ms").arg(qRound(milliseconds))
                                             : Unknown;
}

/** With its sign. */
QString offset(StreamState const& state, double milliseconds)
{
    int const value = qRound(milliseconds);
    if (!state.present)
        return Unknown;
    return QStringLiteral("%1%2 ms")
        .arg(value > 0   ? QStringLiteral("+")
             : value < 0 ? QStringLiteral("−")
                         : QString())
        .arg(qAbs(value));
}

} // namespace statustext
