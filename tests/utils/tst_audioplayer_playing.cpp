#include <memory>
#include <type_traits>

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "audioplayerstage.h"
#include "messagecheck.h"
#include "virtualtime.h"

namespace {

constexpr qint64 LastAudio = AudioPlayerStage::LastAudio;
constexpr qint64 Milliseconds = 1000000;
constexpr qint64 WallClock = 1700000000000 * Milliseconds;

/** What the process has open of a file. */
int openDescriptors(QString const& path)
{
    int count = 0;
    QDir const descriptors(QStringLiteral("/proc/self/fd"));
    for (QString const& name : descriptors.entryList(QDir::Files | QDir::System)) {
        if (QFile::symLinkTarget(descriptors.filePath(name)) == path)
            ++count;
    }
    return count;
}

qint64 fileSize(QString const& path)
{
    return QFileInfo(path).size();
}

} // namespace

class AudioPlayerPlayingTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isActive_followsOutput();
    void sampleRate_isOfActiveOutput();
    void playedTime_countsWhatWasHeard();
    void playedTime_isZeroBeforeFirstFrame();
    void playedTime_isZeroWhileNotActive();

    void setVolume_isClamped_data();
    void setVolume_isClamped();
    void setVolume_reachesOutput();
    void mutedPlayer_keepsVolumeFromOutput();
    void mutedPlayer_startsWithoutSound();
    void volumeSlot_isFloatOfTheDouble();
    void properties_areReadAndWritten();
    void delays_reachReader();

    void notify_tellsPlayedTime();
    void clockShift_stopsAboveOneSecond_data();
    void clockShift_stopsAboveOneSecond();
    void start_forgetsClockShift();
    void outputStopped_stopsPlayer();
    void otherState_isOnlyLogged_data();
    void otherState_isOnlyLogged();

    void waveformFile_getsAllSound();
    void waveformFileOfEmptyName_changesNothing();
    void waveformFileThatFails_endsCopying();
    void replacedWaveformFile_staysOpen();
    void counters_areThoseOfReader();

private:
    AudioPlayer* player() { return AudioPlayer::getInstance(); }

    std::unique_ptr<AudioPlayerStage> mStage;
};

void AudioPlayerPlayingTest::init()
{
    mStage = std::make_unique<AudioPlayerStage>();
}

void AudioPlayerPlayingTest::cleanup()
{
    mStage.reset();
}

void AudioPlayerPlayingTest::isActive_followsOutput()
{
    QVERIFY(mStage->startPlaying());
    QVERIFY(player()->isActive());
    for (QAudio::State const state : {QAudio::SuspendedState, QAudio::IdleState}) {
        mStage->sound.setState(state);
        QVERIFY(!player()->isActive());
    }
    mStage->sound.setState(QAudio::ActiveState);
    QVERIFY(player()->isActive());
}

void AudioPlayerPlayingTest::sampleRate_isOfActiveOutput()
{
    auto const other = mStage->newSource(44100, 2);
    player()->setDevice(QStringLiteral("speaker"));
    QVERIFY(player()->start(other.get(), 25, true));
    QCOMPARE(player()->sampleRate(), 44100);
    mStage->sound.setState(QAudio::IdleState);
    QCOMPARE(player()->sampleRate(), 0);
    player()->stop();
}

void AudioPlayerPlayingTest::playedTime_countsWhatWasHeard()
{
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(19200);
    mStage->sound.processedUSecs = 1000000;
    mStage->sound.bufferSize = 19200; // 100 ms
    mStage->sound.periodSize = 3840;  // 20 ms
    // The first frame was fetched 200 ms behind the newest.
    QCOMPARE(player()->getPlayedTime(), LastAudio - 200000 + 1000000 - 100000 - 20000);

    // More than was consumed so far: before the first frame.
    mStage->sound.processedUSecs = 0;
    QCOMPARE(player()->getPlayedTime(), LastAudio - 200000 - 120000);
}

void AudioPlayerPlayingTest::playedTime_isZeroBeforeFirstFrame()
{
    QVERIFY(mStage->startPlaying());
    mStage->sound.processedUSecs = 1000000;
    QCOMPARE(player()->getPlayedTime(), qint64{0});
    mStage->shm.queryResult = 0;
    mStage->sound.pull(19200);
    QCOMPARE(player()->getPlayedTime(), qint64{0});

    mStage->shm.queryResult.reset();
    mStage->sound.pull(19200);
    QVERIFY(player()->getPlayedTime() > AudioPlayerStage::FirstAudio);
}

