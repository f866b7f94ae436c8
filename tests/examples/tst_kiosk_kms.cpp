#include <csignal>
#include <memory>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include "childprogram.h"
#include "kmsguest.h"
#include "messagecheck.h"
#include "streamplace.h"

namespace {

constexpr QSize Mode(1024, 768);
constexpr qint64 TwoSeconds = 2000;
// An emulated processor takes seconds to paint, and many of them on a machine with other work.
constexpr int Patience = 150000;

QString const Selected = QStringLiteral("HDMI-A-1");
QString const Other = QStringLiteral("DP-1");
QString const Stream = QStringLiteral("Kamera \u00e4");
QByteArray const Code = "QR-Code:stream:Kamera%20%C3%A4\n";

QProcessEnvironment displayEnvironment()
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("eglfs"));
    environment.insert(QStringLiteral("QT_QPA_EGLFS_INTEGRATION"), QStringLiteral("eglfs_kms"));
    return environment;
}

/** What a reader of QR codes finds in the picture @p file. */
QByteArray codeIn(QString const& file)
{
    QProcess reader;
    reader.start(
        QStringLiteral("zbarimg"), {QStringLiteral("-q"), QStringLiteral("--nodbus"), file});
    return reader.waitForFinished(Patience) ? reader.readAllStandardOutput() : QByteArray();
}

} // namespace

/**
 * The viewer as a kiosk on a display of its own, in a virtual machine with a display at either of
 * two outputs. Each test goes on where the one before ended.
 */
class TestKioskKms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void selectedOutput_showsTheKioskInItsMode();
    void otherOutput_staysAsItWas();
    void unselectableOutput_isNamedAndExitsWith1();
    void unplugged_isLoggedWithinTwoSeconds();
    void pluggedIn_bringsThePictureBack();
    void terminated_endsInGoodOrder();

private:
    QString path(QString const& file) const { return mFolder.filePath(file); }
    QImage pictureOf(QString const& output, QString const& file) const;
    bool waitForLog(QByteArray const& text);

    StreamPlace mPlace;
    QDir const mFolder{qEnvironmentVariable("KMSVM_OUT")};
    std::unique_ptr<ChildProgram> mPublisher;
    std::unique_ptr<ChildProgram> mViewer;
    QByteArray mLog;
};

QImage TestKioskKms::pictureOf(QString const& output, QString const& file) const
{
    return operateOutputs({QStringLiteral("picture"), output, path(file)}) ? QImage(path(file))
                                                                           : QImage();
}

bool TestKioskKms::waitForLog(QByteArray const& text)
{
    bool const found = QTest::qWaitFor(
        [&] {
            mLog += mViewer->output();
            return mLog.contains(text);
        },
        Patience);
    if (!found)
        qInfo("%s", mLog.constData());
    return found;
}

void TestKioskKms::initTestCase()
{
    mPublisher = std::make_unique<ChildProgram>(QStringLiteral("shm-publish"),
        QStringList{QStringLiteral("--name"), Stream, QStringLiteral("--size"),
            QStringLiteral("320x180"), QStringLiteral("--rate"), QStringLiteral("25")},
        displayEnvironment());
    mViewer = std::make_unique<ChildProgram>(QStringLiteral("live-viewer"),
        QStringList{QStringLiteral("--stream"), Stream, QStringLiteral("--kiosk"),
            QStringLiteral("--output"), QStringLiteral("HDMI1"), QStringLiteral("--mode"),
            QStringLiteral("%1x%2").arg(Mode.width()).arg(Mode.height()),
            QStringLiteral("--no-audio"), QStringLiteral("--vstd"), QStringLiteral("--verbose")},
        displayEnvironment());
    QVERIFY(waitForLog("live-viewer: showing stream '" + Stream.toUtf8() + "'\n"));
}

void TestKioskKms::selectedOutput_showsTheKioskInItsMode()
{
    QCOMPARE(pictureOf(Selected, QStringLiteral("kiosk.png")).size(), Mode);
    QCOMPARE(codeIn(path(QStringLiteral("kiosk.png"))), Code);
}

void TestKioskKms::otherOutput_staysAsItWas()
{
    QImage const picture = pictureOf(Other, QStringLiteral("other.png"));
    QVERIFY(!picture.isNull());
    QCOMPARE(shareOf(picture, picture.rect(), qRgb(0, 0, 0)), 1.0);
}

void TestKioskKms::unselectableOutput_isNamedAndExitsWith1()
{
    ChildProgram viewer(QStringLiteral("live-viewer"),
        {QStringLiteral("--kiosk"), QStringLiteral("--output"), QStringLiteral("VGA1")},
        displayEnvironment());
    QCOMPARE(viewer.exitStatus(), 1);
    QCOMPARE(viewer.errors(),
        QByteArray("live-viewer: can't select the output VGA1: there is no such output, or no "
                   "display is plugged in\n"));
}

void TestKioskKms::unplugged_isLoggedWithinTwoSeconds()
{
    QElapsedTimer time;
    time.start();
    QVERIFY(operateOutputs({QStringLiteral("unplug"), Selected}));
    qint64 const unplugged = time.elapsed();
    QVERIFY(waitForLog("output HDMI1 unplugged"));
    qInfo("logged %lld ms after it was begun to unplug the display", time.elapsed());
    // While the machine unplugs it the display may have been seen either way.
    QVERIFY2(time.elapsed() - unplugged < TwoSeconds, qPrintable(QString::number(time.elapsed())));
}

void TestKioskKms::pluggedIn_bringsThePictureBack()
{
    QVERIFY(operateOutputs({QStringLiteral("plug"), Selected, QStringLiteral("1280x720")}));
    QVERIFY(waitForLog("output HDMI1 plugged in"));
    QImage picture;
    auto isBack = [&] {
        picture = pictureOf(Selected, QStringLiteral("again.png"));
        return codeIn(path(QStringLiteral("again.png"))) == Code;
    };
    QVERIFY(QTest::qWaitFor(isBack, Patience));
    // It goes on: other frames of the stream, other seconds of the clock.
    QTRY_VERIFY_WITH_TIMEOUT(pictureOf(Selected, QStringLiteral("later.png")) != picture, Patience);
    QVERIFY(isBack());
    QCOMPARE(mLog.count("plugged in"), 1);
}

void TestKioskKms::terminated_endsInGoodOrder()
{
    mViewer->sendSignal(SIGTERM);
    QCOMPARE(mViewer->exitStatus(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestKioskKms)
#include "tst_kiosk_kms.moc"
