#include <messagecheck.h>
#include <report.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

Card sampleCard()
{
    Output hdmi;
    hdmi.name = QStringLiteral("HDMI1");
    hdmi.connection = Output::Connection::Connected;
    hdmi.millimetres = QSize(480, 270);
    hdmi.edid = Edid{QStringLiteral("Big Screen"), {}};
    hdmi.modes = {{QSize(1920, 1080), 60, false, true}, {QSize(1920, 1080), 59.94, true, false},
        {QSize(1280, 720), 50, false, false}, {QSize(1920, 1080), 23.97602, false, false}};
    Output vga;
    vga.name = QStringLiteral("VGA1");
    vga.connection = Output::Connection::Disconnected;
    Output dp;
    dp.name = QStringLiteral("DP1");
    dp.edid = Edid{{}, QStringLiteral("has a wrong checksum")};
    return {QStringLiteral("/dev/dri/card0"), {hdmi, vga, dp}, {}};
}

/** As of a map with an output that is selected, one that is not and one that isn't there. */
Board sampleBoard()
{
    Selection first;
    first.output = QStringLiteral("OUT1");
    first.board = {first.output, QStringLiteral("Main"),
        {QStringLiteral("DP1"), QStringLiteral("HDMI1")}, 2, QStringLiteral("hw:0,3"), true};
    first.connector = QStringLiteral("HDMI1");
    first.mode = QStringLiteral("preferred");
    first.config = {{QStringLiteral("device"), QStringLiteral("/dev/dri/card0")}};
    Selection second;
    second.output = QStringLiteral("OUT2");
    second.board = {second.output, {}, {QStringLiteral("VGA1")}, -1, {}, false};
    second.obstacle = QStringLiteral("no display is connected");
    Selection third;
    third.output = QStringLiteral("OUT3");
    third.obstacle = QStringLiteral("it is not in the outputs map");
    Board board;
    board.file = QStringLiteral("/etc/outputs.json");
    board.selections = {first, second, third};
    board.ignored = QStringList(QStringLiteral("note"));
    return board;
}

QJsonObject parsed(Card const& card, Board const& board)
{
    QByteArray const text = jsonReport(card, board);
    if (text.count('\n') != 1 || !text.endsWith('\n'))
        qCritical("not one line");
    return QJsonDocument::fromJson(text).object();
}

/** As text, so that a failure shows it. */
QByteArray compact(QJsonValue const& value)
{
    return QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
}

QByteArray compact(char const* text)
{
    QJsonDocument const document = QJsonDocument::fromJson(text);
    if (!document.isObject())
        qCritical("not an object: %s", text);
    return document.toJson(QJsonDocument::Compact);
}

} // namespace

class DisplayReportTest : public QObject
{
    Q_OBJECT

private slots:
    void text_tellsEverything();
    void text_ofNothing_saysSo();
    void text_withoutAMap_saysWhy();
    void text_keepsControlCharactersFromTheTerminal();
    void json_tellsOutputs();
    void json_tellsSelections();
    void json_tellsWhatIsWithTheMap();
    void json_keepsEveryCharacter();
};

void DisplayReportTest::text_tellsEverything()
{
    QCOMPARE(textReport(sampleCard(), sampleBoard()),
        QStringLiteral("Outputs of /dev/dri/card0:\n"
                       "  HDMI1: connected, \"Big Screen\", 480 mm x 270 mm\n"
                       "      1920x1080  60.00* 23.98\n"
                       "      1920x1080i 59.94\n"
                       "      1280x720   50.00\n"
                       "  VGA1: disconnected\n"
                       "  DP1: unknown connection, its EDID has a wrong checksum\n"
                       "\n"
                       "Outputs of the board by /etc/outputs.json:\n"
                       "  OUT1: \"Main\", connectors DP1 HDMI1, CRTC mask 2, audio \"hw:0,3\", "
                       "fixed modes\n"
                       "      selects HDMI1 with mode \"preferred\"\n"
                       "  OUT2: connectors VGA1, CRTC mask -1\n"
                       "      selects nothing: no display is connected\n"
                       "  OUT3:\n"
                       "      selects nothing: it is not in the outputs map\n"
                       "  note: ignored, it is not an object\n"));
}

void DisplayReportTest::text_ofNothing_saysSo()
{
    Card card;
    card.device = QStringLiteral("/dev/dri/card0");
    Board board;
    board.file = QStringLiteral("/etc/outputs.json");
    QCOMPARE(textReport(card, board), QStringLiteral("Outputs of /dev/dri/card0:\n"
                                                     "  none\n"
                                                     "\n"
                                                     "Outputs of the board by /etc/outputs.json:\n"
                                                     "  none\n"));
}

void DisplayReportTest::text_withoutAMap_saysWhy()
{
    Board board;
    board.file = QStringLiteral("/etc/outputs.json");
    board.absence = QStringLiteral("Permission denied");
    QVERIFY(textReport(sampleCard(), board)
                .contains(QLatin1String("\nEach output stands for itself, without the board's map "
                                        "/etc/outputs.json (Permission denied):\n")));
}

