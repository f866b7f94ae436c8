#include "utils/audioreader.h"

#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QRegularExpression>

extern "C" {
#include <libavutil/log.h>
}

#include "dyingwords.h"
#include "fakeaudio.h"
#include "fakelogger.h"
#include "messagecheck.h"
#include "pcmformat.h"
#include "resamplerlog.h"
#include "utils/mediasource.h"

namespace {

constexpr qint64 Now = 1700000000000000;
constexpr qint64 Delay = 200000;
constexpr int ChunkFrames = 1024;
// 1024 frames of 44.1 kHz, fractions cut off.
constexpr qint64 ChunkDuration = 23219;

QStringList list(char const* text)
{
    return QString::fromLatin1(text).split(QStringLiteral("; "), Qt::SkipEmptyParts);
}

/** The written form of a request for a chunk, of which so many went before since @p start. */
QString grab(int chunk, qint64 start = Now - Delay)
{
    return QStringLiteral("grab 3 1024 %1").arg(start + chunk * ChunkDuration);
}

QStringList grabs(int first, int count)
{
    QStringList calls;
    for (int i = 0; i < count; ++i)
        calls.append(grab(first + i));
    return calls;
}

/** Sound of 44.1 kHz mono, and a reader that makes 48 kHz stereo of it. */
struct Bench
{
    FakeAudio audio{pcm(44100, 1), Now};
    MediaSource source{QStringLiteral("camera")};
    AudioReader reader;

    Bench()
    {
        fakelogger::takeCalls();
        resamplerlog::takeCalls();
    }

    bool open(bool requireAudio = true)
    {
        bool const opened = reader.open(&source, pcm(48000, 2), requireAudio);
        audio.takeCalls();
        resamplerlog::takeCalls();
        fakelogger::takeCalls();
        return opened;
    }

    /** Reads frames of four bytes, into memory full of ones. */
    QByteArray read(int frames)
    {
        QByteArray data(4 * frames, char(0xff));
        result = reader.readDataInternal(data.data(), data.size());
        return data;
    }

    QStringList takeGrabs()
    {
        return audio.takeCalls().filter(QRegularExpression(QStringLiteral("^grab")));
    }

    qint64 result = 0;
};

/** Where the sound ends, and silence goes on to the end of @p data; in frames of four bytes. */
int soundEnd(QByteArray const& data)
{
    int end = data.size();
    while (end > 0 && data[end - 1] == 0)
        --end;
    return (end + 3) / 4;
}

QStringList errors()
{
    return fakelogger::takeCalls(QStringLiteral("error"));
}

} // namespace

class AudioReaderResamplingTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void open_makesResamplerStepByStep();
    void sides_areDescribed_data();
    void sides_areDescribed();
    void sampleFormat_isMapped_data();
    void sampleFormat_isMapped();
    void sampleFormatUnknown_isAnError_data();
    void sampleFormatUnknown_isAnError();
    void moreThanTwoChannels_endTheProcess_data();
    void moreThanTwoChannels_endTheProcess();
    void moreThanTwoChannelsAlike_needNoResampler();
    void sameFormat_needsNoResampler();
    void resampler_isMadeAnew();
    void contextNotAllocated_isAnError();
    void contextNotInitialised_isAnError();
    void destruction_freesTheResampler();
    void close_keepsTheResampler();

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

void AudioReaderResamplingTest::initTestCase()
{
    // What fails on purpose is told on standard error otherwise.
    av_log_set_level(AV_LOG_QUIET);
}

void AudioReaderResamplingTest::cleanup()
{
    QCOMPARE(resamplerlog::contexts(), 0);
}

void AudioReaderResamplingTest::open_makesResamplerStepByStep()
{
    Bench bench;

    QVERIFY(bench.reader.open(&bench.source, pcm(48000, 2), true));

    QCOMPARE(resamplerlog::takeCalls(),
        list("alloc; layout in_channel_layout 4; format in_sample_fmt 1; int in_sample_rate 44100; "
             "int in_channel_count 1; layout out_channel_layout 3; format out_sample_fmt 1; "
             "int out_sample_rate 48000; int out_channel_count 2; int filter_size 32; "
             "int phase_shift 5; double cutoff 1; init"));
    QCOMPARE(
        fakelogger::takeCalls(), list("debug: Create new resampler context: 44100 ---> 48000"));
    QCOMPARE(bench.audio.takeCalls(), list("format"));
}

void AudioReaderResamplingTest::sides_areDescribed_data()
{
    QTest::addColumn<QAudioFormat>("from");
    QTest::addColumn<QAudioFormat>("to");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("line");

    QTest::newRow("stereo to mono")
        << pcm(48000, 2) << pcm(44100, 1)
        << list("layout in_channel_layout 3; format in_sample_fmt 1; int in_sample_rate 48000; "
                "int in_channel_count 2; layout out_channel_layout 4; format out_sample_fmt 1; "
                "int out_sample_rate 44100; int out_channel_count 1")
        << QStringLiteral("48000 ---> 44100");
    QTest::newRow("samples only")
        << pcm(48000, 2) << pcm(48000, 2, QAudioFormat::Float, 32)
        << list("layout in_channel_layout 3; format in_sample_fmt 1; int in_sample_rate 48000; "
                "int in_channel_count 2; layout out_channel_layout 3; format out_sample_fmt 3; "
                "int out_sample_rate 48000; int out_channel_count 2")
        << QStringLiteral("48000 ---> 48000");
}

