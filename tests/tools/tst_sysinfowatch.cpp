#include "sysinfoprocess.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include <messagecheck.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>
#include <QThread>

#include "system/sysinfo.h"

namespace {

QStringList words(char const* line)
{
    return QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

void set(char const* key, QByteArray const& value)
{
    QVERIFY(sysinfo_set_string(key, value.constData()));
}

/** Gives the program notice of a key that the test itself keeps locked. */
bool touch(QString const& path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Append);
}

/** What a user without rights sees of the whole store, up to the first line. */
Ended firstLineForNobody()
{
    QString const script = sysinfoProgram() + QStringLiteral(" watch --initial | head -n 1");
    return runAsNobody({QStringLiteral("bash"), QStringLiteral("-c"), script});
}

} // namespace

class SysinfoWatchTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void changesAlone_areTold();
    void initialValues_areToldWhenAskedFor();
    void storeMadeLater_isFollowed();
    void everyLine_isSafeForTerminals();
    void largeValue_isToldWhole();
    void removalAndReturn_areTold();
    void burst_endsWithTheLastValue();
    void burstsOfSeveralPrograms_endWithTheLastValues();
    void floodWhileStopped_endsWithTheLastValue();
    void valueBeingWritten_isWaitedFor();
    void signal_endsItWithSuccess_data();
    void signal_endsItWithSuccess();
    void signalWhileWaitingForALock_endsIt();
    void signalWhileNobodyReads_endsIt();
    void readerGone_endsItWithSuccess();
    void readerGoneWhileNothingHappens_endsItWithSuccess();
    void otherUsersFiles_areComplainedOfAndTheRestFollowed();
    void closedFolder_isAFailure();
    void folderThatOnlyLetsThrough_isNoObstacle();
    void noWatchLeft_isAFailure();

private:
    StorePlace mPlace;
};

void SysinfoWatchTest::init()
{
    mPlace.clear();
}

void SysinfoWatchTest::changesAlone_areTold()
{
    set("net/ip", "old");
    WatchProcess watch(words("net/ip"));
    // The program does not tell when its watches are set.
    int count = 0;
    do {
        QVERIFY(++count < 3000);
        set("net/ip", QByteArray::number(count));
    } while (!watch.process().waitForReadyRead(10));
    QByteArray const first = watch.nextLine();
    QVERIFY2(first.startsWith("net/ip = \"") && !first.contains("old"), first);
    set("net/other", "x");
    set("net/ip", "last");
    QVERIFY(watch.linesUntil("net/ip = \"last\"") > 0);
    Ended const ended = watch.stop(SIGTERM);
    QCOMPARE(ended.code, 0);
    QCOMPARE(ended.output + ended.errors, QByteArray());
}

void SysinfoWatchTest::initialValues_areToldWhenAskedFor()
{
    set("net/ip", "1");
    set("a", "2");
    WatchProcess watch(words("--initial"));
    QCOMPARE(watch.nextLine(), QByteArray("a = \"2\""));
    QCOMPARE(watch.nextLine(), QByteArray("net/ip = \"1\""));
    QCOMPARE(runSysinfo(words("set net/ip 3")).code, 0);
    QCOMPARE(watch.nextLine(), QByteArray("net/ip = \"3\""));
}

void SysinfoWatchTest::storeMadeLater_isFollowed()
{
    WatchProcess watch(words("--initial net/"));
    QCOMPARE(runSysinfo(words("set net/ip 1")).code, 0);
    QCOMPARE(watch.nextLine(), QByteArray("net/ip = \"1\""));
    QCOMPARE(runSysinfo(words("set net/if/eth0/state up")).code, 0);
    QCOMPARE(watch.nextLine(), QByteArray("net/if/eth0/state = \"up\""));
}

void SysinfoWatchTest::everyLine_isSafeForTerminals()
{
    set("a\x1b\n", "\x1b[2J\xff\n");
    WatchProcess watch(words("--initial"));
    QCOMPARE(watch.nextLine(), QByteArray(R"(a\x1b\n = "\x1b[2J\xff\n")"));
    QVERIFY(sysinfo_remove("a\x1b\n"));
    QCOMPARE(watch.nextLine(), QByteArray(R"(a\x1b\n removed)"));
}

void SysinfoWatchTest::largeValue_isToldWhole()
{
    WatchProcess watch(words("--initial"));
    QByteArray const value(1 << 20, 'x');
    QCOMPARE(runSysinfo(words("set big -"), value).code, 0);
    QVERIFY(watch.nextLine() == "big = \"" + value + '"');
}

void SysinfoWatchTest::removalAndReturn_areTold()
{
    set("net/ip", "1");
    WatchProcess watch(words("--initial net/ip"));
    QCOMPARE(watch.nextLine(), QByteArray("net/ip = \"1\""));
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(runSysinfo(words("remove net")).code, 0);
        QCOMPARE(watch.nextLine(), QByteArray("net/ip removed"));
        QCOMPARE(runSysinfo(words("set net/ip 1")).code, 0);
        QCOMPARE(watch.nextLine(), QByteArray("net/ip = \"1\""));
    }
    mPlace.clear();
    QCOMPARE(watch.nextLine(), QByteArray("net/ip removed"));
    QCOMPARE(runSysinfo(words("set net/ip 1")).code, 0);
    QCOMPARE(watch.nextLine(), QByteArray("net/ip = \"1\""));
}

