#include "publishprocess.h"
#include "steppedclock.h"
#include "streamcapture.h"

#include <timegrid.h>

#include <messagecheck.h>

#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

namespace {

qint64 wallClock()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * qint64(1000000) + now.tv_nsec / 1000;
}

} // namespace

class TestSourceTest : public QObject
{
    Q_OBJECT

private slots:
    void testSource_hasItsDefaultFormat();
    void testSource_hasTheFormatAskedFor();
    void noAudio_publishesVideoAlone();
    void noVideo_publishesAudioAlone();
    void frames_lieOnTheWallClocksGrid_data();
    void frames_lieOnTheWallClocksGrid();
    void flashAndClick_coincideAtTheFullSecond_data();
    void flashAndClick_coincideAtTheFullSecond();
    void framesAndSound_areOutInTime();
    void fullHd60_takesFarLessThanACore();
    void readersThatHoldEverything_costFramesOnly();
    void suspendedProgram_leavesOutWhatItMissed();
    void wallClockSetBack_beginsTheStreamAnew();
    void wallClockSetForward_isFollowedWithinTheStream();
};

void TestSourceTest::testSource_hasItsDefaultFormat()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QString(), name));
    StreamCapture stream(name);
    QVERIFY(stream.isOpen());
    shm_reader_format_t const format = stream.format();
    QVERIFY(format.valid && format.has_video && format.has_audio);
    QCOMPARE(format.video_width, 1280);
    QCOMPARE(format.video_height, 720);
    QCOMPARE(format.video_frame_count, 8);
    QCOMPARE(format.audio_sample_rate, 48000);
    QCOMPARE(format.audio_channels, 2);
    QVERIFY(stream.pollFrames(2));
    shm_video_status_t status = {};
    QCOMPARE(shm_reader_get_video_status(stream.reader(), &status), 0);
    QCOMPARE(status.frame_interval, int64_t(40000));
}

void TestSourceTest::testSource_hasTheFormatAskedFor()
{
    QString const name = uniqueName("-käse");
    PublishProcess program(arguments(
        QStringLiteral("--size 333x111 --rate 50 --audio-rate 44100 --channels 6 --frames 5"),
        name));
    StreamCapture stream(name);
    QVERIFY(stream.isOpen());
    shm_reader_format_t const format = stream.format();
    QCOMPARE(format.video_width, 333);
    QCOMPARE(format.video_height, 111);
    QCOMPARE(format.video_frame_count, 5);
    QCOMPARE(format.audio_sample_rate, 44100);
    QCOMPARE(format.audio_channels, 6);
}

void TestSourceTest::noAudio_publishesVideoAlone()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--no-audio --size 64x64"), name));
    StreamCapture stream(name);
    QVERIFY(stream.format().has_video && !stream.format().has_audio);
    QVERIFY(stream.pollFrames(3));
}

void TestSourceTest::noVideo_publishesAudioAlone()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--no-video"), name));
    StreamCapture stream(name);
    QVERIFY(!stream.format().has_video && stream.format().has_audio);
    QVERIFY(stream.pollUntil([&] { return stream.samples.size() > 4800; }));
}

void TestSourceTest::frames_lieOnTheWallClocksGrid_data()
{
    QTest::addColumn<QString>("rate");
    QTest::addColumn<int>("num");
    QTest::addColumn<int>("den");
    QTest::newRow("25") << QStringLiteral("25") << 25 << 1;
    QTest::newRow("29.97") << QStringLiteral("29.97") << 30000 << 1001;
    QTest::newRow("60") << QStringLiteral("60") << 60 << 1;
}

void TestSourceTest::frames_lieOnTheWallClocksGrid()
{
    QFETCH(QString, rate);
    QFETCH(int, num);
    QFETCH(int, den);
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --frames 64 --rate ") + rate, name));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(25));
    TimeGrid const grid({num, den});
    for (auto const& frame : stream.frames)
        QCOMPARE(frame.timestamp, qint64(grid.at(grid.nearest(frame.timestamp))));
    QCOMPARE(stream.missedFrames, size_t(0));
}

