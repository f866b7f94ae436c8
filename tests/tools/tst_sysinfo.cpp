#include "manualpage.h"
#include "sysinfoprocess.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <messagecheck.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTest>

#include "system/sysinfo.h"

namespace {

QStringList words(char const* line)
{
    return QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

Ended run(char const* line, QByteArray const& input = {})
{
    return runSysinfo(words(line), input);
}

/** A mebibyte with every byte in it. */
QByteArray largeValue()
{
    QByteArray value(1 << 20, 0);
    for (int i = 0; i < value.size(); ++i)
        value[i] = char(i ^ i >> 8);
    return value;
}

mode_t modeOf(QString const& path)
{
    struct stat status = {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

} // namespace

#define VERIFY_DONE(ended)                                                                         \
    do {                                                                                           \
        Ended const end = (ended);                                                                 \
        QCOMPARE(end.errors, QByteArray());                                                        \
        QCOMPARE(end.code, 0);                                                                     \
    } while (false)

#define VERIFY_OUTPUT(ended, text)                                                                 \
    do {                                                                                           \
        Ended const end = (ended);                                                                 \
        QCOMPARE(end.errors, QByteArray());                                                        \
        QCOMPARE(end.output, QByteArray(text));                                                    \
        QCOMPARE(end.code, 0);                                                                     \
    } while (false)

#define VERIFY_COMPLAINT(ended, status, text)                                                      \
    do {                                                                                           \
        Ended const end = (ended);                                                                 \
        QCOMPARE(end.errors, QByteArray("sysinfo: ") + (text) + '\n');                             \
        QCOMPARE(end.code, status);                                                                \
    } while (false)

class SysinfoTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void helpAndVersion_areShown();
    void wrongCommandLine_isAnUsageError();
    void impossibleKey_isAnUsageError_data();
    void impossibleKey_isAnUsageError();
    void longestKey_isTaken();
    void setValue_isWhatTheLibraryReads();
    void libraryValue_isWhatGetWrites();
    void setFilesAndGroups_areOpenToAll();
    void anyBytes_passThroughPipes_data();
    void anyBytes_passThroughPipes();
    void shorterValue_leavesNothingOfTheLonger();
    void oldValue_staysUntilTheInputEnds();
    void missingKey_isAFailureWithoutDefault();
    void default_standsInForWhatCantBeRead();
    void groupInPlaceOfAKey_isAFailure();
    void keyInPlaceOfAGroup_isAFailure();
    void fifoInPlaceOfAKey_isAFailure();
    void linkThatLeadsNowhere_isAFailure();
    void list_isSortedAndMarksGroups();
    void list_leavesOutWhatIsNeitherKeyNorGroup();
    void list_ofNoStoreIsEmpty();
    void list_ofBrokenStoreIsAFailure();
    void tree_showsGroupsAndValues();
    void tree_isSafeForTerminals();
    void tree_ofNoStoreIsEmpty();
    void remove_takesAKey();
    void remove_takesAGroupWithEverythingInIt();
    void remove_ofNothingIsAFailure();
    void otherUsersFiles_areFailures();
    void fullDisk_isAFailureAndLeavesNoHalfValue();
    void fullOutput_isAFailure();
    void closedStreams_areFailures();
    void brokenPipe_endsTheProgram();
    void programsAndLibrary_neverSeeHalfAValue();
    void unsetOrEmptyProfile_meansTheDefaultFolder();
    void relativeProfile_isTakenFromTheWorkingFolder();
    void examplesOfTheManual_doWhatItShows();

private:
    StorePlace mPlace;
};

void SysinfoTest::init()
{
    mPlace.clear();
}

void SysinfoTest::helpAndVersion_areShown()
{
    Ended const help = run("--help");
    QCOMPARE(help.code, 0);
    QVERIFY(help.output.startsWith("Usage: sysinfo "));
    VERIFY_OUTPUT(run("--version"), "sysinfo " PROGRAM_VERSION "\n");
}

void SysinfoTest::wrongCommandLine_isAnUsageError()
{
    VERIFY_COMPLAINT(run(""), 2, "no command given; see sysinfo --help");
    VERIFY_COMPLAINT(run("put a"), 2, "unknown command 'put'; see sysinfo --help");
    VERIFY_COMPLAINT(run("set a"), 2, "set needs KEY VALUE; see sysinfo --help");
}

void SysinfoTest::impossibleKey_isAnUsageError_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("what");

    auto const row = [](char const* name, QStringList const& arguments, char const* what) {
        QTest::newRow(name) << arguments << QByteArray(what);
    };
    QString const empty;
    row("empty", {words("get") + QStringList(empty)}, "bad KEY '': it is empty");
    row("set empty", {words("set") + QStringList{empty, empty}}, "bad KEY '': it is empty");
    row("remove everything", {words("remove") + QStringList(empty)},
        "bad KEY or GROUP '': it is empty");
    row("remove the root", words("remove /"), "bad KEY or GROUP '/': a name in it is empty");
    row("remove above", words("remove .."), "bad KEY or GROUP '..': '..' is no name");
    row("list above", words("list ../"), "bad KEY or GROUP '..': '..' is no name");
    row("watch itself", words("watch ."), "bad KEY or GROUP '.': '.' is no name");
    row("dots within", words("get a/../b"), "bad KEY 'a/../b': '..' is no name");
    row("dot within", words("set a/./b x"), "bad KEY 'a/./b': '.' is no name");
    row("slash first", words("get /a"), "bad KEY '/a': a name in it is empty");
    row("slash last", words("get a/"), "bad KEY 'a/': a name in it is empty");
    row("two slashes", words("list a//b"), "bad KEY or GROUP 'a//b': a name in it is empty");
    row("two slashes last", words("list a//"), "bad KEY or GROUP 'a/': a name in it is empty");
}

void SysinfoTest::impossibleKey_isAnUsageError()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, what);
    QVERIFY(QDir().mkpath(mPlace.root()));
    VERIFY_COMPLAINT(runSysinfo(arguments), 2, what + "; see sysinfo --help");
    QVERIFY(QFile::exists(mPlace.root()));
}

