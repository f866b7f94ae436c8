#include <optional>
#include <thread>
#include <vector>

#include <fcntl.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include "extdisplay/extdisplay.h"

#include "fakedrm.h"
#include "messagecheck.h"

using extdisplay::buildEGLFSKMSConfig;
using extdisplay::OutputInfo;
using extdisplay::setEGLFSKMSOutput;

static constexpr char const* variable = "QT_QPA_EGLFS_KMS_CONFIG";
static QString const hdmi = QStringLiteral("HDMI1");

/** The elements of "outputs", each as "name mode crtcmask". */
static QStringList outputsOf(QJsonObject const& config)
{
    QStringList outputs;
    for (QJsonValue const element : config[QLatin1String("outputs")].toArray()) {
        QStringList words{
            element[QLatin1String("name")].toString(), element[QLatin1String("mode")].toString()};
        if (element.toObject().contains(QLatin1String("crtcmask")))
            words.append(element[QLatin1String("crtcmask")].toString(QStringLiteral("no string")));
        outputs.append(words.join(QLatin1Char(' ')));
    }
    return outputs;
}

static QString modeOf(QJsonObject const& config)
{
    for (QJsonValue const element : config[QLatin1String("outputs")].toArray()) {
        if (element.toObject().contains(QLatin1String("crtcmask")))
            return element[QLatin1String("mode")].toString();
    }
    return QStringLiteral("none selected");
}

static QStringList strings(std::initializer_list<char const*> texts)
{
    QStringList list;
    for (char const* text : texts)
        list.append(QString::fromLatin1(text));
    return list;
}

class EglfsConfigTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void unconfiguredBoard_selectsConnectorOfThatName();
    void result_isFromTheMap();
    void document_isTheOnePublished();
    void device_isReadWithoutProbes();
    void fixedModes_areModelines_data();
    void fixedModes_areModelines();
    void fixedModesOff_passModeOn();
    void otherModes_arePassedOn_data();
    void otherModes_arePassedOn();
    void emptyMode_isPreferred();
    void size_isIgnored();
    void crtcMask_isWrittenAsText_data();
    void crtcMask_isWrittenAsText();
    void connectorNames_areTriedInOrder();
    void connectedOne_goesBeforeFirstName();
    void noneConnected_fallsBackToFirstMatch();
    void noneConnectedThoughRequired_isRefused();
    void unknownConnection_isNotConnected();
    void nameWithoutConnector_isPassedOver();
    void twoConnectorsOfOneName_oneIsSelected();
    void connectorThatIsGone_isLeftOut();
    void unnamedType_isSelectedByItsNumber();
    void refusals_leaveEnvironmentAlone_data();
    void refusals_leaveEnvironmentAlone();
    void refusal_doesNotSetTheVariable();
    void entryWithoutKey_leavesDeviceAlone();
    void missingDevice_isRefused();
    void missingResources_closesDevice();
    void manyThreadsAtOnce_getTheSame();

private:
    void useMap(QByteArray const& outputs);

    std::optional<FakeDrm> mDevice;
    QTemporaryDir mDirectory;
    QString mPath = mDirectory.filePath(QStringLiteral("outputs.json"));
};

void EglfsConfigTest::init()
{
    QVERIFY(mDirectory.isValid());
    mDevice.emplace();
    mDevice->connectors = {
        {DRM_MODE_CONNECTOR_DisplayPort, 1},
        {DRM_MODE_CONNECTOR_HDMIA, 1, DRM_MODE_CONNECTED},
        {DRM_MODE_CONNECTOR_VGA, 1, DRM_MODE_CONNECTED},
    };
    QFile::remove(mPath);
    qputenv("EXTDISPLAY_OUTPUTS_CONFIG", QFile::encodeName(mPath));
    qunsetenv(variable);
}

void EglfsConfigTest::cleanup()
{
    QCOMPARE(mDevice->outstanding(), 0);
    mDevice.reset();
}

void EglfsConfigTest::useMap(QByteArray const& outputs)
{
    QFile file(mPath);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"outputs\": {" + outputs + "}}");
}

