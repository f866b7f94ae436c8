#include "commandline.h"

#include <optional>

#include <QCommandLineParser>
#include <QCoreApplication>

namespace {

QString const Help = QStringLiteral("help");
QString const Version = QStringLiteral("version");

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

void declareOptions(QCommandLineParser& parser, CommandLineSyntax const& syntax)
{
    parser.setApplicationDescription(QString::fromLatin1(syntax.description));
    parser.addHelpOption();
    // Without the usual short form, which stands for the log's level.
    parser.addOption({Version, QStringLiteral("Displays version information.")});
    parser.addOptions(logOptions());
    for (CommandLineOption const& option : syntax.options) {
        QString const valueName = QString::fromLatin1(option.valueName);
        parser.addOption(QCommandLineOption(
            QString::fromLatin1(option.name), QString::fromLatin1(option.help), valueName));
    }
}

/** @return what is wrong with a value; empty: nothing */
QString takeOptions(QCommandLineParser const& parser, CommandLineSyntax const& syntax)
{
    for (CommandLineOption const& option : syntax.options) {
        QString const name = QString::fromLatin1(option.name);
        if (!parser.isSet(name))
            continue;
        if (std::optional<QString> const bad = takeValues(parser, option)) {
            return QStringLiteral("bad value '%1' for --%2 %3")
                .arg(*bad, name, QString::fromLatin1(option.valueName));
        }
    }
    return {};
}

QString findFault(CommandLineSyntax const& syntax)
{
    return syntax.findFault ? syntax.findFault() : QString();
}

} // namespace

CommandLine parseCommandLine(CommandLineSyntax const& syntax, QStringList const& arguments)
{
    QCommandLineParser parser;
    declareOptions(parser, syntax);
    if (!parser.parse(arguments))
        return refuse(parser.errorText());
    if (parser.isSet(Help))
        return print(parser.helpText());
    if (parser.isSet(Version)) {
        return print(QStringLiteral("%1 %2\n").arg(
            QLatin1String(syntax.program), QCoreApplication::applicationVersion()));
    }
    QString fault = takeOptions(parser, syntax);
    if (!fault.isEmpty())
        return refuse(fault);
    for (QString const& argument : parser.positionalArguments()) {
        if (!syntax.takeArgument || !syntax.takeArgument(argument))
            return refuse(QStringLiteral("unexpected argument '%1'").arg(argument));
    }
    fault = findFault(syntax);
    return fault.isEmpty() ? CommandLine() : refuse(fault);
}

bool previewCommandLine(CommandLineSyntax const& syntax, QStringList const& arguments)
{
    QCommandLineParser parser;
    // Qt's options are words after a single dash; none of their letters is an option.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    declareOptions(parser, syntax);
    parser.parse(arguments);
    return !parser.isSet(Help) && !parser.isSet(Version) && takeOptions(parser, syntax).isEmpty() &&
           findFault(syntax).isEmpty();
}

TakeValue takeText(QString& value)
{
    return [&value](QString const& text) {
        value = text;
        return !text.isEmpty();
    };
}
