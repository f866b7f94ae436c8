#include <memory>

#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "fakelogger.h"
#include "messagecheck.h"
#include "publishprocess.h"
#include "utils/audioplayer.h"
#include "utils/mediasource.h"

namespace {

/** A sound server that is this test's to kill. */
class SoundServer
{
public:
    SoundServer()
    {
        QString const socket = mDirectory.filePath(QStringLiteral("socket"));
        for (char const* name : {"XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH", "PULSE_STATE_PATH"})
            qputenv(name, mDirectory.path().toLocal8Bit());
        qputenv("PULSE_COOKIE", mDirectory.filePath(QStringLiteral("cookie")).toLocal8Bit());
        qputenv("PULSE_SERVER", QByteArray("unix:") + socket.toLocal8Bit());
        // Unlike with others, nobody has to listen for this sink to take little at a time.
        mProcess.start(QStringLiteral("pulseaudio"),
            {QStringLiteral("-n"), QStringLiteral("--daemonize=no"),
                QStringLiteral("--use-pid-file=no"), QStringLiteral("--exit-idle-time=-1"),
                QStringLiteral("--disable-shm=yes"), QStringLiteral("-L"),
                QStringLiteral("module-null-sink sink_name=own rate=48000 norewinds=1"),
                QStringLiteral("-L"),
                QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=") + socket});
        mIsRunning = QTest::qWaitFor([&] { return QFileInfo::exists(socket); }, 20000);
    }
    ~SoundServer() { kill(); }

    bool isRunning() const { return mIsRunning; }
    void kill()
    {
        mProcess.kill();
        mProcess.waitForFinished();
    }

private:
    QTemporaryDir mDirectory;
    QProcess mProcess;
    bool mIsRunning = false;
};

} // namespace

class AudioPlayerServerTest : public QObject
{
    Q_OBJECT

private slots:
    void serverGone_stopsPlayer();
};

void AudioPlayerServerTest::serverGone_stopsPlayer()
{
    SoundServer server;
    QVERIFY(server.isRunning());
    QString const name = uniqueName();
    PublishProcess const publisher(arguments(QStringLiteral("--no-video"), name));
    MediaSource source(name);
    QTRY_VERIFY_WITH_TIMEOUT(source.getAudioFormat().isValid(), 20000);
    AudioPlayer* const player = AudioPlayer::getInstance();
    QSignalSpy stopped(player, &AudioPlayer::playerStopped);
    QSignalSpy played(player, &AudioPlayer::audioPlayed);
    QVERIFY(player->setDevice(QStringLiteral("own")));
    QVERIFY(player->start(&source, 25, true));
    QTRY_VERIFY_WITH_TIMEOUT(played.count() > 5, 10000);
    QCOMPARE(stopped.count(), 0);
    fakelogger::takeCalls();

    expectMessage(QtWarningMsg, QStringLiteral("\"Stream error: Connection terminated\""));
    server.kill();

    QTRY_COMPARE_WITH_TIMEOUT(stopped.count(), 1, 10000);
    QVERIFY(!player->isActive());
    QStringList const calls = fakelogger::takeCalls();
    QVERIFY2(calls.contains(QStringLiteral("debug: Audio player state changed to 2")),
        qPrintable(calls.join(QLatin1Char('\n'))));

    // Nor does it play again without a server.
    QVERIFY(!player->start(&source, 25, true));
    QVERIFY(fakelogger::takeCalls().contains(QStringLiteral("error: Audio playback failed")));
    AudioPlayer::teardown();
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioPlayerServerTest)
#include "tst_audioplayer_server.moc"