void TestSourceTest::flashAndClick_coincideAtTheFullSecond_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("interval");
    QTest::newRow("25 fps, 48000 Hz") << QStringLiteral("--rate 25 --audio-rate 48000") << 40000;
    QTest::newRow("29.97 fps, 44100 Hz")
        << QStringLiteral("--rate 29.97 --audio-rate 44100") << 33367;
    QTest::newRow("60 fps, 48000 Hz") << QStringLiteral("--rate 60 --audio-rate 48000") << 16667;
}

void TestSourceTest::flashAndClick_coincideAtTheFullSecond()
{
    QFETCH(QString, options);
    QFETCH(int, interval);
    QString const name = uniqueName();
    PublishProcess program(arguments(options + QStringLiteral(" --size 64x64 --frames 64"), name));
    StreamCapture stream(name);
    auto const isFlash = [](StreamCapture::Frame const& frame) {
        return frame.topLuma == 255;
    };
    auto const isLoud = [](qint16 sample) {
        return sample > 16000;
    };
    auto const flashes = [&] {
        return std::count_if(stream.frames.begin() + 1, stream.frames.end(), isFlash);
    };
    QVERIFY(stream.pollFrames(2));
    // A little more than the second flash, so that the sound of its second is there as well.
    QVERIFY(stream.pollUntil([&] { return flashes() >= 2 && !isFlash(stream.frames.back()); }));
    QCOMPARE(stream.missedFrames, size_t(0));
    QCOMPARE(stream.audioBreaks, size_t(0));

    double const rate = stream.format().audio_sample_rate;
    int checked = 0;
    for (size_t i = 1; i < stream.frames.size(); ++i) {
        qint64 const time = stream.frames[i].timestamp;
        qint64 const second = time / 1000000 * 1000000;
        bool const first = stream.frames[i - 1].timestamp < second;
        QCOMPARE(isFlash(stream.frames[i]), first);
        if (!first)
            continue;
        QVERIFY(time - second < interval);

        // The only loud samples within a quarter of a second begin at the full second.
        auto const index = [&](qint64 at) {
            return qRound64(double(at - stream.audioStart) * rate / 1e6);
        };
        qint64 const from = std::max<qint64>(0, index(second - 250000));
        auto const begin = stream.samples.begin() + from;
        auto const click = std::find_if(begin, stream.samples.end(), isLoud);
        if (second < stream.audioStart)
            continue;
        QVERIFY(click != stream.samples.end());
        qint64 const clickIndex = click - stream.samples.begin();
        QVERIFY(std::abs(clickIndex - index(second)) <= 1);
        ++checked;
    }
    QVERIFY(checked >= 1);
}

void TestSourceTest::framesAndSound_areOutInTime()
{
    QString const name = uniqueName();
    PublishProcess program(arguments(QStringLiteral("--size 64x64 --rate 50"), name));
    StreamCapture stream(name);
    std::vector<qint64> frameDelays;
    std::vector<qint64> soundDelays;
    QVERIFY(stream.pollUntil([&] {
        shm_audio_status_t audio = {};
        if (shm_reader_get_audio_status(stream.reader(), SHM_AUDIO_STRICT, &audio) == 0)
            soundDelays.push_back(wallClock() - audio.last_timestamp);
        if (frameDelays.size() < stream.frames.size())
            frameDelays.push_back(wallClock() - stream.frames.back().timestamp);
        return frameDelays.size() >= 50;
    }));
    // Never early; the median only, as other programs may keep this one waiting.
    QVERIFY(*std::min_element(frameDelays.begin(), frameDelays.end()) >= 0);
    QVERIFY(*std::min_element(soundDelays.begin(), soundDelays.end()) >= 0);
    std::sort(frameDelays.begin(), frameDelays.end());
    std::sort(soundDelays.begin(), soundDelays.end());
    QVERIFY2(frameDelays[25] < 20000, qPrintable(QString::number(frameDelays[25])));
    qint64 const soundDelay = soundDelays[soundDelays.size() / 2];
    QVERIFY2(soundDelay < 30000, qPrintable(QString::number(soundDelay)));
}

