#include "utils/shmemreader.h"

#include <cmath>
#include <limits>

#include "messagecheck.h"
#include "shmemreaderbench.h"

class TestShmemReaderSettings : public QObject
{
    Q_OBJECT

private slots:
    void frameRateBeforeOpen_isAppliedByFirstOpen();
    void noFrameRate_isAppliedAsOneToOne();
    void frameRateWithAZero_isAppliedAsOneToOne_data();
    void frameRateWithAZero_isAppliedAsOneToOne();
    void frameRateWithoutVideo_isNotApplied();
    void frameRateWhileOpen_isAppliedAtOnce();
    void frameRateWhileClosed_isNotApplied();
    void frameRate_survivesReopening();
    void frameRateAsNumber_keepsThreeDecimals_data();
    void frameRateAsNumber_keepsThreeDecimals();
    void syncRange_includesItsBounds_data();
    void syncRange_includesItsBounds();
    void syncRange_multipliesIn32Bits();
    void syncRange_survivesClose();
};

void TestShmemReaderSettings::frameRateBeforeOpen_isAppliedByFirstOpen()
{
    Bench bench;
    bench.reader.setVideoFrameRate(25000u, 1000u);
    QVERIFY(!bench.reader.open());
    bench.takeCalls();
    bench.shm.publishVideo(4, 2, Now);

    bench.reader.open();

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; get_format 1; set_fps 1 25000 1000"));
}

void TestShmemReaderSettings::noFrameRate_isAppliedAsOneToOne()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);

    bench.reader.open();

    QCOMPARE(bench.takeCalls().last(), QStringLiteral("set_fps 1 1 1"));
}

void TestShmemReaderSettings::frameRateWithAZero_isAppliedAsOneToOne_data()
{
    QTest::addColumn<unsigned>("num");
    QTest::addColumn<unsigned>("den");

    QTest::newRow("numerator") << 0u << 1000u;
    QTest::newRow("denominator") << 25u << 0u;
    QTest::newRow("both") << 0u << 0u;
}

void TestShmemReaderSettings::frameRateWithAZero_isAppliedAsOneToOne()
{
    QFETCH(unsigned, num);
    QFETCH(unsigned, den);
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.reader.setVideoFrameRate(30u, 1u);
    bench.settle();

    bench.reader.setVideoFrameRate(num, den);
    QCOMPARE(bench.takeCalls(), FakeShm::calls("set_fps 1 1 1"));

    bench.reader.open();
    QCOMPARE(bench.takeCalls().last(), QStringLiteral("set_fps 2 1 1"));
}

void TestShmemReaderSettings::frameRateWithoutVideo_isNotApplied()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    bench.reader.open();
    bench.reader.setVideoFrameRate(25u, 1u);

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; get_format 1"));
}

void TestShmemReaderSettings::frameRateWhileOpen_isAppliedAtOnce()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    bench.reader.setVideoFrameRate(30000u, 1001u);

    QCOMPARE(bench.takeCalls(), FakeShm::calls("set_fps 1 30000 1001"));
}

void TestShmemReaderSettings::frameRateWhileClosed_isNotApplied()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.reader.close();
    bench.takeCalls();

    bench.reader.setVideoFrameRate(25u, 1u);

    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReaderSettings::frameRate_survivesReopening()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.reader.setVideoFrameRate(25u, 1u);
    bench.settle();
    bench.shm.ready = false;
    bench.clock.advance(1000);

    bench.reader.getVideoFrameSize();

    QCOMPARE(bench.takeCalls().last(), QStringLiteral("set_fps 2 25 1"));
}

