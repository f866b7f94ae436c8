#include <csignal>

#include <QColor>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include "childprogram.h"
#include "messagecheck.h"
#include "streamplace.h"
#include "syslogsocket.h"

namespace {

constexpr QRgb Background = qRgb(13, 17, 23);
// Where with either renderer there is nothing but the picture.
constexpr QRect PicturePart(0, 60, 1280, 300);

double number(QJsonObject const& report, char const* group, char const* key)
{
    return report[QLatin1String(group)].toObject()[QLatin1String(key)].toDouble(-1);
}

double number(QJsonObject const& report, char const* key)
{
    return report[QLatin1String(key)].toDouble(-1);
}

} // namespace

class TestLiveViewer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void help_needsNoDisplay();
    void wrongUsage_exitsWith2_data();
    void wrongUsage_exitsWith2();
    void liveStream_isShownAndReported_data() { addRenderers(); }
    void liveStream_isShownAndReported();
    void slowDisplay_missesFramesAndSaysSo_data() { addRenderers(); }
    void slowDisplay_missesFramesAndSaysSo();
    void absentStream_showsSpinner_data() { addRenderers(); }
    void absentStream_showsSpinner();
    void publisherKilledAndRestarted_isShownAgainWithinTwoSeconds_data() { addRenderers(); }
    void publisherKilledAndRestarted_isShownAgainWithinTwoSeconds();
    void publisherReplacedAtOnce_pausesBelowTwoSeconds();
    void signal_endsRunAndWritesOutputs_data();
    void signal_endsRunAndWritesOutputs();
    void hangup_opensTheStreamAnew_data() { addRenderers(); }
    void hangup_opensTheStreamAnew();
    void userSignal_savesAScreenshot_data() { addRenderers(); }
    void userSignal_savesAScreenshot();
    void unwritableScreenshotFolder_isLoggedAndTheViewerGoesOn();
    void messages_goToTheSystemLog();
    void frameLog_hasALineForEachFrame_data() { addRenderers(); }
    void frameLog_hasALineForEachFrame();
    void unwritableOutput_isNamed_data();
    void unwritableOutput_isNamed();

private:
    QString path(char const* file) const { return mFolder.filePath(QString::fromLatin1(file)); }

    static void addRenderers()
    {
        QTest::addColumn<QString>("renderer");
        QTest::newRow("gl") << QStringLiteral("gl");
        QTest::newRow("image") << QStringLiteral("image");
    }

    /** Arguments of a viewer of the stream "test camera" that writes both outputs. */
    QStringList viewing(QStringList const& more) const
    {
        return QStringList{QStringLiteral("--stream"), QStringLiteral("test camera"),
                   QStringLiteral("--screenshot"), path("shot.png"), QStringLiteral("--report"),
                   path("report.json")} +
               more;
    }

    QString const mViewer = QStringLiteral("live-viewer");
    QString const mPublisher = QStringLiteral("shm-publish");
    QStringList const mPublishing{QStringLiteral("--name"), QStringLiteral("test camera"),
        QStringLiteral("--size"), QStringLiteral("320x180"), QStringLiteral("--rate"),
        QStringLiteral("25")};
    QByteArray const mShowing = "live-viewer: showing stream 'test camera'";
    QByteArray const mWaiting = "live-viewer: waiting for stream 'test camera'";
    StreamPlace mPlace;
    QTemporaryDir mFolder;
};

void TestLiveViewer::help_needsNoDisplay()
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    ChildProgram viewer(mViewer, {QStringLiteral("--help")}, environment);
    QCOMPARE(viewer.exitStatus(), 0);
    QVERIFY(viewer.output().contains("--screenshot"));
}

void TestLiveViewer::wrongUsage_exitsWith2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("unknown option")
        << QStringList{QStringLiteral("--colour")}
        << QByteArray("live-viewer: Unknown option 'colour'.; see live-viewer --help\n");
    QTest::newRow("bad value")
        << QStringList{QStringLiteral("--seconds"), QStringLiteral("x")}
        << QByteArray("live-viewer: bad value 'x' for --seconds N; see live-viewer --help\n");
}

void TestLiveViewer::wrongUsage_exitsWith2()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, error);
    ChildProgram viewer(mViewer, arguments);
    QCOMPARE(viewer.exitStatus(), 2);
    QVERIFY(viewer.errors().endsWith(error));
    QCOMPARE(viewer.output(), QByteArray());
}

