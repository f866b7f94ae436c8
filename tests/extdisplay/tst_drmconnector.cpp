#include "extdisplay/drmconnector.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSharedPointer>
#include <QTest>

#include "fakedrm.h"
#include "messagecheck.h"

class DrmConnectorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void name_isTypeAndTypeId_data();
    void name_isTypeAndTypeId();
    void lastPointer_freesTheDescription();

private:
    drmModeConnector* describe();

    FakeDrm mDevice;
};

void DrmConnectorTest::name_isTypeAndTypeId_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<uint>("typeId");
    QTest::addColumn<QString>("name");

    struct
    {
        char const* title;
        uint type;
        uint typeId;
        char const* name;
    } const rows[] = {
        {"unknown", 0, 1, "None1"},
        {"VGA", 1, 1, "VGA1"},
        {"DVI-I", 2, 3, "DVI3"},
        {"DVI-D", 3, 1, "DVI1"},
        {"DVI-A", 4, 1, "DVI1"},
        {"composite", 5, 1, "Composite1"},
        {"S-Video", 6, 1, "TV1"},
        {"LVDS", 7, 1, "LVDS1"},
        {"component", 8, 1, "CTV1"},
        {"9-pin DIN", 9, 1, "DIN1"},
        {"DisplayPort", 10, 2, "DP2"},
        {"HDMI-A", 11, 1, "HDMI1"},
        {"HDMI-B", 12, 12, "HDMI12"},
        {"TV", 13, 1, "TV1"},
        {"eDP", 14, 1, "eDP1"},
        {"first type without a name", 15, 7, "UNKNOWN7"},
        {"type 20", 20, 2, "UNKNOWN2"},
        {"highest numbers", 4294967295U, 4294967295U, "UNKNOWN4294967295"},
    };
    for (auto const& row : rows)
        QTest::newRow(row.title) << row.type << row.typeId << QString::fromLatin1(row.name);
}

void DrmConnectorTest::name_isTypeAndTypeId()
{
    QFETCH(uint, type);
    QFETCH(uint, typeId);

    mDevice.connectors = {{type, typeId}};
    drm::Connector const connector(describe());
    QTEST(connector.name, "name");
    QCOMPARE(connector.connector->connector_id, 1U);
}

void DrmConnectorTest::lastPointer_freesTheDescription()
{
    mDevice.connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1}};
    auto first = QSharedPointer<drm::Connector>::create(describe());
    auto second = first;
    mDevice.takeCalls();
    first.reset();
    QCOMPARE(mDevice.takeCalls(), QStringList());
    second.reset();
    QCOMPARE(mDevice.takeCalls(), QStringList{QStringLiteral("free 1")});
}

drmModeConnector* DrmConnectorTest::describe()
{
    int const descriptor = open("/dev/dri/card0", O_RDWR | O_CLOEXEC);
    drmModeConnector* const connector = drmModeGetConnectorCurrent(descriptor, 1);
    close(descriptor);
    return connector;
}

QVORLIN_TEST_MAIN(QCoreApplication, DrmConnectorTest)

#include "tst_drmconnector.moc"