void AudioReaderResamplingTest::sides_areDescribed()
{
    QFETCH(QAudioFormat, from);
    QFETCH(QAudioFormat, to);
    QFETCH(QStringList, options);
    QFETCH(QString, line);
    Bench bench;
    bench.audio.format = from;

    QVERIFY(bench.reader.open(&bench.source, to, true));

    QCOMPARE(resamplerlog::takeCalls().mid(1, 8), options);
    QCOMPARE(fakelogger::takeCalls(),
        QStringList(QStringLiteral("debug: Create new resampler context: ") + line));
}

void AudioReaderResamplingTest::sampleFormat_isMapped_data()
{
    QTest::addColumn<QAudioFormat>("format");
    QTest::addColumn<int>("value");

    QTest::newRow("8 bits") << pcm(48000, 2, QAudioFormat::UnSignedInt, 8) << 0;
    QTest::newRow("16 bits") << pcm(48000, 1, QAudioFormat::SignedInt, 16) << 1;
    QTest::newRow("32 bits") << pcm(48000, 2, QAudioFormat::SignedInt, 32) << 2;
    QTest::newRow("single precision") << pcm(48000, 2, QAudioFormat::Float, 32) << 3;
    QTest::newRow("double precision") << pcm(48000, 2, QAudioFormat::Float, 64) << 4;
    QTest::newRow("17 bits count as two bytes") << pcm(48000, 2, QAudioFormat::SignedInt, 17) << 1;
    QAudioFormat bigEndian = pcm(48000, 1);
    bigEndian.setByteOrder(QAudioFormat::BigEndian);
    QTest::newRow("byte order is not looked at") << bigEndian << 1;
}

void AudioReaderResamplingTest::sampleFormat_isMapped()
{
    QFETCH(QAudioFormat, format);
    QFETCH(int, value);
    Bench bench;

    QVERIFY(bench.reader.open(&bench.source, format, true));
    QVERIFY(
        resamplerlog::takeCalls().contains(QStringLiteral("format out_sample_fmt %1").arg(value)));

    // The same on the other side.
    QVERIFY(bench.reader.updateResampler(pcm(44100, 1, format.sampleType(), format.sampleSize())));
    QVERIFY(
        resamplerlog::takeCalls().contains(QStringLiteral("format in_sample_fmt %1").arg(value)));
}

void AudioReaderResamplingTest::sampleFormatUnknown_isAnError_data()
{
    QTest::addColumn<QAudioFormat>("format");

    QTest::newRow("8 bits, signed") << pcm(48000, 2, QAudioFormat::SignedInt, 8);
    QTest::newRow("16 bits, unsigned") << pcm(48000, 2, QAudioFormat::UnSignedInt, 16);
    QTest::newRow("24 bits") << pcm(48000, 2, QAudioFormat::SignedInt, 24);
    QTest::newRow("16 bits, float") << pcm(48000, 2, QAudioFormat::Float, 16);
    QTest::newRow("of no type") << pcm(48000, 2, QAudioFormat::Unknown, 16);
}

void AudioReaderResamplingTest::sampleFormatUnknown_isAnError()
{
    QFETCH(QAudioFormat, format);
    Bench bench;

    QVERIFY(!bench.reader.open(&bench.source, format, true));

    QStringList const calls = resamplerlog::takeCalls();
    QVERIFY(calls.contains(QStringLiteral("format out_sample_fmt -1")));
    QCOMPARE(calls.last(), QStringLiteral("free"));
    QCOMPARE(errors(), list("error: Error in creating resampler"));
}

void AudioReaderResamplingTest::moreThanTwoChannels_endTheProcess_data()
{
    QTest::addColumn<QAudioFormat>("from");
    QTest::addColumn<QAudioFormat>("to");

    QTest::newRow("source") << pcm(48000, 3) << pcm(48000, 2);
    QTest::newRow("output") << pcm(48000, 2) << pcm(48000, 6);
}

void AudioReaderResamplingTest::moreThanTwoChannels_endTheProcess()
{
    QFETCH(QAudioFormat, from);
    QFETCH(QAudioFormat, to);
    Bench bench;
    bench.audio.format = from;

    QString const words =
        QString::fromLocal8Bit(dyingWords([&] { bench.reader.open(&bench.source, to, true); }));

    QRegularExpression const form(
        QStringLiteral("^ASSERT: \"count <= 2\" in file utils/audioreader, line \\d+\n$"));
    QVERIFY2(form.match(words).hasMatch(), qPrintable(words));
}

