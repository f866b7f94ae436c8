#include "displayserver.h"
#include "videooutput.h"

#include "support/clocks.h"
#include "support/report.h"

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QSurfaceFormat>

namespace {

constexpr int rounds = 5;
constexpr int warmUp = 3;        // frames
constexpr double pacedRate = 30; // frames a second
constexpr double duration = 0.4; // s
constexpr int greyTolerance = 9; // less than half of the way to the next picture

enum class Pace
{
    Free,
    Paced
};

struct Contestant
{
    std::string name;
    Pace pace;
    const Pictures* pictures;
    int tiles;
    std::function<std::unique_ptr<VideoOutput>()> open;

    // One value for each round.
    std::vector<double> rate = {};        // frames/s
    std::vector<double> processTime = {}; // processor time per frame, s
    std::vector<double> threadTime = {};  // part of it in the calling thread
    std::vector<double> serverTime = {};  // the same of the X server
};

// What is on the screen now, not what should be.
int shownGrey(const QPoint& point)
{
    const QImage pixel =
        QGuiApplication::primaryScreen()->grabWindow(0, point.x(), point.y(), 1, 1).toImage();
    return qGray(pixel.pixel(0, 0));
}

std::string wrongPicture(const Contestant& contestant, int index)
{
    for (int tile = 0; tile < contestant.tiles; ++tile) {
        const int grey = shownGrey(tileRect(windowSize, tile, contestant.tiles).center());
        const Pictures& pictures = *contestant.pictures;
        const int expected = pictures[size_t(index + tile) % pictures.size()].grey;
        if (std::abs(grey - expected) > greyTolerance)
            return "tile " + std::to_string(tile) + " is of grey " + std::to_string(grey) +
                   " instead of " + std::to_string(expected);
    }
    return {};
}

// @return what went wrong, empty: nothing
std::string runRound(Contestant& contestant, pid_t server)
{
    const std::unique_ptr<VideoOutput> output = contestant.open();
    if (!output)
        return "the window didn't come up";
    int index = 0;
    while (index < warmUp) {
        if (!output->show(index++))
            return "a first picture wasn't painted";
    }

    const bool isPaced = contestant.pace == Pace::Paced;
    const double began = monotonicTime();
    const double processBegan = processorTime();
    const double threadBegan = threadProcessorTime();
    const double serverBegan = processorTime(server);
    const double end = began + duration;
    int frames = 0;
    for (; monotonicTime() < end; ++frames) {
        if (isPaced)
            sleepUntil(began + frames / pacedRate);
        if (!output->show(index++))
            return "a picture wasn't painted";
    }
    contestant.rate.push_back(frames / (monotonicTime() - began));
    contestant.processTime.push_back((processorTime() - processBegan) / frames);
    contestant.threadTime.push_back((threadProcessorTime() - threadBegan) / frames);
    contestant.serverTime.push_back((processorTime(server) - serverBegan) / frames);
    return wrongPicture(contestant, index - 1);
}

const std::string widget = "CustomVideoWidget";
const std::string overlaid = "CustomVideoWidget + 3 overlays";
const std::string qt = "QVideoWidget";
const std::string qtRgb = "QVideoWidget, RGB ahead";
const std::string bare = "bare GL";
const std::string windows = "bare GL, windows";

const std::string fullHd30 = ", 1080p30";
const std::string ultraHd30 = ", 2160p30";

const std::string rate = ": frames/s";
const std::string processTime = ": CPU/frame";
const std::string threadTime = ": GUI thread's CPU/frame";
const std::string serverTime = ": X server's CPU/frame";

constexpr int walls[] = {4, 9, 16};

std::string wall(int tiles)
{
    return ", " + std::to_string(tiles) + " videos";
}

Contestant ofWidgets(
    const std::string& name, Pace pace, const Pictures& pictures, int tiles, int overlays = 0)
{
    return {name, pace, &pictures, tiles, [&pictures, tiles, overlays] {
                return widgetOutput(pictures, tiles, overlays);
            }};
}

Contestant ofBareLoop(const std::string& name, Pace pace, const Pictures& pictures, int tiles)
{
    return {name, pace, &pictures, tiles, [&pictures, tiles] {
                return bareOutput(pictures, tiles);
            }};
}

Contestant ofBareWindows(const std::string& name, const Pictures& pictures, int tiles)
{
    return {name, Pace::Free, &pictures, tiles, [&pictures, tiles] {
                return bareWindows(pictures, tiles);
            }};
}

Contestant ofQt(const std::string& name, Pace pace, const Pictures& pictures, Conversion conversion)
{
    return {name, pace, &pictures, 1, [&pictures, conversion] {
                return qtOutput(pictures, conversion);
            }};
}

std::vector<Contestant> makeContestants(const Pictures& fullHd, const Pictures& ultraHd)
{
    std::vector<Contestant> contestants = {
        ofBareLoop(bare, Pace::Free, fullHd, 1),
        ofWidgets(widget, Pace::Free, fullHd, 1),
        ofQt(qt, Pace::Free, fullHd, Conversion::EachTime),
        ofQt(qtRgb, Pace::Free, fullHd, Conversion::Ahead),
        ofBareLoop(bare + fullHd30, Pace::Paced, fullHd, 1),
        ofWidgets(widget + fullHd30, Pace::Paced, fullHd, 1),
        ofWidgets(overlaid + fullHd30, Pace::Paced, fullHd, 1, 3),
        ofQt(qt + fullHd30, Pace::Paced, fullHd, Conversion::EachTime),
        ofBareLoop(bare + ultraHd30, Pace::Paced, ultraHd, 1),
        ofWidgets(widget + ultraHd30, Pace::Paced, ultraHd, 1),
        ofWidgets(overlaid + ultraHd30, Pace::Paced, ultraHd, 1, 3),
    };
    for (const int tiles : walls) {
        contestants.push_back(ofBareLoop(bare + wall(tiles), Pace::Free, fullHd, tiles));
        contestants.push_back(ofBareWindows(windows + wall(tiles), fullHd, tiles));
        contestants.push_back(ofWidgets(widget + wall(tiles), Pace::Free, fullHd, tiles));
    }
    return contestants;
}

std::vector<Comparison> compareContestants()
{
    std::vector<Comparison> rows = {
        {widget + rate, bare + rate, "ratio at least 0.95"},
        {widget + processTime, bare + processTime, ""},
        {widget + threadTime, bare + threadTime, ""},
        {widget + rate, qt + rate, "ratio at least 1"},
        {widget + processTime, qt + processTime, "ratio at most 1"},
        {widget + serverTime, qt + serverTime, ""},
        {widget + rate, qtRgb + rate, ""},
        {widget + processTime, qtRgb + processTime, ""},
        {bare + rate, qt + rate, ""},
        {bare + processTime, qt + processTime, ""},
        {widget + fullHd30 + processTime, qt + fullHd30 + processTime, ""},
        {widget + fullHd30 + serverTime, qt + fullHd30 + serverTime, ""},
    };
    for (const std::string& stream : {fullHd30, ultraHd30}) {
        const std::string limit = bare + stream;
        rows.push_back({widget + stream + processTime, limit + processTime, ""});
        rows.push_back({overlaid + stream + processTime, limit + processTime, ""});
        rows.push_back({overlaid + stream + processTime, widget + stream + processTime, ""});
    }
    for (const std::string& limit : {bare, windows}) {
        for (const int tiles : walls)
            rows.push_back({widget + wall(tiles) + rate, limit + wall(tiles) + rate, ""});
        for (const int tiles : walls)
            rows.push_back(
                {widget + wall(tiles) + processTime, limit + wall(tiles) + processTime, ""});
    }
    return rows;
}

// Rendering as on the device: OpenGL ES 2. The display's rate holds nobody back.
void setSurfaceFormat()
{
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGLES);
    format.setVersion(2, 0);
    format.setSwapInterval(0);
    QSurfaceFormat::setDefaultFormat(format);
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    setSurfaceFormat();
    const QApplication app(argc, argv);

