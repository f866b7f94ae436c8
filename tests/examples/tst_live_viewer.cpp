#include <QColor>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonObject>
#include <QTest>

#include "livestreamtest.h"
#include "messagecheck.h"
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

class TestLiveViewer : public LiveStreamTest
{
    Q_OBJECT

private Q_SLOTS:
    void helpAndVersion_needNoDisplay();
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
    void kiosk_fillsTheScreenWithItsOverlays();
    void kioskOnNoSuchOutput_exitsWith1();
    void kioskOnNoSuchOutput_stillHelps();
    void unwritableScreenshotFolder_isLoggedAndTheViewerGoesOn();
    void messages_goToTheSystemLog();
    void frameLog_hasALineForEachFrame_data() { addRenderers(); }
    void frameLog_hasALineForEachFrame();
    void unwritableOutput_isNamed_data();
    void unwritableOutput_isNamed();

private:
    /** Arguments of a viewer that writes both outputs. */
    QStringList viewing(QStringList const& more) const
    {
        return LiveStreamTest::viewing({QStringLiteral("--screenshot"), path("shot.png")}) + more;
    }
};

void TestLiveViewer::helpAndVersion_needNoDisplay()
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    ChildProgram viewer(mViewer, {QStringLiteral("--help")}, environment);
    QCOMPARE(viewer.exitStatus(), 0);
    QVERIFY(viewer.output().contains("--screenshot"));
    ChildProgram version(mViewer, {QStringLiteral("--version")}, environment);
    QCOMPARE(version.exitStatus(), 0);
    QVERIFY(version.output().startsWith("live-viewer "));
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
    QTest::newRow("mode without output")
        << QStringList{QStringLiteral("--kiosk"), QStringLiteral("--mode"), QStringLiteral("x")}
        << QByteArray("live-viewer: --mode needs --output; see live-viewer --help\n");
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

    QJsonObject const json = report();
    QCOMPARE(json[QLatin1String("stream")].toObject()[QLatin1String("name")].toString(),
        QStringLiteral("test camera"));
    QCOMPARE(number(json, "stream", "width"), 320.0);
    QCOMPARE(number(json, "stream", "height"), 180.0);
    QCOMPARE(number(json, "stream", "rate"), 25.0);
    QVERIFY(qAbs(number(json, "seconds") - 2) < 1);

    double const published = number(json, "frames", "published");
    double const shown = number(json, "frames", "shown");
    double const missed = number(json, "frames", "missed");
    QVERIFY2(published >= 25 && published <= 75, qPrintable(QString::number(published)));
    QVERIFY2(shown >= 15 && shown <= published + 2, qPrintable(QString::number(shown)));
    QVERIFY2(missed >= 0 && shown + missed <= published + 2, qPrintable(QString::number(missed)));
    // 60 display frames show 25 new ones.
    QVERIFY(number(json, "frames", "repeated") >= 15);
    double const displayRate = number(json, "displayRate");
    QVERIFY2(displayRate > 12 && displayRate < 27, qPrintable(QString::number(displayRate)));
    double const p50 = number(json, "latencyMs", "p50");
    QVERIFY2(p50 > 5 && p50 < 500, qPrintable(QString::number(p50)));
    QVERIFY(number(json, "latencyMs", "p99") >= p50);
    QVERIFY(number(json, "longestPauseMs") >= 30);

    QJsonValue const device = json[QLatin1String("renderer")];
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
    QJsonObject const json = report();
    double const shown = number(json, "frames", "shown");
    QVERIFY2(shown >= 2 && shown <= 6, qPrintable(QString::number(shown)));
    // Every frame is noticed, though the stream holds fewer than come between two ticks.
    QVERIFY(number(json, "frames", "published") >= 25);
    QVERIFY(number(json, "frames", "missed") >= (shown - 1) * 10);
}

