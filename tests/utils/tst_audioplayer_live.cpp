// Sound through the whole way: published by another process, played on PulseAudio's null sink, and
// recorded from the sink's monitor. The recording's times are up to 20 ms off, see
// tst_soundrecorder.cpp.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include <signal.h>

#include <QAudioDeviceInfo>
#include <QAudioOutput>
#include <QBuffer>
#include <QSignalSpy>
#include <QTest>

#include "fakelogger.h"
#include "messagecheck.h"
#include "publishprocess.h"
#include "soundanalysis.h"
#include "soundrecorder.h"
#include "utils/audioplayer.h"
#include "utils/mediasource.h"

using namespace soundanalysis;

namespace {

constexpr int Rate = SoundRecording::Rate;
constexpr qint64 Second = 1000000;
constexpr qint64 Milliseconds = 1000;
constexpr qint64 TimeBaseError = 20 * Milliseconds;

// What the publisher's test sound is made of.
constexpr double LeftTone = 440;
constexpr double RightTone = 660;
constexpr double ToneLevel = 2000;
constexpr int ClickLevel = 10000;

QString const NullSink = QStringLiteral("qvorlin_null");

qint64 wallClock()
{
    return QDateTime::currentMSecsSinceEpoch() * Milliseconds;
}

double decibels(double ratio)
{
    return 20 * std::log10(ratio);
}

/** What the recording holds of that time. */
Part heard(SoundRecording const& recording, qint64 from, qint64 to, bool right = false)
{
    return Part(right ? recording.right() : recording.left(), recording.indexAt(from),
        recording.indexAt(to));
}

/** The longest stretch of that time in which no click is. */
Part toneBetweenClicks(SoundRecording const& recording, qint64 from, qint64 to, bool right = false)
{
    constexpr int margin = Rate / 50;
    Part const all = heard(recording, from, to, right);
    std::vector<int> ends = findClicks(all, ClickLevel / 4, Rate);
    ends.push_back(all.count + margin);
    Part longest;
    int begin = 0;
    for (int const end : ends) {
        if (end - margin - begin > longest.count) {
            longest.samples = all.samples + begin;
            longest.count = end - margin - begin;
        }
        begin = end + margin;
    }
    return longest;
}

/** How far a tone may be off. */
struct Bounds
{
    double level;     /**< dB */
    double frequency; /**< Hz */
    double rest;      /**< RMS of what isn't the tone */
};

/** Whether a stretch of more than half a second is the publisher's tone. */
bool isTone(Part const& part, double expected, Bounds const& bounds)
{
    Tone const tone = fitTone(part, expected, Rate);
    double const frequency = toneFrequency(part, expected, Rate);
    bool const good = part.count > Rate / 2 &&
                      std::abs(decibels(tone.amplitude / ToneLevel)) < bounds.level &&
                      std::abs(frequency - expected) < bounds.frequency && tone.rest < bounds.rest;
    if (!good) {
        qCritical("%d frames of %f Hz, amplitude %f, rest %f", part.count, frequency,
            tone.amplitude, tone.rest);
    }
    return good;
}

/** How much later than its timestamp, the full second, a click is heard. */
qint64 lateness(SoundRecording const& recording, int click)
{
    return recording.timeOf(click) % Second;
}

QStringList publishing(QString const& name, char const* options = "")
{
    return arguments(QStringLiteral("--no-video ") + QLatin1String(options), name);
}

} // namespace

class AudioPlayerLiveTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void device_isPlayedOn_data();
    void device_isPlayedOn();
    void unknownDevice_isRefusedAndThePreviousPlays();
    void tone_isHeardAsPublished();
    void monoOfOtherRate_isHeardOnBothSides();
    void volumeAndMute_areHeard();
    void playedTime_ascends();
    void delayBelowOutputsBuffer_isHeardWithinTheTwo();
    void delays_areHeardApart();
    void publisherRestarted_isSilentAndHeardAgain_data();
    void publisherRestarted_isSilentAndHeardAgain();

