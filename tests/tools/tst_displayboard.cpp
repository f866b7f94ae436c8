#include <board.h>
#include <fakedrm.h>
#include <messagecheck.h>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

/** HDMI1 and DP1 with displays, VGA1 without, and a map under the test's hand. */
class DisplayBoardTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void noMap_eachConnectorStandsForItself();
    void unsetVariable_meansTheUsualFile_data();
    void unsetVariable_meansTheUsualFile();
    void map_givesItsOutputs();
    void selection_isThatOfTheLibrary_data();
    void selection_isThatOfTheLibrary();
    void selectedModeCalledIgnore_isToldFromTheOthers();
    void namedOutput_isTheOnlyOne();
    void obstacle_saysWhyNothingIsSelected_data();
    void obstacle_saysWhyNothingIsSelected();
    void membersThatAreNoOutputs_areToldApart();
    void faultyMap_isAFault_data();
    void faultyMap_isAFault();
    void mapWithoutOutputs_hasNone_data();
    void mapWithoutOutputs_hasNone();
    void reading_leavesTheEnvironmentAlone();

private:
    void writeMap(QByteArray const& text);
    Board read(Options const& options = {}) { return readBoard(readCard(), options); }

    QTemporaryDir mFolder;
    QString mFile;
    std::optional<FakeDrm> mDrm;
};

void DisplayBoardTest::initTestCase()
{
    QVERIFY(mFolder.isValid());
    mFile = mFolder.filePath(QStringLiteral("outputs.json"));
}

void DisplayBoardTest::init()
{
    qputenv("EXTDISPLAY_OUTPUTS_CONFIG", QFile::encodeName(mFile));
    mDrm.emplace();
    mDrm->connectors = {{DRM_MODE_CONNECTOR_HDMIA, 1, DRM_MODE_CONNECTED},
        {DRM_MODE_CONNECTOR_VGA, 1, DRM_MODE_DISCONNECTED},
        {DRM_MODE_CONNECTOR_DisplayPort, 1, DRM_MODE_CONNECTED}};
}

void DisplayBoardTest::cleanup()
{
    QVERIFY(mDrm->takeCalls().filter(QStringLiteral("probe")).isEmpty());
    QCOMPARE(mDrm->outstanding(), 0);
    mDrm.reset();
    QFile::remove(mFile);
    qunsetenv("QT_QPA_EGLFS_KMS_CONFIG");
}

void DisplayBoardTest::writeMap(QByteArray const& text)
{
    QFile file(mFile);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(text), qint64(text.size()));
}

void DisplayBoardTest::noMap_eachConnectorStandsForItself()
{
    Board const board = read();
    QCOMPARE(board.file, mFile);
    QCOMPARE(board.absence, QStringLiteral("No such file or directory"));
    QCOMPARE(board.fault, QString());
    QCOMPARE(board.selections.size(), 3);
    QStringList const names = {
        QStringLiteral("HDMI1"), QStringLiteral("VGA1"), QStringLiteral("DP1")};
    for (int i = 0; i < names.size(); ++i) {
        QCOMPARE(board.selections[i].output, names[i]);
        QCOMPARE(board.selections[i].board.name, names[i]);
        QCOMPARE(board.selections[i].connector, names[i]);
        QCOMPARE(board.selections[i].mode, QStringLiteral("preferred"));
        QCOMPARE(board.selections[i].obstacle, QString());
    }
}

void DisplayBoardTest::unsetVariable_meansTheUsualFile_data()
{
    QTest::addColumn<bool>("empty");

    QTest::newRow("unset") << false;
    QTest::newRow("empty") << true;
}

void DisplayBoardTest::unsetVariable_meansTheUsualFile()
{
    QFETCH(bool, empty);
    qunsetenv("EXTDISPLAY_OUTPUTS_CONFIG");
    if (empty)
        qputenv("EXTDISPLAY_OUTPUTS_CONFIG", "");
    QCOMPARE(read().file, QStringLiteral("/tmp/extdisplay/outputs.json"));
}