    const std::string renderer = rendererName();
    if (renderer.empty()) {
        report.fail("OpenGL", "there is no OpenGL ES 2 here");
        return report.finish({});
    }
    std::printf("OpenGL is drawn by %s\n", renderer.c_str());
    benchmark::AddCustomContext("renderer", renderer);

    const pid_t server = displayServer();
    if (server < 0)
        std::printf("the X server isn't on this machine: its processor time isn't measured\n");

    const Pictures fullHd = makePictures({1920, 1080}, 8);
    const Pictures ultraHd = makePictures({3840, 2160}, 4);
    std::vector<Contestant> contestants = makeContestants(fullHd, ultraHd);
    // By turns, so that a noisy moment of the machine doesn't fall on one of them alone.
    for (int i = 0; i < rounds; ++i) {
        for (Contestant& contestant : contestants) {
            const std::string fault = runRound(contestant, server);
            if (!fault.empty())
                report.fail(contestant.name, fault);
        }
    }

    for (const Contestant& contestant : contestants) {
        report.add(contestant.name + rate, Report::Unit::Count, contestant.rate);
        report.add(contestant.name + processTime, Report::Unit::Seconds, contestant.processTime);
        report.add(contestant.name + threadTime, Report::Unit::Seconds, contestant.threadTime);
        if (server >= 0)
            report.add(contestant.name + serverTime, Report::Unit::Seconds, contestant.serverTime);
    }
    return report.finish(compareContestants());
}
