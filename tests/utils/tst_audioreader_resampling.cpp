#include "utils/audioreader.h"

#include <QCoreApplication>

#include "messagecheck.h"
#include "resamplingbench.h"

class AudioReaderResamplingTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void read_asksForChunksUntilFilled();
    void read_leavesTheRestToTheNext();
    void readShorterThanAChunk_asksForOneAllTheSame();
    void readFilledExactly_endsThere();
    void readOfNoWholeFrame_asksNothing();
    void sound_isWhatTheResamplerMakes();
    void longRequest_isMeasuredInTheSourcesFormat();
    void trace_tellsEachChunk();
    void drySource_drainsAndStartsAfresh();
    void drySourceWithEnough_isNotDrained();
    void emptySource_isSilence();
    void drySourceVanished_isAnErrorWhenRequired();
    void silence_isCountedInOutputFrames();
    void conversionFailed_isAnError();
    void drainingFailed_isAnError();
    void startingAfreshFailed_isAnErrorAndMended();
    void formatChange_makesResamplerAndPlacesAnew();
    void formatChangeToTheOutputs_dropsTheResampler();
    void formatChangeThatFails_isAnErrorAndMended();
    void formatChangeThatFailsAndIsTakenBack_isMended();
    void audioThatComesLater_isResampled();
};

void AudioReaderResamplingTest::cleanup()
{
    QCOMPARE(resamplerlog::contexts(), 0);
}

void AudioReaderResamplingTest::read_asksForChunksUntilFilled()
{
    ResamplingBench bench;
    QVERIFY(bench.open());

    // Four chunks are 4458 frames of the output, three are 3343.
    QByteArray const data = bench.read(4000);

    QCOMPARE(bench.result, qint64{16000});
    QCOMPARE(bench.audio.takeCalls(), list("format; last") + grabs(0, 4));
    QStringList const calls = resamplerlog::takeCalls();
    QCOMPARE(calls.size(), 4);
    QCOMPARE(calls.first(), QStringLiteral("convert 4000 1024"));
    int room = 4000;
    for (QString const& call : calls) {
        int const asked = call.section(QLatin1Char(' '), 1, 1).toInt();
        QVERIFY(asked <= room && asked > 0);
        room = asked;
        QVERIFY(call.endsWith(QStringLiteral(" 1024")));
    }
    QCOMPARE(soundEnd(data), 4000);
    QCOMPARE(bench.reader.startTimestamp(), Now - Delay);
    QCOMPARE(bench.reader.underruns(), qint64{0});
}

void AudioReaderResamplingTest::read_leavesTheRestToTheNext()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    int chunks = 0;

    // Never more than one chunk ahead of what was delivered, and what the filter looks ahead.
    for (int i = 1; i <= 50; ++i) {
        bench.read(1920);
        chunks += bench.takeGrabs().size();
        double const needed = i * 1920 * 44100.0 / 48000 / ChunkFrames;
        QVERIFY(chunks >= needed && chunks <= needed + 1.1);
    }
}

void AudioReaderResamplingTest::readShorterThanAChunk_asksForOneAllTheSame()
{
    ResamplingBench bench;
    QVERIFY(bench.open());

    for (int i = 0; i < 5; ++i) {
        bench.read(480);
        QCOMPARE(bench.takeGrabs(), grabs(i, 1));
    }
}

void AudioReaderResamplingTest::readFilledExactly_endsThere()
{
    ResamplingBench bench;
    bench.audio.format = pcm(48000, 1);
    QVERIFY(bench.open());

    // Only the channels differ, so that a frame makes a frame.
    bench.read(2 * ChunkFrames);

    QCOMPARE(resamplerlog::takeCalls(), list("convert 2048 1024; convert 1024 1024"));
    QCOMPARE(bench.takeGrabs().size(), 2);
    QCOMPARE(bench.result, qint64{4 * 2 * ChunkFrames});
}

void AudioReaderResamplingTest::readOfNoWholeFrame_asksNothing()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    char data[3] = {};

    QCOMPARE(bench.reader.readDataInternal(data, 3), qint64{3});

    QCOMPARE(bench.audio.takeCalls(), list("format; last"));
    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

void AudioReaderResamplingTest::sound_isWhatTheResamplerMakes()
{
    // Channels only: the samples can be told.
    ResamplingBench bench;
    bench.audio.format = pcm(48000, 1);
    QVERIFY(bench.open());

    QByteArray sound;
    for (int i = 0; i < 10; ++i)
        sound += bench.read(777);

    auto const* const samples = reinterpret_cast<qint16 const*>(sound.constData());
    int const level = samples[2000];
    for (int i = 0; i < 7770; ++i) {
        // Up by the same small amount with each frame, on both sides.
        int const expected = level * (i + 1) / 1001;
        QVERIFY2(
            qAbs(samples[2 * i] - expected) <= 1 + expected / 1000, qPrintable(QString::number(i)));
        QCOMPARE(samples[2 * i + 1], samples[2 * i]);
    }
}

