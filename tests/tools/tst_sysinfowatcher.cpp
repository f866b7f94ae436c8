#include <failure.h>
#include <watcher.h>

#include "sysinfoprocess.h"

#include <poll.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <memory>

#include <messagecheck.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTest>

#include "system/sysinfo.h"

namespace {

/** Keeps what it is told, a line each, until asked. */
class Recorder final : public Observer
{
public:
    void valueSet(std::string const& key, std::string const& value) override
    {
        mLines.append(QByteArray::fromStdString(key + '=' + value));
    }

    void keyRemoved(std::string const& key) override
    {
        mLines.append(QByteArray::fromStdString("-" + key));
    }

    void unreadable(std::string const& key, int error) override
    {
        mLines.append(QByteArray::fromStdString('?' + key + ' ' + strerror(error)));
    }

    QByteArray take() { return std::exchange(mLines, {}).join(' '); }

private:
    QByteArrayList mLines;
};

void set(char const* key, char const* value)
{
    QVERIFY(sysinfo_set_string(key, value));
}

void drop(char const* key)
{
    QVERIFY(sysinfo_remove(key));
}

} // namespace

class SysinfoWatcherTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void presentValues_areToldOnlyWhenAskedFor();
    void storeMadeLater_isFollowed();
    void changes_areToldInTheirOrder();
    void valueSetToWhatItWas_isNoChange();
    void keyRemovedAndSetAgain_isBoth();
    void emptyValue_isAChange();
    void otherKeys_areNotTold();
    void keyInMissingGroups_isFollowed();
    void keyThatBecomesAGroup_isFollowed();
    void groupRemovedAndMadeAgain_isFollowed();
    void groupsMadeAtOnce_areFollowedToTheLast();
    void groupMovedAway_isForgotten();
    void groupMovedWithin_isFollowedUnderItsNewName();
    void keyMovedInPlace_isASet();
    void storeMovedAway_isForgottenAndItsSuccessorFollowed();
    void foldersAboveTheStore_mayComeAndGo();
    void storeThatIsALink_isFollowed();
    void linksAndPipes_areLeftAlone();
    void longName_isLeftAlone();
    void newKeyWhoseWriterHasNotBegun_isNotToldEmpty();
    void newKeyThatStaysEmpty_isToldInTheEnd();
    void keyMadeAnewWhoseWriterHasNotBegun_isNotToldEmpty();
    void valueThatWasEmptyForAMoment_isNoChange();
    void lostNotices_areMadeUpFor();
    void unmountedStore_isForgotten();

private:
    void watch(char const* target, bool tellInitial = false);
    QByteArray told();
    QByteArray toldInTheEnd();
    QString path(char const* key) const { return mPlace.path(key); }

    StorePlace mPlace;
    Recorder mRecorder;
    std::unique_ptr<Watcher> mWatcher;
};

void SysinfoWatcherTest::init()
{
    mPlace.clear();
    QVERIFY(QDir().mkpath(mPlace.above()));
}

void SysinfoWatcherTest::cleanup()
{
    mWatcher.reset();
    mRecorder.take();
}

void SysinfoWatcherTest::watch(char const* target, bool tellInitial)
{
    mWatcher = std::make_unique<Watcher>(target, mRecorder, tellInitial);
}

/** What has been told up to now; the kernel gives notice before a change's call returns. */
QByteArray SysinfoWatcherTest::told()
{
    for (pollfd wait{mWatcher->descriptor(), POLLIN, 0}; poll(&wait, 1, 0) > 0;
         wait.fd = mWatcher->descriptor())
        mWatcher->update();
    return mRecorder.take();
}

/** The same when there are no doubts any more. */
QByteArray SysinfoWatcherTest::toldInTheEnd()
{
    QByteArray const lines = told();
    while (mWatcher->patience() >= 0) {
        QTest::qSleep(mWatcher->patience() + 1);
        mWatcher->update();
    }
    return lines + mRecorder.take();
}

void SysinfoWatcherTest::presentValues_areToldOnlyWhenAskedFor()
{
    set("net/ip", "1");
    set("a", "2");
    watch("");
    QCOMPARE(told(), QByteArray());
    watch("", true);
    QCOMPARE(told(), QByteArray("a=2 net/ip=1"));
    watch("net/ip", true);
    QCOMPARE(told(), QByteArray("net/ip=1"));
}

