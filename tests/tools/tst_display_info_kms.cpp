#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include "kmsguest.h"
#include "messagecheck.h"

namespace {

QString program(char const* name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + QLatin1String(name);
}

/** What the program reports with @p arguments besides --json; empty when it fails. */
QJsonValue report(QStringList const& arguments = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program("display-info"), QStringList{QStringLiteral("--json")} + arguments);
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        return {};
    return QJsonDocument::fromJson(process.readAllStandardOutput()).object();
}

QJsonValue named(QJsonArray const& list, char const* key, char const* name)
{
    for (QJsonValue const value : list) {
        if (value[QLatin1String(key)] == QLatin1String(name))
            return value;
    }
    return {};
}

QJsonValue output(QJsonValue const& all, char const* name)
{
    return named(all[QLatin1String("outputs")].toArray(), "name", name);
}

/** The mode that the display there prefers. */
QSize preferredMode(QJsonValue const& output)
{
    for (QJsonValue const mode : output[QLatin1String("modes")].toArray()) {
        if (mode[QLatin1String("preferred")].toBool())
            return {mode[QLatin1String("width")].toInt(), mode[QLatin1String("height")].toInt()};
    }
    return {};
}

} // namespace

/** display-info on the outputs of a real kernel, while another program owns the display. */
class DisplayInfoKmsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void outputs_areReported();
    void outputWithoutDisplay_isReportedSo();
    void display_tellsItsName();
    void selection_isWhatTheOutputWouldGet();
    void pluggedOutput_isReportedAnew();

private:
    QProcess mOwner;
};

void DisplayInfoKmsTest::initTestCase()
{
    mOwner.start(program("kms-holder"), QStringList());
    QVERIFY(QTest::qWaitFor([this] { return mOwner.canReadLine(); }, 60000));
    QCOMPARE(mOwner.readLine(), QByteArray("master 1\n"));
}

void DisplayInfoKmsTest::cleanupTestCase()
{
    mOwner.closeWriteChannel();
    QVERIFY(mOwner.waitForFinished());
    QCOMPARE(mOwner.exitCode(), 0);
}

void DisplayInfoKmsTest::outputs_areReported()
{
    QJsonValue const all = report();
    QCOMPARE(all[QLatin1String("device")].toString(), QStringLiteral("/dev/dri/card0"));
    QCOMPARE(all[QLatin1String("outputs")].toArray().size(), 3);
    QCOMPARE(output(all, "HDMI1")[QLatin1String("connected")], QJsonValue(true));
    QCOMPARE(preferredMode(output(all, "HDMI1")), QSize(1280, 720));
    QCOMPARE(output(all, "DP1")[QLatin1String("connected")], QJsonValue(true));
    QCOMPARE(preferredMode(output(all, "DP1")), QSize(1024, 768));
}

void DisplayInfoKmsTest::outputWithoutDisplay_isReportedSo()
{
    QJsonValue const vga = output(report(), "VGA1");
    QCOMPARE(vga[QLatin1String("connected")], QJsonValue(false));
    QCOMPARE(vga[QLatin1String("modes")].toArray().size(), 0);
}

void DisplayInfoKmsTest::display_tellsItsName()
{
    // As the emulator calls the displays that it makes.
    QCOMPARE(output(report(), "HDMI1")[QLatin1String("edid")][QLatin1String("name")].toString(),
        QStringLiteral("QEMU Monitor"));
}

void DisplayInfoKmsTest::selection_isWhatTheOutputWouldGet()
{
    QJsonArray const selections = report({QStringLiteral("--output"), QStringLiteral("DP1"),
        QStringLiteral("--mode"), QStringLiteral("800x600")})[QLatin1String("selections")]
                                      .toArray();
    QCOMPARE(selections.size(), 1);
    QCOMPARE(selections[0][QLatin1String("connector")].toString(), QStringLiteral("DP1"));
    QCOMPARE(selections[0][QLatin1String("mode")].toString(), QStringLiteral("800x600"));
}

void DisplayInfoKmsTest::pluggedOutput_isReportedAnew()
{
    QVERIFY(operateOutputs(
        {QStringLiteral("plug"), QStringLiteral("VGA-1"), QStringLiteral("800x600")}));
    QJsonValue const vga = output(report(), "VGA1");
    QCOMPARE(vga[QLatin1String("connected")], QJsonValue(true));
    QCOMPARE(preferredMode(vga), QSize(800, 600));
}

QVORLIN_TEST_MAIN(QCoreApplication, DisplayInfoKmsTest)
#include "tst_display_info_kms.moc"