private:
    AudioPlayer* player() { return AudioPlayer::getInstance(); }
    static bool hasSound(MediaSource& source);
    bool play();
    bool waitForTone(qint64 from);
    qint64 latenessFromStart(qint64 delay, qint64 expected);

    std::unique_ptr<SoundRecorder> mListener;
    qint64 mBuffer = 0;
    qint64 mPeriod = 0;
    std::unique_ptr<PublishProcess> mPublisher;
    std::unique_ptr<MediaSource> mSource;
    std::unique_ptr<SoundRecorder> mRecorder;
};

void AudioPlayerLiveTest::initTestCase()
{
    // While nobody listens with low latency, the sink takes two seconds at a time. What it has
    // taken ahead still has to pass.
    mListener = std::make_unique<SoundRecorder>();
    QVERIFY2(mListener->isRecording(), "no sound server");
    QString const name = uniqueName();
    mPublisher = std::make_unique<PublishProcess>(publishing(name));
    mSource = std::make_unique<MediaSource>(name);
    QTest::qWait(2500);
    QVERIFY(hasSound(*mSource));

    // What an output of the tests' format takes ahead.
    QAudioDeviceInfo const device = QAudioDeviceInfo::defaultOutputDevice();
    QAudioOutput output(device, device.preferredFormat());
    QByteArray silence(100000, '\0');
    QBuffer buffer(&silence);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    output.start(&buffer);
    mBuffer = output.format().durationForBytes(output.bufferSize());
    mPeriod = output.format().durationForBytes(output.periodSize());
    QVERIFY(mBuffer > 0);
    QVERIFY(mPeriod > 0);
}

void AudioPlayerLiveTest::cleanupTestCase()
{
    mSource.reset();
    mPublisher.reset();
    mListener.reset();
}

void AudioPlayerLiveTest::init()
{
    mRecorder = std::make_unique<SoundRecorder>();
    QVERIFY(mRecorder->isRecording());
    QVERIFY(player()->setDevice(NullSink));
    // Twice what the output takes ahead, so that sound goes on without a gap from the start.
    player()->setDelay(2 * mBuffer);
    player()->setMaxDelay(4 * mBuffer);
    fakelogger::takeCalls();
}

void AudioPlayerLiveTest::cleanup()
{
    AudioPlayer::teardown();
    mRecorder.reset();
    fakelogger::takeCalls();
}

/** Waits for all the sound that a test may ask for when it starts. */
bool AudioPlayerLiveTest::hasSound(MediaSource& source)
{
    constexpr unsigned long frames = Rate * 8 / 10;
    return QTest::qWaitFor([&] { return source.grabAudio(frames, 0L).isValid(); }, 20000);
}

bool AudioPlayerLiveTest::play()
{
    return player()->start(mSource.get(), 25, true);
}

/** Waits for the tone at any time after @p from. */
bool AudioPlayerLiveTest::waitForTone(qint64 from)
{
    return QTest::qWaitFor(
        [&] {
            SoundRecording const recording = mRecorder->recording();
            return peak(heard(recording, from, wallClock())) > ToneLevel / 10;
        },
        10000);
}

/**
 * Plays with that delay, and measures how late the clicks are once it has settled. A start that was
 * held up makes them later: with more than @p expected, it is tried again, and the least counts.
 */
qint64 AudioPlayerLiveTest::latenessFromStart(qint64 delay, qint64 expected)
{
    player()->setDelay(delay);
    player()->setMaxDelay(delay + Second);
    qint64 least = std::numeric_limits<qint64>::max();
    for (int i = 0; i < 3 && least > expected; ++i) {
        qint64 const start = wallClock();
        if (!play())
            return -1;
        // The output's first buffer, and a bit more than a second.
        QTest::qWait(static_cast<int>(2 * mBuffer / Milliseconds + 1200));
        player()->stop();
        SoundRecording const recording = mRecorder->recording();
        int const first = recording.indexAt(start + 2 * mBuffer);
        for (int const click :
            findClicks(Part(recording.left(), first, recording.size()), ClickLevel, Rate))
            least = std::min(least, lateness(recording, first + click));
    }
    return least;
}

void AudioPlayerLiveTest::device_isPlayedOn_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("name") << NullSink;
    QTest::newRow("default") << QStringLiteral("default");
}

void AudioPlayerLiveTest::device_isPlayedOn()
{
    QFETCH(QString, name);
    QVERIFY(player()->setDevice(name));
    QVERIFY(play());
    QVERIFY(waitForTone(0));
    QVERIFY(player()->isActive());
    QCOMPARE(player()->sampleRate(), 48000);
}

