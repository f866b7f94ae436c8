#include <atomic>
#include <functional>
#include <limits>

#include <dlfcn.h>
#include <pthread.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QVector>

#include "messagecheck.h"
#include "utils/multimediathread.h"
#include "utils/multimediathreadimpl.h"
#include "virtualtime.h"

namespace {

constexpr qint64 Milliseconds = 1000000;

QVector<unsigned long> waits;

/** Counts the ticks of a thread, in that thread. */
class TickCounter
{
public:
    explicit TickCounter(MultimediaThread& thread, std::function<void(int)> body = {})
    {
        QObject::connect(
            &thread, &MultimediaThread::tick, &thread,
            [this, body] {
                int const n = ++mCount;
                if (body)
                    body(n);
            },
            Qt::DirectConnection);
    }

    int count() const { return mCount; }

private:
    std::atomic<int> mCount{0};
};

/** Makes run() callable in the caller's own thread. */
class BareImpl : public MultimediaThreadImpl
{
public:
    using MultimediaThreadImpl::MultimediaThreadImpl;
    using MultimediaThreadImpl::run;
};

bool isWithinOneNanosecond(TickCount due, TickCount n, int num, int den)
{
    TickCount const exact = n * 1000000000 * num;
    return due * den <= exact && exact < (due + 1) * den;
}

} // namespace

// Notes how long a thread is waited for.
bool QThread::wait(unsigned long milliseconds)
{
    using Wait = bool (*)(QThread*, unsigned long);
    static auto const original = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "_ZN7QThread4waitEm"));
    waits.append(milliseconds);
    return original(this, milliseconds);
}

class MultimediaThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { waits.clear(); }

    void dueTime_afterBillionTicks_isExact();
    void dueTime_afterTenHours_hasNotDrifted();
    void dueTime_atLargestInterval_doesNotOverflow();
    void start_ticksAtOnceAndThenAtDueTimes_data();
    void start_ticksAtOnceAndThenAtDueTimes();
    void start_withDelay_sleepsBeforeFirstTick();
    void start_withoutReceiver_startsNothing();
    void start_whileRunning_isIgnored();
    void start_withIntervalNotPositive_startsNothing_data();
    void start_withIntervalNotPositive_startsNothing();
    void start_afterStop_ticksAgain();
    void blockedForFivePeriods_fiveTicksFollowBackToBack();
    void interruptedSleep_isNotResumedAndShiftsNoLaterTick();
    void dueWithinShortestSleep_ticksWithoutSleep();
    void periodBelowShortestSleep_skipsTicksThatCanNotBeWaitedFor();
    void emptyCallback_throws();
    void tick_comesInNamedThreadOfHighPriority();
    void tick_reachesReceiverInOtherThread();
    void ticks_inRealTime_keepTheRate();
    void stop_whenStopped_returnsTrue();
    void stop_waitsGivenTimeOrTwoIntervals_data();
    void stop_waitsGivenTimeOrTwoIntervals();
    void stop_duringLongTick_returnsFalseAndEndsThread();
    void destroy_whileRunning_endsTicks();
};

void MultimediaThreadTest::dueTime_afterBillionTicks_isExact()
{
    // 10^9 × 1001 / 30000 s is 33366666.666… s.
    QVERIFY(tickDueTime(1000000000, 1001, 30000) == TickCount(33366666666666666));
    QVERIFY(tickDueTime(1000000000, 1, 25) == TickCount(40000000) * 1000000000);
    // Where the exact time is a whole number of seconds, so is the computed one.
    for (qint64 k : {qint64(1), qint64(1000), qint64(33333)})
        QVERIFY(tickDueTime(30000 * k, 1001, 30000) == TickCount(1001) * k * 1000000000);
    for (qint64 n : {qint64(999999999), qint64(1000000000), qint64(1000000001)})
        QVERIFY(isWithinOneNanosecond(tickDueTime(n, 1001, 30000), n, 1001, 30000));
}

