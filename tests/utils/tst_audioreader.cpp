#include "utils/audioreader.h"

#include <QBuffer>
#include <QCoreApplication>

#include "messagecheck.h"
#include "readerbench.h"
#include "stillclock.h"

class AudioReaderTest : public QObject
{
    Q_OBJECT

private slots:
    void construct_hasDefaults();
    void open_asksForTheFormatOnly();
    void openWithoutRequiredAudio_failsQuietly();
    void openWithoutAudio_deliversSilence();
    void openAfterFailure_succeeds();
    void openFailed_hasTheFormatAllTheSame();
    void openNullSource_endsTheProcess();
    void openTwice_endsTheProcess();
    void openAgain_startsOver();
    void close_letsGoAndKeepsTheStart();
    void closeAndOpen_placesAnew();
    void readData_isCopiedToTheWaveform();
    void readDataFailed_isNotCopied();
    void waveformSwitchedOff_isNotWritten();
    void qtRead_deliversWholePeriods();
    void bytesAvailable_isAlwaysZero();
    void bytesAvailableWhileClosed_endsTheProcess();
    void device_isSequentialAndReadOnly();
    void checkDeltaBeforeTheFirstFrame_isFalse();
    void checkDelta_toleratesTheMaxDelay_data();
    void checkDelta_toleratesTheMaxDelay();
    void checkDelta_changesNothing();
};

void AudioReaderTest::construct_hasDefaults()
{
    AudioReader const reader;

    QCOMPARE(reader.delay(), qint64{200000});
    QCOMPARE(reader.maxDelay(), qint64{300000});
    QCOMPARE(reader.startTimestamp(), qint64{0});
    QVERIFY(!reader.format().isValid());
    QVERIFY(!reader.isOpen());
    QCOMPARE(reader.reanchors(), qint64{0});
    QCOMPARE(reader.silentFrames(), qint64{0});
    QCOMPARE(reader.underruns(), qint64{0});
    QVERIFY(!reader.parent());
    QObject parent;
    QCOMPARE((new AudioReader(&parent))->parent(), &parent);
}

void AudioReaderTest::open_asksForTheFormatOnly()
{
    Bench bench;

    QVERIFY(bench.reader.open(&bench.source, pcm(48000, 2), true));

    QCOMPARE(bench.audio.takeCalls(), QStringList(QStringLiteral("format")));
    QCOMPARE(bench.reader.openMode(), QIODevice::OpenMode(QIODevice::ReadOnly));
    QCOMPARE(bench.reader.format(), pcm(48000, 2));
    // A resampler would tell of itself.
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void AudioReaderTest::openWithoutRequiredAudio_failsQuietly()
{
    Bench bench;
    bench.audio.format = QAudioFormat();

    QVERIFY(!bench.open(true));

    QVERIFY(!bench.reader.isOpen());
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void AudioReaderTest::openWithoutAudio_deliversSilence()
{
    Bench bench;
    bench.audio.format = QAudioFormat();

    QVERIFY(bench.open(false));

    QVERIFY(bench.reader.isOpen());
    for (int i = 0; i < 3; ++i)
        QCOMPARE(bench.readFrames(480), silence(480));
    QCOMPARE(bench.audio.takeCalls(),
        QStringList(QVector<QString>(3, QStringLiteral("format")).toList()));
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void AudioReaderTest::openAfterFailure_succeeds()
{
    Bench bench;
    bench.audio.format = QAudioFormat();
    QVERIFY(!bench.open(true));
    bench.audio.format = pcm(48000, 2);

    // The failed one has left no source behind, which would end the process.
    QVERIFY(bench.open(true));
}

void AudioReaderTest::openFailed_hasTheFormatAllTheSame()
{
    Bench bench;
    bench.audio.format = QAudioFormat();

    QVERIFY(!bench.reader.open(&bench.source, pcm(32000, 1), true));

    QCOMPARE(bench.reader.format(), pcm(32000, 1));
}

void AudioReaderTest::openNullSource_endsTheProcess()
{
    Bench bench;

    QCOMPARE(assertion([&] { bench.reader.open(nullptr, pcm(48000, 2), false); }),
        QStringLiteral("source != nullptr"));
    // It is looked at first.
    QVERIFY(bench.open());
    QCOMPARE(assertion([&] { bench.reader.open(nullptr, pcm(48000, 2), false); }),
        QStringLiteral("source != nullptr"));
}

void AudioReaderTest::openTwice_endsTheProcess()
{
    Bench bench;
    QVERIFY(bench.open());

    QCOMPARE(assertion([&] { bench.open(); }), QStringLiteral("mSource == nullptr"));
}

void AudioReaderTest::openAgain_startsOver()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.available = 0;
    bench.readFrames(480);
    bench.audio.last += 1000000;
    bench.readFrames(480);
    QCOMPARE(bench.reader.underruns(), qint64{2});
    QCOMPARE(bench.reader.silentFrames(), qint64{960});
    QCOMPARE(bench.reader.reanchors(), qint64{1});
    // It had read 10 ms since it was placed.
    QCOMPARE(bench.reader.skippedTime(), qint64{990000});
    bench.reader.close();

    QVERIFY(bench.open());

    QCOMPARE(bench.reader.startTimestamp(), qint64{0});
    QCOMPARE(bench.reader.underruns(), qint64{0});
    QCOMPARE(bench.reader.silentFrames(), qint64{0});
    QCOMPARE(bench.reader.reanchors(), qint64{0});
    QCOMPARE(bench.reader.skippedTime(), qint64{0});
}

void AudioReaderTest::close_letsGoAndKeepsTheStart()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);

    bench.reader.close();

    QVERIFY(!bench.reader.isOpen());
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
    QCOMPARE(bench.reader.format(), pcm(48000, 2));
}

