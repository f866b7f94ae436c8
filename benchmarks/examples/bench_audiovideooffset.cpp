#include "monitorrecorder.h"
#include "program.h"

#include "support/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QThread>

namespace {

constexpr int usualSeconds = 300;
constexpr int settleSeconds = 8; // until the picture has been moved to the sound
constexpr double second = 1e6;   // µs
constexpr int frameRate = 30;
constexpr int frameCount = 16;    // more than half a second, so that the picture can be held back
constexpr int clickLevel = 12000; // the tone stays far below
constexpr char sink[] = "qvorlin_null.monitor";

/** A new frame that was shown; µs of the wall clock. */
struct Shown
{
    int64_t timestamp;
    int64_t painted;
};

std::vector<Shown> readFrameLog(const QString& name)
{
    std::vector<Shown> frames;
    QFile file(name);
    file.open(QIODevice::ReadOnly);
    while (!file.atEnd()) {
        const QList<QByteArray> line = file.readLine().trimmed().split(' ');
        if (line.size() == 2)
            frames.push_back({line[0].toLongLong(), line[1].toLongLong()});
    }
    return frames;
}

/** When the clicks were heard; each lies on a full second of the stream. */
std::vector<int64_t> findClicks(const Recording& recording)
{
    constexpr int64_t silence = Recording::rate / 2;
    std::vector<int64_t> times;
    int64_t last = -silence;
    for (int64_t i = 0; i < int64_t(recording.samples.size()); ++i) {
        if (std::abs(int(recording.samples[size_t(i)])) < clickLevel)
            continue;
        if (i - last >= silence)
            times.push_back(recording.timeOf(i));
        last = i;
    }
    return times;
}

/** One click and the flash that belongs to it. */
struct Pair
{
    double time;   // s
    double offset; // s that the picture came before the sound
};

/** @param clicks are heard less than a second behind the stream */
std::vector<Pair> pair(
    const std::vector<Shown>& frames, const std::vector<int64_t>& clicks, int64_t from)
{
    std::vector<Pair> pairs;
    for (const int64_t click : clicks) {
        const auto full = int64_t(std::floor(double(click) / second) * second);
        const auto flash = std::find_if(frames.begin(), frames.end(),
            [full](const Shown& frame) { return frame.timestamp >= full; });
        // A flash that was missed says nothing.
        const bool isFlash =
            flash != frames.end() && double(flash->timestamp - full) < second / frameRate;
        if (click >= from && isFlash)
            pairs.push_back(
                {double(click - from) / second, double(click - flash->painted) / second});
    }
    return pairs;
}

/** Seconds a second, by the straight line that fits best. */
double drift(const std::vector<Pair>& pairs)
{
    const auto count = double(pairs.size());
    double time = 0, offset = 0, product = 0, square = 0;
    for (const Pair& pair : pairs) {
        time += pair.time / count;
        offset += pair.offset / count;
    }
    for (const Pair& pair : pairs) {
        product += (pair.time - time) * (pair.offset - offset);
        square += (pair.time - time) * (pair.time - time);
    }
    return square > 0 ? product / square : 0;
}

void addOwnView(Report& report, const QString& file)
{
    QFile json(file);
    json.open(QIODevice::ReadOnly);
    const QJsonObject audio =
        QJsonDocument::fromJson(json.readAll())[QLatin1String("audio")].toObject();
    const QJsonObject offset = audio[QLatin1String("audioVideoOffsetMs")].toObject();
    report.add("as the viewer sees it: p50", Report::Unit::Seconds,
        {offset[QLatin1String("p50")].toDouble() / 1000});
    report.add("re-anchors", Report::Unit::Count, {audio[QLatin1String("reanchors")].toDouble()});
    report.add("underruns", Report::Unit::Count, {audio[QLatin1String("underruns")].toDouble()});
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const QCoreApplication app(argc, argv);
    const int seconds = secondsToMeasure(usualSeconds);
    const QTemporaryDir folder;
    const QString stream = QStringLiteral("offset-%1").arg(app.applicationPid());
    const QString log = folder.filePath(QStringLiteral("frames"));
    const QString figures = folder.filePath(QStringLiteral("report"));

    const MonitorRecorder recorder(sink);
    const Program publisher(QStringLiteral("shm-publish"),
        {QStringLiteral("--name"), stream, QStringLiteral("--size"), QStringLiteral("1280x720"),
            QStringLiteral("--rate"), QString::number(frameRate), QStringLiteral("--frames"),
            QString::number(frameCount)});
    Program viewer(QStringLiteral("live-viewer"),
        {QStringLiteral("--stream"), stream, QStringLiteral("--frame-log"), log,
            QStringLiteral("--report"), figures});
    QThread::sleep(unsigned(seconds + settleSeconds));
    if (!recorder.problem().empty())
        report.fail("recording", recorder.problem());
    if (!publisher.isRunning() || !viewer.end())
        report.fail("programs", "one of them has ended early");

    const std::vector<Shown> frames = readFrameLog(log);
    const int64_t from =
        frames.empty() ? 0 : frames.front().painted + settleSeconds * int64_t(second);
    const std::vector<Pair> pairs = pair(frames, findClicks(recorder.recording()), from);
    if (pairs.size() < size_t(seconds) / 2)
        report.fail("flashes", std::to_string(pairs.size()) + " of " + std::to_string(seconds) +
                                   " were shown with a click");
    std::vector<double> offsets;
    std::vector<double> distances;
    for (const Pair& pair : pairs) {
        if (qEnvironmentVariableIsSet("QVORLIN_BENCH_VERBOSE"))
            std::printf("%7.2f s  %+6.1f ms\n", pair.time, pair.offset * 1000);
        offsets.push_back(pair.offset);
        distances.push_back(std::abs(pair.offset));
    }
    const double minutes = 60;
    const std::vector<double> interval = {1.0 / frameRate};
    using Unit = Report::Unit;
    report.add("frame interval", Unit::Seconds, interval);
    report.add("picture before sound: p50", Unit::Seconds, {percentile(offsets, 0.5)});
    report.add("picture before sound: least", Unit::Seconds, {percentile(offsets, 0)});
    report.add("picture before sound: most", Unit::Seconds, {percentile(offsets, 1)});
    report.add("distance: p95", Unit::Seconds, {percentile(distances, 0.95)});
    report.add("flashes within a frame interval", Unit::Count,
        {double(std::count_if(distances.begin(), distances.end(),
            [](double distance) { return distance <= 1.0 / frameRate; }))});
    report.add("drift a minute", Unit::Seconds, {drift(pairs) * minutes});
    report.add("flashes with a click", Unit::Count, {double(pairs.size())});
    report.add("seconds", Unit::Count, {double(seconds)});
    addOwnView(report, figures);
    return report.finish({
        {"picture before sound: p50", "frame interval", "within 1"},
        {"picture before sound: least", "frame interval", "within 1"},
        {"picture before sound: most", "frame interval", "within 1"},
        {"distance: p95", "frame interval", "at most 1"},
        {"flashes within a frame interval", "flashes with a click", "ratio 1"},
        {"drift a minute", "frame interval", ""},
        {"as the viewer sees it: p50", "picture before sound: p50", ""},
        {"flashes with a click", "seconds", ""},
        {"re-anchors", "seconds", ""},
        {"underruns", "seconds", ""},
    });
}
