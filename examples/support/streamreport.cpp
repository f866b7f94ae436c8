#include "streamreport.h"

#include <cmath>

namespace {

template<typename Number>
QJsonValue orNull(bool known, Number value)
{
    return known ? QJsonValue(value) : QJsonValue(QJsonValue::Null);
}

QJsonValue orNull(std::optional<double> const& value)
{
    return orNull(value.has_value(), rounded(value.value_or(0)));
}

} // namespace

double rounded(double value)
{
    return std::round(value * 100) / 100;
}

QJsonObject StreamReport::toJson() const
{
    QJsonObject const streamObject{
        {QStringLiteral("name"), name},
        {QStringLiteral("width"), orNull(stream.size.isValid(), stream.size.width())},
        {QStringLiteral("height"), orNull(stream.size.isValid(), stream.size.height())},
        {QStringLiteral("rate"), orNull(stream.rate > 0, rounded(stream.rate))},
    };
    QJsonObject const framesObject{
        {QStringLiteral("published"), frames.published},
        {QStringLiteral("shown"), frames.shown},
        {QStringLiteral("repeated"), frames.repeated},
        {QStringLiteral("missed"), frames.missed},
    };
    QJsonObject const latencyObject{
        {QStringLiteral("p50"), orNull(frames.latencyP50Ms)},
        {QStringLiteral("p99"), orNull(frames.latencyP99Ms)},
    };
    return {
        {QStringLiteral("stream"), streamObject},
        {QStringLiteral("frames"), framesObject},
        {QStringLiteral("latencyMs"), latencyObject},
        {QStringLiteral("displayRate"), rounded(frames.displayRate)},
        {QStringLiteral("longestPauseMs"), rounded(frames.longestPauseMs)},
        {QStringLiteral("skippedTicks"), skippedTicks},
    };
}
