#include <QGuiApplication>
#include <QScreen>
#include <QTest>

#include "extdisplay/extdisplay.h"

#include "fakedrm.h"
#include "messagecheck.h"

static QString screenName;

// Takes the place of Qt's: the screens of the platform that runs here are no connectors.
QString QScreen::name() const
{
    return screenName;
}

class CurrentOutputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void screenOfConnectedOutput_isConnected();
    void screenOfPulledOutput_isNotConnected();
    void screenOfNoConnector_isNotConnected();
    void namelessScreen_leavesDeviceAlone();
    void videoMode_isZeroWhereItCannotBeAsked();

private:
    FakeDrm mDevice;
};

void CurrentOutputTest::screenOfConnectedOutput_isConnected()
{
    mDevice.connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1, DRM_MODE_CONNECTED}};
    screenName = QStringLiteral("HDMI1");
    QVERIFY(extdisplay::isCurrentOutputConnected());
    QCOMPARE(mDevice.outstanding(), 0);
}

void CurrentOutputTest::screenOfPulledOutput_isNotConnected()
{
    mDevice.connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1, DRM_MODE_CONNECTED, DRM_MODE_DISCONNECTED}};
    screenName = QStringLiteral("HDMI1");
    QVERIFY(!extdisplay::isCurrentOutputConnected());
    QCOMPARE(mDevice.outstanding(), 0);
}

void CurrentOutputTest::screenOfNoConnector_isNotConnected()
{
    mDevice.connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1, DRM_MODE_CONNECTED}};
    screenName = QStringLiteral("elsewhere");
    QVERIFY(!extdisplay::isCurrentOutputConnected());
}

void CurrentOutputTest::namelessScreen_leavesDeviceAlone()
{
    mDevice.takeCalls();
    screenName.clear();
    QVERIFY(!extdisplay::isCurrentOutputConnected());
    QCOMPARE(mDevice.takeCalls(), QStringList());
}

void CurrentOutputTest::videoMode_isZeroWhereItCannotBeAsked()
{
    QVERIFY(QGuiApplication::primaryScreen());
    auto const [resolution, refreshRate] = extdisplay::getCurrentOutputVideoMode();
    QCOMPARE(resolution, QSize(0, 0));
    QCOMPARE(refreshRate, 0.0);
}

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    CurrentOutputTest test;
    return runCheckingMessages(&test, argc, argv);
}

#include "tst_currentoutput.moc"
