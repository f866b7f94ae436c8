#include <ctime>

#include <QTest>

#include "messagecheck.h"
#include "utils/clockadjustmentdetector.h"
#include "virtualtime.h"

namespace {

constexpr qint64 Milliseconds = 1000000;
constexpr qint64 Start = 1700000000000 * Milliseconds;

// What a detector reports after its clocks have gone on by so many nanoseconds.
qint64 adjustment(qint64 wallClockStep, qint64 monotonicStep)
{
    VirtualTime time(Start);
    qint64 result = 0;
    VirtualTime::run([&] {
        ClockAdjustmentDetector detector;
        time.setWallClock(Start + wallClockStep);
        time.advance(monotonicStep);
        result = detector.check();
    });
    return result;
}

} // namespace

class ClockAdjustmentDetectorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void check_givesStepOfWallClock_data();
    void check_givesStepOfWallClock();
    void check_goesOnFromSameStart();
    void start_forgetsEarlierStep();
    void start_readsWallClockThenMonotonicClock();
    void check_withRealClocks_givesNoAdjustment();
};

void ClockAdjustmentDetectorTest::check_givesStepOfWallClock_data()
{
    QTest::addColumn<qint64>("wallClockStep");
    QTest::addColumn<qint64>("monotonicStep");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("undisturbed") << 5000 * Milliseconds << 5000 * Milliseconds << qint64(0);
    QTest::newRow("3 s forward") << 8000 * Milliseconds << 5000 * Milliseconds << qint64(3000);
    QTest::newRow("3 s back") << 2000 * Milliseconds << 5000 * Milliseconds << qint64(-3000);
    QTest::newRow("each quotient truncated, not the difference")
        << 3 * Milliseconds - 1 << 1 * Milliseconds + 1 << qint64(1);
    QTest::newRow("truncated towards zero") << 1 - 2 * Milliseconds << qint64(0) << qint64(-1);
    QTest::newRow("below a millisecond") << Milliseconds - 1 << qint64(0) << qint64(0);
}

void ClockAdjustmentDetectorTest::check_givesStepOfWallClock()
{
    QFETCH(qint64, wallClockStep);
    QFETCH(qint64, monotonicStep);
    QTEST(adjustment(wallClockStep, monotonicStep), "expected");
}

void ClockAdjustmentDetectorTest::check_goesOnFromSameStart()
{
    VirtualTime time(Start);
    qint64 first = 0;
    qint64 second = 0;
    VirtualTime::run([&] {
        ClockAdjustmentDetector detector;
        time.setWallClock(Start + 3000 * Milliseconds);
        first = detector.check();
        time.setWallClock(Start + 4000 * Milliseconds);
        second = detector.check();
    });
    QCOMPARE(first, qint64(3000));
    QCOMPARE(second, qint64(4000));
}

void ClockAdjustmentDetectorTest::start_forgetsEarlierStep()
{
    VirtualTime time(Start);
    qint64 result = -1;
    VirtualTime::run([&] {
        ClockAdjustmentDetector detector;
        time.setWallClock(Start + 3000 * Milliseconds);
        detector.start();
        result = detector.check();
    });
    QCOMPARE(result, qint64(0));
}

void ClockAdjustmentDetectorTest::start_readsWallClockThenMonotonicClock()
{
    QVector<clockid_t> const bothClocks{CLOCK_REALTIME, CLOCK_MONOTONIC};
    QCOMPARE(VirtualTime::run([] { ClockAdjustmentDetector(); }), bothClocks);
    QCOMPARE(VirtualTime::run([] {
        ClockAdjustmentDetector detector;
        detector.start();
    }),
        bothClocks + bothClocks);
}

void ClockAdjustmentDetectorTest::check_withRealClocks_givesNoAdjustment()
{
    ClockAdjustmentDetector detector;
    QTest::qSleep(20);
    // Truncating each of the two durations may part them by one.
    qint64 const adjustment = detector.check();
    QVERIFY2(qAbs(adjustment) <= 2, qPrintable(QString::number(adjustment)));
}

QVORLIN_TEST_MAIN(QCoreApplication, ClockAdjustmentDetectorTest)
#include "tst_clockadjustmentdetector.moc"