void SysinfoTest::longestKey_isTaken()
{
    QByteArray const fits(254 - 1 - QFile::encodeName(mPlace.root()).size(), 'k');
    VERIFY_DONE(run("set " + fits + " a"));
    QVERIFY(QFile::exists(mPlace.path(fits)));
    VERIFY_OUTPUT(run("list"), fits + '\n');

    QByteArray const cut = fits + 'k';
    QByteArray const shown = cut.size() > 80 ? cut.left(80) + "..." : cut;
    QByteArray const complaint = "bad KEY '" + shown +
                                 "': its path is 255 bytes long, the store takes 254; "
                                 "see sysinfo --help";
    VERIFY_COMPLAINT(run("get " + cut), 2, complaint);
    VERIFY_COMPLAINT(run("set " + cut + " b"), 2, complaint);
    VERIFY_OUTPUT(run("get " + fits), "a");
}

void SysinfoTest::setValue_isWhatTheLibraryReads()
{
    VERIFY_DONE(run("set net/ip 10.0.0.2"));
    QCOMPARE(sysinfo::get_string("net/ip", "none"), std::string("10.0.0.2"));
    VERIFY_DONE(run("set t -5"));
    int t = 0;
    QCOMPARE(sysinfo_get_format("t", "%d", &t), 1);
    QCOMPARE(t, -5);
}

void SysinfoTest::libraryValue_isWhatGetWrites()
{
    QVERIFY(sysinfo_set_string("net/ip", "10.0.0.2\n"));
    VERIFY_OUTPUT(run("get net/ip"), "10.0.0.2\n");
    QVERIFY(sysinfo_set_string("net/ip", ""));
    VERIFY_OUTPUT(run("get net/ip default"), "");
}

void SysinfoTest::setFilesAndGroups_areOpenToAll()
{
    VERIFY_DONE(run("set net/ip a"));
    QCOMPARE(modeOf(mPlace.root()), mode_t(0777));
    QCOMPARE(modeOf(mPlace.path("net")), mode_t(0777));
    QCOMPARE(modeOf(mPlace.path("net/ip")), mode_t(0666));
}

void SysinfoTest::anyBytes_passThroughPipes_data()
{
    QTest::addColumn<QByteArray>("value");

    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("one NUL") << QByteArray(1, 0);
    QTest::newRow("newlines") << QByteArray("\n\n");
    QTest::newRow("a block") << QByteArray(65536, '\0');
    QTest::newRow("a block and more") << QByteArray(65537, '\xff');
    QTest::newRow("1 MiB") << largeValue();
}

