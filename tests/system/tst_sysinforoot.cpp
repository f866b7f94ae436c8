// Where the store lies and who may use it. Each case needs a process that has not used it yet.

#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>

#include "messagecheck.h"
#include "system/sysinfo.h"
#include "teststore.h"

using teststore::content;
using teststore::inChild;
using teststore::mode;

namespace {

QByteArray modes(QStringList const& paths)
{
    QByteArrayList texts;
    for (QString const& path : paths)
        texts += QByteArray::number(mode(path), 8);
    return texts.join(' ');
}

QByteArray number(int value)
{
    return QByteArray::number(value);
}

/** Stores one value where it goes by default, in a /tmp of the process's own. */
QByteArray storeAtDefaultRoot()
{
    const QByteArray reason = teststore::mountPrivately("/tmp", "mode=1777,size=1m");
    if (!reason.isEmpty())
        return "skip: " + reason;
    umask(0777);
    const int result = sysinfo_set_string("net/ip", "10.0.0.2");
    QString const root = QStringLiteral("/tmp/sysinfo");
    return number(result) + ' ' +
           modes({root, root + QStringLiteral("/net"), root + QStringLiteral("/net/ip")}) + ' ' +
           content(root + QStringLiteral("/net/ip"));
}

} // namespace

class SysInfoRootTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void unsetOrEmptyProfile_isTheDefaultRoot_data();
    void unsetOrEmptyProfile_isTheDefaultRoot();
    void profile_isTheRoot();
    void laterEnvironment_isNotSeen();
    void openingAMissingKey_fixesTheRoot();
    void modes_areFullWhateverTheUmask_data();
    void modes_areFullWhateverTheUmask();
    void existingDirectoriesAndValues_getTheModeToo();
    void otherUsersDirectories_areLeftAsTheyAre();
    void otherUsersValue_isReplacedByNobodyElse();
    void closedDirectory_failsForOthers();
    void unreadableValue_readsAsMissing();
    void rootThatIsAFile_fails();
    void rootWithoutSlash_thatFillsThePath_fails();

private:
    TestStore mStore;
};

void SysInfoRootTest::initTestCase()
{
    QVERIFY(mStore.isValid());
}

void SysInfoRootTest::cleanup()
{
    qputenv("SYSINFO_PROFILE", "store");
    for (QString const& name : QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        QDir(name).removeRecursively();
        QFile::remove(name);
    }
}

void SysInfoRootTest::unsetOrEmptyProfile_isTheDefaultRoot_data()
{
    QTest::addColumn<bool>("isSet");
    QTest::newRow("unset") << false;
    QTest::newRow("empty") << true;
}

void SysInfoRootTest::unsetOrEmptyProfile_isTheDefaultRoot()
{
    QFETCH(bool, isSet);
    qunsetenv("SYSINFO_PROFILE");
    if (isSet)
        qputenv("SYSINFO_PROFILE", "");
    const QByteArray result = inChild(storeAtDefaultRoot);
    if (result.startsWith("skip: "))
        QSKIP(result.constData() + 6);
    QCOMPARE(result, QByteArray("1 777 777 666 10.0.0.2"));
}

void SysInfoRootTest::profile_isTheRoot()
{
    qputenv("SYSINFO_PROFILE", "profiles/mine");
    QCOMPARE(inChild([] { return number(sysinfo_set_string("ip", "10.0.0.2")); }), QByteArray("1"));
    QCOMPARE(content(QStringLiteral("profiles/mine/ip")), QByteArray("10.0.0.2"));
}

void SysInfoRootTest::laterEnvironment_isNotSeen()
{
    const QByteArray result = inChild([] {
        // The environment's own memory changes as well.
        static char variable[] = "SYSINFO_PROFILE=first";
        putenv(variable);
        int stored = sysinfo_set_string("key", "1");
        variable[sizeof variable - 2] = 'x';
        stored += sysinfo_set_string("key", "22");
        qputenv("SYSINFO_PROFILE", "second");
        stored += sysinfo_set_string("key", "333");
        return number(stored);
    });
    QCOMPARE(result, QByteArray("3"));
    QCOMPARE(content(QStringLiteral("first/key")), QByteArray("333"));
    QCOMPARE(QDir().entryList(QDir::Dirs | QDir::NoDotAndDotDot),
        QStringList({QStringLiteral("first")}));
}

void SysInfoRootTest::openingAMissingKey_fixesTheRoot()
{
    const QByteArray result = inChild([] {
        qputenv("SYSINFO_PROFILE", "first");
        const bool opened = sysinfo_open_read("nothing");
        qputenv("SYSINFO_PROFILE", "second");
        return number(opened) + ' ' + number(sysinfo_set_string("key", "1"));
    });
    QCOMPARE(result, QByteArray("0 1"));
    QVERIFY(QFile::exists(QStringLiteral("first/key")));
}

void SysInfoRootTest::modes_areFullWhateverTheUmask_data()
{
    QTest::addColumn<int>("mask");
    QTest::newRow("none") << 0;
    QTest::newRow("usual") << 022;
    QTest::newRow("private") << 077;
    QTest::newRow("all") << 0777;
}

void SysInfoRootTest::modes_areFullWhateverTheUmask()
{
    QFETCH(int, mask);
    qputenv("SYSINFO_PROFILE", "above/store");
    const QByteArray result = inChild([mask] {
        umask(mode_t(mask));
        const int stored = sysinfo_set_string("net/lan/ip", "10.0.0.2");
        return number(stored) + ' ' +
               modes({QStringLiteral("above"), QStringLiteral("above/store"),
                   QStringLiteral("above/store/net"), QStringLiteral("above/store/net/lan"),
                   QStringLiteral("above/store/net/lan/ip")});
    });
    QCOMPARE(result, QByteArray("1 777 777 777 777 666"));
}