void SysinfoWatcherTest::storeMadeLater_isFollowed()
{
    watch("");
    QVERIFY(!QFile::exists(mPlace.root()));
    set("net/ip", "1");
    QCOMPARE(told(), QByteArray("net/ip=1"));
    set("a", "2");
    QCOMPARE(told(), QByteArray("a=2"));
}

void SysinfoWatcherTest::changes_areToldInTheirOrder()
{
    set("a", "0");
    watch("");
    set("b/c", "1");
    set("a", "1");
    drop("b/c");
    set("c", "2");
    QCOMPARE(told(), QByteArray("a=1 c=2"));
    set("b/c", "2");
    QCOMPARE(told(), QByteArray("b/c=2"));
    drop("a");
    set("b/d", "3");
    drop("c");
    QCOMPARE(told(), QByteArray("-a b/d=3 -c"));
}

void SysinfoWatcherTest::valueSetToWhatItWas_isNoChange()
{
    set("a", "0");
    watch("");
    set("a", "0");
    QCOMPARE(told(), QByteArray());
    set("a", "1");
    set("a", "2");
    QCOMPARE(told(), QByteArray("a=2"));
    set("a", "2");
    QCOMPARE(told(), QByteArray());
}

void SysinfoWatcherTest::keyRemovedAndSetAgain_isBoth()
{
    set("a", "0");
    watch("a");
    drop("a");
    set("a", "0");
    QCOMPARE(told(), QByteArray("-a a=0"));
    drop("a");
    QCOMPARE(told(), QByteArray("-a"));
    set("a", "1");
    QCOMPARE(told(), QByteArray("a=1"));
}

void SysinfoWatcherTest::emptyValue_isAChange()
{
    set("a", "0");
    watch("");
    set("a", "");
    set("b", "");
    QCOMPARE(toldInTheEnd(), QByteArray("a= b="));
    drop("b");
    QCOMPARE(told(), QByteArray("-b"));
}

void SysinfoWatcherTest::otherKeys_areNotTold()
{
    set("net/ip", "0");
    watch("net/ip");
    set("net/ip2", "1");
    set("net/i", "1");
    set("nets/ip", "1");
    set("ip", "1");
    drop("net/ip2");
    QCOMPARE(told(), QByteArray());
    set("net/ip", "1");
    QCOMPARE(told(), QByteArray("net/ip=1"));

    watch("net");
    set("nets/ip", "2");
    set("ne", "1");
    drop("nets");
    QCOMPARE(told(), QByteArray());
    set("net/i", "2");
    QCOMPARE(told(), QByteArray("net/i=2"));
}

void SysinfoWatcherTest::keyInMissingGroups_isFollowed()
{
    watch("a/b/c");
    set("a/x", "0");
    QCOMPARE(told(), QByteArray());
    set("a/b/c", "1");
    QCOMPARE(told(), QByteArray("a/b/c=1"));
    drop("a");
    QCOMPARE(told(), QByteArray("-a/b/c"));
    set("a/b/c", "1");
    QCOMPARE(told(), QByteArray("a/b/c=1"));
}

void SysinfoWatcherTest::keyThatBecomesAGroup_isFollowed()
{
    set("a", "0");
    watch("a");
    drop("a");
    set("a/b", "1");
    QCOMPARE(told(), QByteArray("-a a/b=1"));
    drop("a");
    set("a", "2");
    QCOMPARE(told(), QByteArray("-a/b a=2"));
}

void SysinfoWatcherTest::groupRemovedAndMadeAgain_isFollowed()
{
    set("net/if/eth0", "0");
    watch("net");
    for (int i = 0; i < 3; ++i) {
        drop("net");
        QCOMPARE(told(), QByteArray("-net/if/eth0"));
        set("net/if/eth0", "0");
        QCOMPARE(told(), QByteArray("net/if/eth0=0"));
        set("net/if/eth0", "1");
        QCOMPARE(told(), QByteArray("net/if/eth0=1"));
    }
    // All of it before the first look.
    drop("net");
    set("net/if/eth0", "2");
    drop("net");
    set("net/if/eth0", "3");
    QByteArray const lines = told();
    QVERIFY2(lines.startsWith("-net/if/eth0") && lines.endsWith("net/if/eth0=3"), lines);
    set("net/if/eth0", "4");
    QCOMPARE(told(), QByteArray("net/if/eth0=4"));
}

