#include "utils/audioreader.h"

#include <memory>

#include <QCoreApplication>

extern "C" {
#include <libavutil/log.h>
}

#include "dyingwords.h"
#include "messagecheck.h"
#include "resamplingbench.h"

class AudioReaderResamplerTest : public QObject
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
};

void AudioReaderResamplerTest::initTestCase()
{
    // What fails on purpose is told on standard error otherwise.
    av_log_set_level(AV_LOG_QUIET);
}

void AudioReaderResamplerTest::cleanup()
{
    QCOMPARE(resamplerlog::contexts(), 0);
}

void AudioReaderResamplerTest::open_makesResamplerStepByStep()
{
    ResamplingBench bench;

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

void AudioReaderResamplerTest::sides_areDescribed_data()
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

void AudioReaderResamplerTest::sides_areDescribed()
{
    QFETCH(QAudioFormat, from);
    QFETCH(QAudioFormat, to);
    QFETCH(QStringList, options);
    QFETCH(QString, line);
    ResamplingBench bench;
    bench.audio.format = from;

    QVERIFY(bench.reader.open(&bench.source, to, true));

    QCOMPARE(resamplerlog::takeCalls().mid(1, 8), options);
    QCOMPARE(fakelogger::takeCalls(),
        QStringList(QStringLiteral("debug: Create new resampler context: ") + line));
}

void AudioReaderResamplerTest::sampleFormat_isMapped_data()
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

void AudioReaderResamplerTest::sampleFormat_isMapped()
{
    QFETCH(QAudioFormat, format);
    QFETCH(int, value);
    ResamplingBench bench;

    QVERIFY(bench.reader.open(&bench.source, format, true));
    QVERIFY(
        resamplerlog::takeCalls().contains(QStringLiteral("format out_sample_fmt %1").arg(value)));

    // The same on the other side.
    QVERIFY(bench.reader.updateResampler(pcm(44100, 1, format.sampleType(), format.sampleSize())));
    QVERIFY(
        resamplerlog::takeCalls().contains(QStringLiteral("format in_sample_fmt %1").arg(value)));
}

void AudioReaderResamplerTest::sampleFormatUnknown_isAnError_data()
{
    QTest::addColumn<QAudioFormat>("format");

    QTest::newRow("8 bits, signed") << pcm(48000, 2, QAudioFormat::SignedInt, 8);
    QTest::newRow("16 bits, unsigned") << pcm(48000, 2, QAudioFormat::UnSignedInt, 16);
    QTest::newRow("24 bits") << pcm(48000, 2, QAudioFormat::SignedInt, 24);
    QTest::newRow("16 bits, float") << pcm(48000, 2, QAudioFormat::Float, 16);
    QTest::newRow("of no type") << pcm(48000, 2, QAudioFormat::Unknown, 16);
}

void AudioReaderResamplerTest::sampleFormatUnknown_isAnError()
{
    QFETCH(QAudioFormat, format);
    ResamplingBench bench;

    QVERIFY(!bench.reader.open(&bench.source, format, true));

    QStringList const calls = resamplerlog::takeCalls();
    QVERIFY(calls.contains(QStringLiteral("format out_sample_fmt -1")));
    QCOMPARE(calls.last(), QStringLiteral("free"));
    QCOMPARE(errors(), list("error: Error in creating resampler"));
}

void AudioReaderResamplerTest::moreThanTwoChannels_endTheProcess_data()
{
    QTest::addColumn<QAudioFormat>("from");
    QTest::addColumn<QAudioFormat>("to");

    QTest::newRow("source") << pcm(48000, 3) << pcm(48000, 2);
    QTest::newRow("output") << pcm(48000, 2) << pcm(48000, 6);
}

void AudioReaderResamplerTest::moreThanTwoChannels_endTheProcess()
{
    QFETCH(QAudioFormat, from);
    QFETCH(QAudioFormat, to);
    ResamplingBench bench;
    bench.audio.format = from;

    QString const words =
        QString::fromLocal8Bit(dyingWords([&] { bench.reader.open(&bench.source, to, true); }));

    QRegularExpression const form(
        QStringLiteral("^ASSERT: \"count <= 2\" in file utils/audioreader, line \\d+\n$"));
    QVERIFY2(form.match(words).hasMatch(), qPrintable(words));
}

void AudioReaderResamplerTest::moreThanTwoChannelsAlike_needNoResampler()
{
    ResamplingBench bench;
    bench.audio.format = pcm(48000, 6);

    QVERIFY(bench.reader.open(&bench.source, pcm(48000, 6), true));

    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

void AudioReaderResamplerTest::sameFormat_needsNoResampler()
{
    ResamplingBench bench;
    bench.audio.format = pcm(48000, 2);

    QVERIFY(bench.reader.open(&bench.source, pcm(48000, 2), true));
    bench.read(4800);

    QCOMPARE(bench.result, qint64{19200});
    QCOMPARE(resamplerlog::takeCalls(), QStringList());
    QCOMPARE(fakelogger::takeCalls(QStringLiteral("debug")), QStringList());
}

void AudioReaderResamplerTest::resampler_isMadeAnew()
{
    ResamplingBench bench;
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

void AudioReaderResamplerTest::contextNotAllocated_isAnError()
{
    ResamplingBench bench;
    resamplerlog::failNext(QStringLiteral("alloc"));

    QVERIFY(!bench.reader.open(&bench.source, pcm(48000, 2), true));

    QCOMPARE(resamplerlog::takeCalls(), list("alloc"));
    QCOMPARE(errors(), list("error: Error in creating resampler"));
    QVERIFY(!bench.reader.isOpen());
}

void AudioReaderResamplerTest::contextNotInitialised_isAnError()
{
    ResamplingBench bench;
    resamplerlog::failNext(QStringLiteral("init"));

    // Not only where audio is required.
    QVERIFY(!bench.reader.open(&bench.source, pcm(48000, 2), false));

    QCOMPARE(resamplerlog::takeCalls().mid(12), list("double cutoff 1; init; free").mid(1));
    QCOMPARE(fakelogger::takeCalls(), list("debug: Create new resampler context: 44100 ---> 48000; "
                                           "error: Error in creating resampler"));
    QVERIFY(!bench.reader.isOpen());
    QVERIFY(bench.open());
}

void AudioReaderResamplerTest::destruction_freesTheResampler()
{
    FakeAudio const audio(pcm(44100, 1), Now);
    MediaSource source(QStringLiteral("camera"));
    auto reader = std::make_unique<AudioReader>();
    QVERIFY(reader->open(&source, pcm(48000, 2), true));
    resamplerlog::takeCalls();

    reader.reset();

    QCOMPARE(resamplerlog::takeCalls(), list("free"));
}

void AudioReaderResamplerTest::close_keepsTheResampler()
{
    ResamplingBench bench;
    QVERIFY(bench.open());

    bench.reader.close();

    QCOMPARE(resamplerlog::takeCalls(), QStringList());
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioReaderResamplerTest)
#include "tst_audioreader_resampler.moc"