void AudioPlayerLiveTest::unknownDevice_isRefusedAndThePreviousPlays()
{
    for (QString const& name :
        {QStringLiteral("gramophone"), QStringLiteral("Default"), QStringLiteral("QVORLIN_NULL")}) {
        QVERIFY(!player()->setDevice(name));
        QCOMPARE(fakelogger::takeCalls().last(), QStringLiteral("warning: Audio device not found"));
    }
    QVERIFY(play());
    QVERIFY(waitForTone(0));
}

void AudioPlayerLiveTest::tone_isHeardAsPublished()
{
    QVERIFY(play());
    QVERIFY(waitForTone(0));
    qint64 const begin = wallClock();
    QTest::qWait(2000);

    SoundRecording const recording = mRecorder->recording();
    for (bool const right : {false, true}) {
        Part const part = toneBetweenClicks(recording, begin, begin + 1800 * Milliseconds, right);
        double const frequency = right ? RightTone : LeftTone;
        QVERIFY(isTone(part, frequency, {0.05, 0.01, 1}));
        QCOMPARE(findBreaks(part, frequency, 8, Rate).size(), size_t{0});
    }
    QCOMPARE(player()->underruns(), qint64{0});
    QCOMPARE(player()->reanchors(), qint64{0});
}

void AudioPlayerLiveTest::monoOfOtherRate_isHeardOnBothSides()
{
    QString const name = uniqueName();
    PublishProcess const publisher(publishing(name, "--audio-rate 44100 --channels 1"));
    MediaSource source(name);
    QVERIFY(hasSound(source));
    QVERIFY(player()->start(&source, 25, true));
    QVERIFY(waitForTone(0));
    qint64 const begin = wallClock();
    QTest::qWait(2000);

    SoundRecording const recording = mRecorder->recording();
    for (bool const right : {false, true}) {
        QVERIFY(isTone(toneBetweenClicks(recording, begin, begin + 1800 * Milliseconds, right),
            LeftTone, {0.1, 0.05, ToneLevel / 1000}));
    }
    player()->stop();
}

void AudioPlayerLiveTest::volumeAndMute_areHeard()
{
    player()->setVolume(0.5);
    QVERIFY(play());
    QVERIFY(waitForTone(0));
    // What is in the output's buffer keeps its volume.
    int const settling = static_cast<int>(2 * mBuffer / Milliseconds);
    auto const listen = [&](auto const& change) {
        change();
        QTest::qWait(settling);
        qint64 const begin = wallClock();
        QTest::qWait(700);
        SoundRecording const recording = mRecorder->recording();
        Part const part = toneBetweenClicks(recording, begin, begin + 600 * Milliseconds);
        return std::pair(fitTone(part, LeftTone, Rate).amplitude, peak(part));
    };

    double const half = listen([] {}).first;
    QVERIFY2(std::abs(decibels(half / ToneLevel * 2)) < 0.05, qPrintable(QString::number(half)));
    QCOMPARE(listen([this] { player()->setMute(true); }).second, 0);
    // Muted, this is heard only later.
    QCOMPARE(listen([this] { player()->setVolume(7); }).second, 0);
    double const full = listen([this] { player()->setMute(false); }).first;
    QVERIFY2(std::abs(decibels(full / ToneLevel)) < 0.05, qPrintable(QString::number(full)));
    QCOMPARE(listen([this] { player()->setVolume(-1); }).second, 0);
}

void AudioPlayerLiveTest::playedTime_ascends()
{
    QVector<qint64> played;
    connect(player(), &AudioPlayer::audioPlayed, this, [&](qint64 time) { played.append(time); });
    QVERIFY(play());
    // At 25 a second; a busy machine may miss some.
    QTRY_VERIFY_WITH_TIMEOUT(played.size() >= 40, 10000);

    // Nothing is there before the first sound.
    played.erase(
        played.begin(), std::find_if(played.begin(), played.end(), [](qint64 t) { return t > 0; }));
    QVERIFY(played.size() > 20);
    QVERIFY(std::is_sorted(played.begin(), played.end()));
    QVERIFY(played.last() - played.first() > Second / 2);
    QVERIFY(std::abs(wallClock() - played.last()) < Second);
    QVERIFY(player()->getPlayedTime() >= played.last());
    player()->stop();
    QCOMPARE(player()->getPlayedTime(), qint64{0});
}

