#include "commandline.h"

#include <optional>

#include <QCommandLineParser>
#include <QCoreApplication>

namespace {

CommandLine print(QString const& text)
{
    return {CommandLine::Action::Print, text};
}

CommandLine refuse(QString const& reason)
{
    return {CommandLine::Action::Refuse, reason};
}

/** The options of QVorlinApplication, which reads them by itself. */
QList<QCommandLineOption> logOptions()
{
    return {
        {QStringLiteral("v"),
            QStringLiteral(
                "Log what is at least this important: error, warning, info, debug (info)."),
            QStringLiteral("LEVEL")},
        {QStringLiteral("vstd"), QStringLiteral("Log to the standard output as well.")},
        {QStringLiteral("logname"),
            QStringLiteral("Log as NAME; by default as the program is called."),
            QStringLiteral("NAME")},
    };
}

/** @return the first value that is none, if any */
std::optional<QString> takeValues(QCommandLineParser const& parser, CommandLineOption const& option)
{
    QString const name = QString::fromLatin1(option.name);
    QStringList const values = option.valueName ? parser.values(name) : QStringList(QString());
    for (QString const& value : values) {
        if (!option.take(value))
            return value;
    }
    return {};
}

} // namespace

CommandLine parseCommandLine(CommandLineSyntax const& syntax, QStringList const& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(syntax.description));
    QCommandLineOption const help = parser.addHelpOption();
    // Without the usual short form, which stands for the log's level.
    QCommandLineOption const version(
        QStringLiteral("version"), QStringLiteral("Displays version information."));
    parser.addOption(version);
    parser.addOptions(logOptions());
    for (CommandLineOption const& option : syntax.options) {
        QString const valueName = QString::fromLatin1(option.valueName);
        parser.addOption(QCommandLineOption(
            QString::fromLatin1(option.name), QString::fromLatin1(option.help), valueName));
    }

    if (!parser.parse(arguments))
        return refuse(parser.errorText());
    if (parser.isSet(help))
        return print(parser.helpText());
    if (parser.isSet(version)) {
        return print(QStringLiteral("%1 %2\n").arg(
            QLatin1String(syntax.program), QCoreApplication::applicationVersion()));
    }
    for (CommandLineOption const& option : syntax.options) {
        QString const name = QString::fromLatin1(option.name);
        if (!parser.isSet(name))
            continue;
        if (std::optional<QString> const bad = takeValues(parser, option)) {
            return refuse(QStringLiteral("bad value '%1' for --%2 %3")
                              .arg(*bad, name, QString::fromLatin1(option.valueName)));
        }
    }
    for (QString const& argument : parser.positionalArguments()) {
        if (!syntax.takeArgument || !syntax.takeArgument(argument))
            return refuse(QStringLiteral("unexpected argument '%1'").arg(argument));
    }
    QString const fault = syntax.findFault ? syntax.findFault() : QString();
    return fault.isEmpty() ? CommandLine() : refuse(fault);
}

TakeValue takeText(QString& value)
{
    return [&value](QString const& text) {
        value = text;
        return !text.isEmpty();
    };
}
