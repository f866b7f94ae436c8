#include "options.h"

#include <QCoreApplication>
#include <QTest>

#include "messagecheck.h"

namespace {

struct Parsed
{
    Options options;
    CommandLine line;
};

Parsed parse(QStringList const& arguments)
{
    Parsed parsed;
    parsed.line = parseCommandLine(
        commandLineSyntax(parsed.options), QStringList{QStringLiteral("live-viewer")} + arguments);
    return parsed;
}

Parsed parse(char const* option, QString const& value)
{
    return parse({QString::fromLatin1(option), value});
}

} // namespace

class TestOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void none_givesTheDefaults();
    void all_areTaken();
    void allOfSoundAndControls_areTaken();
    void allOfAKiosk_areTaken();
    void kioskWithoutAddress_hasTheStreamsName();
    void preview_passesWhatItDoesNotKnow_data();
    void preview_passesWhatItDoesNotKnow();
    void preview_isNoRunForTextsAndFaults_data();
    void preview_isNoRunForTextsAndFaults();
    void logOptions_areLeftToTheApplication();
    void rate_isTakenExactly_data();
    void rate_isTakenExactly();
    void wrongUsage_isRefused_data();
    void wrongUsage_isRefused();
    void help_namesEveryOption();
    void version_isPrinted();

private:
    bool preview(QStringList const& arguments)
    {
        mPreviewed = Options();
        return previewCommandLine(
            commandLineSyntax(mPreviewed), QStringList{QStringLiteral("live-viewer")} + arguments);
    }

    Options mPreviewed;
};

void TestOptions::none_givesTheDefaults()
{
    Parsed const parsed = parse(QStringList());
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.stream, QStringLiteral("live"));
    QCOMPARE(parsed.options.seconds, 0.0);
    QCOMPARE(parsed.options.rateNum, 60);
    QCOMPARE(parsed.options.rateDen, 1);
    QVERIFY(parsed.options.screenshot.isEmpty());
    QVERIFY(parsed.options.report.isEmpty());
    QVERIFY(parsed.options.renderer == Renderer::OpenGL);
    QVERIFY(!parsed.options.verbose);
    QVERIFY(parsed.options.audio);
    QCOMPARE(parsed.options.audioDevice, QStringLiteral("default"));
    QCOMPARE(parsed.options.audioDelayMs, 200);
    QCOMPARE(parsed.options.inactivity, 0.0);
    QVERIFY(parsed.options.screenshots.isEmpty());
    QVERIFY(parsed.options.frameLog.isEmpty());
    QVERIFY(!parsed.options.kiosk);
    QVERIFY(parsed.options.output.isEmpty());
    QVERIFY(parsed.options.mode.isEmpty());
    QVERIFY(parsed.options.address.isEmpty());
}

void TestOptions::all_areTaken()
{
    Parsed const parsed = parse({QStringLiteral("--stream"), QStringLiteral("camera 1"),
        QStringLiteral("--seconds"), QStringLiteral("2.5"), QStringLiteral("--screenshot"),
        QStringLiteral("a.png"), QStringLiteral("--report=b.json"), QStringLiteral("--verbose"),
        QStringLiteral("--renderer"), QStringLiteral("image")});
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.stream, QStringLiteral("camera 1"));
    QCOMPARE(parsed.options.seconds, 2.5);
    QCOMPARE(parsed.options.screenshot, QStringLiteral("a.png"));
    QCOMPARE(parsed.options.report, QStringLiteral("b.json"));
    QVERIFY(parsed.options.renderer == Renderer::Images);
    QVERIFY(parsed.options.verbose);
}

void TestOptions::allOfSoundAndControls_areTaken()
{
    Parsed const parsed = parse({QStringLiteral("--audio-device"), QStringLiteral("speaker 1"),
        QStringLiteral("--audio-delay"), QStringLiteral("350"), QStringLiteral("--no-audio"),
        QStringLiteral("--inactivity"), QStringLiteral("2.5"), QStringLiteral("--screenshots"),
        QStringLiteral("shots"), QStringLiteral("--frame-log=frames")});
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.audioDevice, QStringLiteral("speaker 1"));
    QCOMPARE(parsed.options.audioDelayMs, 350);
    QVERIFY(!parsed.options.audio);
    QCOMPARE(parsed.options.inactivity, 2.5);
    QCOMPARE(parsed.options.screenshots, QStringLiteral("shots"));
    QCOMPARE(parsed.options.frameLog, QStringLiteral("frames"));
}