void SysinfoTest::anyBytes_passThroughPipes()
{
    QFETCH(QByteArray, value);
    VERIFY_DONE(run("set bytes -", value));
    Ended const ended = run("get bytes");
    QCOMPARE(ended.code, 0);
    QVERIFY(ended.output == value);
    QCOMPARE(QByteArray::fromStdString(sysinfo::get_string("bytes", "none")), value);
}

void SysinfoTest::shorterValue_leavesNothingOfTheLonger()
{
    VERIFY_DONE(run("set a longer"));
    VERIFY_DONE(run("set a b"));
    VERIFY_OUTPUT(run("get a"), "b");
}

void SysinfoTest::oldValue_staysUntilTheInputEnds()
{
    VERIFY_DONE(run("set a old"));
    QProcess process;
    process.start(sysinfoProgram(), words("set a -"));
    QVERIFY(process.waitForStarted());
    process.write(QByteArray(1 << 20, 'x'));
    while (process.bytesToWrite() > 0)
        QVERIFY(process.waitForBytesWritten(30000));
    VERIFY_OUTPUT(run("get a"), "old");
    process.write("end");
    process.closeWriteChannel();
    VERIFY_DONE(endOf(process));
    QVERIFY(run("get a").output == QByteArray(1 << 20, 'x') + "end");
}

void SysinfoTest::missingKey_isAFailureWithoutDefault()
{
    VERIFY_COMPLAINT(run("get net/ip"), 1, "no key 'net/ip'");
    VERIFY_DONE(run("set net x"));
    VERIFY_COMPLAINT(run("get net/ip"), 1, "no key 'net/ip'");
    VERIFY_COMPLAINT(run("get a\x1b[31m"), 1, "no key 'a\\x1b[31m'");
}

void SysinfoTest::default_standsInForWhatCantBeRead()
{
    VERIFY_OUTPUT(run("get net/ip 127.0.0.1"), "127.0.0.1");
    VERIFY_DONE(run("set net/ip a"));
    VERIFY_OUTPUT(run("get net default"), "default");
    VERIFY_OUTPUT(run("get net/ip/x default"), "default");
    VERIFY_OUTPUT(runSysinfo({QStringLiteral("get"), QStringLiteral("no"), QString()}), "");
}

void SysinfoTest::groupInPlaceOfAKey_isAFailure()
{
    VERIFY_DONE(run("set net/ip a"));
    VERIFY_COMPLAINT(run("get net"), 1, "'net' is a group, not a key");
    VERIFY_COMPLAINT(run("set net x"), 1, "'net' is a group, not a key");
    VERIFY_OUTPUT(run("get net/ip"), "a");
}

void SysinfoTest::keyInPlaceOfAGroup_isAFailure()
{
    VERIFY_DONE(run("set net a"));
    VERIFY_COMPLAINT(run("set net/ip x"), 1, "can't write 'net/ip': Not a directory");
    VERIFY_COMPLAINT(run("list net"), 1, "'net' is a key, not a group");
    VERIFY_COMPLAINT(run("remove net/"), 1, "'net' is a key, not a group");
    VERIFY_COMPLAINT(run("list net/if"), 1, "no group 'net/if'");
    VERIFY_OUTPUT(run("get net"), "a");
}

void SysinfoTest::fifoInPlaceOfAKey_isAFailure()
{
    QVERIFY(QDir().mkpath(mPlace.root()));
    QCOMPARE(mkfifo(QFile::encodeName(mPlace.path("pipe")).constData(), 0666), 0);
    VERIFY_COMPLAINT(run("get pipe"), 1, "'pipe' is no file");
    VERIFY_COMPLAINT(run("set pipe x"), 1, "'pipe' is no file");
    VERIFY_DONE(run("remove pipe"));
}

void SysinfoTest::linkThatLeadsNowhere_isAFailure()
{
    QVERIFY(QDir().mkpath(mPlace.root()));
    QVERIFY(QFile::link(QStringLiteral("loop"), mPlace.path("loop")));
    VERIFY_COMPLAINT(run("get loop"), 1, "can't read 'loop': Too many levels of symbolic links");
    VERIFY_COMPLAINT(run("set loop x"), 1, "can't write 'loop': Too many levels of symbolic links");
    VERIFY_COMPLAINT(run("list loop"), 1, "can't list 'loop': Too many levels of symbolic links");
    VERIFY_DONE(run("remove loop"));
}

