#include "sampleedid.h"

#include <card.h>
#include <fakedrm.h>
#include <messagecheck.h>

#include <fcntl.h>

#include <QCoreApplication>
#include <QTest>

class DisplayCardTest : public QObject
{
    Q_OBJECT

private slots:
    void outputs_areReadWithoutAProbe();
    void noDevice_isAFault();
    void cardWithoutOutputs_isAFault();
    void connectorThatHasGone_isLeftOut();
    void connection_isTheKernels_data();
    void connection_isTheKernels();
    void size_isTheDisplays();
    void modes_keepTheirOrder();
    void rate_isThatOfTheTimings_data();
    void rate_isThatOfTheTimings();
    void edid_givesTheName();
    void longEdid_isReadToTheEndOfItsFirstBlock();
    void brokenEdid_isAFault_data();
    void brokenEdid_isAFault();
    void noEdid_isNone();
};

void DisplayCardTest::outputs_areReadWithoutAProbe()
{
    FakeDrm drm;
    drm.connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1}, {DRM_MODE_CONNECTOR_DisplayPort, 2}};
    Card const card = readCard();
    QCOMPARE(card.fault, QString());
    QCOMPARE(card.device, QStringLiteral("/dev/dri/card0"));
    QCOMPARE(card.outputs.size(), 2);
    QCOMPARE(card.outputs[0].name, QStringLiteral("HDMI1"));
    QCOMPARE(card.outputs[1].name, QStringLiteral("DP2"));
    QCOMPARE(drm.openFlags(), O_RDWR | O_CLOEXEC);
    QCOMPARE(drm.outstanding(), 0);
    QStringList const calls = drm.takeCalls();
    QCOMPARE(calls.first(), QStringLiteral("open /dev/dri/card0"));
    QVERIFY(calls.contains(QStringLiteral("current 1")));
    QVERIFY(calls.contains(QStringLiteral("current 2")));
    QVERIFY(calls.filter(QStringLiteral("probe")).isEmpty());
}

void DisplayCardTest::noDevice_isAFault()
{
    FakeDrm drm;
    drm.openFails = true;
    QCOMPARE(readCard().fault, QStringLiteral("can't open /dev/dri/card0: Permission denied"));
    QCOMPARE(drm.takeCalls(), QStringList(QStringLiteral("open /dev/dri/card0")));
}

void DisplayCardTest::cardWithoutOutputs_isAFault()
{
    FakeDrm drm;
    drm.resourcesFail = true;
    Card const card = readCard();
    QCOMPARE(card.fault,
        QStringLiteral("/dev/dri/card0 has no display outputs: Operation not supported"));
    QCOMPARE(drm.outstanding(), 0);
}

void DisplayCardTest::connectorThatHasGone_isLeftOut()
{
    FakeDrm drm;
    drm.connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1}, {DRM_MODE_CONNECTOR_VGA, 1}};
    drm.connectors[0].currentFails = true;
    Card const card = readCard();
    QCOMPARE(card.fault, QString());
    QCOMPARE(card.outputs.size(), 1);
    QCOMPARE(card.outputs[0].name, QStringLiteral("VGA1"));
}

void DisplayCardTest::connection_isTheKernels_data()
{
    QTest::addColumn<int>("kernels");
    QTest::addColumn<int>("connection");

    QTest::newRow("connected") << int(DRM_MODE_CONNECTED) << int(Output::Connection::Connected);
    QTest::newRow("disconnected") << int(DRM_MODE_DISCONNECTED)
                                  << int(Output::Connection::Disconnected);
    QTest::newRow("unknown") << int(DRM_MODE_UNKNOWNCONNECTION) << int(Output::Connection::Unknown);
    QTest::newRow("none of them") << 0 << int(Output::Connection::Unknown);
}

void DisplayCardTest::connection_isTheKernels()
{
    QFETCH(int, kernels);
    QFETCH(int, connection);
    FakeDrm drm;
    drm.connectors.emplace_back().connection = drmModeConnection(kernels);
    QCOMPARE(int(readCard().outputs.at(0).connection), connection);
}

void DisplayCardTest::size_isTheDisplays()
{
    FakeDrm drm;
    FakeDrm::Connector& connector = drm.connectors.emplace_back();
    connector.widthMm = 527;
    connector.heightMm = 296;
    QCOMPARE(readCard().outputs.at(0).millimetres, QSize(527, 296));
}

