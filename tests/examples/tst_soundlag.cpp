#include "soundlag.h"

#include <QTest>

#include "messagecheck.h"

namespace {

constexpr qint64 Start = 1'700'000'000'000'000;
constexpr qint64 Step = 40'000;

/** Reports every 40 ms. */
struct Fixture
{
    SoundLag lag;
    qint64 now = Start;

    void report(int count, qint64 value)
    {
        for (int i = 0; i < count; ++i, now += Step)
            lag.add(now - value, now);
    }
};

} // namespace

class TestSoundLag : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirst_isUnknown();
    void halfASecondOfPositions_makeItKnown();
    void steps_areEvenedOut();
    void positionsWhileTheBufferFills_areForgotten();
    void newLag_isTakenOver();
    void positionStepsBack_settlesAnew();
    void clockStepsBack_settlesAnew();
    void cleared_isUnknown();
};

void TestSoundLag::atFirst_isUnknown()
{
    QVERIFY(!SoundLag().value());
}

void TestSoundLag::halfASecondOfPositions_makeItKnown()
{
    Fixture f;
    f.report(13, 200'000);
    QVERIFY(!f.lag.value());
    f.report(1, 200'000);
    QCOMPARE(f.lag.value().value_or(0), 200'000);
}

void TestSoundLag::steps_areEvenedOut()
{
    Fixture f;
    for (int i = 0; i < 20; ++i) {
        f.report(1, 190'000);
        f.report(1, 200'000);
        f.report(1, 210'000);
    }
    QCOMPARE(f.lag.value().value_or(0), 200'000);
}

void TestSoundLag::positionsWhileTheBufferFills_areForgotten()
{
    Fixture f;
    f.report(5, 700'000);
    f.report(50, 200'000);
    QCOMPARE(f.lag.value().value_or(0), 200'000);
}

void TestSoundLag::newLag_isTakenOver()
{
    Fixture f;
    f.report(50, 200'000);
    f.report(10, 150'000);
    QCOMPARE(f.lag.value().value_or(0), 200'000);
    f.report(10, 150'000);
    QCOMPARE(f.lag.value().value_or(0), 150'000);
}

void TestSoundLag::positionStepsBack_settlesAnew()
{
    Fixture f;
    f.report(50, 200'000);
    f.report(5, 400'000);
    QVERIFY(!f.lag.value());
    f.report(10, 400'000);
    QCOMPARE(f.lag.value().value_or(0), 400'000);
}

void TestSoundLag::clockStepsBack_settlesAnew()
{
    Fixture f;
    f.report(50, 200'000);
    f.now -= 500'000;
    f.report(5, -300'000);
    QVERIFY(!f.lag.value());
}

void TestSoundLag::cleared_isUnknown()
{
    Fixture f;
    f.report(50, 200'000);
    f.lag.clear();
    QVERIFY(!f.lag.value());
}

QVORLIN_TEST_MAIN(QCoreApplication, TestSoundLag)
#include "tst_soundlag.moc"