void SysinfoTest::list_isSortedAndMarksGroups()
{
    for (char const* key : {"b/x", "a", "c", "b/a/y", "B", "b.c"})
        QVERIFY(sysinfo_set_string(key, ""));
    VERIFY_OUTPUT(run("list"), "B\na\nb/\nb.c\nc\n");
    VERIFY_OUTPUT(run("list b"), "a/\nx\n");
    VERIFY_OUTPUT(run("list b/"), "a/\nx\n");
    VERIFY_COMPLAINT(run("list d"), 1, "no group 'd'");
    QVERIFY(sysinfo_set_string("two\nlines", ""));
    QVERIFY(sysinfo_remove("b") && sysinfo_remove("b.c"));
    VERIFY_OUTPUT(run("list"), "B\na\nc\ntwo\\nlines\n");
}

void SysinfoTest::list_leavesOutWhatIsNeitherKeyNorGroup()
{
    QVERIFY(sysinfo_set_string("net/ip", "a"));
    QVERIFY(QFile::link(QStringLiteral("net"), mPlace.path("group")));
    QVERIFY(QFile::link(QStringLiteral("net/ip"), mPlace.path("key")));
    QCOMPARE(mkfifo(QFile::encodeName(mPlace.path("pipe")).constData(), 0666), 0);
    // The store has no room for this one's path.
    QFile long1(mPlace.path(QByteArray(250, 'x')));
    QVERIFY(long1.open(QIODevice::WriteOnly));
    VERIFY_OUTPUT(run("list"), "net/\n");
    VERIFY_OUTPUT(run("tree"), "net/\n  ip = \"a\"\n");
}

void SysinfoTest::list_ofNoStoreIsEmpty()
{
    VERIFY_OUTPUT(run("list"), "");
    VERIFY_COMPLAINT(run("list net"), 1, "no group 'net'");
    QVERIFY(!QFile::exists(mPlace.root()));
}

void SysinfoTest::list_ofBrokenStoreIsAFailure()
{
    QVERIFY(QDir().mkpath(mPlace.above()));
    QFile file(mPlace.root());
    QVERIFY(file.open(QIODevice::WriteOnly));
    VERIFY_COMPLAINT(
        run("list"), 1, "can't list '" + QFile::encodeName(mPlace.root()) + "': Not a directory");
    VERIFY_COMPLAINT(run("set a b"), 1, "can't write 'a': Not a directory");
}

void SysinfoTest::tree_showsGroupsAndValues()
{
    for (char const* key : {"net/ip", "net/if/eth0", "version", "net/empty"})
        QVERIFY(sysinfo_set_string(key, key));
    QVERIFY(sysinfo_set_string("net/empty", ""));
    QVERIFY(sysinfo_set_string("net/long", std::string(61, 'x').c_str()));
    VERIFY_OUTPUT(run("tree"), "net/\n"
                               "  empty = \"\"\n"
                               "  if/\n"
                               "    eth0 = \"net/if/eth0\"\n"
                               "  ip = \"net/ip\"\n"
                               "  long = \"" +
                                   QByteArray(60, 'x') +
                                   "\"... (61 bytes)\n"
                                   "version = \"version\"\n");
}

void SysinfoTest::tree_isSafeForTerminals()
{
    VERIFY_DONE(run("set a\x1b]0;t -", QByteArray("\0\x1b[2J\xff é\n", 10)));
    VERIFY_OUTPUT(run("tree"), "a\\x1b]0;t = \"\\x00\\x1b[2J\\xff é\\n\"\n");
}

void SysinfoTest::tree_ofNoStoreIsEmpty()
{
    VERIFY_OUTPUT(run("tree"), "");
}

void SysinfoTest::remove_takesAKey()
{
    QVERIFY(sysinfo_set_string("net/ip", "a") && sysinfo_set_string("net/host", "b"));
    VERIFY_OUTPUT(run("remove net/ip"), "");
    VERIFY_OUTPUT(run("list net"), "host\n");
}

void SysinfoTest::remove_takesAGroupWithEverythingInIt()
{
    QVERIFY(sysinfo_set_string("net/if/eth0", "a") && sysinfo_set_string("nets", "b"));
    VERIFY_OUTPUT(run("remove net/"), "");
    VERIFY_OUTPUT(run("list"), "nets\n");
}