void EglfsConfigTest::unconfiguredBoard_selectsConnectorOfThatName()
{
    OutputInfo const info = setEGLFSKMSOutput(hdmi, QStringLiteral("1920x1080"), QSize(), true);
    QCOMPARE(info.output, hdmi);
    QCOMPARE(info.name, hdmi);
    QCOMPARE(info.audio, QString());
    QCOMPARE(
        qgetenv(variable), QByteArray(R"({"device":"/dev/dri/card0","hwcursor":false,"outputs":[)"
                                      R"({"mode":"ignore","name":"DP1"},)"
                                      R"({"crtcmask":"-1","mode":"1920x1080","name":"HDMI1"},)"
                                      R"({"mode":"ignore","name":"VGA1"}],)"
                                      R"("pbuffers":false,"separateScreens":false})"));
}

void EglfsConfigTest::result_isFromTheMap()
{
    useMap(R"("stage": {"name": "Stage", "qtconnectors": ["HDMI1"], "audio": "hw:1"})");
    OutputInfo const info = setEGLFSKMSOutput(QStringLiteral("stage"), {}, {}, true);
    QCOMPARE(info.output, QStringLiteral("stage"));
    QCOMPARE(info.name, QStringLiteral("Stage"));
    QCOMPARE(info.audio, QStringLiteral("hw:1"));
}

void EglfsConfigTest::document_isTheOnePublished()
{
    QJsonObject const config = buildEGLFSKMSConfig(hdmi, {}, {}, false);
    QVERIFY(!qEnvironmentVariableIsSet(variable));
    setEGLFSKMSOutput(hdmi, {}, {}, false);
    QCOMPARE(QJsonDocument::fromJson(qgetenv(variable)).object(), config);
}

void EglfsConfigTest::device_isReadWithoutProbes()
{
    buildEGLFSKMSConfig(hdmi, {}, {}, true);
    QStringList calls = mDevice->takeCalls();
    QCOMPARE(mDevice->openFlags(), O_RDWR | O_CLOEXEC);
    QCOMPARE(calls.mid(0, 5),
        strings({"open /dev/dri/card0", "resources", "current 1", "current 2", "current 3"}));
    QCOMPARE(calls.mid(8), strings({"free resources", "close"}));
    calls = calls.mid(5, 3);
    calls.sort();
    QCOMPARE(calls, strings({"free 1", "free 2", "free 3"}));
}

void EglfsConfigTest::fixedModes_areModelines_data()
{
    QTest::addColumn<QString>("modeline");

    char const* const rows[][2] = {
        {"1920x1080", "148.5 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync"},
        {"1400x1050", "101.088 1400 1448 1480 1560 1050 1053 1057 1080 +hsync -vsync"},
        {"1360x768", "85.5 1360 1424 1536 1792 768 771 777 795 +hsync +vsync"},
        {"1280x960", "108 1280 1376 1488 1800 960 961 964 1000 +hsync +vsync"},
        {"1280x720", "74.25 1280 1390 1430 1650 720 725 730 750 +hsync +vsync"},
        {"1024x768", "65 1024 1048 1184 1344 768 771 777 806 -hsync -vsync"},
    };
    for (auto const& [mode, modeline] : rows)
        QTest::newRow(mode) << QString::fromLatin1(modeline);
}

void EglfsConfigTest::fixedModes_areModelines()
{
    useMap(R"("HDMI1": {"qtconnectors": ["HDMI1"], "fixed-modes": true})");
    QString const mode = QString::fromLatin1(QTest::currentDataTag());
    QTEST(modeOf(buildEGLFSKMSConfig(hdmi, mode, {}, true)), "modeline");
}

void EglfsConfigTest::fixedModesOff_passModeOn()
{
    useMap(R"("HDMI1": {"qtconnectors": ["HDMI1"]})");
    QString const mode = QStringLiteral("1920x1080");
    QCOMPARE(modeOf(buildEGLFSKMSConfig(hdmi, mode, {}, true)), mode);
}

void EglfsConfigTest::otherModes_arePassedOn_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("not in the table") << QStringLiteral("800x600");
    QTest::newRow("with a rate") << QStringLiteral("1920x1080@60");
    QTest::newRow("upper case") << QStringLiteral("1920X1080");
    QTest::newRow("word") << QStringLiteral("current");
    QTest::newRow("modeline") << QStringLiteral(
        "40 800 840 968 1056 600 601 605 628 +hsync +vsync");
}

void EglfsConfigTest::otherModes_arePassedOn()
{
    QFETCH(QString, mode);
    useMap(R"("HDMI1": {"qtconnectors": ["HDMI1"], "fixed-modes": true})");
    QCOMPARE(modeOf(buildEGLFSKMSConfig(hdmi, mode, {}, true)), mode);
}

