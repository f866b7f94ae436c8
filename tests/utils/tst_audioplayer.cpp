#include <memory>

#include <dlfcn.h>

#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

extern "C" {
#include <libswresample/swresample.h>
}

#include "audioplayerstage.h"
#include "dyingwords.h"
#include "messagecheck.h"

namespace {

constexpr int NoInterval = -1;

bool resamplerFails = false;

QString const Speaker = QStringLiteral("speaker");

} // namespace

extern "C" Q_DECL_EXPORT int swr_init(SwrContext* resampler)
{
    if (resamplerFails)
        return -1;
    static auto const init = reinterpret_cast<decltype(&swr_init)>(dlsym(RTLD_NEXT, "swr_init"));
    return init(resampler);
}

class AudioPlayerTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void instance_isMadeOnceAndGoneAfterTeardown();
    void newPlayer_hasDefaults();
    void teardown_stopsAndDeletesOutput();
    void teardownOfIdleOutput_stopsItFirst();
    void metaObject_hasSignalsSlotsAndProperties();
    void outputState_canBeQueued();

    void startWithoutSource_aborts();
    void startWithoutDevice_aborts();
    void start_makesOutputAndStartsIt();
    void start_logsWhatItDoes();
    void start_setsNotifyInterval_data();
    void start_setsNotifyInterval();
    void startTwice_resetsOutputAndConnectsOnce();
    void startWithOtherFormat_replacesOutput();
    void startOfUnsupportedFormat_playsTheNearest();
    void startWithoutAudioThatIsRequired_fails();
    void startWithoutAudio_playsSilenceInPreferredFormat();
    void startThatCanNotConvert_fails();
    void startOfFailingOutput_fails();
    void startOfFailingOutput_stopsWhatIsActive();

    void stop_stopsActiveOutput();
    void stopOfInactiveOutput_makesNoStopCall_data();
    void stopOfInactiveOutput_makesNoStopCall();
    void stop_endsSignals();
    void stopWithoutOutput_onlyTraces();

private:
    AudioPlayer* player() { return AudioPlayer::getInstance(); }

    std::unique_ptr<AudioPlayerStage> mStage;
};

void AudioPlayerTest::init()
{
    mStage = std::make_unique<AudioPlayerStage>();
}

void AudioPlayerTest::cleanup()
{
    mStage.reset();
}

void AudioPlayerTest::instance_isMadeOnceAndGoneAfterTeardown()
{
    AudioPlayer* const first = AudioPlayer::getInstance();
    QPointer<AudioPlayer> const watched(first);
    QCOMPARE(AudioPlayer::getInstance(), first);
    QCOMPARE(first->parent(), nullptr);
    first->setVolume(0.5);

    AudioPlayer::teardown();
    QVERIFY(watched.isNull());
    AudioPlayer::teardown();

    QCOMPARE(player()->volume(), 1.0);
}

void AudioPlayerTest::newPlayer_hasDefaults()
{
    AudioPlayer const& made = *player();
    QCOMPARE(made.volume(), 1.0);
    QCOMPARE(made.isMute(), false);
    QCOMPARE(made.delay(), qint64{200000});
    QCOMPARE(made.maxDelay(), qint64{300000});
    QCOMPARE(made.enabled(), false);
    QCOMPARE(made.isActive(), false);
    QCOMPARE(made.sampleRate(), 0);
    QCOMPARE(made.getPlayedTime(), qint64{0});
    QCOMPARE(mStage->sound.takeCalls(), QStringList());
}

void AudioPlayerTest::teardown_stopsAndDeletesOutput()
{
    QVERIFY(mStage->startPlaying());
    AudioPlayer::teardown();
    QCOMPARE(mStage->sound.takeCalls(), lines("stop 1; delete 1"));
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: stop; debug: stopping audio output; debug: audio output stopped; "
              "leave: stop"));
}

void AudioPlayerTest::teardownOfIdleOutput_stopsItFirst()
{
    QVERIFY(mStage->startPlaying());
    mStage->sound.setState(QAudio::IdleState);
    AudioPlayer::teardown();
    QCOMPARE(mStage->sound.takeCalls(), lines("stop 1; delete 1"));
    QCOMPARE(fakelogger::takeCalls(), lines("enter: stop; leave: stop"));
}

