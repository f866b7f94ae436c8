#include <QJsonArray>
#include <QSurfaceFormat>

#include "program.h"
#include "walloptions.h"
#include "wallwindow.h"

namespace {

int show(WallOptions const& options)
{
    WallWindow window(options.streams(), options.rateNum, options.rateDen);
    window.show();
    window.start();
    double const seconds = runEventLoop(options);
    window.stop();

    QImage const picture = options.screenshot.isEmpty() ? QImage() : window.picture();
    QJsonArray streams;
    for (StreamReport const& stream : window.report())
        streams.append(stream.toJson());
    QString const renderer = window.renderer();
    return writeOutputs("video-wall", options, picture,
        {
            {QStringLiteral("streams"), streams},
            {QStringLiteral("seconds"), rounded(seconds)},
            {QStringLiteral("renderer"), renderer.isNull() ? QJsonValue() : QJsonValue(renderer)},
        });
}

} // namespace

int main(int argc, char* argv[])
{
    // The widgets swap their buffers one after the other; were each to wait for the screen, the
    // more there are the less often each would be painted. The streams set the pace anyway.
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setSwapInterval(0);
    QSurfaceFormat::setDefaultFormat(format);

    WallOptions options;
    return runProgram(commandLineSyntax(options), argc, argv, [&options] { return show(options); });
}
