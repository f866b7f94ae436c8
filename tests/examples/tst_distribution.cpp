#include "distribution.h"

#include <QTest>

#include "messagecheck.h"

class TestDistribution : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothing_hasNoPercentiles();
    void percentiles_areThoseOfTheClass();
    void negativeValues_haveTheirPlace();
    void valuesBeyond_countAsTheOutermost();
};

void TestDistribution::nothing_hasNoPercentiles()
{
    QVERIFY(!Distribution(0, 100, 1).percentile(0.5));
}

void TestDistribution::percentiles_areThoseOfTheClass()
{
    Distribution distribution(0, 1000, 10);
    for (int value = 0; value < 1000; ++value)
        distribution.add(value);
    QCOMPARE(*distribution.percentile(0.5), 495.0);
    QCOMPARE(*distribution.percentile(0.99), 985.0);
    QCOMPARE(*distribution.percentile(1), 995.0);
}

void TestDistribution::negativeValues_haveTheirPlace()
{
    Distribution distribution(-100, 100, 10);
    distribution.add(-55);
    QCOMPARE(*distribution.percentile(0.5), -55.0);
    distribution.add(55);
    QCOMPARE(*distribution.percentile(0.5), -55.0);
    QCOMPARE(*distribution.percentile(1), 55.0);
}

void TestDistribution::valuesBeyond_countAsTheOutermost()
{
    Distribution distribution(-100, 100, 10);
    distribution.add(-1'000'000);
    QCOMPARE(*distribution.percentile(0.5), -95.0);
    distribution.add(1'000'000);
    QCOMPARE(*distribution.percentile(1), 105.0);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestDistribution)
#include "tst_distribution.moc"
