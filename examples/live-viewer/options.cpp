#include "options.h"

#include <cmath>

#include <QCommandLineParser>
#include <QCoreApplication>

namespace {

// What fits into a timer.
constexpr double MaxSeconds = 2e6;
constexpr double MaxRate = 1000;
constexpr int RateDecimals = 1000;

struct Option
{
    char const* name;
    char const* valueName; /**< null: takes no value */
    char const* help;
    bool (*apply)(QString const& value, Options& options);
};

bool parseSeconds(QString const& text, Options& options)
{
    bool ok = false;
    options.seconds = text.toDouble(&ok);
    return ok && options.seconds > 0 && options.seconds <= MaxSeconds;
}

bool parseRate(QString const& text, Options& options)
{
    bool ok = false;
    int const slash = text.indexOf(QLatin1Char('/'));
    if (slash >= 0) {
        bool denOk = false;
        options.rateNum = text.leftRef(slash).toInt(&ok);
        options.rateDen = text.midRef(slash + 1).toInt(&denOk);
        ok = ok && denOk;
    } else {
        double const rate = text.toDouble(&ok);
        if (!ok || !(rate > 0 && rate <= MaxRate))
            return false;
        bool const whole = rate == std::floor(rate);
        options.rateDen = whole ? 1 : RateDecimals;
        options.rateNum = qRound(rate * options.rateDen);
    }
    return ok && options.rateNum > 0 && options.rateDen > 0 &&
           options.rateNum <= MaxRate * options.rateDen;
}

bool parseText(QString const& text, QString& value)
{
    value = text;
    return !text.isEmpty();
}

constexpr Option Table[] = {
    {"stream", "NAME", "Name of the stream (live).",
        [](QString const& v, Options& o) {
            return parseText(v, o.stream);
        }},
    {"rate", "FPS", "Display rate: 60, 29.97, 30000/1001 (60).", parseRate},
    {"seconds", "N", "End after so long; by default when the window is closed.", parseSeconds},
    {"screenshot", "FILE", "Write the last picture of the window to FILE (PNG).",
        [](QString const& v, Options& o) {
            return parseText(v, o.screenshot);
        }},
    {"report", "FILE", "Write the figures of the run to FILE (JSON).",
        [](QString const& v, Options& o) {
            return parseText(v, o.report);
        }},
    {"verbose", nullptr, "Tell when the stream is shown and when it is waited for.",
        [](QString const&, Options& o) {
            return o.verbose = true;
        }},
};

CommandLine print(QString const& text)
{
    return {CommandLine::Action::Print, {}, text};
}

CommandLine refuse(QString const& reason)
{
    return {CommandLine::Action::Refuse, {}, reason};
}

} // namespace

CommandLine parseCommandLine(QStringList const& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows a live video stream from shared memory."));
    QCommandLineOption const help = parser.addHelpOption();
    QCommandLineOption const version = parser.addVersionOption();
    for (Option const& option : Table) {
        QString const valueName = QString::fromLatin1(option.valueName);
        parser.addOption(QCommandLineOption(
            QString::fromLatin1(option.name), QString::fromLatin1(option.help), valueName));
    }

    if (!parser.parse(arguments))
        return refuse(parser.errorText());
    if (parser.isSet(help))
        return print(parser.helpText());
    if (parser.isSet(version))
        return print(
            QStringLiteral("live-viewer %1\n").arg(QCoreApplication::applicationVersion()));
    if (!parser.positionalArguments().isEmpty())
        return refuse(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));

    CommandLine line;
    for (Option const& option : Table) {
        QString const name = QString::fromLatin1(option.name);
        if (parser.isSet(name) && !option.apply(parser.value(name), line.options)) {
            return refuse(
                QStringLiteral("bad value '%1' for --%2 %3")
                    .arg(parser.value(name), name, QString::fromLatin1(option.valueName)));
        }
    }
    return line;
}
