#include <QCoreApplication>
#include <QJsonObject>

#include "livestreamtest.h"
#include "messagecheck.h"
#include "soundanalysis.h"
#include "soundrecorder.h"

using namespace soundanalysis;

namespace {

constexpr int Rate = SoundRecording::Rate;
constexpr int Frequency = 440;  // Hz, of the publisher's left channel
constexpr int ToneLevel = 2000; // of its samples
constexpr int Audible = 500;
constexpr int ClickLevel = 12000;

/** The last stretch of what was recorded, in ms. */
Part latest(SoundRecording const& recording, int ms)
{
    return {recording.left(), recording.size() - ms * Rate / 1000, recording.size()};
}

bool isHeard(SoundRecorder const& recorder)
{
    SoundRecording const recording = recorder.recording();
    return recording.size() > Rate / 2 && peak(latest(recording, 300)) > Audible;
}

bool isSilent(SoundRecorder const& recorder)
{
    SoundRecording const recording = recorder.recording();
    return recording.size() > Rate / 2 && peak(latest(recording, 300)) == 0;
}

constexpr int Patience = 20000;

} // namespace

class TestLiveViewerSound : public LiveStreamTest
{
    Q_OBJECT

private Q_SLOTS:
    void stream_isHeardAndReported_data() { addRenderers(); }
    void stream_isHeardAndReported();
    void publisherKilledAndRestarted_isHeardAgain_data() { addRenderers(); }
    void publisherKilledAndRestarted_isHeardAgain();
    void publisherReplacedAtOnce_isHeardOn();
    void hangup_isHeardAgain();
    void streamThatGetsSound_isHeard();
    void streamThatLosesItsSound_isShownOn();
    void streamWithoutSound_isShown();
    void noAudio_staysSilent();
    void unknownDevice_isToldOnceAndThePictureGoesOn();
    void noSoundServer_isToldOnceAndThePictureGoesOn();

private:
    QStringList viewing(QStringList const& more) const
    {
        return LiveStreamTest::viewing({QStringLiteral("--verbose")}) + more;
    }

    /** Waits until the viewer shows the stream and it is heard. */
    bool isShownAndHeard(ChildProgram& viewer, SoundRecorder const& recorder) const
    {
        return viewer.waitForLine(mShowing) &&
               QTest::qWaitFor([&] { return isHeard(recorder); }, Patience);
    }

    QJsonObject audioReport() const { return report()[QLatin1String("audio")].toObject(); }

    bool isAudioNull() const
    {
        QJsonObject const json = report();
        return json.contains(QLatin1String("audio")) && json[QLatin1String("audio")].isNull();
    }

    /** A viewer that plays to the device @p name; how often its log says that there is none. */
    int complaints(QString const& name, QProcessEnvironment const& environment);
};

void TestLiveViewerSound::stream_isHeardAndReported()
{
    QFETCH(QString, renderer);
    SoundRecorder const recorder;
    QVERIFY(recorder.isRecording());
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--renderer"), renderer}));
    QVERIFY(isShownAndHeard(viewer, recorder));
    // On a machine with other work there may be gaps, but not all the time.
    SoundRecording recording;
    QVERIFY(QTest::qWaitFor(
        [&] {
            recording = recorder.recording();
            double const level = fitTone(latest(recording, 1500), Frequency, Rate).amplitude;
            return qAbs(level - ToneLevel) < 100;
        },
        Patience));
    QVERIFY(end(viewer));

    Part const heard = latest(recording, 1500);
    QCOMPARE(qRound(toneFrequency(heard, Frequency, Rate)), Frequency);
    auto const clicks = findClicks(heard, ClickLevel, Rate).size();
    QVERIFY2(clicks >= 1 && clicks <= 2, qPrintable(QString::number(clicks)));

    QJsonObject const audio = audioReport();
    QCOMPARE(audio[QLatin1String("delayMs")].toInt(), 200);
    for (char const* key : {"underruns", "reanchors", "silentMs"})
        QVERIFY2(audio[QLatin1String(key)].toDouble(-1) >= 0, key);
    QJsonObject const offset = audio[QLatin1String("audioVideoOffsetMs")].toObject();
    double const p50 = offset[QLatin1String("p50")].toDouble(1e6);
    QVERIFY2(qAbs(p50) < 150, qPrintable(QString::number(p50)));
    QVERIFY(offset[QLatin1String("p99")].toDouble(-1e6) >= p50);
}