void MultimediaThreadTest::dueTime_afterTenHours_hasNotDrifted()
{
    constexpr qint64 tenHours = 36000 * qint64(30000) / 1001;
    for (qint64 n = 0; n <= tenHours; ++n) {
        TickCount const due = tickDueTime(n, 1001, 30000);
        if (!isWithinOneNanosecond(due, n, 1001, 30000))
            QFAIL(qPrintable(QStringLiteral("tick %1").arg(n)));
    }
    // Adding up whole nanoseconds would be this far off by then.
    qint64 const added = tenHours * qint64(tickDueTime(1, 1001, 30000));
    QVERIFY(tickDueTime(tenHours, 1001, 30000) - added > 700000);
}

void MultimediaThreadTest::dueTime_atLargestInterval_doesNotOverflow()
{
    constexpr int largest = std::numeric_limits<int>::max();
    TickCount const n = std::numeric_limits<qint64>::max();
    QVERIFY(tickDueTime(n, largest, 1) == n * largest * 1000000000);
    QVERIFY(tickDueTime(n, largest, largest) == n * 1000000000);
}

void MultimediaThreadTest::start_ticksAtOnceAndThenAtDueTimes_data()
{
    QTest::addColumn<int>("intervalNum");
    QTest::addColumn<int>("intervalDen");
    QTest::newRow("25 a second") << 1 << 25;
    QTest::newRow("29.97 a second") << 1001 << 30000;
    QTest::newRow("60 a second") << 1 << 60;
    QTest::newRow("every 2.5 s") << 5 << 2;
}

void MultimediaThreadTest::start_ticksAtOnceAndThenAtDueTimes()
{
    QFETCH(int, intervalNum);
    QFETCH(int, intervalDen);

    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(intervalNum, intervalDen, 0);
    qint64 elapsed = 0;
    for (int n = 1; n <= 100; ++n) {
        qint64 const sleep = time.waitForSleep(n);
        QCOMPARE(ticks.count(), n);
        elapsed += sleep;
        QCOMPARE(elapsed, n * 1000000000LL * intervalNum / intervalDen);
        time.endSleep();
    }
}

void MultimediaThreadTest::start_withDelay_sleepsBeforeFirstTick()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(1, 25, 2500 * Milliseconds);
    QCOMPARE(time.waitForSleep(1), 2500 * Milliseconds);
    QCOMPARE(ticks.count(), 0);
    time.endSleep();
    // The due times count from the first tick, not from the call.
    QCOMPARE(time.waitForSleep(2), 40 * Milliseconds);
    QCOMPARE(ticks.count(), 1);
}

void MultimediaThreadTest::start_withoutReceiver_startsNothing()
{
    VirtualTime time;
    MultimediaThread thread;
    thread.start(1, 25, 0);
    QVERIFY(thread.stop(0));
    QVERIFY(waits.isEmpty());

    // A receiver that comes later is not ticked by the start before.
    TickCounter ticks(thread);
    QVERIFY(thread.stop(0));
    QVERIFY(waits.isEmpty());
    thread.start(1, 25, 0);
    QCOMPARE(time.waitForSleep(1), 40 * Milliseconds);
    QCOMPARE(ticks.count(), 1);
}

void MultimediaThreadTest::start_whileRunning_isIgnored()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(1, 25, 0);
    QCOMPARE(time.waitForSleep(1), 40 * Milliseconds);
    thread.start(1, 50, 0);
    time.endSleep();
    QCOMPARE(time.waitForSleep(2), 40 * Milliseconds);
    QCOMPARE(ticks.count(), 2);
    QVERIFY(thread.stop(1000 * Milliseconds));
    QCOMPARE(waits.size(), 1);
}

void MultimediaThreadTest::start_withIntervalNotPositive_startsNothing_data()
{
    QTest::addColumn<int>("intervalNum");
    QTest::addColumn<int>("intervalDen");
    QTest::newRow("0/25") << 0 << 25;
    QTest::newRow("1/0") << 1 << 0;
    QTest::newRow("-1/25") << -1 << 25;
    QTest::newRow("1/-25") << 1 << -25;
}

void MultimediaThreadTest::start_withIntervalNotPositive_startsNothing()
{
    QFETCH(int, intervalNum);
    QFETCH(int, intervalDen);
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(intervalNum, intervalDen, 0);
    QVERIFY(thread.stop(0));
    QVERIFY(waits.isEmpty());
    QCOMPARE(ticks.count(), 0);
}