void TestShmemReaderSettings::frameRateAsNumber_keepsThreeDecimals_data()
{
    QTest::addColumn<double>("fps");
    QTest::addColumn<QString>("call");

    QTest::newRow("two decimals") << 29.97 << "set_fps 1 29970 1000";
    QTest::newRow("whole") << 25.0 << "set_fps 1 25000 1000";
    QTest::newRow("cut off, not rounded") << 59.9406 << "set_fps 1 59940 1000";
    QTest::newRow("cut off just below") << 23.9759999 << "set_fps 1 23975 1000";
    QTest::newRow("below a thousandth") << 0.0009 << "set_fps 1 1 1";
    QTest::newRow("zero") << 0.0 << "set_fps 1 1 1";
    QTest::newRow("largest") << 4294967.295 << "set_fps 1 4294967295 1000";
    QTest::newRow("too large") << 4294967.3 << "set_fps 1 1 1";
    QTest::newRow("negative") << -25.0 << "set_fps 1 1 1";
    QTest::newRow("infinite") << HUGE_VAL << "set_fps 1 1 1";
    QTest::newRow("not a number") << std::nan("") << "set_fps 1 1 1";
}

void TestShmemReaderSettings::frameRateAsNumber_keepsThreeDecimals()
{
    QFETCH(double, fps);
    QFETCH(QString, call);
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    bench.reader.setVideoFrameRate(fps);

    QCOMPARE(bench.takeCalls(), QStringList(call));
}

void TestShmemReaderSettings::syncRange_includesItsBounds_data()
{
    QTest::addColumn<int>("minMs");
    QTest::addColumn<int>("maxMs");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("off, any time") << 0 << 0 << -Now << true;
    QTest::newRow("off, far future") << 0 << 0 << Now << true;
    QTest::newRow("1.5 s ago") << -1000 << 0 << qint64{-1500000} << false;
    QTest::newRow("0.5 s ago") << -1000 << 0 << qint64{-500000} << true;
    QTest::newRow("1 µs ahead") << -1000 << 0 << qint64{1} << false;
    QTest::newRow("now") << -1000 << 0 << qint64{0} << true;
    QTest::newRow("lower bound") << -1000 << 0 << qint64{-1000000} << true;
    QTest::newRow("below lower bound") << -1000 << 0 << qint64{-1000001} << false;
    QTest::newRow("upper bound") << 0 << 250 << qint64{250000} << true;
    QTest::newRow("above upper bound") << 0 << 250 << qint64{250001} << false;
    QTest::newRow("all in the past") << -300 << -100 << qint64{-99999} << false;
    QTest::newRow("upside down") << 1 << -1 << qint64{0} << false;
    QTest::newRow("earliest time") << -1000 << 0 << std::numeric_limits<qint64>::min() << false;
    QTest::newRow("latest time") << -1000 << 0 << std::numeric_limits<qint64>::max() - Now << false;
}

void TestShmemReaderSettings::syncRange_includesItsBounds()
{
    QFETCH(int, minMs);
    QFETCH(int, maxMs);
    QFETCH(qint64, offset);
    Bench bench;
    bench.reader.setRealtimeSyncRange(minMs, maxMs);

    QTEST(bench.reader.checkRealtimeSync(Now + offset), "accepted");
}

void TestShmemReaderSettings::syncRange_multipliesIn32Bits()
{
    Bench bench;

    // 3 000 000 000 wraps to -1 294 967 296, and its negative the other way.
    bench.reader.setRealtimeSyncRange(3000000, -3000000);

    QVERIFY(bench.reader.checkRealtimeSync(Now - 1294967296));
    QVERIFY(!bench.reader.checkRealtimeSync(Now - 1294967297));
    QVERIFY(bench.reader.checkRealtimeSync(Now + 1294967296));
    QVERIFY(!bench.reader.checkRealtimeSync(Now + 1294967297));
}

void TestShmemReaderSettings::syncRange_survivesClose()
{
    Bench bench;
    bench.reader.setRealtimeSyncRange(-1000, 0);

    bench.reader.close();

    QVERIFY(!bench.reader.checkRealtimeSync(Now + 1));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestShmemReaderSettings)
#include "tst_shmemreader_settings.moc"
