#include "publishprocess.h"
#include "steppedclock.h"
#include "streamcapture.h"
#include "testmedia.h"

#include <messagecheck.h>

#include <cmath>
#include <cstdlib>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

class InputsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sound_isThatOfTheFile();
    void soundAndPicture_beginTogether();
    void loopedSound_goesOnWithoutBreak();
    void audioOptions_convertTheSound();
    void device_isOpenedByItsFormat();
    void inputOption_reachesTheInput();
    void standardInput_isAnInput();
    void silentInput_canBeEndedWhileOpening();
    void stalledInput_isMovedAndCanBeEnded();
    void damagedFile_isPublishedAsFarAsItGoes();
    void wallClockSetBack_beginsTheStreamAnew();
    void duration_endsAnEndlessLoop();
    void wrongInput_isOneLine_data();
    void wrongInput_isOneLine();

private:
    QString file(char const* name) { return mDirectory.filePath(QLatin1String(name)); }

    QTemporaryDir mDirectory;
};

void InputsTest::initTestCase()
{
    QVERIFY(mDirectory.isValid());
    MediaTraits traits;
    traits.video = AV_CODEC_ID_MPEG4;
    traits.audio = AV_CODEC_ID_PCM_S16LE;
    traits.bFrames = 2;
    QVERIFY(writeMedia(file("both.mkv"), traits));
    traits.bFrames = 0;
    QVERIFY(writeMedia(file("both.avi"), traits));
    traits.audio = AV_CODEC_ID_NONE;
    QVERIFY(writeMedia(file("video.mkv"), traits));
    traits.frames = 100;
    traits.rate = {50, 1};
    QVERIFY(writeMedia(file("video.ts"), traits));
    traits.video = AV_CODEC_ID_NONE;
    traits.audio = AV_CODEC_ID_PCM_S16LE;
    QVERIFY(writeMedia(file("sound.wav"), traits));
}

void InputsTest::sound_isThatOfTheFile()
{
    QString const name = uniqueName();
    PublishProcess program(play(file("sound.wav"), name, QStringLiteral("--stats")));
    StreamCapture stream(name);
    QCOMPARE(stream.format().audio_sample_rate, 48000);
    QCOMPARE(stream.format().audio_channels, 1);
    QVERIFY(!stream.format().has_video);
    QVERIFY(stream.pollUntil([&] { return stream.samples.size() > 40000; }));
    for (size_t i = 0; i < stream.samples.size(); ++i)
        QCOMPARE(stream.samples[i], testSample(int(i)));
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.statistics()[QLatin1String("audio_frames")].toInt(), 48000);
}

void InputsTest::soundAndPicture_beginTogether()
{
    for (char const* const input : {"both.mkv", "both.avi"}) {
        QString const name = uniqueName();
        PublishProcess program(play(file(input), name, QStringLiteral("--frames 64")));
        StreamCapture stream(name);
        QVERIFY(stream.pollFrames(20));
        QCOMPARE(stream.samples[0], testSample(0));
        QVERIFY(std::abs(stream.frames[0].timestamp - stream.audioStart) <= 1);
    }
}

void InputsTest::loopedSound_goesOnWithoutBreak()
{
    QString const name = uniqueName();
    PublishProcess program(play(file("both.mkv"), name, QStringLiteral("--loop --frames 64")));
    StreamCapture stream(name);
    QVERIFY(stream.pollUntil([&] { return stream.samples.size() > 110000; }));
    QCOMPARE(stream.audioBreaks, size_t(0));
    for (size_t i = 0; i < stream.samples.size(); ++i)
        QCOMPARE(stream.samples[i], testSample(int(i % 48000)));
}

void InputsTest::audioOptions_convertTheSound()
{
    QString const name = uniqueName();
    PublishProcess program(
        play(file("sound.wav"), name, QStringLiteral("--audio-rate 24000 --channels 2 --stats")));
    StreamCapture stream(name);
    QCOMPARE(stream.format().audio_sample_rate, 24000);
    QCOMPARE(stream.format().audio_channels, 2);
    QVERIFY(stream.pollUntil([&] { return stream.samples.size() > 12000; }));
    // The ramp goes on in steps of two; its power is shared by the two channels.
    for (size_t i = 1000; i < 12000; ++i)
        QVERIFY(std::abs(stream.samples[i] - 2 * double(i) * std::sqrt(0.5)) < 50);
    QCOMPARE(program.wait(), 0);
    int const written = program.statistics()[QLatin1String("audio_frames")].toInt();
    QVERIFY(std::abs(written - 24000) <= 1);
}

