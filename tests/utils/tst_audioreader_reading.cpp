#include "utils/audioreader.h"

#include <QCoreApplication>

#include "messagecheck.h"
#include "readerbench.h"

class AudioReaderReadingTest : public QObject
{
    Q_OBJECT

private slots:
    void readNothing_asksNothing();
    void readWhileClosed_endsTheProcess();
    void firstRead_isTheDelayBehind();
    void firstReadLongerThanTheDelay_isItsLengthBehind();
    void nextRead_goesOnWhereTheLastEnded();
    void sound_goesStraightToTheCaller();
    void shortRead_endsInSilence();
    void readOfNothingThere_isSilenceAndKeepsThePosition();
    void readerAheadOfTheLiveEdge_isNotCorrected();
    void readerAsFarBehindAsAllowed_isKept();
    void readerTooFarBehind_isPlacedAnew();
    void longReadTooFarBehind_isPlacedItsLengthBehind();
    void newDelay_countsWhenPlacedNext();
    void newMaxDelay_countsAtOnce();
    void resetTimer_placesAnew();
    void readOfPartOfAFrame_isFilledToTheLastWholeOne();
    void audioGoneAndRequired_isAnError();
    void audioGoneAndNotRequired_isSilence();
    void audioVanishingDuringRead_isAnErrorWhenRequired();
    void audioVanishingDuringRead_isSilenceWhenNotRequired();
    void audioThatComesLater_isHeard();
    void trace_tellsWhatWasGot();
    void silence_isCountedFromTheFirstFrameOn();
    void silenceWithoutAudio_isCounted();
};

void AudioReaderReadingTest::readNothing_asksNothing()
{
    Bench bench;
    QVERIFY(bench.open());

    QCOMPARE(bench.reader.readDataInternal(nullptr, 0), qint64{0});

    QCOMPARE(bench.audio.takeCalls(), QStringList());
}

void AudioReaderReadingTest::readWhileClosed_endsTheProcess()
{
    Bench bench;

    QCOMPARE(assertion([&] { bench.readFrames(1); }), QStringLiteral("mSource != nullptr"));
}

void AudioReaderReadingTest::firstRead_isTheDelayBehind()
{
    Bench bench;
    QVERIFY(bench.open());
    qint64 result = 0;

    QByteArray const data = bench.read(19200, &result);

    QCOMPARE(result, qint64{19200});
    QCOMPARE(data, counting(1, 4800));
    QCOMPARE(bench.audio.takeCalls(), directRead(4800, Now - 200000));
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
}

void AudioReaderReadingTest::firstReadLongerThanTheDelay_isItsLengthBehind()
{
    Bench bench;
    QVERIFY(bench.open());

    bench.read(76800);

    QCOMPARE(bench.audio.takeCalls(), directRead(19200, Now - 400000));
}

void AudioReaderReadingTest::nextRead_goesOnWhereTheLastEnded()
{
    Bench bench;
    QVERIFY(bench.open());
    QCOMPARE(bench.readFrames(1000), counting(1, 1000));
    bench.audio.takeCalls();
    bench.audio.last += 20833;

    QCOMPARE(bench.readFrames(1000), counting(2001, 1000));
    // The position is a whole number of microseconds.
    QCOMPARE(bench.audio.takeCalls(), directRead(1000, Now - 200000 + 20833));

    bench.readFrames(1000);
    QCOMPARE(bench.audio.takeCalls(), directRead(1000, Now - 200000 + 2 * 20833));
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
    QCOMPARE(bench.reader.underruns(), qint64{0});
}

void AudioReaderReadingTest::sound_goesStraightToTheCaller()
{
    Bench bench;
    QVERIFY(bench.open());
    char data[480 * FrameSize];

    QCOMPARE(bench.reader.readDataInternal(data, sizeof(data)), qint64{sizeof(data)});

    QCOMPARE(bench.audio.destination, static_cast<void const*>(data));
}