void AudioPlayerTest::metaObject_hasSignalsSlotsAndProperties()
{
    QMetaObject const& meta = AudioPlayer::staticMetaObject;
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QMetaMethod const method = meta.method(i);
        methods.append(
            QStringLiteral("%1 %2 %3 %4")
                .arg(QLatin1String(method.methodType() == QMetaMethod::Signal ? "signal" : "slot"),
                    QLatin1String(method.access() == QMetaMethod::Private ? "private" : "public"),
                    QLatin1String(method.typeName()), QLatin1String(method.methodSignature())));
    }
    QCOMPARE(methods,
        lines("signal public void audioPlayed(qlonglong); signal public void playerStopped(); "
              "slot public float volume(); slot public void setVolume(double); "
              "slot public void setMute(bool); slot public void stop(); "
              "slot private void onFrameTimer(); "
              "slot private void playerStateChanged(QAudio::State)"));

    QVERIFY(meta.indexOfSignal("audioPlayed(qint64)") >= 0);

    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        QMetaProperty const property = meta.property(i);
        QVERIFY(property.isReadable() && property.isWritable());
        properties.append(
            QLatin1String(property.typeName()) + QLatin1Char(' ') + QLatin1String(property.name()));
    }
    QCOMPARE(properties, lines("double volume; bool mute"));
}

void AudioPlayerTest::outputState_canBeQueued()
{
    QVERIFY(QMetaObject::invokeMethod(player(), "playerStateChanged", Qt::QueuedConnection,
        Q_ARG(QAudio::State, QAudio::IdleState)));
    QCOMPARE(fakelogger::takeCalls(), QStringList());
    QCoreApplication::sendPostedEvents(player());
    QCOMPARE(fakelogger::takeCalls(), lines("debug: Audio player state changed to 3"));
}

void AudioPlayerTest::startWithoutSource_aborts()
{
    QVERIFY(player()->setDevice(Speaker));
    QByteArray const words =
        dyingWords([] { AudioPlayer::getInstance()->start(nullptr, 25, true); });
    QVERIFY2(words.contains("ASSERT: \"source != nullptr\" in file utils/audioplayer, line "),
        words.constData());
}

void AudioPlayerTest::startWithoutDevice_aborts()
{
    QByteArray words =
        dyingWords([this] { AudioPlayer::getInstance()->start(mStage->source.get(), 25, true); });
    QVERIFY2(words.contains("ASSERT: \"!mOutDevice.isNull()\" in file utils/audioplayer, line "),
        words.constData());
    // Of the two faults the missing source counts first.
    words = dyingWords([] { AudioPlayer::getInstance()->start(nullptr, 25, true); });
    QVERIFY2(words.contains("\"source != nullptr\""), words.constData());
}

void AudioPlayerTest::start_makesOutputAndStartsIt()
{
    player()->setDevice(Speaker);
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QCOMPARE(mStage->sound.takeCalls(),
        lines("create 1 speaker; setFormat 1 48000 Hz 2 ch 16 bit; setVolume 1 1; "
              "setNotifyInterval 1 40; start 1"));
    QVERIFY(player()->isActive());
}

void AudioPlayerTest::start_logsWhatItDoes()
{
    player()->setDevice(Speaker);
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: start; enter: stop; leave: stop; info: Audio playback started; "
              "leave: start"));
}

void AudioPlayerTest::start_setsNotifyInterval_data()
{
    QTest::addColumn<qreal>("frameRate");
    QTest::addColumn<int>("interval");

    QTest::newRow("25") << 25.0 << 40;
    QTest::newRow("30 is cut off") << 30.0 << 33;
    QTest::newRow("60 is cut off") << 60.0 << 16;
    QTest::newRow("30000/1001") << 30000 / 1001.0 << 33;
    QTest::newRow("one in two seconds") << 0.5 << 2000;
    QTest::newRow("0") << 0.0 << NoInterval;
    QTest::newRow("negative") << -25.0 << NoInterval;
}