void SysInfoRootTest::existingDirectoriesAndValues_getTheModeToo()
{
    qputenv("SYSINFO_PROFILE", "above/store");
    QVERIFY(QDir().mkpath(QStringLiteral("above/store/net")));
    QVERIFY(teststore::put(QStringLiteral("above/store/net/ip"), "old"));
    for (char const* directory : {"above/store/net", "above/store", "above"})
        QCOMPARE(chmod(directory, directory == QByteArray("above") ? 01700 : 0700), 0);
    QCOMPARE(chmod("above/store/net/ip", 0600), 0);
    QCOMPARE(
        inChild([] { return number(sysinfo_set_string("net/ip", "10.0.0.2")); }), QByteArray("1"));
    QCOMPARE(modes({QStringLiteral("above"), QStringLiteral("above/store"),
                 QStringLiteral("above/store/net"), QStringLiteral("above/store/net/ip")}),
        QByteArray("777 777 777 666"));
}

void SysInfoRootTest::otherUsersDirectories_areLeftAsTheyAre()
{
    if (geteuid() != 0)
        QSKIP("only root can make directories that this process may not change");
    qputenv("SYSINFO_PROFILE", "above/store");
    QVERIFY(QDir().mkpath(QStringLiteral("above/store")));
    QCOMPARE(chmod("above", 0755), 0);
    QCOMPARE(chmod("above/store", 01777), 0);
    const QByteArray result = inChild([] {
        const bool changed = teststore::becomeNobody();
        return number(changed) + ' ' + number(sysinfo_set_string("net/ip", "10.0.0.2"));
    });
    QCOMPARE(result, QByteArray("1 1"));
    QCOMPARE(modes({QStringLiteral("above"), QStringLiteral("above/store"),
                 QStringLiteral("above/store/net"), QStringLiteral("above/store/net/ip")}),
        QByteArray("755 1777 777 666"));
}

void SysInfoRootTest::otherUsersValue_isReplacedByNobodyElse()
{
    if (geteuid() != 0)
        QSKIP("only root can write as two users");
    const QByteArray result = inChild([] {
        umask(077);
        return number(sysinfo_set_string("net/ip", "10.0.0.2"));
    });
    QCOMPARE(result, QByteArray("1"));
    const QByteArray other = inChild([] {
        teststore::becomeNobody();
        // It may be opened and emptied, but its mode is its owner's to set.
        const int stored = sysinfo_set_string("net/ip", "10.0.0.3");
        const QByteArray seen = QByteArray::fromStdString(sysinfo::get_string("net/ip", "default"));
        return number(stored) + ' ' + seen + ' ' + number(sysinfo_remove("net"));
    });
    QCOMPARE(other, QByteArray("0  1"));
}

void SysInfoRootTest::closedDirectory_failsForOthers()
{
    if (geteuid() != 0)
        QSKIP("only root can make directories that this process may not change");
    QVERIFY(QDir().mkpath(QStringLiteral("store")));
    QCOMPARE(chmod("store", 0755), 0);
    const QByteArray result = inChild([] {
        teststore::becomeNobody();
        return number(sysinfo_set_string("ip", "10.0.0.2")) + ' ' +
               number(sysinfo_set_string("net/ip", "10.0.0.2"));
    });
    QCOMPARE(result, QByteArray("0 0"));
    QVERIFY(QDir(QStringLiteral("store")).isEmpty());
}

void SysInfoRootTest::unreadableValue_readsAsMissing()
{
    QCOMPARE(inChild([] { return number(sysinfo_set_string("ip", "10.0.0.2")); }), QByteArray("1"));
    QCOMPARE(chmod("store/ip", 0), 0);
    const QByteArray result = inChild([] {
        teststore::becomeNobody();
        char* value = sysinfo_get_string("ip", nullptr);
        int first = 7;
        return number(sysinfo_open_read("ip") == nullptr) + ' ' + number(value == nullptr) + ' ' +
               QByteArray::fromStdString(sysinfo::get_string("ip", "default")) + ' ' +
               number(sysinfo_get_format("ip", "%d", &first)) + ' ' + number(first);
    });
    QCOMPARE(result, QByteArray("1 1 default 0 7"));
}

void SysInfoRootTest::rootThatIsAFile_fails()
{
    QVERIFY(teststore::put(QStringLiteral("store"), "a file"));
    const QByteArray result = inChild([] {
        return number(sysinfo_set_string("ip", "10.0.0.2")) + ' ' + number(sysinfo_list("")) + ' ' +
               number(sysinfo_open_read("ip") == nullptr);
    });
    QCOMPARE(result, QByteArray("0 0 1"));
    QCOMPARE(content(QStringLiteral("store")), QByteArray("a file"));
}

void SysInfoRootTest::rootWithoutSlash_thatFillsThePath_fails()
{
    qputenv("SYSINFO_PROFILE", QByteArray(254, 'r'));
    const QByteArray result = inChild([] { return number(sysinfo_set_string("ip", "10.0.0.2")); });
    QCOMPARE(result, QByteArray("0"));
    QVERIFY(QDir().isEmpty());

    // One shorter, and what is left is the directory.
    qputenv("SYSINFO_PROFILE", QByteArray(253, 'r'));
    QCOMPARE(inChild([] { return number(sysinfo_set_string("ip", "10.0.0.2")); }), QByteArray("0"));
}

QVORLIN_TEST_MAIN(QCoreApplication, SysInfoRootTest)

#include "tst_sysinforoot.moc"