void AudioReaderResamplingTest::longRequest_isMeasuredInTheSourcesFormat()
{
    ResamplingBench bench;
    QVERIFY(bench.open());

    // 20,000 bytes are 104 ms of the output and 226 ms of the source.
    bench.read(5000);

    QCOMPARE(bench.takeGrabs().first(), grab(0, Now - 226757));
}

void AudioReaderResamplingTest::trace_tellsEachChunk()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.audio.available = 1000;

    bench.read(1200);

    QCOMPARE(fakelogger::takeCalls(),
        list("trace: Audio reader got 1000/1024 samples at 1699999999800000 (-200000)"));
    bench.audio.available = ChunkFrames;
    bench.read(960);
    QCOMPARE(fakelogger::takeCalls(),
        list("trace: Audio reader got 1024/1024 samples at 1699999999822675 (-177325)"));
}

void AudioReaderResamplingTest::drySource_drainsAndStartsAfresh()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.audio.available = 700;

    QByteArray const data = bench.read(4000);

    QCOMPARE(bench.result, qint64{16000});
    QCOMPARE(bench.audio.takeCalls(), list("format; last") + grabs(0, 1) + list("format"));
    QStringList const calls = resamplerlog::takeCalls();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls[0], QStringLiteral("convert 4000 700"));
    QVERIFY(calls[1].startsWith(QStringLiteral("drain 3")));
    QCOMPARE(calls[2], QStringLiteral("init"));
    // All of it is heard: 700 frames make 762, give or take the filter's end.
    QVERIFY(qAbs(soundEnd(data) - 762) <= 32);
    QCOMPARE(errors(), QStringList());

    // The position is where the source ended.
    bench.audio.available = ChunkFrames;
    bench.read(480);
    QCOMPARE(bench.takeGrabs(), QStringList(grab(0, Now - Delay + 15873)));
}

void AudioReaderResamplingTest::drySourceWithEnough_isNotDrained()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.audio.available = 700;

    bench.read(480);

    QCOMPARE(resamplerlog::takeCalls(), list("convert 480 700"));
    QCOMPARE(bench.audio.takeCalls(), list("format; last") + grabs(0, 1));
    QCOMPARE(bench.reader.underruns(), qint64{0});
}

void AudioReaderResamplingTest::emptySource_isSilence()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.audio.available = 0;

    for (int i = 0; i < 3; ++i) {
        QCOMPARE(soundEnd(bench.read(480)), 0);
        QCOMPARE(bench.result, qint64{4 * 480});
        QCOMPARE(bench.takeGrabs(), grabs(0, 1));
        QCOMPARE(resamplerlog::takeCalls(), list("convert 480 0; drain 480; init"));
    }
    QCOMPARE(bench.reader.startTimestamp(), qint64{0});
}

void AudioReaderResamplingTest::drySourceVanished_isAnErrorWhenRequired()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.audio.laterFormats = {QAudioFormat()};
    bench.audio.available = 0;

    bench.read(480);

    QCOMPARE(bench.result, qint64{-1});
    QCOMPARE(errors(), QStringList());
    bench.read(480);
    QCOMPARE(bench.result, qint64{-1});
}

void AudioReaderResamplingTest::silence_isCountedInOutputFrames()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.read(480);
    bench.audio.available = 0;

    // What the resampler still held comes first.
    QByteArray const data = bench.read(4800);
    QCOMPARE(bench.reader.underruns(), qint64{1});
    QVERIFY(qAbs(bench.reader.silentFrames() - (4800 - soundEnd(data))) <= 32);
    qint64 const before = bench.reader.silentFrames();

    bench.read(480);
    QCOMPARE(bench.reader.underruns(), qint64{2});
    QCOMPARE(bench.reader.silentFrames(), before + 480);
}

void AudioReaderResamplingTest::conversionFailed_isAnError()
{
    ResamplingBench bench;
    QVERIFY(bench.open(false));
    resamplerlog::failNext(QStringLiteral("convert"));

    bench.read(4800);

    QCOMPARE(bench.result, qint64{-1});
    QCOMPARE(resamplerlog::takeCalls(), list("convert 4800 1024"));
    QCOMPARE(errors(), list("error: Error while converting audio format"));
    bench.read(4800);
    QCOMPARE(bench.result, qint64{19200});
}