void SysinfoWatchTest::burst_endsWithTheLastValue()
{
    set("a", "0");
    WatchProcess watch(words("--initial a"));
    QCOMPARE(watch.nextLine(), QByteArray("a = \"0\""));
    for (int i = 1; i <= 1000; ++i)
        set("a", QByteArray::number(i));
    int const lines = watch.linesUntil("a = \"1000\"");
    QVERIFY(lines >= 1 && lines <= 1000);
    set("a", "end");
    QCOMPARE(watch.nextLine(), QByteArray("a = \"end\""));
}

void SysinfoWatchTest::burstsOfSeveralPrograms_endWithTheLastValues()
{
    WatchProcess watch(words("--initial"));
    std::unique_ptr<QThread> const own(QThread::create([] {
        for (int i = 1; i <= 1000; ++i)
            sysinfo_set_integer("group/own", i);
    }));
    own->start();
    Ended const others = runScript("for i in {1..50}; do sysinfo set group/a $i; done &\n"
                                   "for i in {1..50}; do sysinfo set group/b $i; done &\n"
                                   "wait\n");
    own->wait();
    QCOMPARE(others.errors, QByteArray());
    set("end", "");
    QHash<QByteArray, QByteArray> last;
    for (;;) {
        QByteArray const line = watch.nextLine();
        QVERIFY(!line.isNull());
        if (line.startsWith("end"))
            break;
        int const space = line.indexOf(' ');
        last[line.left(space)] = line.mid(space);
    }
    QCOMPARE(last.size(), 3);
    QCOMPARE(last["group/own"], QByteArray(" = \"1000\""));
    QCOMPARE(last["group/a"], QByteArray(" = \"50\""));
    QCOMPARE(last["group/b"], QByteArray(" = \"50\""));
}

void SysinfoWatchTest::floodWhileStopped_endsWithTheLastValue()
{
    set("a", "0");
    set("b", "0");
    WatchProcess watch(words("--initial"));
    QVERIFY(watch.linesUntil("b = \"0\"") > 0);
    auto const process = pid_t(watch.process().processId());
    QCOMPARE(::kill(process, SIGSTOP), 0);
    // More than the kernel's queue takes by default.
    for (int i = 0; i < 9000; ++i)
        QVERIFY(touch(mPlace.path("a")) && touch(mPlace.path("b")));
    set("b", "1");
    set("c/d", "1");
    QVERIFY(sysinfo_remove("a"));
    QCOMPARE(::kill(process, SIGCONT), 0);
    QCOMPARE(watch.nextLine(), QByteArray("a removed"));
    QCOMPARE(watch.nextLine(), QByteArray("b = \"1\""));
    QCOMPARE(watch.nextLine(), QByteArray("c/d = \"1\""));
    set("c/d", "2");
    QCOMPARE(watch.nextLine(), QByteArray("c/d = \"2\""));
}

void SysinfoWatchTest::valueBeingWritten_isWaitedFor()
{
    set("a", "whole");
    WatchProcess watch(words("--initial"));
    QCOMPARE(watch.nextLine(), QByteArray("a = \"whole\""));
    FILE* const stream = sysinfo_open_write("a");
    QVERIFY(stream);
    fputs("ha", stream);
    fflush(stream);
    QVERIFY(touch(mPlace.path("a")));
    QVERIFY(watch.waitsForLock());
    fputs("lf", stream);
    QCOMPARE(sysinfo_close(stream), 0);
    QCOMPARE(watch.nextLine(), QByteArray("a = \"half\""));
    set("a", "end");
    QCOMPARE(watch.nextLine(), QByteArray("a = \"end\""));
}