void DisplayBoardTest::map_givesItsOutputs()
{
    writeMap(R"({"outputs": {
        "OUT2": {"name": "Second", "qtconnectors": ["VGA1", "DP1"], "crtcmask": 2,
                 "audio": "hw:1", "fixed-modes": true},
        "OUT1": {"qtconnectors": ["HDMI1"]}}})");
    Board const board = read({{}, QStringLiteral("1280x720"), false, false});
    QCOMPARE(board.absence, QString());
    QCOMPARE(board.fault, QString());
    QCOMPARE(board.selections.size(), 2);

    Selection const& first = board.selections[0];
    QCOMPARE(first.output, QStringLiteral("OUT1"));
    QCOMPARE(first.board.crtcMask, -1);
    QCOMPARE(first.connector, QStringLiteral("HDMI1"));
    QCOMPARE(first.mode, QStringLiteral("1280x720"));

    Selection const& second = board.selections[1];
    QCOMPARE(second.output, QStringLiteral("OUT2"));
    QCOMPARE(second.board.name, QStringLiteral("Second"));
    QCOMPARE(second.board.audio, QStringLiteral("hw:1"));
    QCOMPARE(second.board.crtcMask, 2);
    QVERIFY(second.board.fixedModes);
    QCOMPARE(second.connector, QStringLiteral("DP1"));
    QCOMPARE(
        second.mode, QStringLiteral("74.25 1280 1390 1430 1650 720 725 730 750 +hsync +vsync"));
}

void DisplayBoardTest::selection_isThatOfTheLibrary_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<bool>("requireConnected");

    QTest::newRow("preferred") << QString() << false;
    QTest::newRow("fixed mode") << QStringLiteral("1920x1080") << false;
    QTest::newRow("connected only") << QStringLiteral("800x600") << true;
}

void DisplayBoardTest::selection_isThatOfTheLibrary()
{
    QFETCH(QString, mode);
    QFETCH(bool, requireConnected);
    writeMap(R"({"outputs": {
        "A": {"qtconnectors": ["VGA1"], "fixed-modes": true},
        "B": {"qtconnectors": ["VGA1", "HDMI1"], "fixed-modes": true},
        "C": {"qtconnectors": ["LVDS1"]},
        "D": {"qtconnectors": []}}})");
    Board const board = read({{}, mode, requireConnected, false});
    QCOMPARE(board.selections.size(), 4);
    for (Selection const& selection : board.selections) {
        qunsetenv("QT_QPA_EGLFS_KMS_CONFIG");
        extdisplay::OutputInfo const info =
            extdisplay::setEGLFSKMSOutput(selection.output, mode, QSize(), requireConnected);
        QCOMPARE(selection.obstacle.isEmpty(), !info.output.isEmpty());
        QCOMPARE(
            selection.config, QJsonDocument::fromJson(qgetenv("QT_QPA_EGLFS_KMS_CONFIG")).object());
        QCOMPARE(selection.connector.isEmpty(), info.output.isEmpty());
    }
}

void DisplayBoardTest::selectedModeCalledIgnore_isToldFromTheOthers()
{
    Board const board = read({QStringLiteral("DP1"), QStringLiteral("ignore"), false, false});
    QCOMPARE(board.selections.at(0).connector, QStringLiteral("DP1"));
    QCOMPARE(board.selections.at(0).mode, QStringLiteral("ignore"));
}

void DisplayBoardTest::namedOutput_isTheOnlyOne()
{
    Board const board = read({QStringLiteral("VGA1"), {}, false, false});
    QCOMPARE(board.selections.size(), 1);
    QCOMPARE(board.selections[0].output, QStringLiteral("VGA1"));
    QCOMPARE(board.selections[0].connector, QStringLiteral("VGA1"));
}

