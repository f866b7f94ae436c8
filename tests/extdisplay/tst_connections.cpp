#include <optional>

#include <fcntl.h>

#include <QTest>

#include "extdisplay/extdisplay.h"

#include "fakedrm.h"
#include "messagecheck.h"

using extdisplay::isOutputConnected;

static QStringList calls(char const* text)
{
    return QString::fromLatin1(text).split(QStringLiteral("; "));
}

class ConnectionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void connectedOutput_isProbedAlone();
    void disconnectedOutput_isFalse();
    void unknownConnection_isFalse();
    void device_isFirstCardForReadingAndWriting();
    void probeDecides_data();
    void probeDecides();
    void emptyName_leavesDeviceAlone();
    void unknownName_isFalseWithoutProbe();
    void otherCase_isNoMatch();
    void partOfAName_isNoMatch();
    void nameBeyondLatin1_isNoMatch();
    void missingDevice_isFalse();
    void missingResources_closesDevice();
    void noConnectors_isFalse();
    void connectorThatIsGone_isSkipped();
    void failedProbe_isFalse();
    void failedProbe_triesNextOfTheSameName();
    void twoOfOneName_firstDecides();
    void selectedOutput_isAskedByItsKey();
    void noSelection_leavesDeviceAlone();
    void noPrimaryScreen_isNotConnected();
    void noPrimaryScreen_hasNoVideoMode();

private:
    std::optional<FakeDrm> mDevice;
};

void ConnectionsTest::init()
{
    mDevice.emplace();
    mDevice->connectors = {
        {DRM_MODE_CONNECTOR_VGA, 1},
        {DRM_MODE_CONNECTOR_HDMIA, 1, DRM_MODE_CONNECTED},
        {DRM_MODE_CONNECTOR_DisplayPort, 2, DRM_MODE_UNKNOWNCONNECTION},
        {20, 2, DRM_MODE_CONNECTED},
    };
}

void ConnectionsTest::cleanup()
{
    QCOMPARE(mDevice->outstanding(), 0);
    mDevice.reset();
}

void ConnectionsTest::connectedOutput_isProbedAlone()
{
    QVERIFY(isOutputConnected(QStringLiteral("HDMI1")));
    // The cheap description is freed before the probe, and nothing is asked after it.
    QCOMPARE(mDevice->takeCalls(),
        calls("open /dev/dri/card0; resources; current 1; free 1; current 2; free 2; "
              "probe 2; free 2; free resources; close"));
    QVERIFY(isOutputConnected(QStringLiteral("UNKNOWN2")));
}

void ConnectionsTest::disconnectedOutput_isFalse()
{
    QVERIFY(!isOutputConnected(QStringLiteral("VGA1")));
    QVERIFY(mDevice->takeCalls().contains(QStringLiteral("probe 1")));
}

void ConnectionsTest::unknownConnection_isFalse()
{
    QVERIFY(!isOutputConnected(QStringLiteral("DP2")));
    QVERIFY(mDevice->takeCalls().contains(QStringLiteral("probe 3")));
}

void ConnectionsTest::device_isFirstCardForReadingAndWriting()
{
    isOutputConnected(QStringLiteral("HDMI1"));
    QCOMPARE(mDevice->takeCalls().value(0), QStringLiteral("open /dev/dri/card0"));
    QCOMPARE(mDevice->openFlags(), O_RDWR | O_CLOEXEC);
}

void ConnectionsTest::probeDecides_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("probed");
    QTest::addColumn<bool>("connected");

    QTest::newRow("plugged in meanwhile")
        << int(DRM_MODE_DISCONNECTED) << int(DRM_MODE_CONNECTED) << true;
    QTest::newRow("pulled meanwhile")
        << int(DRM_MODE_CONNECTED) << int(DRM_MODE_DISCONNECTED) << false;
}

void ConnectionsTest::probeDecides()
{
    QFETCH(int, before);
    QFETCH(int, probed);
    mDevice->connectors[1].connection = drmModeConnection(before);
    mDevice->connectors[1].probedConnection = drmModeConnection(probed);
    QTEST(isOutputConnected(QStringLiteral("HDMI1")), "connected");
}

void ConnectionsTest::emptyName_leavesDeviceAlone()
{
    QVERIFY(!isOutputConnected(QString()));
    QVERIFY(!isOutputConnected(QStringLiteral("")));
    QCOMPARE(mDevice->takeCalls(), QStringList());
}

