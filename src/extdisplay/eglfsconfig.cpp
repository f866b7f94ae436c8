#include <QJsonArray>
#include <QJsonDocument>
#include <QList>
#include <QMap>

#include "extdisplay/drmdevice.h"
#include "extdisplay/extdisplay.h"

namespace extdisplay {

using Connectors = QList<QSharedPointer<drm::Connector>>;

// Timings that displays behind converters accept where their own description can't be trusted.
static QString modelineFor(QString const& resolution)
{
    static QMap<QString, QString> const fixedModes{
        {QStringLiteral("1920x1080"),
            QStringLiteral("148.5 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync")},
        {QStringLiteral("1400x1050"),
            QStringLiteral("101.088 1400 1448 1480 1560 1050 1053 1057 1080 +hsync -vsync")},
        {QStringLiteral("1360x768"),
            QStringLiteral("85.5 1360 1424 1536 1792 768 771 777 795 +hsync +vsync")},
        {QStringLiteral("1280x960"),
            QStringLiteral("108 1280 1376 1488 1800 960 961 964 1000 +hsync +vsync")},
        {QStringLiteral("1280x720"),
            QStringLiteral("74.25 1280 1390 1430 1650 720 725 730 750 +hsync +vsync")},
        {QStringLiteral("1024x768"),
            QStringLiteral("65 1024 1048 1184 1344 768 771 777 806 -hsync -vsync")},
    };
    return fixedModes.value(resolution, resolution);
}

static bool isConnected(drm::Connector const& connector)
{
    return connector.connector->connection == DRM_MODE_CONNECTED;
}

static Connectors readConnectors(drm::Device const& device)
{
    Connectors connectors;
    for (uint32_t const id : device) {
        if (auto const connector = device.currentConnector(id))
            connectors.append(connector);
    }
    return connectors;
}

/** The first of those names with a display, or else the first; null when there is none. */
static QSharedPointer<drm::Connector> selectConnector(
    Connectors const& connectors, QStringList const& names)
{
    QSharedPointer<drm::Connector> fallback;
    for (QString const& name : names) {
        for (auto const& connector : connectors) {
            if (connector->name != name)
                continue;
            if (isConnected(*connector))
                return connector;
            if (!fallback)
                fallback = connector;
        }
    }
    return fallback;
}

static QString chooseMode(QString const& mode, bool fixedModes)
{
    QString const chosen = fixedModes ? modelineFor(mode) : mode;
    return chosen.isEmpty() ? QStringLiteral("preferred") : chosen;
}

static QJsonObject buildEGLFSKMSConfig(
    BoardOutputInfo const& board, QString mode, QSize, bool requireConnected)
{
    if (board.output.isEmpty())
        return {};

    drm::Device const device;
    Connectors const connectors = readConnectors(device);
    auto const selected = selectConnector(connectors, board.qtConnectors);
    if (!selected || (requireConnected && !isConnected(*selected)))
        return {};

    QJsonArray outputs;
    for (auto const& connector : connectors) {
        QJsonObject output{{QStringLiteral("name"), connector->name}};
        // Names can be the same, ids never.
        if (connector->connector->connector_id == selected->connector->connector_id) {
            output[QLatin1String("mode")] = chooseMode(mode, board.fixedModes);
            output[QLatin1String("crtcmask")] = QString::number(board.crtcMask);
        } else {
            output[QLatin1String("mode")] = QStringLiteral("ignore");
        }
        outputs.append(output);
    }
    return {
        {QStringLiteral("device"), device.path()},
        {QStringLiteral("hwcursor"), false},
        {QStringLiteral("pbuffers"), false},
        {QStringLiteral("separateScreens"), false},
        {QStringLiteral("outputs"), outputs},
    };
}

QJsonObject buildEGLFSKMSConfig(QString output, QString mode, QSize size, bool requireConnected)
{
    return buildEGLFSKMSConfig(getOutputConnectorInfo(output), mode, size, requireConnected);
}

OutputInfo setEGLFSKMSOutput(QString output, QString mode, QSize size, bool requireConnected)
{
    BoardOutputInfo const board = getOutputConnectorInfo(output);
    QJsonObject const config = buildEGLFSKMSConfig(board, mode, size, requireConnected);
    if (config.isEmpty())
        return {};

    qputenv("QT_QPA_EGLFS_KMS_CONFIG", QJsonDocument(config).toJson(QJsonDocument::Compact));
    return {board.output, board.name, board.audio};
}

} // namespace extdisplay