void DisplayCardTest::modes_keepTheirOrder()
{
    FakeDrm drm;
    drmModeModeInfo first = {};
    first.hdisplay = 1024;
    first.vdisplay = 768;
    drmModeModeInfo second = {};
    second.hdisplay = 1920;
    second.vdisplay = 1080;
    second.flags = DRM_MODE_FLAG_INTERLACE | DRM_MODE_FLAG_PHSYNC;
    second.type = DRM_MODE_TYPE_DRIVER | DRM_MODE_TYPE_PREFERRED;
    drm.connectors.emplace_back().modes = {first, second};
    QVector<OutputMode> const modes = readCard().outputs.at(0).modes;
    QCOMPARE(modes.size(), 2);
    QCOMPARE(modes[0].size, QSize(1024, 768));
    QVERIFY(!modes[0].interlaced);
    QVERIFY(!modes[0].preferred);
    QCOMPARE(modes[1].size, QSize(1920, 1080));
    QVERIFY(modes[1].interlaced);
    QVERIFY(modes[1].preferred);
}

void DisplayCardTest::rate_isThatOfTheTimings_data()
{
    QTest::addColumn<uint>("clock");
    QTest::addColumn<int>("htotal");
    QTest::addColumn<int>("vtotal");
    QTest::addColumn<uint>("flags");
    QTest::addColumn<int>("vscan");
    QTest::addColumn<double>("rate");

    QTest::newRow("60 Hz") << 148500U << 2200 << 1125 << 0U << 0 << 60.0;
    QTest::newRow("59.94 Hz") << 148352U << 2200 << 1125 << 0U << 0 << 59.94;
    QTest::newRow("interlaced") << 74250U << 2200 << 1125 << uint(DRM_MODE_FLAG_INTERLACE) << 0
                                << 60.0;
    QTest::newRow("each line twice")
        << 13500U << 858 << 262 << uint(DRM_MODE_FLAG_DBLSCAN) << 0 << 30.03;
    QTest::newRow("each line three times") << 148500U << 2200 << 1125 << 0U << 3 << 20.0;
    QTest::newRow("each line once") << 148500U << 2200 << 1125 << 0U << 1 << 60.0;
    QTest::newRow("largest") << 4294967295U << 65535 << 65535 << 0U << 0 << 1000.03;
    QTest::newRow("no timings across") << 148500U << 0 << 1125 << 0U << 0 << 25.0;
    QTest::newRow("no timings down") << 148500U << 2200 << 0 << 0U << 0 << 25.0;
}

void DisplayCardTest::rate_isThatOfTheTimings()
{
    QFETCH(uint, clock);
    QFETCH(int, htotal);
    QFETCH(int, vtotal);
    QFETCH(uint, flags);
    QFETCH(int, vscan);
    QFETCH(double, rate);
    drmModeModeInfo mode = {};
    mode.clock = clock;
    mode.htotal = uint16_t(htotal);
    mode.vtotal = uint16_t(vtotal);
    mode.flags = flags;
    mode.vscan = uint16_t(vscan);
    mode.vrefresh = 25;
    FakeDrm drm;
    drm.connectors.emplace_back().modes = {mode};
    double const found = readCard().outputs.at(0).modes.at(0).rate;
    QVERIFY2(qAbs(found - rate) < 0.005, qPrintable(QString::number(found)));
}

void DisplayCardTest::edid_givesTheName()
{
    FakeDrm drm;
    drm.connectors.emplace_back().edid = sampleEdid("Left\n");
    drm.connectors.emplace_back().edid = sampleEdid("Right\n");
    Card const card = readCard();
    QCOMPARE(drm.outstanding(), 0);
    QCOMPARE(card.outputs.at(0).edid.value().name, QStringLiteral("Left"));
    QCOMPARE(card.outputs.at(1).edid.value().name, QStringLiteral("Right"));
}

void DisplayCardTest::longEdid_isReadToTheEndOfItsFirstBlock()
{
    FakeDrm drm;
    drm.connectors.emplace_back().edid = sampleEdid("Long\n") + QByteArray(255 * 128, '\xff');
    QCOMPARE(readCard().outputs.at(0).edid.value().name, QStringLiteral("Long"));
}

void DisplayCardTest::brokenEdid_isAFault_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("fault");

    QTest::newRow("no byte") << QByteArray("") << QStringLiteral("has 0 of 128 bytes");
    QTest::newRow("a byte too few")
        << sampleEdid("Short\n").left(127) << QStringLiteral("has 127 of 128 bytes");
    QTest::newRow("zeros") << QByteArray(128, '\0') << QStringLiteral("does not begin as an EDID");
}

void DisplayCardTest::brokenEdid_isAFault()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, fault);
    FakeDrm drm;
    drm.connectors.emplace_back().edid = bytes;
    Card const card = readCard();
    QCOMPARE(card.fault, QString());
    QCOMPARE(card.outputs.at(0).edid.value().fault, fault);
    QCOMPARE(card.outputs.at(0).edid.value().name, QString());
}

void DisplayCardTest::noEdid_isNone()
{
    FakeDrm drm;
    drm.connectors.emplace_back();
    QVERIFY(!readCard().outputs.at(0).edid);
    QCOMPARE(drm.outstanding(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, DisplayCardTest)

#include "tst_displaycard.moc"
