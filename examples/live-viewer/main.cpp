#include <cstdio>
#include <memory>

#include <QGuiApplication>
#include <QScreen>

#include "application/qvorlinapplication.h"
#include "framelog.h"
#include "options.h"
#include "outputselection.h"
#include "outputwatcher.h"
#include "program.h"
#include "viewer.h"

namespace {

void say(char const* what, QString const& stream)
{
    std::printf("live-viewer: %s stream '%s'\n", what, qPrintable(stream));
    std::fflush(stdout);
}

int show(Options const& options)
{
    auto const viewer = Viewer::make(options);
    if (options.verbose) {
        QObject::connect(
            viewer.get(), &Viewer::showing, [&options] { say("showing", options.stream); });
        QObject::connect(
            viewer.get(), &Viewer::waiting, [&options] { say("waiting for", options.stream); });
    }
    FrameLog frameLog(options.frameLog);
    QObject::connect(viewer.get(), &Viewer::framePainted, viewer.get(),
        [&frameLog](qint64 timestamp, qint64 now) { frameLog.write(timestamp, now); });
    viewer->heed(*static_cast<QVorlinApplication*>(qApp), options.inactivity);
    viewer->start();
    std::unique_ptr<OutputWatcher> watcher;
    if (options.kiosk)
        watcher = std::make_unique<OutputWatcher>(QGuiApplication::primaryScreen()->name());
    double const seconds = runEventLoop(options);

    // With the meters, which go with the sound.
    QImage const picture = options.screenshot.isEmpty() ? QImage() : viewer->picture();
    viewer->stop();
    QJsonObject report = viewer->report().toJson();
    report[QStringLiteral("audio")] = viewer->audioReport();
    report[QStringLiteral("seconds")] = rounded(seconds);
    QString const renderer = viewer->renderer();
    report[QStringLiteral("renderer")] = renderer.isNull() ? QJsonValue() : QJsonValue(renderer);
    int const status = writeOutputs("live-viewer", options, picture, report);
    return frameLog.finish("live-viewer") ? status : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    Options options;
    return runProgram(
        commandLineSyntax(options), argc, argv, [&options] { return show(options); },
        [&options] { return selectOutput(options); });
}