void InputsTest::device_isOpenedByItsFormat()
{
    QString const name = uniqueName();
    PublishProcess program(play(QStringLiteral("testsrc=size=96x64:rate=50[out0];sine[out1]"), name,
        QStringLiteral("--format lavfi --frames 64")));
    StreamCapture stream(name);
    QVERIFY(stream.format().has_video && stream.format().has_audio);
    QCOMPARE(stream.format().video_width, 96);
    QVERIFY(stream.pollFrames(30));
    for (size_t i = 1; i < stream.frames.size(); ++i)
        QCOMPARE(stream.frames[i].timestamp - stream.frames[i - 1].timestamp, qint64(20000));
}

void InputsTest::inputOption_reachesTheInput()
{
    QFile raw(file("picture.raw"));
    QVERIFY(raw.open(QIODevice::WriteOnly));
    raw.write(QByteArray(64 * 48 * 3 / 2, char(77)));
    raw.close();
    QString const name = uniqueName();
    PublishProcess program(play(raw.fileName(), name,
        QStringLiteral("--loop --format rawvideo --input-option video_size=64x48"
                       " --input-option framerate=50")));
    StreamCapture stream(name);
    QCOMPARE(stream.format().video_width, 64);
    QVERIFY(stream.pollFrames(5));
    QCOMPARE(stream.frames[0].topLuma, 77);
    QCOMPARE(stream.frames[4].timestamp - stream.frames[3].timestamp, qint64(20000));
}

void InputsTest::standardInput_isAnInput()
{
    QFile media(file("video.ts"));
    QVERIFY(media.open(QIODevice::ReadOnly));
    QString const name = uniqueName();
    PublishProcess program(play(QStringLiteral("-"), name, QStringLiteral("--stats --duration 1")));
    program.write(media.readAll());
    program.closeInput();
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.statistics()[QLatin1String("video_frames")].toInt(), 50);
}

void InputsTest::silentInput_canBeEndedWhileOpening()
{
    PublishProcess program(play(QStringLiteral("-"), uniqueName()));
    QTest::qWait(300);
    QVERIFY(program.isRunning());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(program.stop(), 0);
    QVERIFY(timer.elapsed() < 5000);
    QCOMPARE(program.errors(), QString());
}

void InputsTest::stalledInput_isMovedAndCanBeEnded()
{
    QFile media(file("video.ts"));
    QVERIFY(media.open(QIODevice::ReadOnly));
    QByteArray const all = media.readAll();
    QString const name = uniqueName();
    PublishProcess program(play(QStringLiteral("-"), name, QStringLiteral("--stats --frames 64")));
    program.write(all.left(all.size() / 2));
    StreamCapture stream(name);
    QVERIFY(stream.pollFrames(10));
    QElapsedTimer quiet;
    size_t seen = 0;
    QVERIFY(stream.pollUntil([&] {
        if (seen != stream.frames.size())
            quiet.start();
        seen = stream.frames.size();
        return quiet.elapsed() > 1000;
    }));
    qint64 const before = stream.frames.back().timestamp;
    program.write(all.mid(all.size() / 2));
    QVERIFY(stream.pollFrames(seen + 10));
    QVERIFY(stream.frames[seen].timestamp - before > 700000);
    for (size_t i = seen + 1; i < seen + 10; ++i)
        QCOMPARE(stream.frames[i].timestamp - stream.frames[i - 1].timestamp, qint64(20000));

    // Now it waits for an input that never comes.
    stream.pollUntil([] { return false; }, 500);
    QCOMPARE(program.stop(), 0);
    QCOMPARE(program.statistics()[QLatin1String("stalls")].toInt(), 1);
}

