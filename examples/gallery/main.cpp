#include <cstdio>

#include <QGuiApplication>
#include <QSurfaceFormat>

#include "galleryoptions.h"
#include "gallerywindow.h"
#include "program.h"
#include "streamreport.h"

namespace {

constexpr char Program[] = "gallery";

int show(GalleryOptions const& options)
{
    if (QGuiApplication::platformName().startsWith(QLatin1String("eglfs"))) {
        std::fprintf(stderr,
            "%s: needs a window system; here there is room for one OpenGL window\n", Program);
        return 1;
    }
    GalleryWindow window(options);
    window.show();
    window.start();
    double const seconds = runEventLoop(options);
    QImage const picture = options.screenshot.isEmpty() ? QImage() : window.picture();
    window.stop();
    QJsonObject report = window.report();
    report[QStringLiteral("seconds")] = rounded(seconds);
    return writeOutputs(Program, options, picture, report);
}

} // namespace

int main(int argc, char* argv[])
{
    // The video has a window of its own; were both to wait for the screen, each would be painted
    // half as often. The stream sets the pace anyway.
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setSwapInterval(0);
    QSurfaceFormat::setDefaultFormat(format);

    GalleryOptions options;
    return runProgram(commandLineSyntax(options), argc, argv, [&options] { return show(options); });
}
