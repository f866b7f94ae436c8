#include <QTest>

#include "messagecheck.h"
#include "utils/opsratecounter.h"
#include "virtualtime.h"

namespace {

constexpr qint64 Milliseconds = 1000000;
constexpr qint64 Start = 1700000000000 * Milliseconds;

} // namespace

class OpsRateCounterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_reportsInitialRate();
    void tick_movesRateTowardsSpacing();
    void tick_first_leavesRate();
    void tick_alphaOne_followsLatestSpacing();
    void duration_fewerThanTwoTicks_isZero();
    void duration_spansFirstToLatestTick();
    void restart_startsOverAtGivenRate();
};

void OpsRateCounterTest::construct_reportsInitialRate()
{
    OpsRateCounter const counter(0.5, 25);
    QCOMPARE(counter.rate(), 25.0);
    QCOMPARE(counter.duration(), 0.0);
}

void OpsRateCounterTest::tick_movesRateTowardsSpacing()
{
    VirtualTime time(Start);
    OpsRateCounter counter(0.5, 0);
    QVector<double> rates;
    for (int i = 0; i < 60; ++i) {
        time.setWallClock(Start + i * 100 * Milliseconds);
        counter.tick();
        rates.append(counter.rate());
    }
    QCOMPARE(rates.mid(0, 4), (QVector<double>{0, 5, 7.5, 8.75}));
    QCOMPARE(rates.last(), 10.0);
}

void OpsRateCounterTest::tick_first_leavesRate()
{
    VirtualTime time(Start);
    OpsRateCounter counter(0.25, 30);
    counter.tick();
    QCOMPARE(counter.rate(), 30.0);
}

void OpsRateCounterTest::tick_alphaOne_followsLatestSpacing()
{
    VirtualTime time(Start);
    OpsRateCounter counter(1, 30);
    counter.tick();
    time.setWallClock(Start + 40 * Milliseconds);
    counter.tick();
    QCOMPARE(counter.rate(), 25.0);
    time.setWallClock(Start + 60 * Milliseconds);
    counter.tick();
    QCOMPARE(counter.rate(), 50.0);
}

void OpsRateCounterTest::duration_fewerThanTwoTicks_isZero()
{
    VirtualTime time(Start);
    OpsRateCounter counter(0.5, 0);
    QCOMPARE(counter.duration(), 0.0);
    counter.tick();
    time.setWallClock(Start + 1000 * Milliseconds);
    QCOMPARE(counter.duration(), 0.0);
}

void OpsRateCounterTest::duration_spansFirstToLatestTick()
{
    VirtualTime time(Start);
    OpsRateCounter counter(0.5, 0);
    for (int i = 0; i < 4; ++i) {
        time.setWallClock(Start + i * 500 * Milliseconds);
        counter.tick();
    }
    QCOMPARE(counter.duration(), 1.5);
}

void OpsRateCounterTest::restart_startsOverAtGivenRate()
{
    VirtualTime time(Start);
    OpsRateCounter counter(0.5, 0);
    counter.tick();
    time.setWallClock(Start + 100 * Milliseconds);
    counter.tick();

    counter.restart(40);
    QCOMPARE(counter.rate(), 40.0);
    QCOMPARE(counter.duration(), 0.0);

    // The pause before the first tick counts neither for the rate nor for the duration.
    time.setWallClock(Start + 9000 * Milliseconds);
    counter.tick();
    QCOMPARE(counter.rate(), 40.0);
    QCOMPARE(counter.duration(), 0.0);
    time.setWallClock(Start + 9050 * Milliseconds);
    counter.tick();
    QCOMPARE(counter.rate(), 30.0);
    QCOMPARE(counter.duration(), 0.05);
}

QVORLIN_TEST_MAIN(QCoreApplication, OpsRateCounterTest)
#include "tst_opsratecounter.moc"