void InputsTest::damagedFile_isPublishedAsFarAsItGoes()
{
    QFile media(file("video.ts"));
    QVERIFY(media.open(QIODevice::ReadOnly));
    QByteArray bytes = media.readAll();
    unsigned random = 1;
    for (int i = bytes.size() / 4; i < bytes.size() * 3 / 4; i += 97) {
        random = random * 1103515245 + 12345;
        bytes[i] = char(random >> 16);
    }
    QFile damaged(file("damaged.ts"));
    QVERIFY(damaged.open(QIODevice::WriteOnly));
    damaged.write(bytes.left(bytes.size() * 9 / 10));
    damaged.close();
    QString const name = uniqueName();
    PublishProcess program(play(damaged.fileName(), name, QStringLiteral("--stats")));
    QCOMPARE(program.wait(), 0);
    QVERIFY(program.statistics()[QLatin1String("video_frames")].toInt() >= 20);
    QCOMPARE(program.errors(), QString());
}

void InputsTest::wallClockSetBack_beginsTheStreamAnew()
{
    constexpr int64_t TenSeconds = 10000000;
    SteppedClock clock;
    QString const name = uniqueName();
    PublishProcess program(
        play(file("both.mkv"), name, QStringLiteral("--loop --stats")), clock.environment());
    StreamCapture before(name);
    QVERIFY(before.pollFrames(15));
    clock.setStep(-TenSeconds);
    QVERIFY(before.pollToEnd(5000));
    StreamCapture after(name);
    QVERIFY(after.pollFrames(20));
    QVERIFY(after.frames.back().timestamp < before.frames.back().timestamp);
    QVERIFY(after.pollUntil([&] { return after.samples.size() > 4800; }));
    QCOMPARE(program.stop(), 0);
}

void InputsTest::duration_endsAnEndlessLoop()
{
    QString const name = uniqueName();
    PublishProcess program(
        play(file("both.mkv"), name, QStringLiteral("--loop --duration 1.2 --stats")));
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.statistics()[QLatin1String("video_frames")].toInt(), 30);
    int const samples = program.statistics()[QLatin1String("audio_frames")].toInt();
    QVERIFY(std::abs(samples - 57600) <= 480);
}

void InputsTest::wrongInput_isOneLine_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("text");
    QFile text(file("text.txt"));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("no media\n");
    QFile subtitles(file("subtitles.srt"));
    QVERIFY(subtitles.open(QIODevice::WriteOnly));
    subtitles.write("1\n00:00:00,000 --> 00:00:01,000\nHello\n");
    QFile empty(file("empty.mkv"));
    QVERIFY(empty.open(QIODevice::WriteOnly));

    auto const row = [](char const* title, QString const& input, char const* options,
                         char const* error) {
        QTest::newRow(title) << input << QString::fromLatin1(options)
                             << input + QStringLiteral(": ") + QString::fromLatin1(error);
    };
    row("missing", file("missing.mkv"), "", "No such file or directory");
    row("text", file("text.txt"), "", "Invalid data found when processing input");
    row("empty", file("empty.mkv"), "", "");
    row("folder", mDirectory.path(), "", "Is a directory");
    row("neither", file("subtitles.srt"), "", "has neither video nor audio");
    row("no audio", file("video.mkv"), "--no-video", "has no audio");
    row("no video", file("sound.wav"), "--no-audio", "has no video");
    row("format", file("video.mkv"), "--format nonsense", "there is no input format 'nonsense'");
    row("option", file("video.mkv"), "--input-option nonsense=1", "takes no option 'nonsense'");
    row("protocol", QStringLiteral("nonsense://x"), "", "Protocol not found");
    row("refused", QStringLiteral("tcp://127.0.0.1:9"), "", "Connection refused");
}

void InputsTest::wrongInput_isOneLine()
{
    QFETCH(QString, input);
    QFETCH(QString, options);
    QFETCH(QString, text);
    PublishProcess program(play(input, uniqueName(), options));
    QCOMPARE(program.wait(), 1);
    QVERIFY(isOneLine(program.errors(), QStringLiteral("shm-publish: ") + text));
}

QVORLIN_TEST_MAIN(QCoreApplication, InputsTest)

#include "tst_inputs.moc"
