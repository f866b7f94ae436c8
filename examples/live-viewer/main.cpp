#include <cstdio>

#include "options.h"
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
    viewer->start();
    double const seconds = runEventLoop(options);
    viewer->stop();

    QImage const picture = options.screenshot.isEmpty() ? QImage() : viewer->picture();
    QJsonObject report = viewer->report().toJson();
    report[QStringLiteral("seconds")] = rounded(seconds);
    QString const renderer = viewer->renderer();
    report[QStringLiteral("renderer")] = renderer.isNull() ? QJsonValue() : QJsonValue(renderer);
    return writeOutputs("live-viewer", options, picture, report);
}

} // namespace

int main(int argc, char* argv[])
{
    Options options;
    return runProgram(commandLineSyntax(options), argc, argv, [&options] { return show(options); });
}