void EglfsConfigTest::emptyMode_isPreferred()
{
    QCOMPARE(modeOf(buildEGLFSKMSConfig(hdmi, QString(), {}, true)), QStringLiteral("preferred"));
    useMap(R"("HDMI1": {"qtconnectors": ["HDMI1"], "fixed-modes": true})");
    QCOMPARE(modeOf(buildEGLFSKMSConfig(hdmi, QStringLiteral(""), {}, true)),
        QStringLiteral("preferred"));
}

void EglfsConfigTest::size_isIgnored()
{
    QString const mode = QStringLiteral("1280x720");
    QJsonObject const config = buildEGLFSKMSConfig(hdmi, mode, QSize(), true);
    QCOMPARE(buildEGLFSKMSConfig(hdmi, mode, QSize(640, 480), true), config);
}

void EglfsConfigTest::crtcMask_isWrittenAsText_data()
{
    QTest::addColumn<QByteArray>("member");
    QTest::addColumn<QString>("text");
    QTest::newRow("given") << QByteArray(R"("crtcmask": 2,)") << QStringLiteral("2");
    QTest::newRow("zero") << QByteArray(R"("crtcmask": 0,)") << QStringLiteral("0");
    QTest::newRow("absent") << QByteArray() << QStringLiteral("-1");
}

void EglfsConfigTest::crtcMask_isWrittenAsText()
{
    QFETCH(QByteArray, member);
    QFETCH(QString, text);
    useMap(R"("HDMI1": {)" + member + R"("qtconnectors": ["HDMI1"]})");
    QStringList const outputs = outputsOf(buildEGLFSKMSConfig(hdmi, {}, {}, true));
    QCOMPARE(outputs.value(1), QStringLiteral("HDMI1 preferred ") + text);
}

void EglfsConfigTest::connectorNames_areTriedInOrder()
{
    useMap(R"("out": {"qtconnectors": ["VGA1", "HDMI1"]})");
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(QStringLiteral("out"), {}, {}, true)),
        strings({"DP1 ignore", "HDMI1 ignore", "VGA1 preferred -1"}));
}

void EglfsConfigTest::connectedOne_goesBeforeFirstName()
{
    useMap(R"("out": {"qtconnectors": ["DP1", "HDMI1", "VGA1"]})");
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(QStringLiteral("out"), {}, {}, false)),
        strings({"DP1 ignore", "HDMI1 preferred -1", "VGA1 ignore"}));
}

void EglfsConfigTest::noneConnected_fallsBackToFirstMatch()
{
    useMap(R"("out": {"qtconnectors": ["DP2", "DP1", "HDMI1"]})");
    mDevice->connectors[1].connection = DRM_MODE_DISCONNECTED;
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(QStringLiteral("out"), {}, {}, false)),
        strings({"DP1 preferred -1", "HDMI1 ignore", "VGA1 ignore"}));
}

void EglfsConfigTest::noneConnectedThoughRequired_isRefused()
{
    useMap(R"("out": {"qtconnectors": ["DP1", "HDMI1"]})");
    mDevice->connectors[1].connection = DRM_MODE_DISCONNECTED;
    QCOMPARE(buildEGLFSKMSConfig(QStringLiteral("out"), {}, {}, true), QJsonObject());
}

void EglfsConfigTest::unknownConnection_isNotConnected()
{
    mDevice->connectors[1].connection = DRM_MODE_UNKNOWNCONNECTION;
    QCOMPARE(buildEGLFSKMSConfig(hdmi, {}, {}, true), QJsonObject());
    QCOMPARE(modeOf(buildEGLFSKMSConfig(hdmi, {}, {}, false)), QStringLiteral("preferred"));
}

void EglfsConfigTest::nameWithoutConnector_isPassedOver()
{
    useMap(R"("out": {"qtconnectors": ["", "hdmi1", "HDMI", "VGA1"]})");
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(QStringLiteral("out"), {}, {}, false)),
        strings({"DP1 ignore", "HDMI1 ignore", "VGA1 preferred -1"}));
}

void EglfsConfigTest::twoConnectorsOfOneName_oneIsSelected()
{
    mDevice->connectors = {
        {DRM_MODE_CONNECTOR_DVII, 1},
        {DRM_MODE_CONNECTOR_DVID, 1, DRM_MODE_CONNECTED},
        {DRM_MODE_CONNECTOR_DVIA, 1, DRM_MODE_CONNECTED},
    };
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(QStringLiteral("DVI1"), {}, {}, true)),
        strings({"DVI1 ignore", "DVI1 preferred -1", "DVI1 ignore"}));
}

