#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include <QDateTime>
#include <QProcess>
#include <QTest>

#include "messagecheck.h"
#include "soundanalysis.h"
#include "soundrecorder.h"

using namespace soundanalysis;

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr int Rate = SoundRecording::Rate;
constexpr qint64 TimeBaseError = 20000;

std::vector<qint16> sine(double amplitude, double frequency, double phase, int count)
{
    std::vector<qint16> samples(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        samples[static_cast<size_t>(i)] = static_cast<qint16>(
            std::lround(amplitude * std::sin(2 * Pi * frequency * i / Rate + phase)));
    }
    return samples;
}

bool isNear(double value, double expected, double tolerance)
{
    bool const near = std::abs(value - expected) <= tolerance;
    if (!near)
        qCritical("%f is not %f", value, expected);
    return near;
}

qint64 wallClock()
{
    return QDateTime::currentMSecsSinceEpoch() * 1000;
}

/** Plays clicks, and tells how much later than given the least late is heard, µs. */
std::optional<qint64> leastLateness(SoundRecorder const& recorder)
{
    constexpr int blockFrames = Rate / 100;
    QProcess player;
    player.setProcessChannelMode(QProcess::ForwardedChannels);
    player.start(QStringLiteral("pacat"),
        {QStringLiteral("--playback"), QStringLiteral("-d"), QStringLiteral("qvorlin_null"),
            QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
            QStringLiteral("--rate=%1").arg(Rate), QStringLiteral("--channels=2"),
            QStringLiteral("--latency-msec=5")});
    qint64 const before = wallClock();
    std::vector<qint64> times;
    QTest::qWait(300);
    qint64 const begin = wallClock();
    for (int block = 0; block < 100; ++block) {
        // Without a pause in between, or it would have to begin again.
        while (wallClock() < begin + qint64{block} * 10000)
            QThread::usleep(500);
        std::vector<qint16> samples(size_t{blockFrames} * 2);
        if (block % 20 == 10) {
            std::fill(samples.begin(), samples.begin() + blockFrames / 5, qint16{20000});
            times.push_back(wallClock());
        }
        player.write(reinterpret_cast<char const*>(samples.data()),
            qint64{blockFrames} * 2 * qint64{sizeof(qint16)});
        if (!player.waitForBytesWritten())
            return {};
    }
    QTest::qWait(300);
    SoundRecording const recording = recorder.recording();
    player.kill();
    player.waitForFinished();

    int const first = recording.indexAt(before);
    std::vector<int> const clicks =
        findClicks(Part(recording.left(), first, recording.size()), 10000, Rate);
    if (clicks.size() != times.size())
        return {};
    qint64 least = std::numeric_limits<qint64>::max();
    for (size_t i = 0; i < clicks.size(); ++i)
        least = std::min(least, recording.timeOf(first + clicks[i]) - times[i]);
    return least;
}

} // namespace

class SoundRecorderTest : public QObject
{
    Q_OBJECT

private slots:
    void fitTone_findsLevelAndPhase();
    void fitTone_tellsWhatIsNotTheTone();
    void toneFrequency_isExact();
    void part_isKeptWithinTheChannel();
    void clicks_areFoundOnceEach();
    void breaks_areFoundWhereToneIsBroken_data();
    void breaks_areFoundWhereToneIsBroken();
    void recording_tellsTimesByTheLeastDelay();
    void recorderOfUnknownSource_hearsNothing();
    void clicksPlayed_areHeardAtTheirTime();
};

void SoundRecorderTest::fitTone_findsLevelAndPhase()
{
    Tone const tone = fitTone(sine(2000, 440.3, 1.25, 10000), 440.3, Rate);
    QVERIFY(isNear(tone.amplitude, 2000, 0.1));
    QVERIFY(isNear(tone.phase, 1.25, 1e-4));
    QVERIFY(isNear(tone.rest, 0.29, 0.02)); // of rounding to whole numbers
}

void SoundRecorderTest::fitTone_tellsWhatIsNotTheTone()
{
    std::vector<qint16> samples = sine(2000, 440, 0, Rate);
    std::vector<qint16> const other = sine(1000, 660, 0, Rate);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<qint16>(samples[i] + other[i]);
    Tone const tone = fitTone(samples, 440, Rate);
    QVERIFY(isNear(tone.amplitude, 2000, 0.1));
    QVERIFY(isNear(tone.rest, 1000 / std::sqrt(2.0), 1));
    QVERIFY(isNear(fitTone(std::vector<qint16>(1000), 440, Rate).amplitude, 0, 0));
    QVERIFY(isNear(fitTone(Part(), 440, Rate).amplitude, 0, 0));
}