void AudioPlayerTest::start_setsNotifyInterval()
{
    QFETCH(qreal, frameRate);
    QFETCH(int, interval);
    QStringList expected;
    if (interval != NoInterval)
        expected.append(QStringLiteral("setNotifyInterval 1 %1").arg(interval));

    player()->setDevice(Speaker);
    QVERIFY(player()->start(mStage->source.get(), frameRate, true));

    QCOMPARE(mStage->sound.takeCalls().filter(QStringLiteral("setNotifyInterval")), expected);
}

void AudioPlayerTest::startTwice_resetsOutputAndConnectsOnce()
{
    QVERIFY(mStage->startPlaying());
    // From an output that stop() leaves alone, and from one that it stops.
    mStage->sound.setState(QAudio::IdleState);
    QVERIFY(player()->start(mStage->source.get(), 0, true));
    QCOMPARE(mStage->sound.takeCalls(), lines("reset 1; setVolume 1 1; start 1"));
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QCOMPARE(mStage->sound.takeCalls(),
        lines("stop 1; reset 1; setVolume 1 1; setNotifyInterval 1 40; start 1"));

    QSignalSpy played(player(), &AudioPlayer::audioPlayed);
    QSignalSpy stopped(player(), &AudioPlayer::playerStopped);
    mStage->sound.notify();
    QCOMPARE(played.count(), 1);
    fakelogger::takeCalls();
    mStage->sound.changeState(QAudio::StoppedState);
    QCOMPARE(stopped.count(), 1);
    QCOMPARE(
        fakelogger::takeCalls().count(QStringLiteral("debug: Audio player state changed to 2")), 1);
}

void AudioPlayerTest::startWithOtherFormat_replacesOutput()
{
    QVERIFY(mStage->startPlaying());
    auto const other = mStage->newSource(44100, 2);
    QVERIFY(player()->start(other.get(), 25, true));
    QCOMPARE(mStage->sound.takeCalls(),
        lines("stop 1; delete 1; create 2 speaker; setFormat 2 44100 Hz 2 ch 16 bit; "
              "setVolume 2 1; setNotifyInterval 2 40; start 2"));

    // The signals of the new one count.
    QSignalSpy played(player(), &AudioPlayer::audioPlayed);
    mStage->sound.notify();
    QCOMPARE(played.count(), 1);
    player()->stop();
}

void AudioPlayerTest::startOfUnsupportedFormat_playsTheNearest()
{
    mStage->sound.takesOtherFormats = false;
    auto const other = mStage->newSource(44100, 1);
    player()->setDevice(Speaker);
    QVERIFY(player()->start(other.get(), 25, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("setFormat 1 48000 Hz 2 ch 16 bit")));
    QVERIFY(fakelogger::takeCalls().contains(
        QStringLiteral("debug: Create new resampler context: 44100 ---> 48000")));
    player()->stop();
}

void AudioPlayerTest::startWithoutAudioThatIsRequired_fails()
{
    auto const silent = mStage->newSilentSource();
    player()->setDevice(Speaker);
    QVERIFY(!player()->start(silent.get(), 25, true));
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: start; enter: stop; leave: stop; error: Source does not have audio; "
              "leave: start"));
    QCOMPARE(mStage->sound.takeCalls(), QStringList());
}

void AudioPlayerTest::startWithoutAudio_playsSilenceInPreferredFormat()
{
    mStage->sound.format.setSampleRate(22050);
    auto const silent = mStage->newSilentSource();
    player()->setDevice(Speaker);
    QVERIFY(player()->start(silent.get(), 25, false));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("setFormat 1 22050 Hz 2 ch 16 bit")));
    QCOMPARE(mStage->sound.pull(4000), QByteArray(4000, '\0'));
    QVERIFY(player()->isActive());
    QCOMPARE(player()->getPlayedTime(), qint64{0});
    player()->stop();
}

