#include <algorithm>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>

#include "extdisplay/extdisplay.h"
#include "kmscolours.h"
#include "kmsguest.h"
#include "messagecheck.h"

namespace {

/** The outputs of the machine, which CMakeLists.txt asks for. */
struct Output
{
    char const* name;
    /** In the kernel's words. */
    char const* connector;
    QSize preferred;
};

Output const outputs[] = {
    {"HDMI1", "HDMI-A-1", QSize(1280, 720)},
    {"DP1", "DP-1", QSize(1024, 768)},
    {"VGA1", "VGA-1", QSize(800, 600)},
};

/** A program that tells facts, one a line; ended in the end. */
class Teller
{
public:
    Teller(QString const& program, QStringList const& arguments,
        QProcessEnvironment const& environment = QProcessEnvironment::systemEnvironment())
    {
        mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        mProcess.setProcessEnvironment(environment);
        mProcess.start(
            QCoreApplication::applicationDirPath() + QLatin1Char('/') + program, arguments);
    }

    ~Teller()
    {
        end();
        mProcess.kill();
        mProcess.waitForFinished();
    }

    /** Waits for all that it tells at once. */
    bool hear()
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 60000) {
            while (mProcess.canReadLine()) {
                QString const line = QString::fromUtf8(mProcess.readLine()).trimmed();
                if (line == QLatin1String("told"))
                    return true;
                mFacts[line.section(QLatin1Char(' '), 0, 0)] = line.section(QLatin1Char(' '), 1);
            }
            if (mProcess.state() == QProcess::NotRunning && !mProcess.canReadLine())
                break;
            mProcess.waitForReadyRead(1000);
        }
        return false;
    }

    bool ask()
    {
        mProcess.write("\n");
        return hear();
    }

    QString operator[](char const* fact) const { return mFacts.value(QLatin1String(fact)); }

    /** Whether it ends well when it is told to. */
    bool end()
    {
        mProcess.closeWriteChannel();
        return mProcess.waitForFinished(60000) && mProcess.exitStatus() == QProcess::NormalExit &&
               mProcess.exitCode() == 0;
    }

private:
    QProcess mProcess;
    QMap<QString, QString> mFacts;
};

QProcessEnvironment eglfsEnvironment(QString const& outputsMap = QString())
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("eglfs"));
    environment.insert(QStringLiteral("QT_QPA_EGLFS_INTEGRATION"), QStringLiteral("eglfs_kms"));
    environment.insert(QStringLiteral("QT_QPA_EGLFS_HIDECURSOR"), QStringLiteral("1"));
    environment.insert(QStringLiteral("EXTDISPLAY_OUTPUTS_CONFIG"), outputsMap);
    return environment;
}

bool plug(char const* connector, char const* size)
{
    return operateOutputs({QStringLiteral("plug"), QLatin1String(connector), QLatin1String(size)});
}

bool unplug(char const* connector)
{
    return operateOutputs({QStringLiteral("unplug"), QLatin1String(connector)});
}

bool isConnected(char const* output)
{
    return extdisplay::isOutputConnected(QLatin1String(output));
}

/** What an output shows; the picture is kept under that name. */
QImage picture(Output const& output, QString const& name)
{
    QString const file =
        QStringLiteral("%1/%2-%3.png")
            .arg(qEnvironmentVariable("KMSVM_OUT"), name, QLatin1String(output.name));
    if (!operateOutputs({QStringLiteral("picture"), QLatin1String(output.connector), file}))
        return QImage();
    return QImage(file).convertToFormat(QImage::Format_RGB32);
}

/** The kernel's console, blue on all outputs, is what programs find and leave. */
bool clearConsole()
{
    QFile console(QStringLiteral("/dev/tty1"));
    QByteArray const text = "\033[?25l\033[44m\033[2J\033[HThe console";
    return console.open(QIODevice::WriteOnly) && console.write(text) == text.size();
}

QImage makeScene(QSize const& size)
{
    QImage scene(size, QImage::Format_RGB32);
    QPainter painter(&scene);
    int const width = size.width() / 2;
    int const height = size.height() / 2;
    for (int i = 0; i < 4; ++i)
        painter.fillRect(
            i % 2 * width, i / 2 * height, width + 1, height + 1, kms::quarterColours[i]);
    painter.fillRect(kms::overlayArea, kms::overlayColour);
    return scene;
}