void SysinfoTest::remove_ofNothingIsAFailure()
{
    VERIFY_COMPLAINT(run("remove net"), 1, "no key or group 'net'");
    QVERIFY(sysinfo_set_string("net", "a"));
    VERIFY_COMPLAINT(run("remove net/ip"), 1, "no key or group 'net/ip'");
}

void SysinfoTest::otherUsersFiles_areFailures()
{
    if (geteuid() != 0)
        QSKIP("only root can become somebody without rights");
    QVERIFY(sysinfo_set_string("mine", "a") && sysinfo_set_string("group/b", "c"));
    QVERIFY(sysinfo_set_string("shut/key", "d"));
    QCOMPARE(chmod(QFile::encodeName(mPlace.path("mine")).constData(), 0600), 0);
    QCOMPARE(chmod(QFile::encodeName(mPlace.path("group")).constData(), 0755), 0);
    QCOMPARE(chmod(QFile::encodeName(mPlace.path("shut")).constData(), 0700), 0);

    auto const nobody = [](char const* line) {
        return runAsNobody(QStringList(sysinfoProgram()) + words(line));
    };
    VERIFY_OUTPUT(nobody("get group/b"), "c");
    VERIFY_COMPLAINT(nobody("get mine"), 1, "can't read 'mine': Permission denied");
    VERIFY_OUTPUT(nobody("get mine default"), "default");
    VERIFY_COMPLAINT(nobody("set mine x"), 1, "can't write 'mine': Operation not permitted");
    VERIFY_COMPLAINT(nobody("set group/b x"), 1, "can't write 'group/b': Operation not permitted");
    VERIFY_COMPLAINT(nobody("set group/new x"), 1, "can't write 'group/new': Permission denied");
    VERIFY_OUTPUT(nobody("get group/b"), "c");
    VERIFY_COMPLAINT(nobody("remove group/b"), 1, "can't remove 'group/b': Permission denied");
    VERIFY_COMPLAINT(nobody("list shut"), 1, "can't list 'shut': Permission denied");
    Ended const tree = nobody("tree");
    QCOMPARE(tree.code, 1);
    QCOMPARE(tree.output, QByteArray("group/\n  b = \"c\"\nmine = ?\nshut/\n"));
    QCOMPARE(tree.errors, QByteArray("sysinfo: can't read 'mine': Permission denied\n"
                                     "sysinfo: can't list 'shut': Permission denied\n"));
}

void SysinfoTest::fullDisk_isAFailureAndLeavesNoHalfValue()
{
    QVERIFY(QDir().mkpath(mPlace.root()));
    QByteArray const root = QFile::encodeName(mPlace.root());
    if (::mount("tmpfs", root.constData(), "tmpfs", 0, "size=256k") != 0)
        QSKIP("may not mount a small file system here");
    auto const unmount = qScopeGuard([&] { ::umount2(root.constData(), MNT_DETACH); });

    VERIFY_DONE(run("set big -", QByteArray(100000, 'x')));
    VERIFY_COMPLAINT(
        run("set big -", largeValue()), 1, "can't write 'big': No space left on device");
    VERIFY_OUTPUT(run("get big default"), "");
    VERIFY_DONE(run("set big small"));
    VERIFY_OUTPUT(run("get big"), "small");
}

void SysinfoTest::fullOutput_isAFailure()
{
    VERIFY_DONE(run("set a b"));
    for (char const* command : {"get a", "list", "tree", "watch --initial", "--help"}) {
        Ended const ended = runScript(QByteArray("exec sysinfo ") + command + " >/dev/full");
        QCOMPARE(ended.errors, QByteArray("sysinfo: can't write: No space left on device\n"));
        QCOMPARE(ended.code, 1);
    }
}

void SysinfoTest::closedStreams_areFailures()
{
    VERIFY_DONE(run("set a b"));
    VERIFY_COMPLAINT(runScript("exec sysinfo get a >&-"), 1, "can't write: Bad file descriptor");
    VERIFY_COMPLAINT(
        runScript("exec sysinfo set a - <&-"), 1, "can't read standard input: Bad file descriptor");
    VERIFY_COMPLAINT(
        runScript("exec sysinfo set a - </"), 1, "can't read standard input: Is a directory");
    VERIFY_OUTPUT(run("get a"), "b");
}

