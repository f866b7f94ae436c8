#include "utils/audioreader.h"

#include <vector>

#include <QBuffer>
#include <QCoreApplication>
#include <QRegularExpression>

#include "dyingwords.h"
#include "fakeaudio.h"
#include "fakelogger.h"
#include "messagecheck.h"
#include "pcmformat.h"
#include "stillclock.h"
#include "utils/mediasource.h"

namespace {

constexpr qint64 Now = 1700000000000000;
constexpr int FrameSize = 4;

/** The written form of the calls of a read without conversion. */
QStringList directRead(int frames, qint64 timestamp)
{
    return {QStringLiteral("format"), QStringLiteral("last"),
        QStringLiteral("grab 3 %1 %2").arg(frames).arg(timestamp)};
}

QByteArray silence(int frames)
{
    return QByteArray(frames * FrameSize, 0);
}

/** Samples that count up from @p first. */
QByteArray counting(int first, int frames)
{
    QVector<qint16> samples;
    for (int i = 0; i < 2 * frames; ++i)
        samples.append(static_cast<qint16>(first + i));
    return QByteArray(reinterpret_cast<char const*>(samples.constData()), frames * FrameSize);
}

/** Lets the test at what only a base class may call. */
class OpenedUp : public AudioReader
{
public:
    using AudioReader::readData;
    using AudioReader::writeData;
};

/** Sound of 48 kHz stereo, and a reader of it. */
struct Bench
{
    FakeAudio audio{pcm(48000, 2), Now};
    MediaSource source{QStringLiteral("camera")};
    OpenedUp reader;

    Bench() { fakelogger::takeCalls(); }

    bool open(bool requireAudio = true)
    {
        bool const opened = reader.open(&source, pcm(48000, 2), requireAudio);
        audio.takeCalls();
        return opened;
    }

    /** What a read of so many bytes delivers into memory full of ones. */
    QByteArray read(qint64 size, qint64* result = nullptr)
    {
        QByteArray data(static_cast<int>(size), char(0xff));
        qint64 const answer = reader.readDataInternal(data.data(), size);
        if (result)
            *result = answer;
        return data;
    }

    QByteArray readFrames(int frames) { return read(frames * FrameSize); }
};

/** Tells what the assertion was, when @p misuse ends the process with one of the reader's. */
QString assertion(std::function<void()> const& misuse)
{
    QRegularExpression const form(
        QStringLiteral("^ASSERT: \"(.*)\" in file utils/audioreader, line \\d+\n$"));
    return form.match(QString::fromLocal8Bit(dyingWords(misuse))).captured(1);
}

} // namespace

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

    void readData_isCopiedToTheWaveform();
    void readDataFailed_isNotCopied();
    void waveformSwitchedOff_isNotWritten();
    void qtRead_deliversWholePeriods();

    void bytesAvailable_isAlwaysZero();
    void bytesAvailableWhileClosed_endsTheProcess();
    void device_isSequentialAndReadOnly();

    void trace_tellsWhatWasGot();
    void silence_isCountedFromTheFirstFrameOn();
    void silenceWithoutAudio_isCounted();

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
    bench.reader.close();

    QVERIFY(bench.open());

    QCOMPARE(bench.reader.startTimestamp(), qint64{0});
    QCOMPARE(bench.reader.underruns(), qint64{0});
    QCOMPARE(bench.reader.silentFrames(), qint64{0});
    QCOMPARE(bench.reader.reanchors(), qint64{0});
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

void AudioReaderTest::readNothing_asksNothing()
{
    Bench bench;
    QVERIFY(bench.open());

    QCOMPARE(bench.reader.readDataInternal(nullptr, 0), qint64{0});

    QCOMPARE(bench.audio.takeCalls(), QStringList());
}

void AudioReaderTest::readWhileClosed_endsTheProcess()
{
    Bench bench;

    QCOMPARE(assertion([&] { bench.readFrames(1); }), QStringLiteral("mSource != nullptr"));
}

void AudioReaderTest::firstRead_isTheDelayBehind()
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

void AudioReaderTest::firstReadLongerThanTheDelay_isItsLengthBehind()
{
    Bench bench;
    QVERIFY(bench.open());

    bench.read(76800);

    QCOMPARE(bench.audio.takeCalls(), directRead(19200, Now - 400000));
}

void AudioReaderTest::nextRead_goesOnWhereTheLastEnded()
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

void AudioReaderTest::sound_goesStraightToTheCaller()
{
    Bench bench;
    QVERIFY(bench.open());
    char data[480 * FrameSize];

    QCOMPARE(bench.reader.readDataInternal(data, sizeof(data)), qint64{sizeof(data)});

    QCOMPARE(bench.audio.destination, static_cast<void const*>(data));
}

void AudioReaderTest::shortRead_endsInSilence()
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

void AudioReaderTest::readOfNothingThere_isSilenceAndKeepsThePosition()
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

void AudioReaderTest::readerAheadOfTheLiveEdge_isNotCorrected()
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

void AudioReaderTest::readerAsFarBehindAsAllowed_isKept()
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

void AudioReaderTest::readerTooFarBehind_isPlacedAnew()
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

void AudioReaderTest::longReadTooFarBehind_isPlacedItsLengthBehind()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.readFrames(480);
    bench.audio.takeCalls();
    bench.audio.last += 1000000;

    bench.readFrames(12000);

    QCOMPARE(bench.audio.takeCalls(), directRead(12000, bench.audio.last - 250000));
}

void AudioReaderTest::newDelay_countsWhenPlacedNext()
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

void AudioReaderTest::newMaxDelay_countsAtOnce()
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

void AudioReaderTest::resetTimer_placesAnew()
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

void AudioReaderTest::readOfPartOfAFrame_isFilledToTheLastWholeOne()
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

void AudioReaderTest::audioGoneAndRequired_isAnError()
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

void AudioReaderTest::audioGoneAndNotRequired_isSilence()
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

void AudioReaderTest::audioVanishingDuringRead_isAnErrorWhenRequired()
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

void AudioReaderTest::audioVanishingDuringRead_isSilenceWhenNotRequired()
{
    Bench bench;
    QVERIFY(bench.open(false));
    bench.audio.laterFormats = {QAudioFormat()};
    bench.audio.available = 0;

    QCOMPARE(bench.readFrames(480), silence(480));

    QCOMPARE(bench.audio.takeCalls(),
        directRead(480, Now - 200000) + QStringList(QStringLiteral("format")));
}

void AudioReaderTest::audioThatComesLater_isHeard()
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

void AudioReaderTest::trace_tellsWhatWasGot()
{
    Bench bench;
    QVERIFY(bench.open());
    bench.audio.available = 300;

    bench.readFrames(480);

    QCOMPARE(fakelogger::takeCalls(),
        QStringList(QStringLiteral(
            "trace: Audio reader got 300/480 samples at 1699999999800000 (-200000)")));
}

void AudioReaderTest::silence_isCountedFromTheFirstFrameOn()
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

void AudioReaderTest::silenceWithoutAudio_isCounted()
{
    Bench bench;
    QVERIFY(bench.open(false));
    bench.readFrames(480);
    bench.audio.format = QAudioFormat();

    bench.readFrames(480);

    QCOMPARE(bench.reader.underruns(), qint64{1});
    QCOMPARE(bench.reader.silentFrames(), qint64{480});
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