void AudioReaderResamplingTest::moreThanTwoChannelsAlike_needNoResampler()
{
    Bench bench;
    bench.audio.format = pcm(48000, 6);

    QVERIFY(bench.reader.open(&bench.source, pcm(48000, 6), true));

    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

void AudioReaderResamplingTest::sameFormat_needsNoResampler()
{
    Bench bench;
    bench.audio.format = pcm(48000, 2);

    QVERIFY(bench.reader.open(&bench.source, pcm(48000, 2), true));
    bench.read(4800);

    QCOMPARE(bench.result, qint64{19200});
    QCOMPARE(resamplerlog::takeCalls(), QStringList());
    QCOMPARE(fakelogger::takeCalls(QStringLiteral("debug")), QStringList());
}

void AudioReaderResamplingTest::resampler_isMadeAnew()
{
    Bench bench;
    QVERIFY(bench.open());

    // For the same formats as well; the one before goes first.
    QVERIFY(bench.reader.updateResampler(pcm(44100, 1)));
    QStringList const calls = resamplerlog::takeCalls();
    QCOMPARE(calls.mid(0, 2), list("free; alloc"));
    QCOMPARE(calls.last(), QStringLiteral("init"));

    QVERIFY(bench.reader.updateResampler(pcm(48000, 2)));
    QCOMPARE(resamplerlog::takeCalls(), list("free"));
    QVERIFY(bench.reader.updateResampler(pcm(48000, 2)));
    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

void AudioReaderResamplingTest::contextNotAllocated_isAnError()
{
    Bench bench;
    resamplerlog::failNext(QStringLiteral("alloc"));

    QVERIFY(!bench.reader.open(&bench.source, pcm(48000, 2), true));

    QCOMPARE(resamplerlog::takeCalls(), list("alloc"));
    QCOMPARE(errors(), list("error: Error in creating resampler"));
    QVERIFY(!bench.reader.isOpen());
}

void AudioReaderResamplingTest::contextNotInitialised_isAnError()
{
    Bench bench;
    resamplerlog::failNext(QStringLiteral("init"));

    // Not only where audio is required.
    QVERIFY(!bench.reader.open(&bench.source, pcm(48000, 2), false));

    QCOMPARE(resamplerlog::takeCalls().mid(12), list("double cutoff 1; init; free").mid(1));
    QCOMPARE(fakelogger::takeCalls(), list("debug: Create new resampler context: 44100 ---> 48000; "
                                           "error: Error in creating resampler"));
    QVERIFY(!bench.reader.isOpen());
    QVERIFY(bench.open());
}

void AudioReaderResamplingTest::destruction_freesTheResampler()
{
    FakeAudio const audio(pcm(44100, 1), Now);
    MediaSource source(QStringLiteral("camera"));
    auto reader = std::make_unique<AudioReader>();
    QVERIFY(reader->open(&source, pcm(48000, 2), true));
    resamplerlog::takeCalls();

    reader.reset();

    QCOMPARE(resamplerlog::takeCalls(), list("free"));
}

void AudioReaderResamplingTest::close_keepsTheResampler()
{
    Bench bench;
    QVERIFY(bench.open());

    bench.reader.close();

    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

void AudioReaderResamplingTest::read_asksForChunksUntilFilled()
{
    Bench bench;
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
    Bench bench;
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
    Bench bench;
    QVERIFY(bench.open());

    for (int i = 0; i < 5; ++i) {
        bench.read(480);
        QCOMPARE(bench.takeGrabs(), grabs(i, 1));
    }
}

void AudioReaderResamplingTest::readFilledExactly_endsThere()
{
    Bench bench;
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
    Bench bench;
    QVERIFY(bench.open());
    char data[3] = {};

    QCOMPARE(bench.reader.readDataInternal(data, 3), qint64{3});

    QCOMPARE(bench.audio.takeCalls(), list("format; last"));
    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

void AudioReaderResamplingTest::sound_isWhatTheResamplerMakes()
{
    // Channels only: the samples can be told.
    Bench bench;
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
    Bench bench;
    QVERIFY(bench.open());

    // 20,000 bytes are 104 ms of the output and 226 ms of the source.
    bench.read(5000);

    QCOMPARE(bench.takeGrabs().first(), grab(0, Now - 226757));
}

void AudioReaderResamplingTest::trace_tellsEachChunk()
{
    Bench bench;
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
    Bench bench;
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
    Bench bench;
    QVERIFY(bench.open());
    bench.audio.available = 700;

    bench.read(480);

    QCOMPARE(resamplerlog::takeCalls(), list("convert 480 700"));
    QCOMPARE(bench.audio.takeCalls(), list("format; last") + grabs(0, 1));
    QCOMPARE(bench.reader.underruns(), qint64{0});
}

void AudioReaderResamplingTest::emptySource_isSilence()
{
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
    Bench bench;
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
