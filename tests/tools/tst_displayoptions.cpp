#include <options.h>

#include "manualpage.h"
#include <messagecheck.h>

#include <QCoreApplication>
#include <QTest>

namespace {

CommandLine parse(QStringList const& arguments)
{
    return parseCommandLine(QStringList(QStringLiteral("display-info")) + arguments);
}

CommandLine parse(char const* line)
{
    return parse(QString::fromLatin1(line).split(QLatin1Char(' '), Qt::SkipEmptyParts));
}

} // namespace

class DisplayOptionsTest : public QObject
{
    Q_OBJECT

private slots:
    void noArguments_askForEverythingAsText();
    void everyOption_isTakenOver();
    void valueAfterEqualsSign_isTakenOver();
    void help_isText();
    void version_isText();
    void refusal_saysWhatWasWrong_data();
    void refusal_saysWhatWasWrong();
    void helpAndManualPage_nameTheSameOptions();
};

void DisplayOptionsTest::noArguments_askForEverythingAsText()
{
    CommandLine const line = parse("");
    QCOMPARE(line.action, CommandLine::Action::Run);
    QCOMPARE(line.options.output, QString());
    QCOMPARE(line.options.mode, QString());
    QVERIFY(!line.options.requireConnected);
    QVERIFY(!line.options.json);
}

void DisplayOptionsTest::everyOption_isTakenOver()
{
    CommandLine const line = parse("--output HDMI1 --mode 1280x720 --require-connected --json");
    QCOMPARE(line.action, CommandLine::Action::Run);
    QCOMPARE(line.options.output, QStringLiteral("HDMI1"));
    QCOMPARE(line.options.mode, QStringLiteral("1280x720"));
    QVERIFY(line.options.requireConnected);
    QVERIFY(line.options.json);
}

void DisplayOptionsTest::valueAfterEqualsSign_isTakenOver()
{
    CommandLine const line = parse({QStringLiteral("--mode=65 1024 1048 -hsync")});
    QCOMPARE(line.options.mode, QStringLiteral("65 1024 1048 -hsync"));
}

void DisplayOptionsTest::help_isText()
{
    CommandLine const line = parse("--help");
    QCOMPARE(line.action, CommandLine::Action::Print);
    QVERIFY(line.text.startsWith(QLatin1String("Usage: ")));
    QVERIFY(line.text.endsWith(QLatin1Char('\n')));
}

void DisplayOptionsTest::version_isText()
{
    QCoreApplication::setApplicationVersion(QStringLiteral("1.2.3"));
    CommandLine const line = parse("--version");
    QCOMPARE(line.action, CommandLine::Action::Print);
    QCOMPARE(line.text, QStringLiteral("display-info 1.2.3\n"));
}

void DisplayOptionsTest::refusal_saysWhatWasWrong_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("what");

    auto const row = [](char const* name, QStringList const& arguments, char const* what) {
        QTest::newRow(name) << arguments << QString::fromLatin1(what);
    };
    row("unknown option", {QStringLiteral("--nonsense")}, "unknown option 'nonsense'");
    row("value missing", {QStringLiteral("--output")}, "missing value after '--output'");
    row("value too many", {QStringLiteral("--json=yes")}, "unexpected value after '--json'");
    row("argument", {QStringLiteral("HDMI1")}, "unexpected argument 'HDMI1'");
    row("empty output", {QStringLiteral("--output=")}, "bad value '' for --output NAME");
}

void DisplayOptionsTest::refusal_saysWhatWasWrong()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, what);
    CommandLine const line = parse(arguments);
    QCOMPARE(line.action, CommandLine::Action::Refuse);
    QCOMPARE(line.text, what);
}

void DisplayOptionsTest::helpAndManualPage_nameTheSameOptions()
{
    QStringList const inHelp = namesIn(parse("--help").text, "^  (--[a-z-]+)");
    QCOMPARE(inHelp.size(), 6);
    // Further down --output and --json are spoken of once more.
    QCOMPARE(namesIn(manualSection(QStringLiteral("OPTIONS")), "^\\.BI? (--[a-z-]+)"), inHelp);
}

QVORLIN_TEST_MAIN(QCoreApplication, DisplayOptionsTest)

#include "tst_displayoptions.moc"