void TestLiveViewerSound::publisherKilledAndRestarted_isHeardAgain()
{
    QFETCH(QString, renderer);
    SoundRecorder const recorder;
    ChildProgram publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--renderer"), renderer}));
    QVERIFY(isShownAndHeard(viewer, recorder));
    publisher.kill();
    QVERIFY(viewer.waitForLine(mWaiting));
    QTRY_VERIFY_WITH_TIMEOUT(isSilent(recorder), Patience);
    ChildProgram const again(mPublisher, mPublishing);
    QVERIFY(isShownAndHeard(viewer, recorder));
    QVERIFY(end(viewer));
}

void TestLiveViewerSound::publisherReplacedAtOnce_isHeardOn()
{
    SoundRecorder const recorder;
    ChildProgram publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({}));
    QVERIFY(isShownAndHeard(viewer, recorder));
    publisher.kill();
    ChildProgram const again(mPublisher, mPublishing);
    QTest::qWait(2000);
    QTRY_VERIFY_WITH_TIMEOUT(isHeard(recorder), Patience);
    QVERIFY(end(viewer));
}

void TestLiveViewerSound::hangup_isHeardAgain()
{
    SoundRecorder const recorder;
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({}));
    QVERIFY(isShownAndHeard(viewer, recorder));
    viewer.sendSignal(SIGHUP);
    QVERIFY(viewer.waitForLine(mWaiting));
    QVERIFY(viewer.waitForLine(mShowing));
    QTest::qWait(500);
    QTRY_VERIFY_WITH_TIMEOUT(isHeard(recorder), Patience);
    QVERIFY(end(viewer));
}

void TestLiveViewerSound::streamThatGetsSound_isHeard()
{
    SoundRecorder const recorder;
    ChildProgram publisher(mPublisher, mPublishing + QStringList{QStringLiteral("--no-audio")});
    ChildProgram viewer(mViewer, viewing({}));
    QVERIFY(viewer.waitForLine(mShowing));
    QVERIFY(isSilent(recorder) || QTest::qWaitFor([&] { return isSilent(recorder); }));
    publisher.kill();
    ChildProgram const again(mPublisher, mPublishing);
    QTRY_VERIFY_WITH_TIMEOUT(isHeard(recorder), Patience);
    QVERIFY(end(viewer));
}

void TestLiveViewerSound::streamThatLosesItsSound_isShownOn()
{
    SoundRecorder const recorder;
    ChildProgram publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({}));
    QVERIFY(isShownAndHeard(viewer, recorder));
    publisher.kill();
    QVERIFY(viewer.waitForLine(mWaiting));
    ChildProgram const again(mPublisher, mPublishing + QStringList{QStringLiteral("--no-audio")});
    QVERIFY(viewer.waitForLine(mShowing));
    QTRY_VERIFY_WITH_TIMEOUT(isSilent(recorder), Patience);
    QVERIFY(end(viewer));
}

void TestLiveViewerSound::streamWithoutSound_isShown()
{
    ChildProgram const publisher(
        mPublisher, mPublishing + QStringList{QStringLiteral("--no-audio")});
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--vstd")}));
    QVERIFY(viewer.waitForLine(mShowing));
    QTest::qWait(1500);
    QVERIFY(end(viewer));
    QVERIFY(isAudioNull());
    QByteArray const log = viewer.output();
    QVERIFY2(!log.contains("warning") && !log.contains("error"), log);
}

void TestLiveViewerSound::noAudio_staysSilent()
{
    SoundRecorder const recorder;
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--no-audio")}));
    QVERIFY(viewer.waitForLine(mShowing));
    QTest::qWait(1500);
    QVERIFY(isSilent(recorder));
    QVERIFY(end(viewer));
    QVERIFY(isAudioNull());
}

int TestLiveViewerSound::complaints(QString const& name, QProcessEnvironment const& environment)
{
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer,
        viewing({QStringLiteral("--vstd"), QStringLiteral("--audio-device"), name,
            QStringLiteral("--seconds"), QStringLiteral("5")}),
        environment);
    if (viewer.exitStatus() != 0 || !isAudioNull())
        return -1;
    QJsonObject const frames = report()[QLatin1String("frames")].toObject();
    if (frames[QLatin1String("shown")].toInt() < 40)
        return -1;
    QByteArray const log = viewer.output();
    qInfo("%s", log.constData());
    return log.count("warning no sound: there is no device '" + name.toLocal8Bit() + "'\n");
}

void TestLiveViewerSound::unknownDevice_isToldOnceAndThePictureGoesOn()
{
    QCOMPARE(complaints(QStringLiteral("nothing"), QProcessEnvironment::systemEnvironment()), 1);
}

void TestLiveViewerSound::noSoundServer_isToldOnceAndThePictureGoesOn()
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:/nowhere"));
    QCOMPARE(complaints(QStringLiteral("default"), environment), 1);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestLiveViewerSound)
#include "tst_live_viewer_sound.moc"