void TestOptions::allOfAKiosk_areTaken()
{
    Parsed const parsed = parse({QStringLiteral("--kiosk"), QStringLiteral("--output"),
        QStringLiteral("HDMI1"), QStringLiteral("--mode"), QStringLiteral("1920x1080"),
        QStringLiteral("--address"), QStringLiteral("https://example.org/live")});
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QVERIFY(parsed.options.kiosk);
    QCOMPARE(parsed.options.output, QStringLiteral("HDMI1"));
    QCOMPARE(parsed.options.mode, QStringLiteral("1920x1080"));
    QCOMPARE(parsed.options.kioskAddress(), QStringLiteral("https://example.org/live"));
}

void TestOptions::kioskWithoutAddress_hasTheStreamsName()
{
    Parsed const parsed =
        parse({QStringLiteral("--kiosk"), QStringLiteral("--stream"), QStringLiteral("k\u00e4 1")});
    QCOMPARE(parsed.options.kioskAddress(), QStringLiteral("stream:k%C3%A4%201"));
}

void TestOptions::preview_passesWhatItDoesNotKnow_data()
{
    QTest::addColumn<QStringList>("more");
    QTest::newRow("nothing") << QStringList();
    // The letters of this one are no options, such as -h.
    QTest::newRow("option of Qt") << QStringList{
        QStringLiteral("-stylesheet"), QStringLiteral("file")};
    QTest::newRow("options of the log")
        << QStringList{QStringLiteral("-v"), QStringLiteral("debug"), QStringLiteral("--vstd")};
    QTest::newRow("wrong option") << QStringList{QStringLiteral("--colour")};
}

void TestOptions::preview_passesWhatItDoesNotKnow()
{
    QFETCH(QStringList, more);
    QVERIFY(preview(more + QStringList{QStringLiteral("--kiosk"), QStringLiteral("--output"),
                               QStringLiteral("HDMI1"), QStringLiteral("--mode=720x576")}));
    QCOMPARE(mPreviewed.output, QStringLiteral("HDMI1"));
    QCOMPARE(mPreviewed.mode, QStringLiteral("720x576"));
}