/** In what a picture differs from kms-scene in this size; empty when it does not. */
QByteArray differenceFromScene(QImage const& image, QSize const& size)
{
    if (image.size() != size)
        return QByteArray::number(image.width()) + 'x' + QByteArray::number(image.height());
    // Colours blend where the quarters meet.
    int const blend = 16;
    QImage const scene = makeScene(size);
    for (int y = 0; y < size.height(); ++y) {
        if (qAbs(y - size.height() / 2) < blend)
            continue;
        auto const* wanted = reinterpret_cast<QRgb const*>(scene.constScanLine(y));
        auto const* shown = reinterpret_cast<QRgb const*>(image.constScanLine(y));
        int const middle = size.width() / 2;
        if (!std::equal(wanted, wanted + middle - blend, shown) ||
            !std::equal(wanted + middle + blend, wanted + size.width(), shown + middle + blend))
            return "line " + QByteArray::number(y);
    }
    return QByteArray();
}

} // namespace

/**
 * Display outputs of a real kernel, and Qt's own platform on them: runs inside the virtual machine
 * of tests/support/kmsvm.
 */
class TestKms : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void pluggedOutput_isConnected();
    void outputWithoutDisplay_isNotConnected();
    void outputThatIsMissing_isNotConnected();
    void unpluggedOutput_isConnectedOnceItIsPluggedAgain();
    void outputHeldByAnotherProgram_isFollowedAllTheSame();
    void unpluggedOutputThatMustBeConnected_isNotSelected();

    void chosenOutput_showsTheProgramInTheChosenMode_data();
    void chosenOutput_showsTheProgramInTheChosenMode();
    void outputUnpluggedWhileShowing_isNoticedByTheProgram();
    void textThatIsNotAdapted_hasStockQtTakeAllOutputsAndShowOnTheFirst();

private:
    QTemporaryDir mFolder;
    QString mOutputsMap;
    QMap<QString, QImage> mConsole;
};

void TestKms::initTestCase()
{
    QVERIFY2(qEnvironmentVariableIsSet("KMSVM_OUT"), "run this inside tests/support/kmsvm --out");
    QFile map(mFolder.filePath(QStringLiteral("outputs.json")));
    QVERIFY(map.open(QIODevice::WriteOnly));
    map.write(R"({"outputs": {"front": {
        "name": "Front", "qtconnectors": ["VGA1"], "fixed-modes": true, "crtcmask": 4}}})");
    mOutputsMap = map.fileName();

    QVERIFY(clearConsole());
    for (Output const& output : outputs) {
        QImage shown;
        QTRY_VERIFY2_WITH_TIMEOUT(
            (shown = picture(output, QStringLiteral("console"))).pixelColor(400, 300) ==
                QColor(0, 0, 170),
            output.name, 30000);
        QCOMPARE(shown.size(), output.preferred);
        mConsole[QLatin1String(output.name)] = shown;
    }
}

void TestKms::pluggedOutput_isConnected()
{
    for (Output const& output : outputs)
        QVERIFY2(isConnected(output.name), output.name);
}

void TestKms::outputWithoutDisplay_isNotConnected()
{
    QVERIFY(!isConnected("HDMI2"));
}

void TestKms::outputThatIsMissing_isNotConnected()
{
    QVERIFY(!isConnected("HDMI3"));
    QVERIFY(!isConnected("HDMI-A-1"));
    QVERIFY(!isConnected(""));
}

void TestKms::unpluggedOutput_isConnectedOnceItIsPluggedAgain()
{
    extdisplay::OutputInfo const info(QStringLiteral("HDMI2"), QString(), QString());
    QVERIFY(!extdisplay::isEGLFSKMSOutputConnected(info));
    QVERIFY(plug("HDMI-A-2", "1024x768"));
    QVERIFY(isConnected("HDMI2"));
    QVERIFY(extdisplay::isEGLFSKMSOutputConnected(info));
    QVERIFY(unplug("HDMI-A-2"));
    QVERIFY(!isConnected("HDMI2"));
    QVERIFY(!extdisplay::isEGLFSKMSOutputConnected(info));
    QVERIFY(plug("HDMI-A-2", "1280x720"));
    QVERIFY(isConnected("HDMI2"));
    QVERIFY(extdisplay::isEGLFSKMSOutputConnected(info));
    QVERIFY(unplug("HDMI-A-2"));
    QVERIFY(isConnected("HDMI1"));
}

void TestKms::outputHeldByAnotherProgram_isFollowedAllTheSame()
{
    Teller holder(QStringLiteral("kms-holder"), {});
    QVERIFY(holder.hear());
    QCOMPARE(holder["master"], QStringLiteral("1"));
    QVERIFY(isConnected("HDMI1"));
    QVERIFY(!isConnected("HDMI2"));
    QVERIFY(plug("HDMI-A-2", "1024x768"));
    QVERIFY(isConnected("HDMI2"));
    QVERIFY(unplug("HDMI-A-2"));
    QVERIFY(!isConnected("HDMI2"));
    QVERIFY(holder.end());
}

