#include "board.h"

#include <algorithm>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

QString mapFile()
{
    QString const file = qEnvironmentVariable("EXTDISPLAY_OUTPUTS_CONFIG");
    return file.isEmpty() ? QStringLiteral("/tmp/extdisplay/outputs.json") : file;
}

/** Why the library found no connector: it tells none. */
QString obstacleFor(Selection const& selection, Card const& card)
{
    extdisplay::BoardOutputInfo const& board = selection.board;
    if (selection.output.isEmpty())
        return QStringLiteral("its name is empty");
    if (board.output.isEmpty())
        return QStringLiteral("it is not in the outputs map");
    bool const exists = std::any_of(card.outputs.begin(), card.outputs.end(),
        [&board](Output const& output) { return board.qtConnectors.contains(output.name); });
    return exists ? QStringLiteral("no display is connected")
                  : QStringLiteral("the card has none of its connectors");
}

Selection select(QString const& output, Card const& card, Options const& options)
{
    Selection selection;
    selection.output = output;
    selection.board = extdisplay::getOutputConnectorInfo(output);
    selection.config =
        extdisplay::buildEGLFSKMSConfig(output, options.mode, QSize(), options.requireConnected);
    // Only the selected connector has a CRTC mask; its mode may be any text.
    for (QJsonValue const connector : selection.config.value(QLatin1String("outputs")).toArray()) {
        if (connector[QLatin1String("crtcmask")].isString()) {
            selection.connector = connector[QLatin1String("name")].toString();
            selection.mode = connector[QLatin1String("mode")].toString();
        }
    }
    if (selection.connector.isEmpty())
        selection.obstacle = obstacleFor(selection, card);
    return selection;
}

QStringList namesOf(QVector<Output> const& outputs)
{
    QStringList names;
    for (Output const& output : outputs)
        names.append(output.name);
    return names;
}

/** The outputs that the map @p board.file describes; what else there is to say goes to @p board. */
QStringList readMap(Board& board, Card const& card)
{
    QFile file(board.file);
    if (!file.open(QIODevice::ReadOnly)) {
        board.absence = file.errorString();
        return namesOf(card.outputs);
    }
    QJsonParseError error;
    QJsonDocument const document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject()) {
        QString const reason =
            error.error == QJsonParseError::NoError
                ? QStringLiteral("it is not a JSON object")
                : QStringLiteral("%1 at byte %2").arg(error.errorString()).arg(error.offset);
        board.fault = QStringLiteral("outputs map '%1': %2").arg(board.file, reason);
        return {};
    }
    QStringList names;
    QJsonObject const outputs = document.object()[QLatin1String("outputs")].toObject();
    for (auto it = outputs.begin(); it != outputs.end(); ++it)
        (it->isObject() ? names : board.ignored).append(it.key());
    return names;
}

} // namespace

Board readBoard(Card const& card, Options const& options)
{
    Board board;
    board.file = mapFile();
    QStringList names = readMap(board, card);
    if (!options.output.isEmpty())
        names = QStringList(options.output);
    for (QString const& name : names)
        board.selections.append(select(name, card, options));
    return board;
}