void SysinfoWatcherTest::groupsMadeAtOnce_areFollowedToTheLast()
{
    watch("");
    set("a/b/c/d/e", "0");
    QCOMPARE(told(), QByteArray("a/b/c/d/e=0"));
    set("a/b/c/d/e", "1");
    set("a/b/c/f/g", "1");
    QCOMPARE(told(), QByteArray("a/b/c/d/e=1 a/b/c/f/g=1"));
}

void SysinfoWatcherTest::groupMovedAway_isForgotten()
{
    set("net/ip", "0");
    set("net/if/eth0", "0");
    watch("");
    QString const elsewhere = mPlace.above() + QStringLiteral("/elsewhere");
    QVERIFY(QDir().rename(path("net"), elsewhere));
    QCOMPARE(told(), QByteArray("-net/if/eth0 -net/ip"));
    QFile file(elsewhere + QStringLiteral("/ip"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("1") == 1);
    file.close();
    QCOMPARE(told(), QByteArray());
    QVERIFY(QDir().rename(elsewhere, path("net")));
    QCOMPARE(told(), QByteArray("net/if/eth0=0 net/ip=1"));

    QVERIFY(QDir().rename(path("net"), elsewhere));
    set("net/ip", "2");
    QCOMPARE(told(), QByteArray("-net/if/eth0 -net/ip net/ip=2"));
    QVERIFY(file.remove());
    QCOMPARE(told(), QByteArray());
}

void SysinfoWatcherTest::groupMovedWithin_isFollowedUnderItsNewName()
{
    set("a/k", "0");
    watch("");
    QVERIFY(QDir().rename(path("a"), path("b")));
    QCOMPARE(told(), QByteArray("-a/k b/k=0"));
    set("b/k", "1");
    QCOMPARE(told(), QByteArray("b/k=1"));
}

void SysinfoWatcherTest::keyMovedInPlace_isASet()
{
    set("a", "0");
    set("b", "1");
    watch("");
    QCOMPARE(
        std::rename(QFile::encodeName(path("b")).data(), QFile::encodeName(path("a")).data()), 0);
    QCOMPARE(told(), QByteArray("-b a=1"));
}

void SysinfoWatcherTest::storeMovedAway_isForgottenAndItsSuccessorFollowed()
{
    set("net/ip", "0");
    watch("net/ip");
    QVERIFY(QDir().rename(mPlace.root(), mPlace.above() + QStringLiteral("/old")));
    QCOMPARE(told(), QByteArray("-net/ip"));
    set("net/ip", "1");
    QCOMPARE(told(), QByteArray("net/ip=1"));
}

void SysinfoWatcherTest::foldersAboveTheStore_mayComeAndGo()
{
    set("a", "0");
    watch("");
    mPlace.clear();
    QCOMPARE(told(), QByteArray("-a"));
    QVERIFY(!QFile::exists(mPlace.above()));
    set("a", "1");
    QCOMPARE(told(), QByteArray("a=1"));
}

void SysinfoWatcherTest::storeThatIsALink_isFollowed()
{
    QVERIFY(QDir(mPlace.above()).mkpath(QStringLiteral("real")));
    watch("");
    QVERIFY(QFile::link(QStringLiteral("real"), mPlace.root()));
    set("a/b", "0");
    QCOMPARE(told(), QByteArray("a/b=0"));
    QVERIFY(QFile::remove(mPlace.root()));
    QCOMPARE(told(), QByteArray("-a/b"));
}

void SysinfoWatcherTest::linksAndPipes_areLeftAlone()
{
    set("net/ip", "0");
    watch("", true);
    QCOMPARE(told(), QByteArray("net/ip=0"));
    QVERIFY(QFile::link(QStringLiteral("net"), path("group")));
    QVERIFY(QFile::link(QStringLiteral("."), path("net/loop")));
    QString const pipe = mPlace.above() + QStringLiteral("/pipe");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).data(), 0666), 0);
    // A group whose notice comes too late.
    QVERIFY(QDir().mkdir(path("late")) && QDir().rmdir(path("late")));
    QVERIFY(QFile::link(QStringLiteral("net"), path("late")));
    // Opening it would wait for ever.
    QVERIFY(QFile::rename(pipe, path("pipe")));
    QCOMPARE(told(), QByteArray());
    set("net/ip", "1");
    QCOMPARE(told(), QByteArray("net/ip=1"));
}