void EglfsConfigTest::connectorThatIsGone_isLeftOut()
{
    mDevice->connectors[0].currentFails = true;
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(hdmi, {}, {}, true)),
        strings({"HDMI1 preferred -1", "VGA1 ignore"}));
}

void EglfsConfigTest::unnamedType_isSelectedByItsNumber()
{
    mDevice->connectors.push_back({20, 2, DRM_MODE_CONNECTED});
    QCOMPARE(outputsOf(buildEGLFSKMSConfig(QStringLiteral("UNKNOWN2"), {}, {}, true)).value(3),
        QStringLiteral("UNKNOWN2 preferred -1"));
}

void EglfsConfigTest::refusals_leaveEnvironmentAlone_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QByteArray>("map");
    QTest::newRow("empty key") << QString() << QByteArray();
    QTest::newRow("output not in map") << hdmi << QByteArray(R"("other": {})");
    QTest::newRow("no connector names") << hdmi << QByteArray(R"("HDMI1": {})");
    QTest::newRow("no such connector")
        << hdmi << QByteArray(R"("HDMI1": {"qtconnectors": ["HDMI2"]})");
    QTest::newRow("disconnected") << hdmi << QByteArray(R"("HDMI1": {"qtconnectors": ["DP1"]})");
}

void EglfsConfigTest::refusals_leaveEnvironmentAlone()
{
    QFETCH(QString, output);
    QFETCH(QByteArray, map);
    if (!map.isEmpty())
        useMap(map);
    qputenv(variable, "as it was");
    OutputInfo const info = setEGLFSKMSOutput(output, QStringLiteral("1920x1080"), {}, true);
    QCOMPARE(info.output, QString());
    QCOMPARE(info.name, QString());
    QCOMPARE(info.audio, QString());
    QCOMPARE(qgetenv(variable), QByteArray("as it was"));
    QCOMPARE(buildEGLFSKMSConfig(output, {}, {}, true), QJsonObject());
}

void EglfsConfigTest::refusal_doesNotSetTheVariable()
{
    setEGLFSKMSOutput(QStringLiteral("DP1"), {}, {}, true);
    QVERIFY(!qEnvironmentVariableIsSet(variable));
}

void EglfsConfigTest::entryWithoutKey_leavesDeviceAlone()
{
    QCOMPARE(buildEGLFSKMSConfig(QString(), {}, {}, false), QJsonObject());
    useMap(R"("": {"qtconnectors": ["HDMI1"]})");
    QCOMPARE(buildEGLFSKMSConfig(QString(), {}, {}, false), QJsonObject());
    QCOMPARE(mDevice->takeCalls(), QStringList());
}

void EglfsConfigTest::missingDevice_isRefused()
{
    mDevice->openFails = true;
    QCOMPARE(setEGLFSKMSOutput(hdmi, {}, {}, false).output, QString());
    QVERIFY(!qEnvironmentVariableIsSet(variable));
    QCOMPARE(mDevice->takeCalls(), strings({"open /dev/dri/card0"}));
}

void EglfsConfigTest::missingResources_closesDevice()
{
    mDevice->resourcesFail = true;
    QCOMPARE(setEGLFSKMSOutput(hdmi, {}, {}, false).output, QString());
    QVERIFY(!qEnvironmentVariableIsSet(variable));
    QCOMPARE(mDevice->takeCalls(), strings({"open /dev/dri/card0", "resources", "close"}));
}

void EglfsConfigTest::manyThreadsAtOnce_getTheSame()
{
    useMap(R"("HDMI1": {"qtconnectors": ["HDMI1"], "fixed-modes": true})");
    QString const mode = QStringLiteral("1024x768");
    std::vector<QJsonObject> configs(8);
    std::vector<std::thread> threads;
    for (QJsonObject& config : configs)
        threads.emplace_back(
            [&] { config = buildEGLFSKMSConfig(QStringLiteral("HDMI1"), mode, {}, true); });
    for (std::thread& thread : threads)
        thread.join();
    for (QJsonObject const& config : configs)
        QCOMPARE(
            modeOf(config), QStringLiteral("65 1024 1048 1184 1344 768 771 777 806 -hsync -vsync"));
}

QVORLIN_TEST_MAIN(QCoreApplication, EglfsConfigTest)

#include "tst_eglfsconfig.moc"