void SysinfoTest::brokenPipe_endsTheProgram()
{
    VERIFY_DONE(run("set big -", largeValue()));
    // 141: by the signal, as of any filter.
    VERIFY_OUTPUT(
        runScript("sysinfo get big | head -c 3 | wc -c; echo ${PIPESTATUS[0]}"), "3\n141\n");
    Ended const ignoring =
        runScript("trap '' PIPE; sysinfo get big | head -c 3 | wc -c; echo ${PIPESTATUS[0]}");
    QCOMPARE(ignoring.output, QByteArray("3\n1\n"));
    QCOMPARE(ignoring.errors, QByteArray("sysinfo: can't write: Broken pipe\n"));
}

void SysinfoTest::programsAndLibrary_neverSeeHalfAValue()
{
    constexpr int Size = 100000;
    auto const isWhole = [](QByteArray const& value) {
        return value.size() == Size && value.count(value[0]) == Size;
    };
    auto const isRunning = [](QProcess& process) {
        return process.state() != QProcess::NotRunning && !process.waitForFinished(0);
    };
    VERIFY_DONE(run("set shared -", QByteArray(Size, '0')));
    QProcess writers[2];
    for (int i = 0; i < 2; ++i) {
        QString const script = QStringLiteral(
            "for i in {1..100}; do head -c %1 /dev/zero | tr '\\0' %2 | %3 set shared - || exit; "
            "done")
                                   .arg(Size)
                                   .arg(i + 1)
                                   .arg(sysinfoProgram());
        writers[i].start(QStringLiteral("bash"), {QStringLiteral("-c"), script});
    }
    QByteArray const own(Size, '3');
    int reads = 0;
    do {
        ++reads;
        QVERIFY(isWhole(QByteArray::fromStdString(sysinfo::get_string("shared", ""))));
        if (reads % 10 == 0) {
            QVERIFY(isWhole(run("get shared").output));
            QVERIFY(sysinfo_set_string("shared", own.constData()));
        }
    } while (isRunning(writers[0]) || isRunning(writers[1]));
    for (QProcess& writer : writers)
        VERIFY_DONE(endOf(writer));
    QVERIFY(reads > 10);
}

void SysinfoTest::unsetOrEmptyProfile_meansTheDefaultFolder()
{
    if (QCoreApplication::applicationDirPath().startsWith(QLatin1String("/tmp/")))
        QSKIP("the program lies in /tmp, which has to be another folder for this test");
    Ended const ended = runScript("unshare --mount bash -c '\n"
                                  "mount -t tmpfs tmpfs /tmp || exit 77\n"
                                  "unset SYSINFO_PROFILE\n"
                                  "sysinfo set net/ip a && cat /tmp/sysinfo/net/ip\n"
                                  "SYSINFO_PROFILE= sysinfo tree\n"
                                  "' || exit 77\n");
    if (ended.code == 77)
        QSKIP("may not mount another /tmp here");
    VERIFY_OUTPUT(ended, "anet/\n  ip = \"a\"\n");
}

void SysinfoTest::relativeProfile_isTakenFromTheWorkingFolder()
{
    QVERIFY(QDir().mkpath(mPlace.above()));
    VERIFY_OUTPUT(runScript("cd " + QFile::encodeName(mPlace.above()) +
                            "\n"
                            "export SYSINFO_PROFILE=./other//store/\n"
                            "sysinfo set net/ip a\n"
                            "cat other/store/net/ip\n"
                            "sysinfo tree\n"
                            "sysinfo watch --initial net | head -n 1\n"),
        "anet/\n  ip = \"a\"\nnet/ip = \"a\"\n");
}

void SysinfoTest::examplesOfTheManual_doWhatItShows()
{
    QString examples = manualSection(QStringLiteral("EXAMPLES"))
                           .section(QStringLiteral(".nf\n"), 1, 1)
                           .section(QStringLiteral(".fi"), 0, 0);
    examples.replace(QLatin1String("\\e"), QLatin1String("\\"));
    QByteArray typed;
    QByteArray appears;
    for (QByteArray const& line : examples.toUtf8().trimmed().split('\n')) {
        if (line.startsWith("$ "))
            typed += line.mid(2) + '\n';
        else
            appears += line + '\n';
    }
    QVERIFY(typed.count('\n') > 10);
    VERIFY_OUTPUT(runScript(typed), appears);
}

QVORLIN_TEST_MAIN(QCoreApplication, SysinfoTest)

#include "tst_sysinfo.moc"