void MultimediaThreadTest::start_afterStop_ticksAgain()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(1, 25, 0);
    QCOMPARE(time.waitForSleep(1), 40 * Milliseconds);
    QVERIFY(thread.stop(5000 * Milliseconds));
    QCOMPARE(ticks.count(), 1);

    // At once again, and due times counted from here.
    thread.start(1, 50, 0);
    QCOMPARE(time.waitForSleep(2), 20 * Milliseconds);
    QCOMPARE(ticks.count(), 2);
    QVERIFY(thread.stop(5000 * Milliseconds));
}

void MultimediaThreadTest::blockedForFivePeriods_fiveTicksFollowBackToBack()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread, [&time](int n) {
        if (n == 3)
            time.advance(5 * 40 * Milliseconds);
    });
    thread.start(1, 25, 0);
    time.waitForSleep(1);
    time.endSleep();
    time.waitForSleep(2);
    time.endSleep();
    // The third tick takes five periods; the third sleep is the next one after it.
    QCOMPARE(time.waitForSleep(3), 40 * Milliseconds);
    QCOMPARE(ticks.count(), 3 + 5);
    time.endSleep();
    QCOMPARE(time.waitForSleep(4), 40 * Milliseconds);
    QCOMPARE(ticks.count(), 9);
}

void MultimediaThreadTest::interruptedSleep_isNotResumedAndShiftsNoLaterTick()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(1, 25, 0);
    QCOMPARE(time.waitForSleep(1), 40 * Milliseconds);
    time.interruptSleep(10 * Milliseconds);
    // The second tick came early, the third is due at 80 ms as ever.
    QCOMPARE(time.waitForSleep(2), 70 * Milliseconds);
    QCOMPARE(ticks.count(), 2);
}

void MultimediaThreadTest::dueWithinShortestSleep_ticksWithoutSleep()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread, [&time](int n) {
        if (n == 1)
            time.advance(40 * Milliseconds - 100);
        if (n == 2)
            time.advance(40 * Milliseconds - 1);
    });
    thread.start(1, 25, 0);
    // 100 ns ahead of the second tick it comes at once; 101 ns ahead of the third one sleeps.
    QCOMPARE(time.waitForSleep(1), qint64(101));
    QCOMPARE(ticks.count(), 2);
}

void MultimediaThreadTest::periodBelowShortestSleep_skipsTicksThatCanNotBeWaitedFor()
{
    VirtualTime time;
    MultimediaThread thread;
    TickCounter ticks(thread);
    // Every 50 ns. Tick 1 is 50 ns ahead and comes at once; tick 2 is 100 ns ahead, two periods, so
    // the count moves on to 4; tick 5 is 250 ns ahead.
    thread.start(1, 20000000, 0);
    QCOMPARE(time.waitForSleep(1), qint64(250));
    QCOMPARE(ticks.count(), 3);
}

void MultimediaThreadTest::emptyCallback_throws()
{
    BareImpl impl(1, 25, 0, {});
    QVERIFY_EXCEPTION_THROWN(impl.run(), std::bad_function_call);
}

void MultimediaThreadTest::tick_comesInNamedThreadOfHighPriority()
{
    MultimediaThread thread;
    thread.setObjectName(QStringLiteral("pacer"));
    char name[16] = {};
    QThread* ticking = nullptr;
    auto priority = QThread::IdlePriority;
    QSemaphore done;
    TickCounter ticks(thread, [&](int n) {
        if (n > 1)
            return;
        pthread_getname_np(pthread_self(), name, sizeof name);
        ticking = QThread::currentThread();
        priority = ticking->priority();
        done.release();
    });
    thread.start(1, 100, 0);
    QVERIFY(done.tryAcquire(1, 20000));
    QCOMPARE(name, "pacer");
    QVERIFY(ticking != QThread::currentThread());
    QCOMPARE(priority, QThread::HighPriority);
}

void MultimediaThreadTest::tick_reachesReceiverInOtherThread()
{
    MultimediaThread thread;
    QObject receiver;
    int received = 0;
    bool inOwnThread = true;
    connect(&thread, &MultimediaThread::tick, &receiver, [&] {
        ++received;
        inOwnThread = inOwnThread && QThread::currentThread() == receiver.thread();
    });
    thread.start(1, 200, 0);
    QTRY_VERIFY_WITH_TIMEOUT(received >= 5, 20000);
    QVERIFY(inOwnThread);
}

