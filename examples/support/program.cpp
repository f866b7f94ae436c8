#include "program.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <iterator>
#include <memory>

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTimer>

#include "application/qvorlinapplication.h"

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;

std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv)
{
    // Help has to be there without a display, too.
    bool const textOnly = std::any_of(argv + 1, argv + argc, [](char const* argument) {
        QLatin1String const text(argument);
        return text == QLatin1String("-h") || text == QLatin1String("--help") ||
               text == QLatin1String("--version");
    });
    if (textOnly)
        return std::make_unique<QCoreApplication>(argc, argv);
    return std::make_unique<QVorlinApplication>(argc, argv);
}

QStringList argumentList(int argc, char** argv)
{
    QStringList list;
    std::transform(argv, argv + argc, std::back_inserter(list),
        [](char const* text) { return QString::fromLocal8Bit(text); });
    return list;
}

QByteArray toPng(QImage const& image)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

/** @return what went wrong, nothing when all is written */
QString writeFile(QString const& name, QByteArray const& data)
{
    if (data.isEmpty())
        return QStringLiteral("nothing was painted");
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.flush())
        return file.errorString();
    return {};
}

/** @return whether there was nothing to write, or it is written */
bool writeOutput(char const* program, char const* what, QString const& file, QByteArray const& data)
{
    QString const error = file.isEmpty() ? QString() : writeFile(file, data);
    if (!error.isEmpty()) {
        std::fprintf(stderr, "%s: can't write the %s to %s: %s\n", program, what, qPrintable(file),
            qPrintable(error));
    }
    return error.isEmpty();
}

} // namespace

int runProgram(CommandLineSyntax const& syntax, int argc, char** argv,
    std::function<int()> const& run, std::function<bool()> const& prepare)
{
    // As the application object does it; texts that are converted sooner would be so in the wrong
    // locale, and all later ones as well.
    std::setlocale(LC_ALL, "");
    if (prepare && previewCommandLine(syntax, argumentList(argc, argv)) && !prepare())
        return ExitFailed;
    auto const application = makeApplication(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(QVORLIN_EXAMPLES_VERSION));
    QCoreApplication::setApplicationName(QString::fromLatin1(syntax.program));
    CommandLine const line = parseCommandLine(syntax, QCoreApplication::arguments());
    switch (line.action) {
    case CommandLine::Action::Run:
        QVorlinApplication::openLog();
        return run();
    case CommandLine::Action::Print:
        std::fputs(qPrintable(line.text), stdout);
        return 0;
    case CommandLine::Action::Refuse:
        break;
    }
    std::fprintf(
        stderr, "%s: %s; see %s --help\n", syntax.program, qPrintable(line.text), syntax.program);
    return ExitUsage;
}

double runEventLoop(RunOptions const& options)
{
    if (options.seconds > 0) {
        QTimer::singleShot(
            qRound(options.seconds * 1000), Qt::PreciseTimer, qApp, &QApplication::quit);
    }
    auto const* application = static_cast<QVorlinApplication*>(qApp);
    for (auto const end : {&QVorlinApplication::signalTERM, &QVorlinApplication::signalINT})
        QObject::connect(application, end, application, &QCoreApplication::quit);
    QElapsedTimer runTime;
    runTime.start();
    QApplication::exec();
    return runTime.elapsed() / 1000.0;
}

int writeOutputs(char const* program, RunOptions const& options, QImage const& picture,
    QJsonObject const& report)
{
    bool const pictureWritten =
        options.screenshot.isEmpty() ||
        writeOutput(program, "screenshot", options.screenshot, toPng(picture));
    bool const reportWritten =
        writeOutput(program, "report", options.report, QJsonDocument(report).toJson());
    return pictureWritten && reportWritten ? 0 : ExitFailed;
}