void ConnectionsTest::unknownName_isFalseWithoutProbe()
{
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI2")));
    QCOMPARE(mDevice->takeCalls(),
        calls("open /dev/dri/card0; resources; current 1; free 1; current 2; free 2; "
              "current 3; free 3; current 4; free 4; free resources; close"));
}

void ConnectionsTest::otherCase_isNoMatch()
{
    QVERIFY(!isOutputConnected(QStringLiteral("hdmi1")));
}

void ConnectionsTest::partOfAName_isNoMatch()
{
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI")));
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI11")));
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI-A-1")));
}

void ConnectionsTest::nameBeyondLatin1_isNoMatch()
{
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI\u0661")));
}

void ConnectionsTest::missingDevice_isFalse()
{
    mDevice->openFails = true;
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI1")));
    QCOMPARE(mDevice->takeCalls(), calls("open /dev/dri/card0"));
}

void ConnectionsTest::missingResources_closesDevice()
{
    mDevice->resourcesFail = true;
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI1")));
    QCOMPARE(mDevice->takeCalls(), calls("open /dev/dri/card0; resources; close"));
}

void ConnectionsTest::noConnectors_isFalse()
{
    mDevice->connectors.clear();
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI1")));
    QCOMPARE(mDevice->takeCalls(), calls("open /dev/dri/card0; resources; free resources; close"));
}

void ConnectionsTest::connectorThatIsGone_isSkipped()
{
    mDevice->connectors[0].currentFails = true;
    QVERIFY(isOutputConnected(QStringLiteral("HDMI1")));
    QCOMPARE(mDevice->takeCalls(),
        calls("open /dev/dri/card0; resources; current 1; current 2; free 2; probe 2; free 2; "
              "free resources; close"));
}

void ConnectionsTest::failedProbe_isFalse()
{
    mDevice->connectors[1].probeFails = true;
    QVERIFY(!isOutputConnected(QStringLiteral("HDMI1")));
    QCOMPARE(mDevice->takeCalls(),
        calls("open /dev/dri/card0; resources; current 1; free 1; current 2; free 2; probe 2; "
              "current 3; free 3; current 4; free 4; free resources; close"));
}

void ConnectionsTest::failedProbe_triesNextOfTheSameName()
{
    mDevice->connectors = {
        {DRM_MODE_CONNECTOR_DVII, 1, DRM_MODE_DISCONNECTED, {}, false, true},
        {DRM_MODE_CONNECTOR_DVID, 1, DRM_MODE_CONNECTED},
    };
    QVERIFY(isOutputConnected(QStringLiteral("DVI1")));
}

void ConnectionsTest::twoOfOneName_firstDecides()
{
    mDevice->connectors = {
        {DRM_MODE_CONNECTOR_DVII, 1, DRM_MODE_DISCONNECTED},
        {DRM_MODE_CONNECTOR_DVID, 1, DRM_MODE_CONNECTED},
    };
    QVERIFY(!isOutputConnected(QStringLiteral("DVI1")));
}

void ConnectionsTest::selectedOutput_isAskedByItsKey()
{
    using extdisplay::OutputInfo;
    QString const hdmi = QStringLiteral("HDMI1");
    QString const vga = QStringLiteral("VGA1");
    QVERIFY(extdisplay::isEGLFSKMSOutputConnected(OutputInfo(hdmi, vga, vga)));
    QVERIFY(!extdisplay::isEGLFSKMSOutputConnected(OutputInfo(vga, hdmi, hdmi)));
}

void ConnectionsTest::noSelection_leavesDeviceAlone()
{
    QVERIFY(!extdisplay::isEGLFSKMSOutputConnected(extdisplay::OutputInfo()));
    QCOMPARE(mDevice->takeCalls(), QStringList());
}

void ConnectionsTest::noPrimaryScreen_isNotConnected()
{
    QVERIFY(!extdisplay::isCurrentOutputConnected());
    QCOMPARE(mDevice->takeCalls(), QStringList());
}

void ConnectionsTest::noPrimaryScreen_hasNoVideoMode()
{
    auto const [resolution, refreshRate] = extdisplay::getCurrentOutputVideoMode();
    QCOMPARE(resolution, QSize(0, 0));
    QCOMPARE(refreshRate, 0.0);
}

QVORLIN_TEST_MAIN(QCoreApplication, ConnectionsTest)

#include "tst_connections.moc"
