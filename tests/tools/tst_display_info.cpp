#include "programend.h"

#include <messagecheck.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTest>

namespace {

/** Runs the program to its end; its standard output goes to @p file unless that is empty. */
Ended run(QStringList const& arguments, QString const& file = {})
{
    QProcess process;
    if (!file.isEmpty())
        process.setStandardOutputFile(file);
    process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/display-info"),
        arguments, QIODevice::ReadOnly);
    return endOf(process);
}

} // namespace

class DisplayInfoTest : public QObject
{
    Q_OBJECT

private slots:
    void help_isShown();
    void version_isShown();
    void wrongCommandLine_isAnUsageError_data();
    void wrongCommandLine_isAnUsageError();
    void complaint_staysOnOneLine();
    void noCard_isAFailure_data();
    void noCard_isAFailure();
    void fullDisk_isAFailure();
};

void DisplayInfoTest::help_isShown()
{
    Ended const ended = run({QStringLiteral("--help")});
    QCOMPARE(ended.code, 0);
    QVERIFY(ended.output.startsWith("Usage: "));
    QCOMPARE(ended.errors, QByteArray());
}

void DisplayInfoTest::version_isShown()
{
    Ended const ended = run({QStringLiteral("--version")});
    QCOMPARE(ended.code, 0);
    QCOMPARE(ended.output, QByteArray("display-info " PROGRAM_VERSION "\n"));
    QCOMPARE(ended.errors, QByteArray());
}

void DisplayInfoTest::wrongCommandLine_isAnUsageError_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QByteArray>("what");

    QTest::newRow("unknown option")
        << QStringLiteral("--nonsense") << QByteArray("unknown option 'nonsense'");
    QTest::newRow("value missing")
        << QStringLiteral("--mode") << QByteArray("missing value after '--mode'");
    QTest::newRow("empty output") << QStringLiteral("--output=")
                                  << QByteArray("bad value '' for --output NAME");
    QTest::newRow("argument") << QStringLiteral("HDMI1")
                              << QByteArray("unexpected argument 'HDMI1'");
}

void DisplayInfoTest::wrongCommandLine_isAnUsageError()
{
    QFETCH(QString, argument);
    QFETCH(QByteArray, what);
    Ended const ended = run({argument});
    QCOMPARE(ended.code, 2);
    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.errors, "display-info: " + what + "; see display-info --help\n");
}

void DisplayInfoTest::complaint_staysOnOneLine()
{
    Ended const ended = run({QStringLiteral("a\nb\x1b")});
    QCOMPARE(ended.code, 2);
    QCOMPARE(ended.errors,
        QByteArray("display-info: unexpected argument 'a?b?'; see display-info --help\n"));
}

void DisplayInfoTest::noCard_isAFailure_data()
{
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("text") << QStringList();
    QTest::newRow("JSON") << QStringList(QStringLiteral("--json"));
    QTest::newRow("named output") << QStringList(
        {QStringLiteral("--output"), QStringLiteral("HDMI1")});
}

void DisplayInfoTest::noCard_isAFailure()
{
    if (QFile::exists(QStringLiteral("/dev/dri/card0")))
        QSKIP("this computer has a display card");
    QFETCH(QStringList, arguments);
    Ended const ended = run(arguments);
    QCOMPARE(ended.code, 1);
    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.errors,
        QByteArray("display-info: can't open /dev/dri/card0: No such file or directory\n"));
}

void DisplayInfoTest::fullDisk_isAFailure()
{
    Ended const ended = run({QStringLiteral("--version")}, QStringLiteral("/dev/full"));
    QCOMPARE(ended.code, 1);
    QCOMPARE(ended.errors, QByteArray("display-info: can't write: No space left on device\n"));
}

QVORLIN_TEST_MAIN(QCoreApplication, DisplayInfoTest)

#include "tst_display_info.moc"
