#include <cstdio>
#include <cstdlib>

#include <QProcess>

#include "application/qvorlinapplication.h"
#include "fakelogger.h"
#include "messagecheck.h"
#include "messagehandlerkeeper.h"

namespace {

// Set, it makes this program one that opens its log as its command line asks.
constexpr char RoleVariable[] = "TST_OPENLOG_ROLE";
constexpr char PlainRole[] = "plain";
constexpr char NamelessRole[] = "nameless";

[[noreturn]] void printLogCalls(int argc, char** argv)
{
    char noName[] = "";
    if (qgetenv(RoleVariable) == NamelessRole)
        argv[0] = noName;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QVorlinApplication app(argc, argv);
    QStringList const before = fakelogger::takeCalls();
    QVorlinApplication::openLog();
    QStringList const calls = before + fakelogger::takeCalls();
    std::fputs(qPrintable(calls.join(QLatin1Char('\n'))), stdout);
    std::fflush(stdout);
    // The end of a program is tested elsewhere, and takes its time when a sanitizer checks it.
    std::quick_exit(0);
}

// What a program with these arguments, started anew, asks of the logging library.
QStringList logCalls(QStringList const& arguments, char const* role = PlainRole)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(RoleVariable), QLatin1String(role));
    QProcess child;
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), arguments);
    if (!child.waitForFinished() || child.exitStatus() != QProcess::NormalExit)
        return {QStringLiteral("the program failed")};
    return QString::fromUtf8(child.readAllStandardOutput()).split(QLatin1Char('\n'));
}

QString const OwnName = QStringLiteral("tst_application_openlog");

} // namespace

class OpenLogTest : public QObject
{
    Q_OBJECT

private slots:
    void commandLine_isRead_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("level");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("toStdout");

        auto const row = [](char const* title, char const* arguments, char const* level,
                             QString const& name = OwnName, bool toStdout = false) {
            QStringList list = QString::fromLatin1(arguments).split(QLatin1Char('|'));
            if (*arguments == '\0')
                list.clear();
            QTest::newRow(title) << list << QString::fromLatin1(level) << name << toStdout;
        };
        QString const other = QStringLiteral("other");
        row("nothing", "", "info");
        row("level", "-v|debug", "debug");
        row("level, joined", "-vdebug", "debug");
        row("level, with =", "-v=debug", "debug");
        row("level, two dashes", "--v|debug", "debug");
        row("level, two dashes and =", "--v=debug", "debug");
        row("level, twice", "-v|debug|-v|trace", "trace");
        row("level, unknown to all", "-v|LOUD 7", "LOUD 7");
        row("level, empty", "-v|", "");
        row("level, missing", "-v", "info");
        row("level, behind an argument", "file|-v|debug", "debug");
        row("level, behind the end of options", "--|-v|debug", "info");
        row("standard output", "--vstd", "info", OwnName, true);
        row("standard output, with a value", "--vstd=no", "info", OwnName, true);
        row("standard output, one dash too few", "-vstd", "std");
        row("name", "--logname|other", "info", other);
        row("name, with =", "--logname=other", "info", other);
        row("name, twice", "--logname=first|--logname=other", "info", other);
        row("name, empty", "--logname=", "info", QString());
        row("name, missing", "--logname", "info");
        row("name, one dash too few", "-logname|other", "info");
        row("all three", "--vstd|-v|error|--logname|other", "error", other, true);
        row("unknown long option", "--fullscreen|-v|debug", "debug");
        row("unknown long option with a value", "--size=3|--vstd", "info", OwnName, true);
        row("unknown short option", "-x|-v|debug", "debug");
        row("help", "--help|-h|-?", "info");
        row("version", "--version", "info");
    }
    void commandLine_isRead()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, level);
        QFETCH(QString, name);
        QFETCH(bool, toStdout);
        QStringList expected{QStringLiteral("setLevel ") + level};
        if (!name.isEmpty())
            expected << QStringLiteral("openSyslog %1 1").arg(name);
        if (toStdout)
            expected << QStringLiteral("openStdout");
        QCOMPARE(logCalls(arguments), expected);
    }

    void applicationWithoutName_opensNoSystemLog()
    {
        QCOMPARE(logCalls({}, NamelessRole), QStringList{QStringLiteral("setLevel info")});
    }

    void applicationWithoutName_isGivenOneByTheCommandLine()
    {
        QStringList const expected{
            QStringLiteral("setLevel info"), QStringLiteral("openSyslog other 1")};
        QCOMPARE(logCalls({QStringLiteral("--logname=other")}, NamelessRole), expected);
    }

    void firstName_isKept()
    {
        MessageHandlerKeeper const keeper;
        fakelogger::takeCalls();
        QByteArray name("first, and so long that it takes memory of its own");
        QString const opened = QStringLiteral("openSyslog %1 1").arg(QString::fromLatin1(name));
        QVorlinApplication::openLog(nullptr, "debug", false);
        QVorlinApplication::openLog("", "debug", false);
        QCOMPARE(fakelogger::takeCalls(QStringLiteral("open")), QStringList());

        QVorlinApplication::openLog(name.constData(), "debug", false);
        QCOMPARE(fakelogger::takeCalls(QStringLiteral("open")), QStringList{opened});
        name.fill('x');
        QVorlinApplication::openLog("second", "debug", false);
        QCOMPARE(fakelogger::takeCalls(QStringLiteral("open")), QStringList{opened});
        QVorlinApplication::openLog("", "debug", false);
        QCOMPARE(fakelogger::takeCalls(QStringLiteral("open")), QStringList());
    }

    void standardOutputAlone_isPossible()
    {
        MessageHandlerKeeper const keeper;
        fakelogger::takeCalls();
        QVorlinApplication::openLog(nullptr, "trace", true);
        QStringList const expected{QStringLiteral("setLevel trace"), QStringLiteral("openStdout")};
        QCOMPARE(fakelogger::takeCalls(), expected);
    }
};

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsSet(RoleVariable))
        printLogCalls(argc, argv);
    QCoreApplication app(argc, argv);
    OpenLogTest test;
    return runCheckingMessages(&test, argc, argv);
}

#include "tst_openlog.moc"