void SysinfoWatchTest::signal_endsItWithSuccess_data()
{
    QTest::addColumn<int>("signal");

    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void SysinfoWatchTest::signal_endsItWithSuccess()
{
    QFETCH(int, signal);
    set("a", "0");
    WatchProcess watch(words("--initial"));
    QCOMPARE(watch.nextLine(), QByteArray("a = \"0\""));
    Ended const ended = watch.stop(signal);
    QCOMPARE(ended.code, 0);
    QCOMPARE(ended.output + ended.errors, QByteArray());
}

void SysinfoWatchTest::signalWhileWaitingForALock_endsIt()
{
    set("a", "0");
    WatchProcess watch(words("--initial"));
    QCOMPARE(watch.nextLine(), QByteArray("a = \"0\""));
    FILE* const stream = sysinfo_open_write("a");
    QVERIFY(stream);
    QVERIFY(touch(mPlace.path("a")));
    QVERIFY(watch.waitsForLock());
    QCOMPARE(watch.stop(SIGTERM).code, 0);
    sysinfo_close(stream);
}

void SysinfoWatchTest::signalWhileNobodyReads_endsIt()
{
    set("a", QByteArray(1 << 20, 'x'));
    // A pipe that takes a part of the line only.
    Ended const ended =
        runScript("exec 3< <(exec sysinfo watch --initial & echo $!; wait $!; "
                  "echo $? >\"$SYSINFO_PROFILE/status\")\n"
                  "read -r process <&3\n"
                  "read -r -N 100 part <&3\n"
                  "kill $process\n"
                  "while ! test -s \"$SYSINFO_PROFILE/status\"; do sleep 0.01; done\n"
                  "cat \"$SYSINFO_PROFILE/status\"\n");
    QCOMPARE(ended.output, QByteArray("0\n"));
}

void SysinfoWatchTest::readerGone_endsItWithSuccess()
{
    set("a", "0");
    set("b", "0");
    Ended const ended = runScript("sysinfo watch --initial | head -n 1; echo ${PIPESTATUS[0]}");
    QCOMPARE(ended.output, QByteArray("a = \"0\"\n0\n"));
    QCOMPARE(ended.errors, QByteArray());
}

void SysinfoWatchTest::readerGoneWhileNothingHappens_endsItWithSuccess()
{
    Ended const ended = runScript("sysinfo watch | true; echo ${PIPESTATUS[0]}");
    QCOMPARE(ended.output, QByteArray("0\n"));
    QCOMPARE(ended.errors, QByteArray());
}

void SysinfoWatchTest::otherUsersFiles_areComplainedOfAndTheRestFollowed()
{
    if (geteuid() != 0)
        QSKIP("only root can become somebody without rights");
    set("mine", "a");
    set("shut/key", "b");
    set("visible", "c");
    QCOMPARE(chmod(QFile::encodeName(mPlace.path("mine")).constData(), 0600), 0);
    QCOMPARE(chmod(QFile::encodeName(mPlace.path("shut")).constData(), 0700), 0);
    Ended const ended = firstLineForNobody();
    QCOMPARE(ended.output, QByteArray("visible = \"c\"\n"));
    QCOMPARE(ended.errors, QByteArray("sysinfo: can't read 'mine': Permission denied\n"
                                      "sysinfo: can't read 'shut': Permission denied\n"));
}

void SysinfoWatchTest::closedFolder_isAFailure()
{
    if (geteuid() != 0)
        QSKIP("only root can become somebody without rights");
    set("shut/key", "b");
    QCOMPARE(chmod(QFile::encodeName(mPlace.path("shut")).constData(), 0711), 0);
    for (char const* line : {"watch shut", "watch shut/key"}) {
        Ended const ended = runAsNobody(QStringList(sysinfoProgram()) + words(line));
        QCOMPARE(ended.code, 1);
        QVERIFY2(ended.errors.startsWith("sysinfo: can't watch '"), ended.errors);
        QVERIFY2(ended.errors.endsWith(": Permission denied\n"), ended.errors);
    }
}

void SysinfoWatchTest::folderThatOnlyLetsThrough_isNoObstacle()
{
    if (geteuid() != 0)
        QSKIP("only root can become somebody without rights");
    set("a", "0");
    QByteArray const above = QFile::encodeName(mPlace.above());
    QCOMPARE(chmod(above.constData(), 0711), 0);
    Ended const ended = firstLineForNobody();
    QCOMPARE(ended.output, QByteArray("a = \"0\"\n"));
    QCOMPARE(ended.errors, QByteArray());

    // Without the store nobody could see it come.
    QVERIFY(QDir(mPlace.root()).removeRecursively());
    Ended const blind = runAsNobody(QStringList(sysinfoProgram()) + words("watch"));
    QCOMPARE(blind.code, 1);
    QVERIFY2(blind.errors.endsWith(": Permission denied\n"), blind.errors);
}

void SysinfoWatchTest::noWatchLeft_isAFailure()
{
    set("net/ip", "0");
    // A user of a namespace of its own has a limit of its own.
    Ended const ended = runScript("exec unshare --user --map-root-user bash -c '\n"
                                  "echo 3 >/proc/sys/user/max_inotify_watches || exit 77\n"
                                  "exec sysinfo watch' || exit 77\n");
    if (ended.code == 77 || ended.errors.startsWith("unshare: "))
        QSKIP(QByteArray("may not limit the number of watches here: " + ended.errors).constData());
    QCOMPARE(ended.code, 1);
    QVERIFY2(ended.errors.startsWith("sysinfo: can't watch '"), ended.errors);
    QVERIFY2(ended.errors.endsWith("': no inotify watch is left\n"), ended.errors);
}

QVORLIN_TEST_MAIN(QCoreApplication, SysinfoWatchTest)

#include "tst_sysinfowatch.moc"