void DisplayBoardTest::obstacle_saysWhyNothingIsSelected_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("obstacle");

    QTest::newRow("unknown") << QStringLiteral("HDMI1")
                             << QStringLiteral("it is not in the outputs map");
    QTest::newRow("no such connector")
        << QStringLiteral("panel") << QStringLiteral("the card has none of its connectors");
    QTest::newRow("no connectors")
        << QStringLiteral("bare") << QStringLiteral("the card has none of its connectors");
    QTest::newRow("unplugged") << QStringLiteral("vga")
                               << QStringLiteral("no display is connected");
}

void DisplayBoardTest::obstacle_saysWhyNothingIsSelected()
{
    QFETCH(QString, output);
    QFETCH(QString, obstacle);
    writeMap(R"({"outputs": {"panel": {"qtconnectors": ["LVDS1"]}, "bare": {},
                             "vga": {"qtconnectors": ["VGA1"]}, "": {"qtconnectors": ["DP1"]}}})");
    Selection const selection = read({output, {}, true, false}).selections.at(0);
    QCOMPARE(selection.obstacle, obstacle);
    QCOMPARE(selection.connector, QString());
    QVERIFY(selection.config.isEmpty());

    // The library takes an empty name for none, whatever the map says of it.
    Board const board = read({{}, {}, true, false});
    QCOMPARE(board.selections.at(0).obstacle, QStringLiteral("its name is empty"));
}

void DisplayBoardTest::membersThatAreNoOutputs_areToldApart()
{
    writeMap(R"({"outputs": {"HDMI1": "HDMI1", "DP1": {"qtconnectors": ["DP1"]}, "VGA1": null}})");
    Board const board = read();
    QCOMPARE(board.ignored, QStringList({QStringLiteral("HDMI1"), QStringLiteral("VGA1")}));
    QCOMPARE(board.selections.size(), 1);
    QCOMPARE(board.selections[0].output, QStringLiteral("DP1"));
}

void DisplayBoardTest::faultyMap_isAFault_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("reason");

    QTest::newRow("empty") << QByteArray() << QStringLiteral("illegal value at byte 0");
    QTest::newRow("array") << QByteArray("[]") << QStringLiteral("it is not a JSON object");
    QTest::newRow("broken off") << QByteArray("{\"outputs\": {")
                                << QStringLiteral("unterminated object at byte 13");
    QTest::newRow("nested too deep") << QByteArray("[").repeated(10000000)
                                     << QStringLiteral("too deeply nested document at byte 1025");
}

void DisplayBoardTest::faultyMap_isAFault()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, reason);
    writeMap(text);
    Board const board = read();
    QCOMPARE(board.fault, QStringLiteral("outputs map '%1': %2").arg(mFile, reason));
    QVERIFY(board.selections.isEmpty());
    QCOMPARE(read({QStringLiteral("HDMI1"), {}, false, false}).selections.at(0).obstacle,
        QStringLiteral("it is not in the outputs map"));
}

void DisplayBoardTest::mapWithoutOutputs_hasNone_data()
{
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("no member") << QByteArray("{}");
    QTest::newRow("empty object") << QByteArray("{\"outputs\": {}}");
    QTest::newRow("another type") << QByteArray("{\"outputs\": [\"HDMI1\"]}");
}

void DisplayBoardTest::mapWithoutOutputs_hasNone()
{
    QFETCH(QByteArray, text);
    writeMap(text);
    Board const board = read();
    QCOMPARE(board.fault, QString());
    QCOMPARE(board.absence, QString());
    QVERIFY(board.selections.isEmpty());
}

void DisplayBoardTest::reading_leavesTheEnvironmentAlone()
{
    qputenv("QT_QPA_EGLFS_KMS_CONFIG", "as it was");
    QCOMPARE(read().selections.size(), 3);
    QCOMPARE(qgetenv("QT_QPA_EGLFS_KMS_CONFIG"), QByteArray("as it was"));
}

QVORLIN_TEST_MAIN(QCoreApplication, DisplayBoardTest)

#include "tst_displayboard.moc"