void AudioPlayerPlayingTest::playedTime_isZeroWhileNotActive()
{
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(19200);
    mStage->sound.processedUSecs = 1000000;
    QVERIFY(player()->getPlayedTime() > 0);
    mStage->sound.setState(QAudio::IdleState);
    QCOMPARE(player()->getPlayedTime(), qint64{0});
}

void AudioPlayerPlayingTest::setVolume_isClamped_data()
{
    QTest::addColumn<double>("given");
    QTest::addColumn<double>("stored");

    QTest::newRow("1.5") << 1.5 << 1.0;
    QTest::newRow("-1") << -1.0 << 0.0;
    QTest::newRow("0") << 0.0 << 0.0;
    QTest::newRow("1") << 1.0 << 1.0;
    QTest::newRow("0.3") << 0.3 << 0.3;
    QTest::newRow("no number") << qQNaN() << 0.0;
}

void AudioPlayerPlayingTest::setVolume_isClamped()
{
    QFETCH(double, given);
    QFETCH(double, stored);
    player()->setVolume(0.6);
    player()->setVolume(given);
    AudioPlayer const& constPlayer = *player();
    QVERIFY(constPlayer.volume() == stored);
}

void AudioPlayerPlayingTest::setVolume_reachesOutput()
{
    player()->setVolume(0.25);
    QVERIFY(mStage->startPlaying());
    player()->setVolume(0.5);
    player()->setVolume(7);
    QCOMPARE(mStage->sound.takeCalls(), lines("setVolume 1 0.5; setVolume 1 1"));

    player()->setVolume(0.25);
    mStage->sound.takeCalls();
    QVERIFY(player()->start(mStage->source.get(), 0, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("setVolume 1 0.25")));
}

void AudioPlayerPlayingTest::mutedPlayer_keepsVolumeFromOutput()
{
    QVERIFY(mStage->startPlaying());
    player()->setMute(true);
    QVERIFY(player()->isMute());
    QCOMPARE(mStage->sound.takeCalls(), lines("setVolume 1 0"));

    player()->setVolume(1.5);
    player()->setVolume(-1);
    player()->setVolume(0.75);
    QCOMPARE(mStage->sound.takeCalls(), QStringList());

    player()->setMute(false);
    QVERIFY(!player()->isMute());
    QCOMPARE(mStage->sound.takeCalls(), lines("setVolume 1 0.75"));
}

void AudioPlayerPlayingTest::mutedPlayer_startsWithoutSound()
{
    player()->setMute(true);
    player()->setDevice(QStringLiteral("speaker"));
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QCOMPARE(mStage->sound.takeCalls().filter(QStringLiteral("setVolume")), lines("setVolume 1 0"));
    QCOMPARE(player()->volume(), 1.0f);
}

void AudioPlayerPlayingTest::volumeSlot_isFloatOfTheDouble()
{
    AudioPlayer* const caller = player();
    AudioPlayer const* const reader = caller;
    static_assert(std::is_same_v<decltype(caller->volume()), float>);
    static_assert(std::is_same_v<decltype(reader->volume()), double>);
    caller->setVolume(0.3);
    QVERIFY(caller->volume() == 0.3f);
    QVERIFY(reader->volume() == 0.3);
    float invoked = 0;
    QVERIFY(QMetaObject::invokeMethod(caller, "volume", Q_RETURN_ARG(float, invoked)));
    QVERIFY(invoked == 0.3f);
}

void AudioPlayerPlayingTest::properties_areReadAndWritten()
{
    QVERIFY(mStage->startPlaying());
    QVERIFY(player()->setProperty("volume", 0.3));
    // Not by way of a float.
    QVERIFY(player()->property("volume").toDouble() == 0.3);
    QVERIFY(player()->setProperty("volume", 1.5));
    QVERIFY(player()->property("volume").toDouble() == 1.0);
    QCOMPARE(player()->property("mute"), QVariant(false));
    QVERIFY(player()->setProperty("mute", true));
    QCOMPARE(player()->property("mute"), QVariant(true));
    QCOMPARE(mStage->sound.takeCalls(), lines("setVolume 1 0.3; setVolume 1 1; setVolume 1 0"));
}

void AudioPlayerPlayingTest::delays_reachReader()
{
    player()->setDelay(500000);
    player()->setMaxDelay(900000);
    QCOMPARE(player()->delay(), qint64{500000});
    QCOMPARE(player()->maxDelay(), qint64{900000});
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(19200);
    QCOMPARE(player()->getPlayedTime(), LastAudio - 500000);
}