void AudioReaderTest::closeAndOpen_placesAnew()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.reader.close();
    bench.audio.last += 50000;
    QVERIFY(bench.open());

    bench.readFrames(480);

    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now + 50000 - 200000));
    QCOMPARE(bench.reader.reanchors(), qint64{0});
}

void AudioReaderTest::readData_isCopiedToTheWaveform()
{
    Bench bench;
    QBuffer waveform;
    QVERIFY(waveform.open(QIODevice::WriteOnly));
    bench.reader.setWaveformOutput(&waveform);
    QVERIFY(bench.open());
    bench.audio.available = 300;
    QByteArray data(480 * FrameSize, char(0xff));

    QCOMPARE(bench.reader.readData(data.data(), data.size()), qint64{data.size()});

    // The silence as well.
    QCOMPARE(waveform.data(), counting(1, 300) + silence(180));
    QCOMPARE(waveform.data(), data);
    QCOMPARE(bench.reader.readData(data.data(), 0), qint64{0});
    QCOMPARE(waveform.data().size(), 480 * FrameSize);
}

void AudioReaderTest::readDataFailed_isNotCopied()
{
    Bench bench;
    QBuffer waveform;
    QVERIFY(waveform.open(QIODevice::WriteOnly));
    bench.reader.setWaveformOutput(&waveform);
    QVERIFY(bench.open(true));
    bench.audio.format = QAudioFormat();
    char data[480 * FrameSize];

    QCOMPARE(bench.reader.readData(data, sizeof(data)), qint64{-1});

    QVERIFY(waveform.data().isEmpty());
}

void AudioReaderTest::waveformSwitchedOff_isNotWritten()
{
    Bench bench;
    QBuffer waveform;
    QVERIFY(waveform.open(QIODevice::WriteOnly));
    bench.reader.setWaveformOutput(&waveform);
    QVERIFY(bench.open());
    char data[480 * FrameSize];
    QCOMPARE(bench.reader.readData(data, sizeof(data)), qint64{sizeof(data)});

    bench.reader.setWaveformOutput(nullptr);
    QCOMPARE(bench.reader.readData(data, sizeof(data)), qint64{sizeof(data)});

    QCOMPARE(waveform.data().size(), 480 * FrameSize);
}

