#include "report.h"

#include <cmath>

#include <QBuffer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// More digits than these would only be noise.
double rounded(double value)
{
    return std::round(value * 100) / 100;
}

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

QByteArray Report::toJson() const
{
    QJsonObject const streamObject{
        {QStringLiteral("name"), streamName},
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
    return QJsonDocument(QJsonObject{
                             {QStringLiteral("stream"), streamObject},
                             {QStringLiteral("seconds"), rounded(seconds)},
                             {QStringLiteral("frames"), framesObject},
                             {QStringLiteral("latencyMs"), latencyObject},
                             {QStringLiteral("displayRate"), rounded(frames.displayRate)},
                             {QStringLiteral("longestPauseMs"), rounded(frames.longestPauseMs)},
                             {QStringLiteral("skippedTicks"), skippedTicks},
                         })
        .toJson();
}

QByteArray toPng(QImage const& image)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

QString writeFile(QString const& name, QByteArray const& data)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.flush())
        return file.errorString();
    return {};
}
