#include "program.h"

#include "support/clocks.h"
#include "support/report.h"

#include <string>
#include <vector>

#include <QCoreApplication>
#include <QThread>

namespace {

constexpr int rounds = 3;
constexpr int usualSeconds = 10; // for each measurement
constexpr int settleSeconds = 4;

struct Contestant
{
    std::string name;
    QStringList arguments;
    std::vector<double> share = {}; // of one processor, one value for each round
};

// @return whether the viewer lived
bool run(Contestant& contestant, const QString& stream, int seconds)
{
    Program viewer(QStringLiteral("live-viewer"),
        QStringList{QStringLiteral("--stream"), stream} + contestant.arguments);
    QThread::sleep(settleSeconds);
    const double began = monotonicTime();
    const double processBegan = processorTime(viewer.pid());
    QThread::sleep(unsigned(seconds));
    const double used = processorTime(viewer.pid()) - processBegan;
    contestant.share.push_back(used / (monotonicTime() - began));
    return viewer.end();
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const QCoreApplication app(argc, argv);
    const int seconds = secondsToMeasure(usualSeconds);
    const QString stream = QStringLiteral("viewer-%1").arg(app.applicationPid());
    const Program publisher(QStringLiteral("shm-publish"),
        {QStringLiteral("--name"), stream, QStringLiteral("--size"), QStringLiteral("1920x1080"),
            QStringLiteral("--rate"), QStringLiteral("30")});

    const QString silent = QStringLiteral("--no-audio");
    const QStringList image = {QStringLiteral("--renderer"), QStringLiteral("image")};
    Contestant contestants[] = {
        {"gl, picture alone: CPU/s", {silent}},
        {"gl, with sound: CPU/s", {}},
        {"image, picture alone: CPU/s", image + QStringList{silent}},
        {"image, with sound: CPU/s", image},
    };
    // By turns, so that a noisy moment of the machine doesn't fall on one of them alone.
    for (int i = 0; i < rounds; ++i) {
        for (Contestant& contestant : contestants) {
            if (!run(contestant, stream, seconds) || !publisher.isRunning())
                report.fail(contestant.name, "a program has ended early");
        }
    }
    for (const Contestant& contestant : contestants)
        report.add(contestant.name, Report::Unit::Seconds, contestant.share);
    return report.finish({
        {"gl, with sound: CPU/s", "gl, picture alone: CPU/s", ""},
        {"image, with sound: CPU/s", "image, picture alone: CPU/s", ""},
    });
}