void AudioReaderReadingTest::shortRead_endsInSilence()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.audio.available = 300;
    qint64 result = 0;

    QByteArray const data = bench.read(480 * FrameSize, &result);

    QCOMPARE(result, qint64{480 * FrameSize});
    QCOMPARE(data, counting(1, 300) + silence(180));
    QCOMPARE(bench.audio.takeCalls(),
        directRead(480, Now - 200000) + QStringList(QStringLiteral("format")));
    // Only what was there counts.
    bench.readFrames(480);
    QCOMPARE(
        bench.audio.takeCalls().value(2), QStringLiteral("grab 3 480 %1").arg(Now - 200000 + 6250));
}

void AudioReaderReadingTest::readOfNothingThere_isSilenceAndKeepsThePosition()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.audio.available = 0;

    QCOMPARE(bench.readFrames(480), silence(480));
    QCOMPARE(bench.reader.startTimestamp(), qint64{0});
    bench.audio.takeCalls();
    QCOMPARE(bench.readFrames(480), silence(480));

    QCOMPARE(bench.audio.takeCalls(),
        directRead(480, Now - 200000) + QStringList(QStringLiteral("format")));
    bench.audio.available = 480;
    QCOMPARE(bench.readFrames(480), counting(1, 480));
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
}

void AudioReaderReadingTest::readerAheadOfTheLiveEdge_isNotCorrected()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.last -= 5000000;
    bench.audio.takeCalls();

    bench.readFrames(480);

    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 190000));
    QCOMPARE(bench.reader.reanchors(), qint64{0});
}

void AudioReaderReadingTest::readerAsFarBehindAsAllowed_isKept()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();
    bench.audio.last = Now - 190000 + 300000;

    bench.readFrames(480);

    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 190000));
    QCOMPARE(bench.reader.reanchors(), qint64{0});
}

void AudioReaderReadingTest::readerTooFarBehind_isPlacedAnew()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();
    bench.audio.last = Now - 190000 + 300001;

    bench.readFrames(480);

    QCOMPARE(bench.audio.takeCalls(), directRead(480, bench.audio.last - 200000));
    QCOMPARE(bench.reader.reanchors(), qint64{1});
    // What was heard first stays what it was.
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
}

void AudioReaderReadingTest::longReadTooFarBehind_isPlacedItsLengthBehind()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();
    bench.audio.last += 1000000;

    bench.readFrames(12000);

    QCOMPARE(bench.audio.takeCalls(), directRead(12000, bench.audio.last - 250000));
}

void AudioReaderReadingTest::newDelay_countsWhenPlacedNext()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();

    bench.reader.setDelay(50000);

    QCOMPARE(bench.reader.delay(), qint64{50000});
    bench.readFrames(480);
    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 190000));
    bench.audio.last += 1000000;
    bench.readFrames(480);
    QCOMPARE(bench.audio.takeCalls(), directRead(480, bench.audio.last - 50000));
}

void AudioReaderReadingTest::newMaxDelay_countsAtOnce()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();

    bench.reader.setMaxDelay(189999);

    QCOMPARE(bench.reader.maxDelay(), qint64{189999});
    bench.readFrames(480);
    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 200000));
    QCOMPARE(bench.reader.reanchors(), qint64{1});
}

void AudioReaderReadingTest::resetTimer_placesAnew()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();

    bench.reader.resetTimer();

    QCOMPARE(bench.reader.startTimestamp(), qint64{0});
    bench.readFrames(480);
    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 200000));
    QCOMPARE(bench.reader.startTimestamp(), Now - 200000);
    QCOMPARE(bench.reader.reanchors(), qint64{0});
}

void AudioReaderReadingTest::readOfPartOfAFrame_isFilledToTheLastWholeOne()
{
    Bench bench;
    QVERIFY(bench.open());
    qint64 result = 0;

    QByteArray const data = bench.read(2 * FrameSize + 3, &result);

    QCOMPARE(result, qint64{2 * FrameSize + 3});
    QCOMPARE(data.left(2 * FrameSize), counting(1, 2));
    bench.audio.takeCalls();
    QCOMPARE(bench.reader.readDataInternal(QByteArray(3, 0).data(), 3), qint64{3});
    QCOMPARE(bench.audio.takeCalls(), directRead(0, Now - 200000 + 41));
}