void MultimediaThreadTest::ticks_inRealTime_keepTheRate()
{
    MultimediaThread thread;
    QElapsedTimer timer;
    QVector<qint64> times;
    times.reserve(1000);
    QSemaphore done;
    constexpr int wanted = 100;
    TickCounter ticks(thread, [&](int n) {
        times.append(timer.nsecsElapsed());
        if (n == wanted)
            done.release();
    });
    timer.start();
    thread.start(1, 100, 0);
    QVERIFY(done.tryAcquire(1, 20000));
    thread.stop(0);
    // No tick comes before it is due, and none gets lost: the hundredth is due after 990 ms.
    for (int n = 0; n < wanted; ++n)
        QVERIFY2(times.at(n) >= n * 10 * Milliseconds, qPrintable(QString::number(n)));
    QVERIFY2(times.at(wanted - 1) < 5000 * Milliseconds,
        qPrintable(QString::number(times.at(wanted - 1))));
}

void MultimediaThreadTest::stop_whenStopped_returnsTrue()
{
    MultimediaThread thread;
    QVERIFY(thread.stop(0));
    TickCounter ticks(thread);
    thread.start(1, 25, 0);
    QVERIFY(thread.stop(5000 * Milliseconds));
    QVERIFY(thread.stop(0));
    QVERIFY(thread.stop(1));
    QCOMPARE(waits.size(), 1);
}

void MultimediaThreadTest::stop_waitsGivenTimeOrTwoIntervals_data()
{
    QTest::addColumn<int>("intervalNum");
    QTest::addColumn<int>("intervalDen");
    QTest::addColumn<qint64>("timeout");
    QTest::addColumn<unsigned long>("milliseconds");
    QTest::newRow("two intervals of 1/25") << 1 << 25 << qint64(0) << 80UL;
    QTest::newRow("two intervals of 1001/30000") << 1001 << 30000 << qint64(0) << 66UL;
    QTest::newRow("two intervals of 1/60") << 1 << 60 << qint64(0) << 33UL;
    QTest::newRow("given") << 1 << 25 << qint64(500000000) << 500UL;
    QTest::newRow("given, truncated") << 1 << 25 << qint64(7999999) << 7UL;
}

void MultimediaThreadTest::stop_waitsGivenTimeOrTwoIntervals()
{
    QFETCH(int, intervalNum);
    QFETCH(int, intervalDen);
    QFETCH(qint64, timeout);
    QFETCH(unsigned long, milliseconds);
    MultimediaThread thread;
    TickCounter ticks(thread);
    thread.start(intervalNum, intervalDen, 0);
    thread.stop(timeout);
    QCOMPARE(waits, QVector<unsigned long>{milliseconds});
}

void MultimediaThreadTest::stop_duringLongTick_returnsFalseAndEndsThread()
{
    MultimediaThread thread;
    QSemaphore begun;
    std::atomic<bool> ended{false};
    TickCounter ticks(thread, [&](int) {
        begun.release();
        QThread::msleep(300);
        ended = true;
    });
    thread.start(1, 1000, 0);
    QVERIFY(begun.tryAcquire(1, 20000));
    QVERIFY(!thread.stop(10 * Milliseconds));
    QVERIFY(ended);
    QCOMPARE(ticks.count(), 1);
}

void MultimediaThreadTest::destroy_whileRunning_endsTicks()
{
    std::atomic<int> count{0};
    {
        MultimediaThread thread;
        connect(
            &thread, &MultimediaThread::tick, &thread, [&count] { ++count; }, Qt::DirectConnection);
        thread.start(1, 500, 0);
        QTRY_VERIFY_WITH_TIMEOUT(count > 0, 20000);
    }
    int const atEnd = count;
    QCOMPARE(waits, QVector<unsigned long>{4});
    QTest::qSleep(20);
    QCOMPARE(int(count), atEnd);
}

QVORLIN_TEST_MAIN(QCoreApplication, MultimediaThreadTest)
#include "tst_multimediathread.moc"
