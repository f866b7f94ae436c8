#include "walloptions.h"

#include <QCoreApplication>
#include <QTest>

#include "messagecheck.h"

namespace {

struct Parsed
{
    WallOptions options;
    CommandLine line;
};

/** Reads @p arguments, which are separated by blanks. */
Parsed parse(char const* arguments)
{
    Parsed parsed;
    parsed.line = parseCommandLine(
        commandLineSyntax(parsed.options), QString::fromLatin1(arguments)
                                               .prepend(QLatin1String("video-wall "))
                                               .split(QLatin1Char(' '), Qt::SkipEmptyParts));
    return parsed;
}

} // namespace

class TestWallOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void streams_areThoseAskedFor_data();
    void streams_areThoseAskedFor();
    void runOptions_areTaken();
    void wrongUsage_isRefused_data();
    void wrongUsage_isRefused();
};

void TestWallOptions::streams_areThoseAskedFor_data()
{
    QTest::addColumn<QString>("streams");
    QTest::newRow("") << QStringLiteral("live-1 live-2 live-3 live-4");
    QTest::newRow("--count 2") << QStringLiteral("live-1 live-2");
    QTest::newRow("--count 3 --prefix cam") << QStringLiteral("cam-1 cam-2 cam-3");
    QTest::newRow("--streams a") << QStringLiteral("a");
    QTest::newRow("--streams a b c") << QStringLiteral("a b c");
    QTest::newRow("--streams a --streams b --rate 25 c") << QStringLiteral("a b c");
}

void TestWallOptions::streams_areThoseAskedFor()
{
    QFETCH(QString, streams);
    Parsed const parsed = parse(QTest::currentDataTag());
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.streams().join(QLatin1Char(' ')), streams);
}

void TestWallOptions::runOptions_areTaken()
{
    Parsed const parsed = parse("--seconds 3 --screenshot a.png --report b.json --rate 25");
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.seconds, 3.0);
    QCOMPARE(parsed.options.screenshot, QStringLiteral("a.png"));
    QCOMPARE(parsed.options.report, QStringLiteral("b.json"));
    QCOMPARE(parsed.options.rateNum, 25);
}

void TestWallOptions::wrongUsage_isRefused_data()
{
    QTest::addColumn<QString>("reason");
    auto row = [](char const* arguments, char const* reason) {
        QTest::newRow(arguments) << QString::fromLatin1(reason);
    };
    row("a b", "unexpected argument 'a'");
    row("--count 2 a", "unexpected argument 'a'");
    row("--count 0", "bad value '0' for --count N");
    row("--count 65", "bad value '65' for --count N");
    row("--count two", "bad value 'two' for --count N");
    row("--streams a --count 2", "--streams and --count exclude each other");
    row("--streams=", "bad value '' for --streams NAME...");
    row("--prefix=", "bad value '' for --prefix PREFIX");
    row("--colour", "Unknown option 'colour'.");
}

void TestWallOptions::wrongUsage_isRefused()
{
    QFETCH(QString, reason);
    Parsed const parsed = parse(QTest::currentDataTag());
    QCOMPARE(parsed.line.action, CommandLine::Action::Refuse);
    QCOMPARE(parsed.line.text, reason);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestWallOptions)
#include "tst_walloptions.moc"