void AudioReaderResamplingTest::drainingFailed_isAnError()
{
    ResamplingBench bench;
    QVERIFY(bench.open(false));
    bench.audio.available = 0;
    resamplerlog::failNext(QStringLiteral("drain"));

    bench.read(480);

    QCOMPARE(bench.result, qint64{-1});
    QCOMPARE(resamplerlog::takeCalls(), list("convert 480 0; drain 480"));
    QCOMPARE(errors(), list("error: Error while converting audio format"));
}

void AudioReaderResamplingTest::startingAfreshFailed_isAnErrorAndMended()
{
    ResamplingBench bench;
    QVERIFY(bench.open(false));
    bench.audio.available = 0;
    resamplerlog::failNext(QStringLiteral("init"));

    bench.read(480);

    QCOMPARE(bench.result, qint64{-1});
    QCOMPARE(resamplerlog::takeCalls(), list("convert 480 0; drain 480; init; free"));
    QCOMPARE(errors(), list("error: Error reseting resampler"));

    // Mono, copied as it is, would not fit.
    bench.audio.available = ChunkFrames;
    QCOMPARE(soundEnd(bench.read(480)), 480);
    QCOMPARE(resamplerlog::takeCalls().first(), QStringLiteral("alloc"));
    QCOMPARE(errors(), QStringList());
}

void AudioReaderResamplingTest::formatChange_makesResamplerAndPlacesAnew()
{
    ResamplingBench bench;
    bench.audio.format = pcm(48000, 2);
    QVERIFY(bench.open());
    bench.read(480);
    bench.audio.format = pcm(44100, 1);
    bench.audio.last += 30000;
    bench.audio.takeCalls();
    fakelogger::takeCalls();

    QCOMPARE(soundEnd(bench.read(480)), 480);

    QCOMPARE(bench.result, qint64{4 * 480});
    QCOMPARE(bench.audio.takeCalls(), list("format; last") << grab(0, Now + 30000 - Delay));
    QCOMPARE(fakelogger::takeCalls(QStringLiteral("debug")),
        list("debug: Create new resampler context: 44100 ---> 48000"));
    // It isn't for being late, and the sound has started before.
    QCOMPARE(bench.reader.reanchors(), qint64{0});
    QCOMPARE(bench.reader.startTimestamp(), Now - Delay);
}

void AudioReaderResamplingTest::formatChangeToTheOutputs_dropsTheResampler()
{
    ResamplingBench bench;
    QVERIFY(bench.open());
    bench.read(480);
    bench.audio.format = pcm(48000, 2);
    bench.audio.takeCalls();
    resamplerlog::takeCalls();

    QCOMPARE(soundEnd(bench.read(480)), 480);

    QCOMPARE(resamplerlog::takeCalls(), list("free"));
    QCOMPARE(bench.audio.takeCalls(), list("format; last")
                                          << QStringLiteral("grab 3 480 %1").arg(Now - Delay));
}

void AudioReaderResamplingTest::formatChangeThatFails_isAnErrorAndMended()
{
    ResamplingBench bench;
    QVERIFY(bench.open(false));
    bench.read(480);
    bench.audio.format = pcm(32000, 2);
    bench.audio.takeCalls();
    resamplerlog::failNext(QStringLiteral("init"));

    bench.read(480);

    QCOMPARE(bench.result, qint64{-1});
    QCOMPARE(bench.audio.takeCalls(), list("format"));
    QCOMPARE(errors(), list("error: Error in creating resampler"));
    QCOMPARE(soundEnd(bench.read(480)), 480);
    QCOMPARE(bench.result, qint64{4 * 480});
}

void AudioReaderResamplingTest::formatChangeThatFailsAndIsTakenBack_isMended()
{
    ResamplingBench bench;
    QVERIFY(bench.open(false));
    bench.read(480);
    bench.audio.format = pcm(32000, 2);
    resamplerlog::failNext(QStringLiteral("init"));
    bench.read(480);
    bench.audio.format = pcm(44100, 1);
    resamplerlog::takeCalls();

    // The resampler of before is gone.
    QCOMPARE(soundEnd(bench.read(480)), 480);

    QCOMPARE(resamplerlog::takeCalls().first(), QStringLiteral("alloc"));
    QCOMPARE(bench.result, qint64{4 * 480});
}

void AudioReaderResamplingTest::audioThatComesLater_isResampled()
{
    ResamplingBench bench;
    bench.audio.format = QAudioFormat();
    QVERIFY(bench.open(false));
    QCOMPARE(soundEnd(bench.read(480)), 0);
    QCOMPARE(resamplerlog::takeCalls(), QStringList());
    bench.audio.format = pcm(44100, 1);
    bench.audio.takeCalls();

    QCOMPARE(soundEnd(bench.read(480)), 480);

    QCOMPARE(bench.takeGrabs(), grabs(0, 1));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioReaderResamplingTest)
#include "tst_audioreader_resampling.moc"