void AudioPlayerPlayingTest::notify_tellsPlayedTime()
{
    QVERIFY(mStage->startPlaying());
    QSignalSpy played(player(), &AudioPlayer::audioPlayed);
    mStage->sound.notify();
    mStage->sound.pull(19200);
    mStage->sound.processedUSecs = 40000;
    mStage->sound.notify();
    QCOMPARE(played.count(), 2);
    QCOMPARE(played.at(0).at(0).value<qint64>(), qint64{0});
    QCOMPARE(played.at(1).at(0).value<qint64>(), LastAudio - 200000 + 40000);
}

void AudioPlayerPlayingTest::clockShift_stopsAboveOneSecond_data()
{
    QTest::addColumn<qint64>("shift");
    QTest::addColumn<bool>("stops");

    QTest::newRow("none") << qint64{0} << false;
    QTest::newRow("1000 ms forward") << qint64{1000} << false;
    QTest::newRow("1001 ms forward") << qint64{1001} << true;
    QTest::newRow("1000 ms back") << qint64{-1000} << false;
    QTest::newRow("1001 ms back") << qint64{-1001} << true;
    QTest::newRow("a day") << qint64{86400000} << true;
    // Only the lower 32 bits are looked at.
    QTest::newRow("2^32 ms") << (qint64{1} << 32) << false;
    QTest::newRow("2^32 + 1001 ms") << (qint64{1} << 32) + 1001 << true;
}

void AudioPlayerPlayingTest::clockShift_stopsAboveOneSecond()
{
    QFETCH(qint64, shift);
    QFETCH(bool, stops);
    QVector<qint64> played;
    int stopped = 0;
    QStringList calls;
    QStringList log;

    VirtualTime time(WallClock);
    VirtualTime::run([&] {
        mStage->startPlaying();
        connect(player(), &AudioPlayer::audioPlayed, [&](qint64 moment) { played.append(moment); });
        connect(player(), &AudioPlayer::playerStopped, [&] {
            ++stopped;
            // The last word is the end, not the player's own.
            played.append(-1);
        });
        mStage->sound.pull(19200);
        fakelogger::takeCalls();
        time.setWallClock(WallClock + (shift + 5000) * Milliseconds);
        time.advance(5000 * Milliseconds);
        mStage->sound.notify();
        calls = mStage->sound.takeCalls();
        log = fakelogger::takeCalls();
        AudioPlayer::teardown();
    });

    if (stops) {
        QCOMPARE(played, (QVector<qint64>{-1, 0}));
        QCOMPARE(stopped, 1);
        QCOMPARE(calls, lines("stop 1"));
        QCOMPARE(log,
            QStringList(QStringLiteral("warning: Audio. Clock shift detected (%1 ms)").arg(shift)) +
                lines("enter: stop; debug: stopping audio output; "
                      "debug: audio output stopped; leave: stop"));
    } else {
        QCOMPARE(played, QVector<qint64>{LastAudio - 200000});
        QCOMPARE(stopped, 0);
        QCOMPARE(calls, QStringList());
        QCOMPARE(log, QStringList());
    }
}

void AudioPlayerPlayingTest::start_forgetsClockShift()
{
    int stopped = 0;
    QStringList log;

    VirtualTime time(WallClock);
    VirtualTime::run([&] {
        player();
        time.setWallClock(WallClock + 5000 * Milliseconds);
        mStage->startPlaying();
        connect(player(), &AudioPlayer::playerStopped, [&] { ++stopped; });
        mStage->sound.notify();
        log = fakelogger::takeCalls();
        AudioPlayer::teardown();
    });

    QCOMPARE(stopped, 0);
    QCOMPARE(log, QStringList());
}

void AudioPlayerPlayingTest::outputStopped_stopsPlayer()
{
    QVERIFY(mStage->startPlaying());
    QSignalSpy stopped(player(), &AudioPlayer::playerStopped);
    QSignalSpy played(player(), &AudioPlayer::audioPlayed);
    mStage->sound.changeState(QAudio::StoppedState);
    QCOMPARE(stopped.count(), 1);
    QCOMPARE(played.count(), 0);
    QCOMPARE(fakelogger::takeCalls(),
        lines("debug: Audio player state changed to 2; enter: stop; leave: stop"));
    QCOMPARE(mStage->sound.takeCalls(), QStringList());

    // The output is kept, and the reader closed.
    QVERIFY(player()->start(mStage->source.get(), 0, true));
    QCOMPARE(mStage->sound.takeCalls(), lines("reset 1; setVolume 1 1; start 1"));
}

