#include "outputwatcher.h"

#include <atomic>

#include <QElapsedTimer>
#include <QTest>

#include "extdisplay/extdisplay.h"
#include "fakelogger.h"
#include "messagecheck.h"

namespace {

constexpr int TwoSeconds = 2000;
QString const Output = QStringLiteral("HDMI1");

std::atomic<bool> plugged{true};
std::atomic<bool> asked{false};
std::atomic<int> looks{0};
std::atomic<int> blockedMs{0};

/** Which changes the watcher tells, taken down in this thread. */
struct Changes : QObject
{
    explicit Changes(OutputWatcher const& watcher)
    {
        connect(&watcher, &OutputWatcher::pluggedChanged, this,
            [this](bool change) { list.append(change); });
    }

    QVector<bool> list;
};

/** Waits for the next look to begin. */
bool nextLook()
{
    int const before = looks;
    return QTest::qWaitFor([before] { return looks > before; });
}

} // namespace

bool extdisplay::isOutputConnected(QString output)
{
    asked = output == Output && QThread::currentThread() != QCoreApplication::instance()->thread();
    bool const seen = plugged;
    ++looks;
    QThread::msleep(static_cast<unsigned long>(blockedMs));
    return seen;
}

class TestOutputWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void output_isLookedAtInAThreadOfItsOwn();
    void unplugging_isLoggedWithinTwoSeconds();
    void pluggingIn_isLogged();
    void eachChange_isLoggedOnce();
    void notPluggedAtFirst_isNotWatched();
    void slowLook_doesNotBlockTheGui();
};

void TestOutputWatcher::init()
{
    plugged = true;
    asked = false;
    looks = 0;
    blockedMs = 0;
    fakelogger::takeCalls();
}

void TestOutputWatcher::output_isLookedAtInAThreadOfItsOwn()
{
    OutputWatcher const watcher(Output);
    QTRY_VERIFY(looks >= 2);
    QVERIFY(asked);
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void TestOutputWatcher::unplugging_isLoggedWithinTwoSeconds()
{
    OutputWatcher const watcher(Output);
    Changes const changes(watcher);
    QVERIFY(nextLook());
    plugged = false;
    QElapsedTimer time;
    time.start();
    QTRY_COMPARE(changes.list.size(), 1);
    QVERIFY2(time.elapsed() < TwoSeconds, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(changes.list.first(), false);
    QCOMPARE(
        fakelogger::takeCalls(), QStringList(QStringLiteral("warning: output HDMI1 unplugged")));
}

void TestOutputWatcher::pluggingIn_isLogged()
{
    OutputWatcher const watcher(Output);
    Changes const changes(watcher);
    QVERIFY(nextLook());
    plugged = false;
    QTRY_COMPARE(changes.list.size(), 1);
    plugged = true;
    QTRY_COMPARE(changes.list.size(), 2);
    QCOMPARE(changes.list.last(), true);
    QCOMPARE(fakelogger::takeCalls().last(), QStringLiteral("info: output HDMI1 plugged in"));
}

void TestOutputWatcher::eachChange_isLoggedOnce()
{
    OutputWatcher const watcher(Output);
    QVERIFY(nextLook());
    plugged = false;
    QVERIFY(nextLook());
    QVERIFY(nextLook());
    QVERIFY(nextLook());
    QCOMPARE(fakelogger::takeCalls().size(), 1);
}

void TestOutputWatcher::notPluggedAtFirst_isNotWatched()
{
    plugged = false;
    OutputWatcher const watcher(Output);
    QTRY_COMPARE(looks.load(), 1);
    plugged = true;
    QTest::qWait(2500);
    QCOMPARE(looks.load(), 1);
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void TestOutputWatcher::slowLook_doesNotBlockTheGui()
{
    blockedMs = 500;
    QElapsedTimer time;
    time.start();
    {
        OutputWatcher const watcher(Output);
        QVERIFY2(time.elapsed() < 400, qPrintable(QString::number(time.elapsed())));
        QTRY_COMPARE(looks.load(), 1);
    }
    // It ends when the look has.
    QVERIFY(time.elapsed() >= 500);
    QCOMPARE(looks.load(), 1);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestOutputWatcher)
#include "tst_outputwatcher.moc"
