#include "galleryoptions.h"

#include <QCoreApplication>
#include <QTest>

#include "messagecheck.h"

namespace {

struct Parsed
{
    GalleryOptions options;
    CommandLine line;
};

/** Reads @p arguments, which are separated by blanks. */
Parsed parse(QString const& arguments)
{
    Parsed parsed;
    parsed.line = parseCommandLine(commandLineSyntax(parsed.options),
        (QStringLiteral("gallery ") + arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    return parsed;
}

} // namespace

class TestGalleryOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noOptions_giveTheDefaults();
    void options_areTaken();
    void address_isMadeOfTheStream();
    void wrongUsage_isRefused_data();
    void wrongUsage_isRefused();
    void help_namesEachOption();
};

void TestGalleryOptions::noOptions_giveTheDefaults()
{
    Parsed const parsed = parse(QString());
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.stream, QStringLiteral("live"));
    QCOMPARE(parsed.options.codeText(), QStringLiteral("stream:live"));
    QCOMPARE(parsed.options.shownKeys().size(), 4);
    QVERIFY(!parsed.options.fullScreen);
    QCOMPARE(parsed.options.seconds, 0.0);
    QCOMPARE(parsed.options.rateNum, 60);
}

void TestGalleryOptions::options_areTaken()
{
    Parsed const parsed = parse(QStringLiteral(
        "--stream cam --address http://a/ --key a/b --key c --full-screen --seconds 3"
        " --screenshot a.png --report b.json --rate 25"));
    QCOMPARE(parsed.line.action, CommandLine::Action::Run);
    QCOMPARE(parsed.options.stream, QStringLiteral("cam"));
    QCOMPARE(parsed.options.codeText(), QStringLiteral("http://a/"));
    QCOMPARE(parsed.options.shownKeys(), QStringList({QStringLiteral("a/b"), QStringLiteral("c")}));
    QVERIFY(parsed.options.fullScreen);
    QCOMPARE(parsed.options.seconds, 3.0);
    QCOMPARE(parsed.options.screenshot, QStringLiteral("a.png"));
    QCOMPARE(parsed.options.report, QStringLiteral("b.json"));
    QCOMPARE(parsed.options.rateNum, 25);
}

void TestGalleryOptions::address_isMadeOfTheStream()
{
    GalleryOptions options;
    options.stream = QStringLiteral("camera 1");
    QCOMPARE(options.codeText(), QStringLiteral("stream:camera%201"));
}

void TestGalleryOptions::wrongUsage_isRefused_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("reason");
    auto row = [](char const* name, QString const& arguments, char const* reason) {
        QTest::newRow(name) << arguments << QString::fromLatin1(reason);
    };
    row("no name", QStringLiteral("--stream="), "bad value '' for --stream NAME");
    row("no address", QStringLiteral("--address="), "bad value '' for --address TEXT");
    row("no key", QStringLiteral("--key="), "bad value '' for --key KEY");
    row("too many keys", QStringLiteral("--key a --key b --key c --key d --key e"),
        "bad value 'e' for --key KEY");
    row("argument", QStringLiteral("film.mkv"), "unexpected argument 'film.mkv'");
    row("unknown", QStringLiteral("--colour"), "Unknown option 'colour'.");
    QString const letters(301, QLatin1Char('a'));
    QTest::newRow("long address")
        << QStringLiteral("--address ") + letters
        << QStringLiteral("bad value '%1' for --address TEXT").arg(letters);
}

void TestGalleryOptions::wrongUsage_isRefused()
{
    QFETCH(QString, arguments);
    QFETCH(QString, reason);
    Parsed const parsed = parse(arguments);
    QCOMPARE(parsed.line.action, CommandLine::Action::Refuse);
    QCOMPARE(parsed.line.text, reason);
}

void TestGalleryOptions::help_namesEachOption()
{
    Parsed parsed = parse(QStringLiteral("--help"));
    QCOMPARE(parsed.line.action, CommandLine::Action::Print);
    for (CommandLineOption const& option : commandLineSyntax(parsed.options).options)
        QVERIFY2(parsed.line.text.contains(QLatin1String("--") + QLatin1String(option.name)),
            option.name);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestGalleryOptions)
#include "tst_galleryoptions.moc"
