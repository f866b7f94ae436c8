// What the store asks of the system, in which order, and what it does when that is refused.

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>

#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QDir>
#include <QFile>

#include "filecalls.h"
#include "messagecheck.h"
#include "system/sysinfo.h"
#include "teststore.h"

using teststore::content;
using teststore::inChild;

namespace {

QByteArray number(int value)
{
    return QByteArray::number(value);
}

QString const storedKey()
{
    return QStringLiteral("store/net/ip");
}

QStringList const writing()
{
    return {QStringLiteral("mkdir store 777"), QStringLiteral("chmod store 777"),
        QStringLiteral("mkdir store/net 777"), QStringLiteral("chmod store/net 777"),
        QStringLiteral("fopen store/net/ip a"), QStringLiteral("flock exclusive"),
        QStringLiteral("ftruncate 0"), QStringLiteral("fchmod 666")};
}

QStringList const reading()
{
    return {QStringLiteral("fopen store/net/ip r"), QStringLiteral("flock exclusive")};
}

QStringList const closing()
{
    return {QStringLiteral("flock unlock"), QStringLiteral("fclose")};
}

bool isUnlocked(QString const& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && flock(file.handle(), LOCK_EX | LOCK_NB) == 0;
}

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

/** What each function that writes says, and what is in the file then. */
QByteArray writeEach()
{
    QByteArrayList results;
    const auto add = [&results](int result) {
        results += number(result) + ':' + content(QStringLiteral("store/key"));
    };
    add(sysinfo_set_string("key", "12345678901234567890"));
    add(sysinfo_set_integer("key", 123456789012345678));
    add(sysinfo_set_format("key", "%020d", 7));
    FILE* stream = sysinfo_open_write("key");
    if (stream) {
        // Closing tells about closing alone.
        std::fputs("12345678901234567890", stream);
        add(std::fflush(stream));
        sysinfo_close(stream);
    }
    return results.join(' ');
}

} // namespace

class SysInfoFaultsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void writing_locksBeforeItEmpties();
    void reading_locksAndUnlocks();
    void removing_takesNoLock();
    void refusedWriting_leavesNothingOpen_data();
    void refusedWriting_leavesNothingOpen();
    void refusedMode_ofADirectory_isIgnored();
    void refusedReading_givesTheDefault_data();
    void refusedReading_givesTheDefault();
    void refusedUnlocking_isUndoneByClosing();
    void close_givesTheResultOfFclose();
    void valueBeyondTheSizeLimit_isAFailure();
    void fullDisk_isAFailure();
    void diskWithoutRoomForFiles_isAFailure();

private:
    TestStore mStore;
};

void SysInfoFaultsTest::initTestCase()
{
    QVERIFY(mStore.isValid());
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
}

void SysInfoFaultsTest::init()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
}

void SysInfoFaultsTest::cleanup()
{
    filecalls::stop();
}

void SysInfoFaultsTest::writing_locksBeforeItEmpties()
{
    filecalls::start();
    FILE* stream = sysinfo_open_write("net/ip");
    QCOMPARE(filecalls::stop(), writing());
    filecalls::start();
    QCOMPARE(sysinfo_close(stream), 0);
    QCOMPARE(filecalls::stop(), closing());
    for (auto const& write :
        {std::function<int()>([] { return sysinfo_set_string("net/ip", "x"); }),
            std::function<int()>([] { return sysinfo_set_integer("net/ip", 1); }),
            std::function<int()>([] { return sysinfo_set_format("net/ip", "%d", 1); })}) {
        filecalls::start();
        QCOMPARE(write(), 1);
        QCOMPARE(filecalls::stop(), writing() + closing());
    }
}

void SysInfoFaultsTest::reading_locksAndUnlocks()
{
    filecalls::start();
    std::free(sysinfo_get_string("net/ip", nullptr));
    QCOMPARE(filecalls::stop(), reading() + closing());
    filecalls::start();
    sysinfo::get_string("net/ip", "");
    QCOMPARE(filecalls::stop(), reading() + closing());
    filecalls::start();
    int first = 0;
    QCOMPARE(sysinfo_get_format("net/ip", "%d", &first), 1);
    QCOMPARE(filecalls::stop(), reading() + closing());
}

void SysInfoFaultsTest::removing_takesNoLock()
{
    FILE* stream = sysinfo_open_read("net/ip");
    filecalls::start();
    QCOMPARE(sysinfo_remove("net"), 1);
    QCOMPARE(filecalls::stop().filter(QStringLiteral("flock")), QStringList());
    // Who has it open goes on with it.
    char text[16] = "";
    QVERIFY(std::fgets(text, sizeof text, stream));
    QCOMPARE(sysinfo_close(stream), 0);
    QCOMPARE(QByteArray(text), QByteArray("10.0.0.2"));
}

void SysInfoFaultsTest::refusedWriting_leavesNothingOpen_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("steps"); // done when it is noticed
    QTest::addColumn<QStringList>("mending");
    QTest::addColumn<QByteArray>("left");
    const QStringList close{QStringLiteral("fclose")};
    const QByteArray old("10.0.0.2");
    QTest::newRow("root") << "mkdir store 777" << EACCES << 1 << QStringList() << old;
    QTest::newRow("group") << "mkdir store/net 777" << ENOSPC << 3 << QStringList() << old;
    QTest::newRow("file") << "fopen*" << EMFILE << 5 << QStringList() << old;
    QTest::newRow("lock") << "flock exclusive" << ENOLCK << 6 << close << old;
    QTest::newRow("size") << "ftruncate 0" << EIO << 7 << closing() << old;
    QTest::newRow("mode") << "fchmod 666" << EPERM << 8 << closing() << QByteArray("");
}

