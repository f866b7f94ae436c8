// What the store removes and lists.

#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include <QDir>
#include <QFile>

#include "capturedoutput.h"
#include "messagecheck.h"
#include "system/sysinfo.h"
#include "teststore.h"

using teststore::content;
using teststore::put;

namespace {

QString at(char const* key)
{
    return QStringLiteral("store/") + QString::fromLatin1(key);
}

QByteArrayList listed(char const* group, int expected)
{
    CapturedOutput output(STDOUT_FILENO);
    std::fflush(stdout);
    const int result = sysinfo_list(group);
    std::fflush(stdout);
    if (result != expected)
        return {"result", QByteArray::number(result)};
    QByteArrayList lines = output.text().split('\n');
    if (!lines.takeLast().isEmpty())
        return {"the last line doesn't end"};
    std::sort(lines.begin(), lines.end());
    return lines;
}

} // namespace

class SysInfoTreeTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void remove_value_leavesItsGroup();
    void remove_group_takesAllOfIt();
    void remove_missingOrNullKey_fails();
    void remove_emptyKey_takesTheStore();
    void remove_symbolicLinks_areNotFollowed();
    void remove_groupsDeeperThanDescriptors_takesAllOfThem();
    void list_emptyGroup_printsGroupsButNoKeys();
    void list_group_printsItsGroups();
    void list_missingGroup_fails();

private:
    TestStore mStore;
};

void SysInfoTreeTest::initTestCase()
{
    QVERIFY(mStore.isValid());
}

void SysInfoTreeTest::cleanup()
{
    QDir(QStringLiteral("store")).removeRecursively();
}

void SysInfoTreeTest::remove_value_leavesItsGroup()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    QCOMPARE(sysinfo_remove("net/ip"), 1);
    QVERIFY(!QFile::exists(at("net/ip")));
    QVERIFY(QFile::exists(at("net")));
    QCOMPARE(sysinfo_remove("net/ip"), 0);
}

void SysInfoTreeTest::remove_group_takesAllOfIt()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    QCOMPARE(sysinfo_set_string("net/lan/0/name", "left"), 1);
    QCOMPARE(sysinfo_set_string("network", "another"), 1);
    QCOMPARE(sysinfo_remove("net"), 1);
    QVERIFY(!QFile::exists(at("net")));
    QVERIFY(QFile::exists(at("network")));
}

void SysInfoTreeTest::remove_missingOrNullKey_fails()
{
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    QCOMPARE(sysinfo_remove("nothing"), 0);
    QCOMPARE(sysinfo_remove("host/below"), 0);
    QCOMPARE(sysinfo_remove(nullptr), 0);
    QVERIFY(QFile::exists(at("host")));
}

void SysInfoTreeTest::remove_emptyKey_takesTheStore()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    QCOMPARE(sysinfo_remove(""), 1);
    QVERIFY(!QFile::exists(QStringLiteral("store")));
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
}

void SysInfoTreeTest::remove_symbolicLinks_areNotFollowed()
{
    QVERIFY(QDir().mkpath(QStringLiteral("elsewhere/inner")));
    QVERIFY(put(QStringLiteral("elsewhere/inner/file"), "kept"));
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    QVERIFY(QFile::link(QStringLiteral("../../elsewhere"), at("net/link")));
    QVERIFY(QFile::link(QStringLiteral("../elsewhere/inner/file"), at("key")));
    QVERIFY(QFile::link(QStringLiteral("nowhere"), at("net/dangling")));

    QCOMPARE(sysinfo_remove("net"), 1);
    QCOMPARE(sysinfo_remove("key"), 1);
    QVERIFY(QDir(QStringLiteral("store")).isEmpty());
    QCOMPARE(content(QStringLiteral("elsewhere/inner/file")), QByteArray("kept"));
}

void SysInfoTreeTest::remove_groupsDeeperThanDescriptors_takesAllOfThem()
{
    QByteArray key;
    for (int i = 0; i < 100; ++i)
        key += "d/";
    QCOMPARE(sysinfo_set_string(key + "value", "deep"), 1);
    QCOMPARE(sysinfo_remove("d"), 1);
    QVERIFY(QDir(QStringLiteral("store")).isEmpty());
}

void SysInfoTreeTest::list_emptyGroup_printsGroupsButNoKeys()
{
    QCOMPARE(sysinfo_set_string("net/lan/ip", "10.0.0.2"), 1);
    QCOMPARE(sysinfo_set_string("video/mode", "1080p"), 1);
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    QVERIFY(QFile::link(QStringLiteral("net"), at("link")));
    QCOMPARE(listed("", 1), QByteArrayList({"net", "video"}));
}

void SysInfoTreeTest::list_group_printsItsGroups()
{
    QCOMPARE(sysinfo_set_string("net/lan/ip", "10.0.0.2"), 1);
    QCOMPARE(sysinfo_set_string("net/.hidden/ip", "10.0.0.3"), 1);
    QCOMPARE(sysinfo_set_string("net/name", "left"), 1);
    QCOMPARE(listed("net", 1), QByteArrayList({".hidden", "lan"}));
    QCOMPARE(listed("net/", 1), QByteArrayList({".hidden", "lan"}));
    QCOMPARE(listed("net/lan", 1), QByteArrayList());
}

void SysInfoTreeTest::list_missingGroup_fails()
{
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    QCOMPARE(listed("nothing", 0), QByteArrayList());
    QCOMPARE(listed("host", 0), QByteArrayList());
    QCOMPARE(listed(nullptr, 0), QByteArrayList());
}

QVORLIN_TEST_MAIN(QCoreApplication, SysInfoTreeTest)

#include "tst_sysinfotree.moc"