void AudioPlayerPlayingTest::otherState_isOnlyLogged_data()
{
    QTest::addColumn<QAudio::State>("state");
    QTest::addColumn<int>("number");

    QTest::newRow("active") << QAudio::ActiveState << 0;
    QTest::newRow("suspended") << QAudio::SuspendedState << 1;
    QTest::newRow("idle") << QAudio::IdleState << 3;
}

void AudioPlayerPlayingTest::otherState_isOnlyLogged()
{
    QFETCH(QAudio::State, state);
    QFETCH(int, number);
    QVERIFY(mStage->startPlaying());
    QSignalSpy stopped(player(), &AudioPlayer::playerStopped);
    mStage->sound.changeState(state);
    QCOMPARE(fakelogger::takeCalls(),
        QStringList(QStringLiteral("debug: Audio player state changed to %1").arg(number)));
    QCOMPARE(mStage->sound.takeCalls(), QStringList());
    QCOMPARE(stopped.count(), 0);
    mStage->sound.changeState(QAudio::ActiveState);
    QVERIFY(player()->isActive());
}

void AudioPlayerPlayingTest::waveformFile_getsAllSound()
{
    QTemporaryDir const directory;
    QString const path = directory.filePath(QStringLiteral("sound"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(100000, 'x'));
    file.close();

    player()->setWaveformFile(path);
    QCOMPARE(fileSize(path), qint64{0});
    QVERIFY(mStage->startPlaying());
    QByteArray const pulled = mStage->sound.pull(38400);
    AudioPlayer::teardown();

    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray const written = file.readAll();
    QCOMPARE(pulled.size(), 38400);
    QVERIFY(written.startsWith(pulled));
    QCOMPARE(openDescriptors(path), 1);
}

void AudioPlayerPlayingTest::waveformFileOfEmptyName_changesNothing()
{
    QTemporaryDir const directory;
    QString const path = directory.filePath(QStringLiteral("sound"));
    player()->setWaveformFile(path);
    player()->setWaveformFile(QString());
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(38400);
    AudioPlayer::teardown();
    QVERIFY(fileSize(path) >= 38400);
}

void AudioPlayerPlayingTest::waveformFileThatFails_endsCopying()
{
    QTemporaryDir const directory;
    QString const path = directory.filePath(QStringLiteral("sound"));
    player()->setWaveformFile(path);
    player()->setWaveformFile(directory.filePath(QStringLiteral("missing/sound")));
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(38400);
    AudioPlayer::teardown();
    QCOMPARE(fileSize(path), qint64{0});
    QVERIFY(!QFile::exists(directory.filePath(QStringLiteral("missing"))));
}

void AudioPlayerPlayingTest::replacedWaveformFile_staysOpen()
{
    QTemporaryDir const directory;
    QString const first = directory.filePath(QStringLiteral("first"));
    QString const second = directory.filePath(QStringLiteral("second"));
    player()->setWaveformFile(first);
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(38400);
    player()->setWaveformFile(second);
    QCOMPARE(openDescriptors(first), 1);
    QCOMPARE(openDescriptors(second), 1);
    mStage->sound.pull(76800);
    AudioPlayer::teardown();

    QCOMPARE(openDescriptors(first), 0);
    QCOMPARE(openDescriptors(second), 0);
    QVERIFY(fileSize(first) >= 38400);
    QVERIFY(fileSize(first) < 76800);
    QVERIFY(fileSize(second) >= 38400);
}

void AudioPlayerPlayingTest::counters_areThoseOfReader()
{
    QVERIFY(mStage->startPlaying());
    mStage->sound.pull(19200);
    QCOMPARE(player()->reanchors(), qint64{0});
    QCOMPARE(player()->skippedTime(), qint64{0});
    QCOMPARE(player()->silentFrames(), qint64{0});
    QCOMPARE(player()->underruns(), qint64{0});

    mStage->shm.audioStatus.last_timestamp += 1000000;
    mStage->shm.queryResult = 1000;
    mStage->sound.pull(19200);

    QCOMPARE(player()->reanchors(), qint64{1});
    QCOMPARE(player()->skippedTime(), qint64{900000});
    QCOMPARE(player()->silentFrames(), qint64{3800});
    QCOMPARE(player()->underruns(), qint64{1});
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioPlayerPlayingTest)
#include "tst_audioplayer_playing.moc"
