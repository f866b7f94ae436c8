// Shows four colours and an overlay on the output that it is told to choose:
//
//     kms-scene OUTPUT MODE adapt|as-is
//
// Tells what it finds, a fact a line; again for every line of its input; ends with that.

#include <cstdio>
#include <iostream>
#include <string>

#include <QApplication>
#include <QPainter>
#include <QScreen>
#include <QSocketNotifier>

#include "extdisplay/extdisplay.h"
#include "extdisplay/stockplugin.h"
#include "kmscolours.h"
#include "renderlib/customsubwidget.h"
#include "renderlib/customvideowidget.h"

namespace {

class Corner : public renderlib::CustomSubWidget
{
public:
    explicit Corner(renderlib::CustomVideoWidget* videoWidget)
        : CustomSubWidget(videoWidget)
    {
        setGeometry(kms::overlayArea);
    }

    void paint(QPainter* painter) override { painter->fillRect(rect(), kms::overlayColour); }
};

QVideoFrame makeFrame()
{
    QImage picture(2, 2, QImage::Format_RGB32);
    for (int i = 0; i < 4; ++i)
        picture.setPixelColor(i % 2, i / 2, kms::quarterColours[i]);
    return QVideoFrame(picture.scaled(64, 64));
}

void tellState()
{
    extdisplay::VideoMode const mode = extdisplay::getCurrentOutputVideoMode();
    QStringList screens;
    for (QScreen const* screen : QGuiApplication::screens())
        screens << screen->name();
    std::printf("connected %d\n", int(extdisplay::isCurrentOutputConnected()));
    std::printf("mode %dx%d %g\n", mode.resolution.width(), mode.resolution.height(),
        double(mode.refreshRate));
    std::printf("screens %s\n", qPrintable(screens.join(QLatin1Char(' '))));
    std::printf("told\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 4)
        return 2;
    extdisplay::OutputInfo const output = extdisplay::setEGLFSKMSOutput(
        QString::fromLatin1(argv[1]), QString::fromLatin1(argv[2]), QSize(), true);
    bool const adapted = argv[3] == std::string("adapt") && extdisplay::adaptConfigForStockPlugin();
    std::printf("selected %s\nadapted %d\n", qPrintable(output.output), int(adapted));

    QApplication app(argc, argv);
    renderlib::CustomVideoWidget widget;
    Corner corner(&widget);
    widget.setAspectRatioMode(Qt::IgnoreAspectRatio);
    widget.showFullScreen();
    widget.updateFrame(makeFrame());
    tellState();

    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, [] {
        std::string line;
        if (std::getline(std::cin, line))
            tellState();
        else
            QCoreApplication::quit();
    });
    return QApplication::exec();
}