void TestSourceTest::fullHd60_takesFarLessThanACore()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QSKIP("the sanitizers take most of the time");
#endif
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 1920x1080 --rate 60 --duration 1.5 --stats"), name));
    QCOMPARE(program.wait(), 0);
    QJsonObject const statistics = program.statistics();
    double const seconds = statistics[QLatin1String("seconds")].toDouble();
    double const share = statistics[QLatin1String("cpu_seconds")].toDouble() / seconds;
    QVERIFY2(share < 0.4, qPrintable(QString::number(share)));
}

void TestSourceTest::readersThatHoldEverything_costFramesOnly()
{
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --rate 50 --frames 4 --stats"), name));
    StreamCapture stream(name);
    std::vector<shm_video_frame_t> locked;
    QElapsedTimer timer;
    timer.start();
    shm_video_status_t status = {};
    while (status.frames_dropped < 10 && timer.elapsed() < 10000) {
        shm_video_frame_t frame = {};
        frame.timestamp = locked.empty() ? 0 : locked.back().timestamp + 1;
        if (shm_reader_lock_video(stream.reader(), &frame, SHM_VIDEO_LOOKUP_AT_OR_AFTER) == 0)
            locked.push_back(frame);
        else
            QTest::qWait(2);
        shm_reader_get_video_status(stream.reader(), &status);
        stream.poll();
    }
    QVERIFY(status.frames_dropped >= 10);
    for (shm_video_frame_t& frame : locked)
        shm_reader_unlock_video(stream.reader(), &frame);
    qint64 const before = stream.frames.back().timestamp;
    QVERIFY(stream.pollUntil([&] { return stream.frames.back().timestamp > before + 200000; }));
    QCOMPARE(stream.audioBreaks, size_t(0));
    QCOMPARE(program.stop(), 0);
    QVERIFY(program.statistics()[QLatin1String("video_dropped")].toInt() >= 10);
}

void TestSourceTest::suspendedProgram_leavesOutWhatItMissed()
{
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --rate 50 --no-audio --frames 64 --stats"), name));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(10));
    auto const id = static_cast<pid_t>(program.id());
    kill(id, SIGSTOP);
    QTest::qWait(1500);
    kill(id, SIGCONT);
    QVERIFY(
        stream.pollUntil([&] { return wallClock() - stream.frames.back().timestamp < 100000; }));
    QVERIFY(stream.pollFrames(stream.frames.size() + 10));
    QCOMPARE(program.stop(), 0);
    QVERIFY(program.statistics()[QLatin1String("video_late")].toInt() > 30);
}

namespace {

constexpr int64_t TenSeconds = 10000000;

} // namespace

void TestSourceTest::wallClockSetBack_beginsTheStreamAnew()
{
    SteppedClock clock;
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --rate 50 --stats"), name), clock.environment());
    StreamCapture before(name);
    QVERIFY(before.pollFrames(10));
    clock.setStep(-TenSeconds);
    QVERIFY(before.pollToEnd(5000));

    StreamCapture after(name);
    QVERIFY(after.pollFrames(10));
    QVERIFY(std::abs(after.frames.back().timestamp - (wallClock() - TenSeconds)) < 1000000);
    QVERIFY(after.pollUntil([&] { return after.samples.size() > 4800; }));
    QVERIFY(std::abs(after.audioStart - (wallClock() - TenSeconds)) < 3000000);
    QVERIFY(program.isRunning());
    QCOMPARE(program.stop(), 0);
    QVERIFY(program.statistics()[QLatin1String("video_frames")].toInt() >= 20);
}

void TestSourceTest::wallClockSetForward_isFollowedWithinTheStream()
{
    SteppedClock clock;
    QString const name = uniqueName();
    PublishProcess program(
        arguments(QStringLiteral("--size 64x64 --rate 50"), name), clock.environment());
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(10));
    clock.setStep(TenSeconds);
    QVERIFY(stream.pollUntil(
        [&] { return stream.frames.back().timestamp > wallClock() + TenSeconds / 2; }));
    QVERIFY(stream.pollFrames(stream.frames.size() + 10));
    QVERIFY(std::abs(stream.frames.back().timestamp - (wallClock() + TenSeconds)) < 1000000);
    QCOMPARE(stream.audioBreaks, size_t(1));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestSourceTest)

#include "tst_testsource.moc"
