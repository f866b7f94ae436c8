#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include "extdisplay/extdisplay.h"

namespace extdisplay {

static QString outputsMapPath()
{
    QByteArray const configured = qgetenv("EXTDISPLAY_OUTPUTS_CONFIG");
    return configured.isEmpty() ? QStringLiteral("/tmp/extdisplay/outputs.json")
                                : QFile::decodeName(configured);
}

static BoardOutputInfo readEntry(QString const& output, QJsonObject const& entry)
{
    BoardOutputInfo info;
    info.output = output;
    info.name = entry[QLatin1String("name")].toString();
    for (QJsonValue const connector : entry[QLatin1String("qtconnectors")].toArray())
        info.qtConnectors.append(connector.toString());
    info.crtcMask = entry[QLatin1String("crtcmask")].toInt(-1);
    info.audio = entry[QLatin1String("audio")].toString();
    info.fixedModes = entry[QLatin1String("fixed-modes")].toBool(false);
    return info;
}

BoardOutputInfo getOutputConnectorInfo(QString output)
{
    QFile file(outputsMapPath());
    if (!file.open(QIODevice::ReadOnly))
        return {output, output, {output}, -1, {}, false};

    QJsonObject const map = QJsonDocument::fromJson(file.readAll()).object();
    QJsonValue const entry = map[QLatin1String("outputs")].toObject()[output];
    return entry.isObject() ? readEntry(output, entry.toObject()) : BoardOutputInfo{};
}

} // namespace extdisplay
