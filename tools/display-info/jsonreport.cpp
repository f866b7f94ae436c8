#include "report.h"

#include <cmath>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QJsonValue connectedValue(Output::Connection connection)
{
    if (connection == Output::Connection::Unknown)
        return QJsonValue::Null;
    return connection == Output::Connection::Connected;
}

QJsonObject modeObject(OutputMode const& mode)
{
    return {
        {QStringLiteral("width"), mode.size.width()},
        {QStringLiteral("height"), mode.size.height()},
        // Beyond a thousandth the kernel's clock, in kHz, tells nothing.
        {QStringLiteral("rate"), std::round(mode.rate * 1000) / 1000},
        {QStringLiteral("interlaced"), mode.interlaced},
        {QStringLiteral("preferred"), mode.preferred},
    };
}

QJsonValue edidValue(std::optional<Edid> const& edid)
{
    if (!edid)
        return QJsonValue::Null;
    if (!edid->fault.isEmpty())
        return QJsonObject{{QStringLiteral("fault"), edid->fault}};
    return QJsonObject{{QStringLiteral("name"), edid->name}};
}

QJsonObject outputObject(Output const& output)
{
    QJsonArray modes;
    for (OutputMode const& mode : output.modes)
        modes.append(modeObject(mode));
    return {
        {QStringLiteral("name"), output.name},
        {QStringLiteral("connected"), connectedValue(output.connection)},
        {QStringLiteral("edid"), edidValue(output.edid)},
        {QStringLiteral("width-mm"), output.millimetres.width()},
        {QStringLiteral("height-mm"), output.millimetres.height()},
        {QStringLiteral("modes"), modes},
    };
}

QJsonValue boardValue(extdisplay::BoardOutputInfo const& board)
{
    if (board.output.isEmpty())
        return QJsonValue::Null;
    return QJsonObject{
        {QStringLiteral("name"), board.name},
        {QStringLiteral("qtconnectors"), QJsonArray::fromStringList(board.qtConnectors)},
        {QStringLiteral("crtcmask"), board.crtcMask},
        {QStringLiteral("audio"), board.audio},
        {QStringLiteral("fixed-modes"), board.fixedModes},
    };
}

QJsonObject selectionObject(Selection const& selection)
{
    QJsonObject object{
        {QStringLiteral("output"), selection.output},
        {QStringLiteral("board"), boardValue(selection.board)},
    };
    if (selection.obstacle.isEmpty()) {
        object[QStringLiteral("connector")] = selection.connector;
        object[QStringLiteral("mode")] = selection.mode;
        object[QStringLiteral("config")] = selection.config;
    } else {
        object[QStringLiteral("obstacle")] = selection.obstacle;
    }
    return object;
}

QJsonObject mapObject(Board const& board)
{
    QJsonObject map{{QStringLiteral("file"), board.file}};
    if (!board.absence.isEmpty())
        map[QStringLiteral("absent")] = board.absence;
    if (!board.fault.isEmpty())
        map[QStringLiteral("fault")] = board.fault;
    if (!board.ignored.isEmpty())
        map[QStringLiteral("ignored")] = QJsonArray::fromStringList(board.ignored);
    return map;
}

} // namespace

QByteArray jsonReport(Card const& card, Board const& board)
{
    QJsonArray outputs;
    for (Output const& output : card.outputs)
        outputs.append(outputObject(output));
    QJsonArray selections;
    for (Selection const& selection : board.selections)
        selections.append(selectionObject(selection));
    return QJsonDocument(QJsonObject{
                             {QStringLiteral("device"), card.device},
                             {QStringLiteral("outputs"), outputs},
                             {QStringLiteral("map"), mapObject(board)},
                             {QStringLiteral("selections"), selections},
                         })
               .toJson(QJsonDocument::Compact) +
           '\n';
}