void TestKms::unpluggedOutputThatMustBeConnected_isNotSelected()
{
    QVERIFY(extdisplay::setEGLFSKMSOutput(QStringLiteral("HDMI2"), QString(), QSize(), true)
                .output.isEmpty());
    QVERIFY(!qEnvironmentVariableIsSet("QT_QPA_EGLFS_KMS_CONFIG"));
}

void TestKms::chosenOutput_showsTheProgramInTheChosenMode_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<bool>("withMap");
    QTest::addColumn<int>("lit");
    QTest::addColumn<QSize>("size");

    QTest::newRow("hdmi") << "HDMI1"
                          << "1920x1080" << false << 0 << QSize(1920, 1080);
    QTest::newRow("displayport") << "DP1"
                                 << "800x600" << false << 1 << QSize(800, 600);
    QTest::newRow("vga") << "VGA1"
                         << "1024x768" << false << 2 << QSize(1024, 768);
    QTest::newRow("preferred") << "DP1"
                               << "preferred" << false << 1 << QSize(1024, 768);
    QTest::newRow("fixed") << "front"
                           << "1360x768" << true << 2 << QSize(1360, 768);
    QTest::newRow("unknown") << "HDMI1"
                             << "1234x567" << false << 0 << QSize(1280, 720);
}

void TestKms::chosenOutput_showsTheProgramInTheChosenMode()
{
    QFETCH(QString, output);
    QFETCH(QString, mode);
    QFETCH(bool, withMap);
    QFETCH(int, lit);
    QFETCH(QSize, size);
    QString const name = QLatin1String(QTest::currentDataTag());
    // Qt turns the cursor on as it ends.
    QVERIFY(clearConsole());

    Teller scene(QStringLiteral("kms-scene"), {output, mode, QStringLiteral("adapt")},
        eglfsEnvironment(withMap ? mOutputsMap : QString()));
    QVERIFY(scene.hear());
    QCOMPARE(scene["selected"], output);
    QCOMPARE(scene["adapted"], QStringLiteral("1"));
    QCOMPARE(scene["screens"], QLatin1String(outputs[lit].name));
    QCOMPARE(scene["connected"], QStringLiteral("1"));
    // Qt's own screens do not tell the size that they set.
    QCOMPARE(scene["mode"], QStringLiteral("0x0 0"));

    QTRY_COMPARE_WITH_TIMEOUT(
        differenceFromScene(picture(outputs[lit], name), size), QByteArray(), 60000);
    for (Output const& other : outputs) {
        if (&other != &outputs[lit])
            QCOMPARE(picture(other, name), mConsole[QLatin1String(other.name)]);
    }
    QVERIFY(scene.end());
}

void TestKms::outputUnpluggedWhileShowing_isNoticedByTheProgram()
{
    Teller scene(QStringLiteral("kms-scene"),
        {QStringLiteral("HDMI1"), QString(), QStringLiteral("adapt")}, eglfsEnvironment());
    QVERIFY(scene.hear());
    QCOMPARE(scene["connected"], QStringLiteral("1"));
    QVERIFY(unplug("HDMI-A-1"));
    QVERIFY(scene.ask());
    QCOMPARE(scene["connected"], QStringLiteral("0"));
    QVERIFY(!isConnected("HDMI1"));
    QVERIFY(plug("HDMI-A-1", "1280x720"));
    QVERIFY(scene.ask());
    QCOMPARE(scene["connected"], QStringLiteral("1"));
    QVERIFY(isConnected("HDMI1"));
    QVERIFY(scene.end());
}

void TestKms::textThatIsNotAdapted_hasStockQtTakeAllOutputsAndShowOnTheFirst()
{
    QVERIFY(clearConsole());
    Teller scene(QStringLiteral("kms-scene"),
        {QStringLiteral("DP1"), QString(), QStringLiteral("as-is")}, eglfsEnvironment());
    QVERIFY(scene.hear());
    QCOMPARE(scene["selected"], QStringLiteral("DP1"));
    QCOMPARE(scene["adapted"], QStringLiteral("0"));
    QCOMPARE(scene["screens"], QStringLiteral("HDMI1 DP1 VGA1"));
    QTRY_COMPARE_WITH_TIMEOUT(
        differenceFromScene(picture(outputs[0], QStringLiteral("as-is")), outputs[0].preferred),
        QByteArray(), 60000);
    // The output that was chosen shows nothing of it.
    QCOMPARE(picture(outputs[1], QStringLiteral("as-is")), mConsole[QStringLiteral("DP1")]);
    QVERIFY(scene.end());
}

QVORLIN_TEST_MAIN(QCoreApplication, TestKms)
#include "tst_kms.moc"