void SoundRecorderTest::toneFrequency_isExact()
{
    std::vector<qint16> const samples = sine(2000, 440.3, 1.25, Rate);
    QVERIFY(isNear(toneFrequency(samples, 440, Rate), 440.3, 0.001));
    QVERIFY(isNear(toneFrequency(samples, 441, Rate), 440.3, 0.001));
}

void SoundRecorderTest::part_isKeptWithinTheChannel()
{
    std::vector<qint16> const channel{1, 2, 3, 4};
    QCOMPARE(Part(channel).count, 4);
    QCOMPARE(*Part(channel, 1, 3).samples, qint16{2});
    QCOMPARE(Part(channel, 1, 3).count, 2);
    QCOMPARE(Part(channel, -5, 2).count, 2);
    QCOMPARE(Part(channel, 2, 9).count, 2);
    QCOMPARE(Part(channel, 3, 1).count, 0);
    QCOMPARE(peak(std::vector<qint16>{1, -32768, 3}), 32768);
    QCOMPARE(peak(Part()), 0);
}

void SoundRecorderTest::clicks_areFoundOnceEach()
{
    std::vector<qint16> samples = sine(2000, 440, 0, 20000);
    for (size_t const start : {size_t{0}, size_t{5000}, size_t{19900}}) {
        for (size_t i = 0; i < 100; ++i)
            samples[start + i] = static_cast<qint16>(i % 2 == 0 ? 20000 : -20000);
    }
    QCOMPARE(findClicks(samples, 10000, Rate), (std::vector<int>{0, 5000, 19900}));
    QCOMPARE(findClicks(samples, 30000, Rate), std::vector<int>());
}

void SoundRecorderTest::breaks_areFoundWhereToneIsBroken_data()
{
    QTest::addColumn<int>("removed");
    QTest::addColumn<int>("silenced");
    QTest::addColumn<int>("count");

    QTest::newRow("whole") << 0 << 0 << 0;
    QTest::newRow("a sample lost") << 1 << 0 << 1;
    QTest::newRow("many lost") << 1000 << 0 << 1;
    QTest::newRow("short silence") << 0 << 10 << 1;
    QTest::newRow("long silence") << 0 << 1000 << 2;
}

void SoundRecorderTest::breaks_areFoundWhereToneIsBroken()
{
    QFETCH(int, removed);
    QFETCH(int, silenced);
    QFETCH(int, count);
    std::vector<qint16> samples = sine(8000, 1000, 0, Rate);
    auto const place = samples.begin() + 24005;
    std::fill(place, place + silenced, qint16{0});
    samples.erase(place, place + removed);

    std::vector<int> const breaks = findBreaks(samples, 1000, 8, Rate);

    QCOMPARE(static_cast<int>(breaks.size()), count);
    QVERIFY(breaks.empty() || isNear(breaks.front(), 24005, 2));
}

void SoundRecorderTest::recording_tellsTimesByTheLeastDelay()
{
    SoundRecording recording;
    std::vector<qint16> const block(960); // 10 ms
    // The third comes with the least delay: its end is 30 ms after the beginning.
    qint64 const start = 1700000000000000;
    for (qint64 const delay : {3000, 9000, 1000, 5000}) {
        qint64 const end = start + (recording.size() + 480) * qint64{1000000} / Rate;
        recording.append(block, end + delay);
    }
    QCOMPARE(recording.size(), 1920);
    QCOMPARE(recording.timeOf(0), start + 1000);
    QCOMPARE(recording.timeOf(1440), start + 31000);
    QCOMPARE(recording.indexAt(start + 31000), 1440);
    QCOMPARE(recording.indexAt(start - 500000), 0);
    QCOMPARE(recording.indexAt(start + 500000), 1919);
    QCOMPARE(SoundRecording().indexAt(start), 0);
}

void SoundRecorderTest::recorderOfUnknownSource_hearsNothing()
{
    SoundRecorder const recorder(QStringLiteral("no such source"));
    QVERIFY(!recorder.isRecording());
}

/**
 * What holds for the time base: clicks are given, at known times, to a program that plays them with
 * the least latency there is. They may be heard as much later as that program and the sink hold,
 * and earlier by what the sink takes ahead.
 */
void SoundRecorderTest::clicksPlayed_areHeardAtTheirTime()
{
    SoundRecorder const recorder;
    QVERIFY2(recorder.isRecording(), "no sound server");
    // The sink goes on for a while with what it has taken ahead when nobody listened.
    QTest::qWait(2500);

    // What is held up once stays late for the rest of that playback; then it is tried again.
    qint64 late = TimeBaseError;
    for (int i = 0; i < 5 && qAbs(late) >= TimeBaseError; ++i)
        late = leastLateness(recorder).value_or(TimeBaseError);
    QVERIFY2(qAbs(late) < TimeBaseError, qPrintable(QString::number(late)));
}

QVORLIN_TEST_MAIN(QCoreApplication, SoundRecorderTest)
#include "tst_soundrecorder.moc"