void TestLiveViewer::liveStream_isShownAndReported()
{
    QFETCH(QString, renderer);
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--renderer"), renderer,
                                     QStringLiteral("--seconds"), QStringLiteral("2")}));
    QCOMPARE(viewer.exitStatus(), 0);

    QJsonObject const report = readJson(path("report.json"));
    QCOMPARE(report[QLatin1String("stream")].toObject()[QLatin1String("name")].toString(),
        QStringLiteral("test camera"));
    QCOMPARE(number(report, "stream", "width"), 320.0);
    QCOMPARE(number(report, "stream", "height"), 180.0);
    QCOMPARE(number(report, "stream", "rate"), 25.0);
    QVERIFY(qAbs(number(report, "seconds") - 2) < 1);

    double const published = number(report, "frames", "published");
    double const shown = number(report, "frames", "shown");
    double const missed = number(report, "frames", "missed");
    QVERIFY2(published >= 25 && published <= 75, qPrintable(QString::number(published)));
    QVERIFY2(shown >= 15 && shown <= published + 2, qPrintable(QString::number(shown)));
    QVERIFY2(missed >= 0 && shown + missed <= published + 2, qPrintable(QString::number(missed)));
    // 60 display frames show 25 new ones.
    QVERIFY(number(report, "frames", "repeated") >= 15);
    double const displayRate = number(report, "displayRate");
    QVERIFY2(displayRate > 12 && displayRate < 27, qPrintable(QString::number(displayRate)));
    double const p50 = number(report, "latencyMs", "p50");
    QVERIFY2(p50 > 5 && p50 < 500, qPrintable(QString::number(p50)));
    QVERIFY(number(report, "latencyMs", "p99") >= p50);
    QVERIFY(number(report, "longestPauseMs") >= 30);

    QJsonValue const device = report[QLatin1String("renderer")];
    QVERIFY(renderer == QLatin1String("gl") ? !device.toString().isEmpty() : device.isNull());

    QImage const shot(path("shot.png"));
    QVERIFY(shareOf(shot, PicturePart, Background) >= 0);
    QVERIFY(shareOf(shot, PicturePart, Background) < 0.2);
}

void TestLiveViewer::slowDisplay_missesFramesAndSaysSo()
{
    QFETCH(QString, renderer);
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--renderer"), renderer, QStringLiteral("--no-audio"),
                     QStringLiteral("--seconds"), QStringLiteral("2.5"), QStringLiteral("--rate"),
                     QStringLiteral("2")}));
    QCOMPARE(viewer.exitStatus(), 0);
    QJsonObject const report = readJson(path("report.json"));
    double const shown = number(report, "frames", "shown");
    QVERIFY2(shown >= 2 && shown <= 6, qPrintable(QString::number(shown)));
    // Every frame is noticed, though the stream holds fewer than come between two ticks.
    QVERIFY(number(report, "frames", "published") >= 25);
    QVERIFY(number(report, "frames", "missed") >= (shown - 1) * 10);
}

void TestLiveViewer::absentStream_showsSpinner()
{
    QFETCH(QString, renderer);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--renderer"), renderer,
                                     QStringLiteral("--seconds"), QStringLiteral("0.5")}));
    QCOMPARE(viewer.exitStatus(), 0);

    QJsonObject const report = readJson(path("report.json"));
    QCOMPARE(number(report, "frames", "published"), 0.0);
    QCOMPARE(number(report, "frames", "shown"), 0.0);
    QCOMPARE(number(report, "frames", "repeated"), 0.0);
    QCOMPARE(number(report, "displayRate"), 0.0);
    QVERIFY(report[QLatin1String("stream")].toObject()[QLatin1String("width")].isNull());
    QVERIFY(report[QLatin1String("latencyMs")].toObject()[QLatin1String("p50")].isNull());

    double const background = shareOf(QImage(path("shot.png")), PicturePart, Background);
    QVERIFY2(background > 0.99 && background < 1.0, qPrintable(QString::number(background)));
}