void AudioReaderReadingTest::audioGoneAndRequired_isAnError()
{
    Bench bench;
    QVERIFY(bench.open(true));
    bench.readFrames(480);
    bench.audio.takeCalls();
    bench.audio.format = QAudioFormat();
    qint64 result = 0;

    bench.read(480 * FrameSize, &result);

    QCOMPARE(result, qint64{-1});
    QCOMPARE(bench.audio.takeCalls(), QStringList(QStringLiteral("format")));
}

void AudioReaderReadingTest::audioGoneAndNotRequired_isSilence()
{
    Bench bench;
    QVERIFY(bench.open(false));
    bench.readFrames(480);
    bench.audio.takeCalls();
    bench.audio.format = QAudioFormat();
    qint64 result = 0;

    QByteArray const data = bench.read(480 * FrameSize + 3, &result);

    QCOMPARE(result, qint64{480 * FrameSize + 3});
    QCOMPARE(data, silence(480) + QByteArray(3, 0));
    QCOMPARE(bench.audio.takeCalls(), QStringList(QStringLiteral("format")));
}

void AudioReaderReadingTest::audioVanishingDuringRead_isAnErrorWhenRequired()
{
    Bench bench;
    QVERIFY(bench.open(true));
    bench.audio.laterFormats = {QAudioFormat()};
    bench.audio.available = 0;
    qint64 result = 0;

    bench.read(480 * FrameSize, &result);

    QCOMPARE(result, qint64{-1});
    QCOMPARE(bench.audio.takeCalls(),
        directRead(480, Now - 200000) + QStringList(QStringLiteral("format")));
    QCOMPARE(fakelogger::takeCalls(QStringLiteral("error")), QStringList());
}

void AudioReaderReadingTest::audioVanishingDuringRead_isSilenceWhenNotRequired()
{
    Bench bench;
    QVERIFY(bench.open(false));
    bench.audio.laterFormats = {QAudioFormat()};
    bench.audio.available = 0;

    QCOMPARE(bench.readFrames(480), silence(480));

    QCOMPARE(bench.audio.takeCalls(),
        directRead(480, Now - 200000) + QStringList(QStringLiteral("format")));
}

void AudioReaderReadingTest::audioThatComesLater_isHeard()
{
    Bench bench;
    bench.audio.format = QAudioFormat();
    QVERIFY(bench.open(false));
    QCOMPARE(bench.readFrames(480), silence(480));
    bench.audio.format = pcm(48000, 2);
    bench.audio.takeCalls();

    QCOMPARE(bench.readFrames(480), counting(1, 480));

    QCOMPARE(bench.audio.takeCalls(), directRead(480, Now - 200000));
    QCOMPARE(bench.reader.underruns(), qint64{0});
}

void AudioReaderReadingTest::trace_tellsWhatWasGot()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.audio.available = 300;

    bench.readFrames(480);

    QCOMPARE(fakelogger::takeCalls(),
        QStringList(QStringLiteral(
            "trace: Audio reader got 300/480 samples at 1699999999800000 (-200000)")));
}

void AudioReaderReadingTest::silence_isCountedFromTheFirstFrameOn()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.audio.available = 0;
    bench.readFrames(480);
    QCOMPARE(bench.reader.underruns(), qint64{0});
    QCOMPARE(bench.reader.silentFrames(), qint64{0});

    bench.audio.available = 480;
    bench.readFrames(480);
    QCOMPARE(bench.reader.underruns(), qint64{0});
    bench.audio.available = 300;
    bench.readFrames(480);
    bench.audio.available = 0;
    bench.readFrames(480);

    QCOMPARE(bench.reader.underruns(), qint64{2});
    QCOMPARE(bench.reader.silentFrames(), qint64{180 + 480});
}

void AudioReaderReadingTest::silenceWithoutAudio_isCounted()
{
    Bench bench;
    QVERIFY(bench.open(false));
    bench.readFrames(480);
    bench.audio.format = QAudioFormat();

    bench.readFrames(480);

    QCOMPARE(bench.reader.underruns(), qint64{1});
    QCOMPARE(bench.reader.silentFrames(), qint64{480});
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioReaderReadingTest)
#include "tst_audioreader_reading.moc"