void DisplayReportTest::text_keepsControlCharactersFromTheTerminal()
{
    QString const evil = QStringLiteral("A\x1b[2J\r\n\tB\u202e\u009b");
    Board board = sampleBoard();
    board.file = evil;
    board.absence = evil;
    board.ignored = QStringList(evil);
    for (Selection& selection : board.selections) {
        selection.output = evil;
        selection.mode = evil;
        if (!selection.board.output.isEmpty())
            selection.board = {evil, evil, {evil}, 1, evil, false};
    }
    QString const text = textReport(sampleCard(), board);
    QCOMPARE(text.count(QLatin1Char('\n')), 7 + 1 + 1 + 6 + 1);
    QVERIFY(text.contains(QLatin1String("\n  A?[2J???B??: ignored")));
    for (QChar const c : text)
        QVERIFY(c.isPrint() || c == QLatin1Char('\n'));
}

void DisplayReportTest::json_tellsOutputs()
{
    QJsonObject const report = parsed(sampleCard(), sampleBoard());
    QCOMPARE(report[QLatin1String("device")].toString(), QStringLiteral("/dev/dri/card0"));
    QJsonArray const outputs = report[QLatin1String("outputs")].toArray();
    QCOMPARE(outputs.size(), 3);
    QCOMPARE(compact(outputs[0]), compact(R"({
        "name": "HDMI1", "connected": true, "edid": {"name": "Big Screen"},
        "width-mm": 480, "height-mm": 270, "modes": [
            {"width": 1920, "height": 1080, "rate": 60, "interlaced": false, "preferred": true},
            {"width": 1920, "height": 1080, "rate": 59.94, "interlaced": true, "preferred": false},
            {"width": 1280, "height": 720, "rate": 50, "interlaced": false, "preferred": false},
            {"width": 1920, "height": 1080, "rate": 23.976, "interlaced": false,
             "preferred": false}]})"));
    QCOMPARE(compact(outputs[1]), compact(R"({"name": "VGA1", "connected": false, "edid": null,
        "width-mm": 0, "height-mm": 0, "modes": []})"));
    QCOMPARE(compact(outputs[2]), compact(R"({"name": "DP1", "connected": null,
        "edid": {"fault": "has a wrong checksum"}, "width-mm": 0, "height-mm": 0, "modes": []})"));
}

void DisplayReportTest::json_tellsSelections()
{
    QJsonArray const selections =
        parsed(sampleCard(), sampleBoard())[QLatin1String("selections")].toArray();
    QCOMPARE(selections.size(), 3);
    QCOMPARE(compact(selections[0]), compact(R"({"output": "OUT1",
        "board": {"name": "Main", "qtconnectors": ["DP1", "HDMI1"], "crtcmask": 2,
                  "audio": "hw:0,3", "fixed-modes": true},
        "connector": "HDMI1", "mode": "preferred", "config": {"device": "/dev/dri/card0"}})"));
    QCOMPARE(compact(selections[1]), compact(R"({"output": "OUT2",
        "board": {"name": "", "qtconnectors": ["VGA1"], "crtcmask": -1, "audio": "",
                  "fixed-modes": false},
        "obstacle": "no display is connected"})"));
    QCOMPARE(compact(selections[2]), compact(R"({"output": "OUT3", "board": null,
        "obstacle": "it is not in the outputs map"})"));
}

void DisplayReportTest::json_tellsWhatIsWithTheMap()
{
    Board board = sampleBoard();
    QCOMPARE(compact(parsed({}, board)[QLatin1String("map")]),
        compact(R"({"file": "/etc/outputs.json", "ignored": ["note"]})"));
    board.ignored.clear();
    QCOMPARE(compact(parsed({}, board)[QLatin1String("map")]),
        compact(R"({"file": "/etc/outputs.json"})"));
    board.absence = QStringLiteral("Permission denied");
    QCOMPARE(compact(parsed({}, board)[QLatin1String("map")]),
        compact(R"({"file": "/etc/outputs.json", "absent": "Permission denied"})"));
    board.absence.clear();
    board.fault = QStringLiteral("it is torn");
    QCOMPARE(compact(parsed({}, board)[QLatin1String("map")]),
        compact(R"({"file": "/etc/outputs.json", "fault": "it is torn"})"));
}

void DisplayReportTest::json_keepsEveryCharacter()
{
    QString const name = QStringLiteral("\"\\\n\x1b\u00e9\u20ac");
    Board board = sampleBoard();
    board.selections[0].output = name;
    QJsonArray const selections = parsed({}, board)[QLatin1String("selections")].toArray();
    QCOMPARE(selections[0].toObject()[QLatin1String("output")].toString(), name);
}

QVORLIN_TEST_MAIN(QCoreApplication, DisplayReportTest)

#include "tst_displayreport.moc"
