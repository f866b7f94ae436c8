#include "options.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace {

CommandLine print(QString const& text)
{
    return {CommandLine::Action::Print, {}, text};
}

CommandLine refuse(QString const& reason)
{
    return {CommandLine::Action::Refuse, {}, reason};
}

/** Qt's sentence as a part of a line, as the program's other complaints are. */
QString inOwnWords(QString sentence)
{
    if (sentence.endsWith(QLatin1Char('.')))
        sentence.chop(1);
    return sentence.left(1).toLower() + sentence.mid(1);
}

} // namespace

CommandLine parseCommandLine(QStringList const& arguments)
{
    QCommandLineOption const output(QStringLiteral("output"),
        QStringLiteral("Tell what NAME, an output of the board, selects; without it: each."),
        QStringLiteral("NAME"));
    QCommandLineOption const mode(QStringLiteral("mode"),
        QStringLiteral("The mode to ask for (what the display prefers)."), QStringLiteral("MODE"));
    QCommandLineOption const requireConnected(
        QStringLiteral("require-connected"), QStringLiteral("Select no output without a display."));
    QCommandLineOption const json(QStringLiteral("json"), QStringLiteral("Write JSON."));
    QCommandLineOption const help(QStringLiteral("help"), QStringLiteral("Show this and exit."));
    QCommandLineOption const version(
        QStringLiteral("version"), QStringLiteral("Show the version and exit."));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Lists the outputs of the first display card, and the outputs of the board "
                       "with the connector\nthat each selects. Displays are not probed: what is "
                       "shown is what the kernel knows."));
    parser.addOptions({output, mode, requireConnected, json, help, version});
    if (!parser.parse(arguments))
        return refuse(inOwnWords(parser.errorText()));
    if (parser.isSet(help))
        return print(parser.helpText());
    if (parser.isSet(version)) {
        return print(
            QStringLiteral("display-info %1\n").arg(QCoreApplication::applicationVersion()));
    }
    if (!parser.positionalArguments().isEmpty())
        return refuse(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));
    if (parser.isSet(output) && parser.value(output).isEmpty())
        return refuse(QStringLiteral("bad value '' for --output NAME"));

    CommandLine line;
    line.options = {parser.value(output), parser.value(mode), parser.isSet(requireConnected),
        parser.isSet(json)};
    return line;
}