void TestLiveViewer::absentStream_showsSpinner()
{
    QFETCH(QString, renderer);
    ChildProgram viewer(mViewer, viewing({QStringLiteral("--renderer"), renderer,
                                     QStringLiteral("--seconds"), QStringLiteral("0.5")}));
    QCOMPARE(viewer.exitStatus(), 0);

    QJsonObject const json = report();
    QCOMPARE(number(json, "frames", "published"), 0.0);
    QCOMPARE(number(json, "frames", "shown"), 0.0);
    QCOMPARE(number(json, "frames", "repeated"), 0.0);
    QCOMPARE(number(json, "displayRate"), 0.0);
    QVERIFY(json[QLatin1String("stream")].toObject()[QLatin1String("width")].isNull());
    QVERIFY(json[QLatin1String("latencyMs")].toObject()[QLatin1String("p50")].isNull());

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

    QVERIFY(end(viewer));
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

    QJsonObject const json = report();
    double const pause = number(json, "longestPauseMs");
    qInfo("the picture stood for %.0f ms", pause);
    QVERIFY2(pause < 2000, qPrintable(QString::number(pause)));
    QVERIFY(number(json, "frames", "shown") >= 30);
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
    QVERIFY(number(report(), "frames", "shown") >= 1);
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
    QVERIFY(end(viewer));
    QVERIFY(number(report(), "frames", "shown") >= 3);
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
    QVERIFY(end(viewer));
    QString const name = shots.entryList(QDir::Files).first();
    QVERIFY(name.startsWith(QLatin1String("live-viewer-2")));
    QImage const shot(shots.filePath(name));
    QVERIFY(shareOf(shot, PicturePart, Background) >= 0);
    QVERIFY(shareOf(shot, PicturePart, Background) < 0.2);
    QVERIFY(
        viewer.output().contains("screenshot: saved " + shots.filePath(name).toLocal8Bit() + '\n'));
}

void TestLiveViewer::kiosk_fillsTheScreenWithItsOverlays()
{
    ChildProgram const publisher(mPublisher, mPublishing);
    ChildProgram viewer(
        mViewer, viewing({QStringLiteral("--kiosk"), QStringLiteral("--verbose"),
                     QStringLiteral("--vstd"), QStringLiteral("--seconds"), QStringLiteral("4")}));
    QCOMPARE(viewer.exitStatus(), 0);
    // There is no output to watch on this platform.
    QByteArray const log = viewer.output();
    QVERIFY(log.contains(mShowing));
    QVERIFY(!log.contains("plugged"));
    QVERIFY(number(report(), "frames", "shown") >= 10);

    QImage const shot(path("shot.png"));
    QCOMPARE(shot.size(), QSize(1920, 1080));
    QVERIFY(shareOf(shot, QRect(0, 90, 1920, 500), Background) < 0.2);
    QProcess reader;
    reader.start(QStringLiteral("zbarimg"),
        {QStringLiteral("-q"), QStringLiteral("--nodbus"), path("shot.png")});
    QVERIFY(reader.waitForFinished());
    QCOMPARE(reader.readAllStandardOutput(), QByteArray("QR-Code:stream:test%20camera\n"));
}

void TestLiveViewer::kioskOnNoSuchOutput_exitsWith1()
{
    // Even without a display there would be nothing else to complain of.
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    ChildProgram viewer(mViewer,
        {QStringLiteral("--kiosk"), QStringLiteral("--output"), QStringLiteral("Nowhere9")},
        environment);
    QCOMPARE(viewer.exitStatus(), 1);
    QCOMPARE(viewer.errors(),
        QByteArray("live-viewer: can't select the output Nowhere9: there is no such output, or no "
                   "display is plugged in\n"));
}

void TestLiveViewer::kioskOnNoSuchOutput_stillHelps()
{
    ChildProgram viewer(mViewer, {QStringLiteral("--kiosk"), QStringLiteral("--output"),
                                     QStringLiteral("Nowhere9"), QStringLiteral("--help")});
    QCOMPARE(viewer.exitStatus(), 0);
    QVERIFY(viewer.output().contains("--output <NAME>"));
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
    QVERIFY(end(viewer));
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
    QVERIFY(end(viewer));
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
    double const shown = number(report(), "frames", "shown");
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
