#include "report.h"

namespace {

QString const NameIndent = QStringLiteral("  ");
QString const DetailIndent = QStringLiteral("      ");

QString quoted(QString const& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QString connectionText(Output::Connection connection)
{
    switch (connection) {
    case Output::Connection::Connected:
        return QStringLiteral("connected");
    case Output::Connection::Disconnected:
        return QStringLiteral("disconnected");
    case Output::Connection::Unknown:
        break;
    }
    return QStringLiteral("unknown connection");
}

QString outputLine(Output const& output)
{
    QStringList facts{output.name + QLatin1String(": ") + connectionText(output.connection)};
    if (output.edid && !output.edid->name.isEmpty())
        facts.append(quoted(output.edid->name));
    if (output.edid && !output.edid->fault.isEmpty())
        facts.append(QLatin1String("its EDID ") + output.edid->fault);
    if (!output.millimetres.isEmpty()) {
        facts.append(QStringLiteral("%1 mm x %2 mm")
                         .arg(output.millimetres.width())
                         .arg(output.millimetres.height()));
    }
    return NameIndent + facts.join(QLatin1String(", ")) + QLatin1Char('\n');
}

QString sizeText(OutputMode const& mode)
{
    return QStringLiteral("%1x%2%3")
        .arg(mode.size.width())
        .arg(mode.size.height())
        .arg(QLatin1String(mode.interlaced ? "i" : ""));
}

/** One line for each size, with its rates; an asterisk marks the preferred mode. */
QString modeLines(QVector<OutputMode> const& modes)
{
    QStringList sizes;
    QStringList rates;
    for (OutputMode const& mode : modes) {
        QString const size = sizeText(mode);
        if (!sizes.contains(size)) {
            sizes.append(size);
            rates.append(QString());
        }
        rates[sizes.indexOf(size)] += QLatin1Char(' ') + QString::number(mode.rate, 'f', 2) +
                                      QLatin1String(mode.preferred ? "*" : "");
    }
    QString text;
    for (int i = 0; i < sizes.size(); ++i)
        text += DetailIndent + sizes[i].leftJustified(10) + rates[i] + QLatin1Char('\n');
    return text;
}

QString boardLine(extdisplay::BoardOutputInfo const& board)
{
    QStringList facts;
    if (!board.name.isEmpty())
        facts.append(quoted(board.name));
    facts.append(QLatin1String("connectors ") + board.qtConnectors.join(QLatin1Char(' ')));
    facts.append(QStringLiteral("CRTC mask %1").arg(board.crtcMask));
    if (!board.audio.isEmpty())
        facts.append(QLatin1String("audio ") + quoted(board.audio));
    if (board.fixedModes)
        facts.append(QStringLiteral("fixed modes"));
    return facts.join(QLatin1String(", "));
}

QString selectionLines(Selection const& selection)
{
    QString const selects = selection.obstacle.isEmpty()
                                ? QStringLiteral("selects %1 with mode %2")
                                      .arg(selection.connector, quoted(selection.mode))
                                : QLatin1String("selects nothing: ") + selection.obstacle;
    QString const details =
        selection.board.output.isEmpty() ? QString() : boardLine(selection.board);
    QString text = NameIndent + selection.output + QLatin1Char(':');
    if (!details.isEmpty())
        text += QLatin1Char(' ') + details;
    return printable(text) + QLatin1Char('\n') + DetailIndent + printable(selects) +
           QLatin1Char('\n');
}

QString boardHeading(Board const& board)
{
    if (board.absence.isEmpty())
        return QStringLiteral("Outputs of the board by %1:").arg(board.file);
    return QStringLiteral("Each output stands for itself, without the board's map %1 (%2):")
        .arg(board.file, board.absence);
}

} // namespace

QString printable(QString text)
{
    for (QChar& c : text) {
        if (!c.isPrint() && !c.isSurrogate())
            c = QLatin1Char('?');
    }
    return text;
}

QString textReport(Card const& card, Board const& board)
{
    QString const none = NameIndent + QLatin1String("none\n");
    QString text = QStringLiteral("Outputs of %1:\n").arg(card.device);
    for (Output const& output : card.outputs)
        text += outputLine(output) + modeLines(output.modes);
    if (card.outputs.isEmpty())
        text += none;

    text += QLatin1Char('\n') + printable(boardHeading(board)) + QLatin1Char('\n');
    for (Selection const& selection : board.selections)
        text += selectionLines(selection);
    if (board.selections.isEmpty())
        text += none;
    for (QString const& name : board.ignored)
        text += NameIndent + printable(name) + QLatin1String(": ignored, it is not an object\n");
    return text;
}