void SysinfoWatcherTest::longName_isLeftAlone()
{
    QVERIFY(QDir().mkpath(mPlace.root()));
    watch("");
    // The store would open what is left of its path: another file.
    QByteArray const name(250, 'x');
    set(name, "0");
    QByteArray const cut = name.left(254 - 1 - QFile::encodeName(mPlace.root()).size());
    QCOMPARE(told(), cut + "=0");
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("1") == 1);
    file.close();
    QCOMPARE(told(), QByteArray());
}

void SysinfoWatcherTest::newKeyWhoseWriterHasNotBegun_isNotToldEmpty()
{
    watch("");
    QVERIFY(QDir().mkpath(path("net")));
    QFile file(path("net/ip"));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(told(), QByteArray());
    QVERIFY(mWatcher->patience() >= 0);
    set("net/ip", "0");
    QCOMPARE(told(), QByteArray("net/ip=0"));
    QCOMPARE(mWatcher->patience(), -1);
}

void SysinfoWatcherTest::newKeyThatStaysEmpty_isToldInTheEnd()
{
    watch("");
    set("net/empty", "");
    set("net/gone", "");
    QCOMPARE(told(), QByteArray());
    drop("net/gone");
    QCOMPARE(toldInTheEnd(), QByteArray("net/empty="));
}

void SysinfoWatcherTest::keyMadeAnewWhoseWriterHasNotBegun_isNotToldEmpty()
{
    set("a", "0");
    watch("");
    set("a", "1");
    drop("a");
    QFile file(path("a"));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
    QCOMPARE(told(), QByteArray("-a"));
    set("a", "2");
    QCOMPARE(toldInTheEnd(), QByteArray("a=2"));
}

void SysinfoWatcherTest::valueThatWasEmptyForAMoment_isNoChange()
{
    set("a", "0");
    watch("");
    set("a", "");
    QCOMPARE(told(), QByteArray());
    set("a", "0");
    QCOMPARE(toldInTheEnd(), QByteArray());
}

void SysinfoWatcherTest::lostNotices_areMadeUpFor()
{
    QFile limit(QStringLiteral("/proc/sys/fs/inotify/max_queued_events"));
    QVERIFY(limit.open(QIODevice::ReadOnly));
    int const notices = limit.readAll().trimmed().toInt();
    if (notices > 1000000)
        QSKIP("the kernel's queue is too long to be filled in a test");
    for (char const* key : {"a", "b", "gone", "same", "group/gone"})
        set(key, "0");
    watch("");
    // In turns: of equal notices in succession the kernel keeps one.
    for (int i = 0; i < notices / 2 + 1; ++i) {
        for (char const* key : {"a", "b"}) {
            QFile file(path(key));
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
        }
    }
    set("a", "1");
    set("new", "1");
    set("news/key", "1");
    drop("gone");
    drop("group");
    QCOMPARE(told(), QByteArray("a=1 new=1 news/key=1 -gone -group/gone"));
    set("news/key", "2");
    set("b", "2");
    QCOMPARE(told(), QByteArray("news/key=2 b=2"));
}

void SysinfoWatcherTest::unmountedStore_isForgotten()
{
    QVERIFY(QDir().mkpath(mPlace.root()));
    QByteArray const root = QFile::encodeName(mPlace.root());
    if (::mount("tmpfs", root.constData(), "tmpfs", 0, "size=256k") != 0)
        QSKIP("may not mount a file system here");
    auto const unmount = qScopeGuard([&] { ::umount2(root.constData(), MNT_DETACH); });
    set("net/ip", "0");
    watch("net");
    QCOMPARE(::umount(root.constData()), 0);
    QCOMPARE(told(), QByteArray("-net/ip"));
    set("net/ip", "1");
    QCOMPARE(told(), QByteArray("net/ip=1"));
}

QVORLIN_TEST_MAIN(QCoreApplication, SysinfoWatcherTest)

#include "tst_sysinfowatcher.moc"