void SysInfoFaultsTest::refusedWriting_leavesNothingOpen()
{
    QFETCH(QString, call);
    QFETCH(int, error);
    QFETCH(int, steps);
    QFETCH(QStringList, mending);
    QFETCH(QByteArray, left);
    const int before = openDescriptors();

    filecalls::start();
    filecalls::fail(call, error);
    QVERIFY(!sysinfo_open_write("net/ip"));
    QCOMPARE(filecalls::stop(), writing().mid(0, steps) + mending);
    QCOMPARE(content(storedKey()), left);

    filecalls::start();
    filecalls::fail(call, error);
    QCOMPARE(sysinfo_set_string("net/ip", "new"), 0);
    QCOMPARE(sysinfo_set_integer("net/ip", 1), 0);
    QCOMPARE(sysinfo_set_format("net/ip", "%d", 1), 0);
    filecalls::stop();
    QCOMPARE(content(storedKey()), left);
    QCOMPARE(openDescriptors(), before);
    QVERIFY(isUnlocked(storedKey()));
}

void SysInfoFaultsTest::refusedMode_ofADirectory_isIgnored()
{
    filecalls::start();
    filecalls::fail(QStringLiteral("chmod*"), EPERM);
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.3"), 1);
    QCOMPARE(filecalls::stop(), writing() + closing());
    QCOMPARE(content(storedKey()), QByteArray("10.0.0.3"));
}

void SysInfoFaultsTest::refusedReading_givesTheDefault_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QStringList>("steps");
    QTest::newRow("file") << "fopen*" << QStringList(reading().mid(0, 1));
    QTest::newRow("lock") << "flock exclusive"
                          << QStringList(reading() + QStringList{QStringLiteral("fclose")});
}

void SysInfoFaultsTest::refusedReading_givesTheDefault()
{
    QFETCH(QString, call);
    QFETCH(QStringList, steps);
    const int before = openDescriptors();
    int first = 7;

    filecalls::start();
    filecalls::fail(call, EINTR);
    QVERIFY(!sysinfo_open_read("net/ip"));
    QCOMPARE(filecalls::stop(), steps);

    filecalls::start();
    filecalls::fail(call, EINTR);
    const std::unique_ptr<char, decltype(&std::free)> value(
        sysinfo_get_string("net/ip", "default"), &std::free);
    QVERIFY(!sysinfo_get_string("net/ip", nullptr));
    QCOMPARE(sysinfo::get_string("net/ip", "default"), std::string("default"));
    QCOMPARE(sysinfo_get_format("net/ip", "%d", &first), 0);
    filecalls::stop();
    QCOMPARE(QByteArray(value.get()), QByteArray("default"));
    QCOMPARE(first, 7);
    QCOMPARE(openDescriptors(), before);
}

void SysInfoFaultsTest::refusedUnlocking_isUndoneByClosing()
{
    filecalls::start();
    filecalls::fail(QStringLiteral("flock unlock"), EIO);
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.3"), 1);
    QCOMPARE(filecalls::stop(), writing() + closing());
    QVERIFY(isUnlocked(storedKey()));
}

void SysInfoFaultsTest::close_givesTheResultOfFclose()
{
    FILE* stream = sysinfo_open_write("net/ip");
    filecalls::start();
    filecalls::fail(QStringLiteral("fclose"), EIO);
    QCOMPARE(sysinfo_close(stream), EOF);
    filecalls::stop();
}

void SysInfoFaultsTest::valueBeyondTheSizeLimit_isAFailure()
{
    const QByteArray result = inChild([] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{10, 10};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return QByteArray("no limit");
        return writeEach() + ' ' + number(sysinfo_set_string("key", "1234567890"));
    });
    QCOMPARE(result, QByteArray("0:1234567890 0:1234567890 0:0000000000 -1:1234567890 1"));
}

void SysInfoFaultsTest::fullDisk_isAFailure()
{
    const QByteArray result = inChild([] {
        const QByteArray reason = teststore::mountPrivately("store", "size=64k");
        if (!reason.isEmpty())
            return "skip: " + reason;
        // More than there is room for; what fits is there.
        const QByteArray large(1 << 20, 'v');
        QByteArray text = number(sysinfo_set_string("large", large)) + ' ' +
                          number(large.startsWith(content(QStringLiteral("store/large")))) + ' ';
        // Not one byte more.
        text += writeEach() + ' ';
        text += number(sysinfo_remove("large")) + ' ';
        text += number(sysinfo_set_integer("key", 1)) + ' ';
        return text + QByteArray::fromStdString(sysinfo::get_string("key", "default"));
    });
    if (result.startsWith("skip: "))
        QSKIP(result.constData() + 6);
    QCOMPARE(result, QByteArray("0 1 0: 0: 0: -1: 1 1 1"));
}

void SysInfoFaultsTest::diskWithoutRoomForFiles_isAFailure()
{
    const QByteArray result = inChild([] {
        // The root of the file system is one of them.
        const QByteArray reason = teststore::mountPrivately("store", "nr_inodes=3");
        if (!reason.isEmpty())
            return "skip: " + reason;
        QByteArray text = number(sysinfo_set_string("net/ip", "10.0.0.2")) + ' ';
        text += number(sysinfo_set_string("net/mask", "255.0.0.0")) + ' ';
        text += number(sysinfo_set_string("video/mode", "1080p")) + ' ';
        return text + QByteArray::fromStdString(sysinfo::get_string("net/ip", "default"));
    });
    if (result.startsWith("skip: "))
        QSKIP(result.constData() + 6);
    QCOMPARE(result, QByteArray("1 0 0 10.0.0.2"));
}

QVORLIN_TEST_MAIN(QCoreApplication, SysInfoFaultsTest)

#include "tst_sysinfofaults.moc"
