#include <algorithm>
#include <cstdio>
#include <memory>

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include "framestatistics.h"
#include "imagepump.h"
#include "options.h"
#include "report.h"
#include "streamobserver.h"
#include "terminationsignals.h"
#include "viewerwindow.h"

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;

void say(char const* what, QString const& stream)
{
    std::printf("live-viewer: %s stream '%s'\n", what, qPrintable(stream));
    std::fflush(stdout);
}

/** @return whether there was nothing to write, or it is written */
bool writeOutput(char const* what, QString const& file, QByteArray const& data)
{
    QString const error = file.isEmpty() ? QString() : writeFile(file, data);
    if (!error.isEmpty()) {
        std::fprintf(stderr, "live-viewer: can't write the %s to %s: %s\n", what, qPrintable(file),
            qPrintable(error));
    }
    return error.isEmpty();
}

int show(Options const& options)
{
    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, qApp, &QApplication::quit);
    if (options.seconds > 0)
        QTimer::singleShot(
            qRound(options.seconds * 1000), Qt::PreciseTimer, qApp, &QApplication::quit);

    FrameStatistics statistics(wallClock());
    auto const source = QSharedPointer<MediaSource>::create(options.stream);
    StreamObserver observer(source, statistics);
    ImagePump pump(source, options.rateNum, options.rateDen);
    ViewerWindow window(options.stream, statistics);

    Report report;
    report.streamName = options.stream;
    QObject::connect(&observer, &StreamObserver::stateChanged, &window,
        [&report](StreamState const& state) { report.stream = state; });
    QObject::connect(&observer, &StreamObserver::stateChanged, &window, &ViewerWindow::setState);
    QObject::connect(&pump, &ImagePump::imageReady, &window, &ViewerWindow::showImage);
    QObject::connect(&window, &ViewerWindow::imageSizeWanted, &pump, &ImagePump::setImageSize);
    if (options.verbose) {
        QObject::connect(
            &window, &ViewerWindow::showing, qApp, [&] { say("showing", options.stream); });
        QObject::connect(
            &window, &ViewerWindow::waiting, qApp, [&] { say("waiting for", options.stream); });
    }

    QElapsedTimer runTime;
    runTime.start();
    window.show();
    observer.start();
    pump.start();
    QApplication::exec();
    pump.stop();
    observer.stop();

    report.seconds = runTime.elapsed() / 1000.0;
    report.frames = statistics.figures();
    report.skippedTicks = pump.skippedTicks();
    bool ok = options.screenshot.isEmpty() ||
              writeOutput("screenshot", options.screenshot, toPng(window.grab().toImage()));
    ok = writeOutput("report", options.report, report.toJson()) && ok;
    return ok ? 0 : ExitFailed;
}

std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv)
{
    // Help has to be there without a display, too.
    bool const textOnly = std::any_of(argv + 1, argv + argc, [](char const* argument) {
        QLatin1String const text(argument);
        return text == QLatin1String("-h") || text == QLatin1String("--help") ||
               text == QLatin1String("-v") || text == QLatin1String("--version");
    });
    if (textOnly)
        return std::make_unique<QCoreApplication>(argc, argv);
    return std::make_unique<QApplication>(argc, argv);
}

} // namespace

int main(int argc, char* argv[])
{
    auto const application = makeApplication(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(LIVE_VIEWER_VERSION));
    CommandLine const line = parseCommandLine(QCoreApplication::arguments());
    switch (line.action) {
    case CommandLine::Action::Show:
        return show(line.options);
    case CommandLine::Action::Print:
        std::fputs(qPrintable(line.text), stdout);
        return 0;
    case CommandLine::Action::Refuse:
        break;
    }
    std::fprintf(stderr, "live-viewer: %s; see live-viewer --help\n", qPrintable(line.text));
    return ExitUsage;
}