void TestLiveViewer::publisherKilledAndRestarted_isShownAgainWithinTwoSeconds()
{
    QFETCH(QString, renderer);
    ChildProgram publisher(mPublisher, mPublishing);
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--renderer"), renderer, QStringLiteral("--verbose")}));
    QVERIFY(viewer.waitForLine(mShowing));

    publisher.kill();
    QVERIFY(viewer.waitForLine(mWaiting));
    QElapsedTimer sinceRestart;
    sinceRestart.start();
    ChildProgram const again(mPublisher, mPublishing);
    QVERIFY(viewer.waitForLine(mShowing));
    qint64 const elapsed = sinceRestart.elapsed();
    qInfo("shown again after %lld ms", elapsed);
    QVERIFY2(elapsed < 2000, qPrintable(QString::number(elapsed)));

    viewer.sendSignal(SIGTERM);
    QCOMPARE(viewer.exitStatus(), 0);
    QVERIFY(shareOf(QImage(path("shot.png")), PicturePart, Background) < 0.2);
}

void TestLiveViewer::publisherReplacedAtOnce_pausesBelowTwoSeconds()
{
    ChildProgram publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer,
        viewing({QStringLiteral("--verbose"), QStringLiteral("--seconds"), QStringLiteral("3.5")}));
    QVERIFY(viewer.waitForLine(mShowing));
    publisher.kill();
    ChildProgram const again(mPublisher, mPublishing);
    QCOMPARE(viewer.exitStatus(), 0);

    QJsonObject const report = readJson(path("report.json"));
    double const pause = number(report, "longestPauseMs");
    qInfo("the picture stood for %.0f ms", pause);
    QVERIFY2(pause < 2000, qPrintable(QString::number(pause)));
    QVERIFY(number(report, "frames", "shown") >= 30);
}

void TestLiveViewer::signal_endsRunAndWritesOutputs_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestLiveViewer::signal_endsRunAndWritesOutputs()
{
    QFETCH(int, signal);
    QFile::remove(path("shot.png"));
    QFile::remove(path("report.json"));
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--verbose")}));
    QVERIFY(viewer.waitForLine(mShowing));
    viewer.sendSignal(signal);
    QCOMPARE(viewer.exitStatus(), 0);
    QVERIFY(!QImage(path("shot.png")).isNull());
    QVERIFY(number(readJson(path("report.json")), "frames", "shown") >= 1);
}

void TestLiveViewer::hangup_opensTheStreamAnew()
{
    QFETCH(QString, renderer);
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--renderer"), renderer, QStringLiteral("--verbose")}));
    for (int i = 0; i < 2; ++i) {
        QVERIFY(viewer.waitForLine(mShowing));
        viewer.sendSignal(SIGHUP);
        QVERIFY(viewer.waitForLine(mWaiting));
    }
    QVERIFY(viewer.waitForLine(mShowing));
    viewer.sendSignal(SIGTERM);
    QCOMPARE(viewer.exitStatus(), 0);
    QVERIFY(number(readJson(path("report.json")), "frames", "shown") >= 3);
}

void TestLiveViewer::userSignal_savesAScreenshot()
{
    QFETCH(QString, renderer);
    QTemporaryDir const folder;
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--renderer"), renderer, QStringLiteral("--verbose"),
                     QStringLiteral("--vstd"), QStringLiteral("--screenshots"), folder.path()}));
    QVERIFY(viewer.waitForLine(mShowing));
    viewer.sendSignal(SIGUSR2); // has no meaning
    viewer.sendSignal(SIGUSR1);
    QDir const shots(folder.path());
    QTRY_COMPARE(shots.entryList(QDir::Files).size(), 1);
    viewer.sendSignal(SIGTERM);
    QCOMPARE(viewer.exitStatus(), 0);
    QString const name = shots.entryList(QDir::Files).first();
    QVERIFY(name.startsWith(QLatin1String("live-viewer-2")));
    QImage const shot(shots.filePath(name));
    QVERIFY(shareOf(shot, PicturePart, Background) >= 0);
    QVERIFY(shareOf(shot, PicturePart, Background) < 0.2);
    QVERIFY(
        viewer.output().contains("screenshot: saved " + shots.filePath(name).toLocal8Bit() + '\n'));
}