void AudioReaderTest::qtRead_deliversWholePeriods()
{
    Bench bench;
    QVERIFY(bench.open());

    // The way of an audio output.
    QByteArray sound;
    while (sound.size() < 100000)
        sound += bench.reader.read(3840);

    QCOMPARE(sound.size() % 3840, 0);
    QCOMPARE(sound, counting(1, sound.size() / FrameSize));
}

void AudioReaderTest::bytesAvailable_isAlwaysZero()
{
    Bench bench;
    QVERIFY(bench.open());

    QCOMPARE(bench.reader.bytesAvailable(), qint64{0});
    bench.readFrames(480);
    QCOMPARE(bench.reader.bytesAvailable(), qint64{0});
}

void AudioReaderTest::bytesAvailableWhileClosed_endsTheProcess()
{
    Bench bench;

    QCOMPARE(
        assertion([&] { bench.reader.bytesAvailable(); }), QStringLiteral("mSource != nullptr"));
    QVERIFY(bench.open());
    bench.reader.close();
    QCOMPARE(
        assertion([&] { bench.reader.bytesAvailable(); }), QStringLiteral("mSource != nullptr"));
}

void AudioReaderTest::device_isSequentialAndReadOnly()
{
    Bench bench;
    QVERIFY(bench.open());

    QVERIFY(bench.reader.isSequential());
    QVERIFY(!bench.reader.seek(0));
    QCOMPARE(bench.reader.writeData("four", 4), qint64{0});
}

void AudioReaderTest::checkDeltaBeforeTheFirstFrame_isFalse()
{
    StillClock clock;
    Bench bench;
    QVERIFY(!bench.reader.check_delta());
    QVERIFY(bench.open());
    bench.audio.available = 0;
    bench.readFrames(480);
    clock.advance(10000);

    QVERIFY(!bench.reader.check_delta());

    QCOMPARE(fakelogger::takeCalls(QStringLiteral("info")), QStringList());
}

void AudioReaderTest::checkDelta_toleratesTheMaxDelay_data()
{
    QTest::addColumn<int>("elapsedMs");
    QTest::addColumn<qint64>("maxDelay");
    QTest::addColumn<QString>("line");

    // 100 ms were consumed.
    QString const none;
    QString const start =
        QStringLiteral("info: check_delta: 1699999999800000, 1699999999900000, 100000, ");
    QTest::newRow("in step") << 100 << qint64{0} << none;
    QTest::newRow("late, as far as allowed") << 400 << qint64{300000} << none;
    QTest::newRow("late, beyond") << 400 << qint64{299999}
                                  << start + QStringLiteral("400000, 300000");
    QTest::newRow("early, as far as allowed") << 0 << qint64{100000} << none;
    QTest::newRow("early, beyond") << 0 << qint64{99999} << start + QStringLiteral("0, -100000");
}

void AudioReaderTest::checkDelta_toleratesTheMaxDelay()
{
    QFETCH(int, elapsedMs);
    QFETCH(qint64, maxDelay);
    QFETCH(QString, line);
    StillClock clock;
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(4800);
    bench.reader.setMaxDelay(maxDelay);
    clock.advance(elapsedMs);

    QCOMPARE(bench.reader.check_delta(), !line.isEmpty());

    QCOMPARE(fakelogger::takeCalls(QStringLiteral("info")).join(QLatin1Char('|')), line);
}

void AudioReaderTest::checkDelta_changesNothing()
{
    StillClock clock;
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    clock.advance(10000);
    bench.audio.takeCalls();

    QVERIFY(bench.reader.check_delta());
    QVERIFY(bench.reader.check_delta());

    QCOMPARE(bench.audio.takeCalls(), QStringList());
    bench.readFrames(480);
    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 190000));
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioReaderTest)
#include "tst_audioreader.moc"