void TestOptions::preview_isNoRunForTextsAndFaults_data()
{
    QTest::addColumn<QString>("arguments");
    for (char const* arguments : {"-h", "--help", "--version", "--seconds x", "--mode 720x576"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void TestOptions::preview_isNoRunForTextsAndFaults()
{
    QFETCH(QString, arguments);
    QVERIFY(!preview(arguments.split(QLatin1Char(' '))));
}

void TestOptions::logOptions_areLeftToTheApplication()
{
    Parsed const parsed = parse({QStringLiteral("-v"), QStringLiteral("debug"),
        QStringLiteral("--vstd"), QStringLiteral("--logname"), QStringLiteral("viewer 1"),
        QStringLiteral("--stream"), QStringLiteral("camera")});
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.stream, QStringLiteral("camera"));
}

void TestOptions::rate_isTakenExactly_data()
{
    QTest::addColumn<int>("num");
    QTest::addColumn<int>("den");
    QTest::newRow("25") << 25 << 1;
    QTest::newRow("29.97") << 29970 << 1000;
    QTest::newRow("30000/1001") << 30000 << 1001;
    QTest::newRow("0.5") << 500 << 1000;
    QTest::newRow("1000") << 1000 << 1;
}

void TestOptions::rate_isTakenExactly()
{
    QFETCH(int, num);
    QFETCH(int, den);
    Parsed const parsed = parse("--rate", QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.rateNum, num);
    QCOMPARE(parsed.options.rateDen, den);
}

void TestOptions::wrongUsage_isRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("reason");

    auto row = [](char const* name, QStringList const& arguments, char const* reason) {
        QTest::newRow(name) << arguments << QString::fromUtf8(reason);
    };
    auto bad = [&row](char const* option, char const* value, char const* reason) {
        QString const text = QString::fromLatin1(value);
        QByteArray const name = QByteArray(option) + " '" + value + "'";
        row(name.constData(), {QString::fromLatin1(option), text}, reason);
    };
    row("unknown", {QStringLiteral("--colour")}, "Unknown option 'colour'.");
    row("stray", {QStringLiteral("camera")}, "unexpected argument 'camera'");
    row("no value", {QStringLiteral("--stream")}, "Missing value after '--stream'.");
    bad("--stream", "", "bad value '' for --stream NAME");
    row("no level", {QStringLiteral("-v")}, "Missing value after '-v'.");
    bad("--audio-device", "", "bad value '' for --audio-device NAME");
    bad("--audio-delay", "-1", "bad value '-1' for --audio-delay MS");
    bad("--audio-delay", "1001", "bad value '1001' for --audio-delay MS");
    bad("--audio-delay", "0.5", "bad value '0.5' for --audio-delay MS");
    bad("--inactivity", "-1", "bad value '-1' for --inactivity SECONDS");
    bad("--inactivity", "nan", "bad value 'nan' for --inactivity SECONDS");
    bad("--inactivity", "1e9", "bad value '1e9' for --inactivity SECONDS");
    bad("--screenshots", "", "bad value '' for --screenshots DIR");
    bad("--frame-log", "", "bad value '' for --frame-log FILE");
    bad("--output", "", "bad value '' for --output NAME");
    bad("--mode", "", "bad value '' for --mode MODE");
    bad("--address", "", "bad value '' for --address TEXT");
    QString const longest(300, QLatin1Char('a'));
    QString const tooLong = longest.mid(1) + QStringLiteral("\u00e4");
    row("too long an address", {QStringLiteral("--address"), tooLong},
        qPrintable(QStringLiteral("bad value '%1' for --address TEXT").arg(tooLong)));
    bad("--mode", "1920x1080", "--mode needs --output");
    row("mode of a kiosk without output",
        {QStringLiteral("--kiosk"), QStringLiteral("--mode"), QStringLiteral("x")},
        "--mode needs --output");
    bad("--output", "HDMI1", "--output needs --kiosk");
    bad("--address", "x", "--address needs --kiosk");
    row("kiosk of images",
        {QStringLiteral("--kiosk"), QStringLiteral("--renderer"), QStringLiteral("image")},
        "--kiosk needs --renderer gl");
    bad("--renderer", "vulkan", "bad value 'vulkan' for --renderer KIND");
    bad("--report", "", "bad value '' for --report FILE");
    bad("--screenshot", "", "bad value '' for --screenshot FILE");
    bad("--seconds", "0", "bad value '0' for --seconds N");
    bad("--seconds", "-1", "bad value '-1' for --seconds N");
    bad("--seconds", "soon", "bad value 'soon' for --seconds N");
    bad("--seconds", "nan", "bad value 'nan' for --seconds N");
    bad("--seconds", "1e9", "bad value '1e9' for --seconds N");
    bad("--rate", "0", "bad value '0' for --rate FPS");
    bad("--rate", "nan", "bad value 'nan' for --rate FPS");
    bad("--rate", "0.0001", "bad value '0.0001' for --rate FPS");
    bad("--rate", "1001", "bad value '1001' for --rate FPS");
    bad("--rate", "25/0", "bad value '25/0' for --rate FPS");
    bad("--rate", "2147483647/1", "bad value '2147483647/1' for --rate FPS");
    bad("--rate", "25/1/1", "bad value '25/1/1' for --rate FPS");
}

void TestOptions::wrongUsage_isRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, reason);
    Parsed const parsed = parse(arguments);
    QCOMPARE(parsed.line.action, CommandLine::Action::Refuse);
    QCOMPARE(parsed.line.text, reason);
}

void TestOptions::help_namesEveryOption()
{
    Parsed const parsed = parse({QStringLiteral("--help")});
    QCOMPARE(parsed.line.action, CommandLine::Action::Print);
    for (char const* option :
        {"--stream <NAME>", "--rate <FPS>", "--seconds <N>", "--screenshot <FILE>",
            "--report <FILE>", "--verbose", "--renderer <KIND>", "--audio-device <NAME>",
            "--audio-delay <MS>", "--no-audio", "--inactivity <SECONDS>", "--screenshots <DIR>",
            "--frame-log <FILE>", "--kiosk", "--output <NAME>", "--mode <MODE>", "--address <TEXT>",
            "-v <LEVEL>", "--vstd", "--logname <NAME>", "--version", "Keys", "Signals"})
        QVERIFY2(parsed.line.text.contains(QLatin1String(option)), option);
}

void TestOptions::version_isPrinted()
{
    QCoreApplication::setApplicationVersion(QStringLiteral("1.2.3"));
    Parsed const parsed = parse({QStringLiteral("--version")});
    QCOMPARE(parsed.line.action, CommandLine::Action::Print);
    QCOMPARE(parsed.line.text, QStringLiteral("live-viewer 1.2.3\n"));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestOptions)
#include "tst_options.moc"