void AudioPlayerTest::startThatCanNotConvert_fails()
{
    mStage->sound.takesOtherFormats = false;
    auto const other = mStage->newSource(44100, 1);
    player()->setDevice(Speaker);
    resamplerFails = true;
    bool const started = player()->start(other.get(), 25, true);
    resamplerFails = false;
    QVERIFY(!started);
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: start; enter: stop; leave: stop; "
              "debug: Create new resampler context: 44100 ---> 48000; "
              "error: Error in creating resampler; error: Failed to open audio reader; "
              "leave: start"));
    QCOMPARE(mStage->sound.takeCalls(), QStringList());
    QVERIFY(!player()->isActive());
    // It left nothing behind.
    QVERIFY(player()->start(other.get(), 25, true));
    player()->stop();
}

void AudioPlayerTest::startOfFailingOutput_fails()
{
    mStage->sound.errorWhenStarted = QAudio::OpenError;
    mStage->sound.stateWhenStarted = QAudio::StoppedState;
    player()->setDevice(Speaker);
    QVERIFY(!player()->start(mStage->source.get(), 25, true));
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: start; enter: stop; leave: stop; error: Audio playback failed; "
              "enter: stop; leave: stop; leave: start"));
    QVERIFY(!mStage->sound.takeCalls().contains(QStringLiteral("stop 1")));

    // The reader is closed, and nothing of the output arrives any more.
    QSignalSpy played(player(), &AudioPlayer::audioPlayed);
    mStage->sound.notify();
    QCOMPARE(played.count(), 0);
    mStage->sound.errorWhenStarted = QAudio::NoError;
    mStage->sound.stateWhenStarted = QAudio::ActiveState;
    QVERIFY(player()->start(mStage->source.get(), 25, true));
}

void AudioPlayerTest::startOfFailingOutput_stopsWhatIsActive()
{
    mStage->sound.errorWhenStarted = QAudio::IOError;
    player()->setDevice(Speaker);
    QVERIFY(!player()->start(mStage->source.get(), 25, true));
    QCOMPARE(mStage->sound.takeCalls().mid(4), lines("start 1; stop 1"));
}

void AudioPlayerTest::stop_stopsActiveOutput()
{
    QVERIFY(mStage->startPlaying());
    QSignalSpy stopped(player(), &AudioPlayer::playerStopped);
    player()->stop();
    QCOMPARE(mStage->sound.takeCalls(), lines("stop 1"));
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: stop; debug: stopping audio output; debug: audio output stopped; "
              "leave: stop"));
    QCOMPARE(stopped.count(), 0);
    QVERIFY(!player()->isActive());
}

void AudioPlayerTest::stopOfInactiveOutput_makesNoStopCall_data()
{
    QTest::addColumn<QAudio::State>("state");

    QTest::newRow("suspended") << QAudio::SuspendedState;
    QTest::newRow("idle") << QAudio::IdleState;
    QTest::newRow("stopped") << QAudio::StoppedState;
    QTest::newRow("interrupted") << QAudio::InterruptedState;
}

void AudioPlayerTest::stopOfInactiveOutput_makesNoStopCall()
{
    QFETCH(QAudio::State, state);
    QVERIFY(mStage->startPlaying());
    mStage->sound.setState(state);
    player()->stop();
    QCOMPARE(mStage->sound.takeCalls(), QStringList());
    QCOMPARE(fakelogger::takeCalls(), lines("enter: stop; leave: stop"));
}

void AudioPlayerTest::stop_endsSignals()
{
    QVERIFY(mStage->startPlaying());
    mStage->sound.setState(QAudio::IdleState);
    player()->stop();
    QSignalSpy played(player(), &AudioPlayer::audioPlayed);
    QSignalSpy stopped(player(), &AudioPlayer::playerStopped);
    fakelogger::takeCalls();

    mStage->sound.notify();
    mStage->sound.changeState(QAudio::StoppedState);

    QCOMPARE(played.count(), 0);
    QCOMPARE(stopped.count(), 0);
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void AudioPlayerTest::stopWithoutOutput_onlyTraces()
{
    player()->stop();
    QCOMPARE(fakelogger::takeCalls(), lines("enter: stop; leave: stop"));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioPlayerTest)
#include "tst_audioplayer.moc"