void TestLiveViewer::unwritableScreenshotFolder_isLoggedAndTheViewerGoesOn()
{
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--verbose"), QStringLiteral("--vstd"),
                                     QStringLiteral("--screenshots"), path("shot.png")}));
    QFile file(path("shot.png"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(viewer.waitForLine(mShowing));
    viewer.sendSignal(SIGUSR1);
    viewer.sendSignal(SIGHUP);
    QVERIFY(viewer.waitForLine(mWaiting));
    QVERIFY(viewer.waitForLine(mShowing));
    viewer.sendSignal(SIGTERM);
    QCOMPARE(viewer.exitStatus(), 0);
}

void TestLiveViewer::messages_goToTheSystemLog()
{
    SyslogSocket log;
    QVERIFY2(log.problem().isEmpty(), qPrintable(log.problem()));
    // Qt has something to tell of OpenGL, the viewer of the sound.
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qt.qpa.gl=true"));
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(mViewer,
        viewing({QStringLiteral("-v"), QStringLiteral("debug"), QStringLiteral("--logname"),
            QStringLiteral("viewer 7"), QStringLiteral("--audio-device"), QStringLiteral("none")}),
        environment);
    QByteArray lines;
    auto complete = [&lines] {
        return lines.contains("viewer 7[") && lines.contains("gl-integration") &&
               lines.contains("no sound: there is no device 'none'");
    };
    for (int i = 0; i < 1000 && !complete(); ++i)
        lines += log.readLine() + '\n';
    QVERIFY2(complete(), lines);
    viewer.sendSignal(SIGTERM);
    QCOMPARE(viewer.exitStatus(), 0);
}

void TestLiveViewer::frameLog_hasALineForEachFrame()
{
    QFETCH(QString, renderer);
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--renderer"), renderer, QStringLiteral("--seconds"),
                     QStringLiteral("2"), QStringLiteral("--frame-log"), path("frames")}));
    QCOMPARE(viewer.exitStatus(), 0);
    QFile file(path("frames"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.takeLast(), QByteArray());
    double const shown = number(readJson(path("report.json")), "frames", "shown");
    QCOMPARE(double(lines.size()), shown);
    qint64 before = 0;
    QSet<qint64> frames;
    for (QByteArray const& line : lines) {
        QList<QByteArray> const times = line.split(' ');
        QCOMPARE(times.size(), 2);
        qint64 const frame = times[0].toLongLong();
        qint64 const painted = times[1].toLongLong();
        QVERIFY(painted > frame && painted < frame + 5'000'000);
        QVERIFY(painted > before);
        before = painted;
        QVERIFY(!frames.contains(frame));
        frames.insert(frame);
        // Test frames lie on the grid of the wall clock.
        QCOMPARE(frame % 40'000, 0);
    }
}

void TestLiveViewer::unwritableOutput_isNamed_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("error");

    QString const report = QStringLiteral("--report");
    QString const screenshot = QStringLiteral("--screenshot");
    QString const missing = path("missing/file");
    QTest::newRow("report, no folder")
        << report << missing
        << QByteArray("the report to " + missing.toLocal8Bit() + ": No such file or directory");
    QTest::newRow("screenshot, no folder")
        << screenshot << missing
        << QByteArray("the screenshot to " + missing.toLocal8Bit() + ": No such file or directory");
    QTest::newRow("frame log, no folder")
        << QStringLiteral("--frame-log") << missing
        << QByteArray("the frame log to " + missing.toLocal8Bit() + ": No such file or directory");
    QTest::newRow("report, disk full")
        << report << QStringLiteral("/dev/full")
        << QByteArray("the report to /dev/full: No space left on device");
    QTest::newRow("screenshot, disk full")
        << screenshot << QStringLiteral("/dev/full")
        << QByteArray("the screenshot to /dev/full: No space left on device");
}

void TestLiveViewer::unwritableOutput_isNamed()
{
    QFETCH(QString, option);
    QFETCH(QString, file);
    QFETCH(QByteArray, error);
    QFile::remove(path("shot.png"));
    QFile::remove(path("report.json"));
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--seconds"), QStringLiteral("0.1"), option, file}));
    QCOMPARE(viewer.exitStatus(), 1);
    QVERIFY2(viewer.errors().endsWith("live-viewer: can't write " + error + "\n"), error);
    // The other one is written all the same.
    bool const reportFailed = option == QLatin1String("--report");
    QVERIFY(QFile::exists(path(reportFailed ? "shot.png" : "report.json")));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestLiveViewer)
#include "tst_live_viewer.moc"