void AudioPlayerLiveTest::delayBelowOutputsBuffer_isHeardWithinTheTwo()
{
    // The output fills its buffer at once, from a stream that doesn't hold as much: the rest is
    // silence, and what follows is heard after that.
    qint64 const delay = mBuffer - 100 * Milliseconds;
    qint64 const longest = delay + mBuffer + mPeriod + TimeBaseError;
    qint64 const late = latenessFromStart(delay, longest);
    QVERIFY2(late > mBuffer - mPeriod - TimeBaseError, qPrintable(QString::number(late)));
    QVERIFY2(late <= longest, qPrintable(QString::number(late)));
    QVERIFY(player()->underruns() > 0);
}

void AudioPlayerLiveTest::delays_areHeardApart()
{
    // Both longer than what the output takes ahead when it starts: that is in the stream already,
    // and comes out of the delay.
    constexpr qint64 shorter = 400 * Milliseconds;
    constexpr qint64 longer = 700 * Milliseconds;
    qint64 const first = latenessFromStart(shorter, shorter + TimeBaseError);
    QCOMPARE(player()->underruns(), qint64{0});
    qint64 const second = latenessFromStart(longer, longer + TimeBaseError);
    QVERIFY2(std::abs(first - shorter) <= TimeBaseError, qPrintable(QString::number(first)));
    QVERIFY2(std::abs(second - first - (longer - shorter)) <= TimeBaseError,
        qPrintable(QStringLiteral("%1, %2").arg(first).arg(second)));
}

void AudioPlayerLiveTest::publisherRestarted_isSilentAndHeardAgain_data()
{
    QTest::addColumn<bool>("requireAudio");

    QTest::newRow("sound required") << true;
    QTest::newRow("sound not required") << false;
}

void AudioPlayerLiveTest::publisherRestarted_isSilentAndHeardAgain()
{
    QFETCH(bool, requireAudio);
    QString const name = uniqueName();
    PublishProcess killed(publishing(name));
    MediaSource source(name);
    QVERIFY(hasSound(source));
    QSignalSpy stopped(player(), &AudioPlayer::playerStopped);
    QVERIFY(player()->start(&source, 25, requireAudio));
    QVERIFY(waitForTone(0));

    killed.stop(SIGKILL);
    // The reader's delay and the output's buffer still hold sound.
    QTest::qWait(1000);
    qint64 const silent = wallClock();
    QTest::qWait(700);
    SoundRecording recording = mRecorder->recording();
    Part const silence = heard(recording, silent, silent + 600 * Milliseconds);
    QVERIFY(silence.count > Rate / 2);
    QCOMPARE(peak(silence), 0);
    // Without sound, an output that requires it idles; one that doesn't goes on.
    QCOMPARE(player()->isActive(), !requireAudio);

    qint64 const restart = wallClock();
    PublishProcess const restarted(publishing(name));
    QVERIFY(waitForTone(restart));
    qint64 const begin = wallClock();
    QTest::qWait(2300);

    QVERIFY(player()->isActive());
    QCOMPARE(stopped.count(), 0);
    QVERIFY(player()->reanchors() >= 1);
    recording = mRecorder->recording();
    Part const again = toneBetweenClicks(recording, begin + Second, begin + 2200 * Milliseconds);
    QCOMPARE(peak(again), static_cast<int>(ToneLevel));
    // The output's buffer is full when the reader finds its new place, as far back as the delay or
    // as the young stream goes.
    int const first = recording.indexAt(begin);
    std::vector<int> const clicks =
        findClicks(Part(recording.left(), first, recording.size()), ClickLevel, Rate);
    QVERIFY(!clicks.empty());
    for (int const click : clicks) {
        qint64 const late = lateness(recording, first + click);
        QVERIFY2(late < player()->delay() + mBuffer + mPeriod + 2 * TimeBaseError,
            qPrintable(QString::number(late)));
    }
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioPlayerLiveTest)
#include "tst_audioplayer_live.moc"
