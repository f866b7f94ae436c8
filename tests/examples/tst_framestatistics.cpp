#include "framestatistics.h"

#include <thread>

#include <QCoreApplication>
#include <QTest>

#include "messagecheck.h"

namespace {

constexpr qint64 Start = 1'000'000'000;
constexpr qint64 Interval = 40'000; // µs

qint64 time(int frame)
{
    return Start + frame * Interval;
}

/** Frames @p first to @p last, as a stream holds them. */
QVector<qint64> held(int first, int last)
{
    QVector<qint64> timestamps;
    for (int frame = first; frame <= last; ++frame)
        timestamps.append(time(frame));
    return timestamps;
}

/** Statistics of a stream whose frames 0 to 9 are published. */
class Fixture : public FrameStatistics
{
public:
    Fixture()
        : FrameStatistics(Start)
    {
        published(held(0, 9));
    }

    void paint(int frame, qint64 latency = 1000) { painted(time(frame), time(frame) + latency); }
};

} // namespace

class TestFrameStatistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirst_nothingIsCounted();
    void published_countsNewFramesOnce();
    void published_beforeTheStartIsNotCounted();
    void published_goesOnAfterTheClockIsSetBack();
    void painted_countsEachFrameOnce();
    void painted_soonerThanPublishedIsCountedAsBoth();
    void painted_tooLateIsNotCounted();
    void repeated_isCounted();
    void missed_liesBetweenFirstAndLastShown();
    void missed_isTakenBackWhenShownLate();
    void missed_goesBeyondTheFramesRemembered();
    void latency_isGivenAsPercentiles();
    void latency_isBoundedBothWays();
    void displayRate_isThatOfNewFrames();
    void longestPause_isBetweenNewFrames();
    void threads_mayPublishAndPaintAtOnce();
};

void TestFrameStatistics::atFirst_nothingIsCounted()
{
    FrameStatistics statistics(Start);
    statistics.published({});
    FrameFigures const figures = statistics.figures();
    QCOMPARE(figures.published, 0);
    QCOMPARE(figures.shown, 0);
    QCOMPARE(figures.repeated, 0);
    QCOMPARE(figures.missed, 0);
    QCOMPARE(figures.displayRate, 0.0);
    QCOMPARE(figures.longestPauseMs, 0.0);
    QVERIFY(!figures.latencyP50Ms.has_value());
    QVERIFY(!figures.latencyP99Ms.has_value());
}

void TestFrameStatistics::published_countsNewFramesOnce()
{
    FrameStatistics statistics(Start);
    statistics.published(held(0, 3));
    statistics.published(held(0, 3));
    statistics.published(held(2, 5));
    statistics.published({});
    statistics.published(held(20, 21));
    QCOMPARE(statistics.figures().published, 8);
}

void TestFrameStatistics::published_beforeTheStartIsNotCounted()
{
    FrameStatistics statistics(Start);
    statistics.published(held(-3, 1));
    QCOMPARE(statistics.figures().published, 2);
    statistics.painted(time(-1), time(0));
    QCOMPARE(statistics.figures().shown, 1);
}

void TestFrameStatistics::published_goesOnAfterTheClockIsSetBack()
{
    FrameStatistics statistics(Start);
    statistics.published(held(100, 103));
    statistics.published(held(10, 11));
    statistics.published(held(10, 12));
    QCOMPARE(statistics.figures().published, 7);
    statistics.painted(time(103), time(104));
    statistics.painted(time(12), time(13));
    QCOMPARE(statistics.figures().missed, 2);
}

void TestFrameStatistics::painted_countsEachFrameOnce()
{
    Fixture statistics;
    statistics.paint(3);
    statistics.paint(4);
    statistics.paint(3);
    statistics.paint(4);
    QCOMPARE(statistics.figures().shown, 2);
}

void TestFrameStatistics::painted_soonerThanPublishedIsCountedAsBoth()
{
    Fixture statistics;
    statistics.paint(9);
    statistics.paint(10);
    statistics.published(held(4, 10));
    QCOMPARE(statistics.figures().published, 11);
    QCOMPARE(statistics.figures().shown, 2);
    QCOMPARE(statistics.figures().missed, 0);
}

void TestFrameStatistics::painted_tooLateIsNotCounted()
{
    Fixture statistics;
    for (int frame = 10; frame < 5000; ++frame)
        statistics.published(held(frame - 7, frame));
    statistics.paint(2);
    statistics.published(held(4992, 4999));
    QCOMPARE(statistics.figures().published, 5000);
    QCOMPARE(statistics.figures().shown, 0);
}

void TestFrameStatistics::repeated_isCounted()
{
    Fixture statistics;
    statistics.repeated();
    statistics.repeated();
    QCOMPARE(statistics.figures().repeated, 2);
}

void TestFrameStatistics::missed_liesBetweenFirstAndLastShown()
{
    Fixture statistics;
    QCOMPARE(statistics.figures().missed, 0);
    statistics.paint(2);
    QCOMPARE(statistics.figures().missed, 0);
    statistics.paint(5);
    QCOMPARE(statistics.figures().missed, 2);
    statistics.paint(6);
    QCOMPARE(statistics.figures().missed, 2);
}

void TestFrameStatistics::missed_isTakenBackWhenShownLate()
{
    Fixture statistics;
    statistics.paint(2);
    statistics.paint(5);
    statistics.paint(4);
    QCOMPARE(statistics.figures().missed, 1);
    // Before the first one shown there is none that was missed.
    statistics.paint(1);
    QCOMPARE(statistics.figures().missed, 1);
    statistics.paint(7);
    QCOMPARE(statistics.figures().missed, 2);
}

void TestFrameStatistics::missed_goesBeyondTheFramesRemembered()
{
    Fixture statistics;
    statistics.paint(0);
    for (int frame = 10; frame < 5000; ++frame)
        statistics.published(held(frame - 7, frame));
    statistics.paint(4999);
    QCOMPARE(statistics.figures().published, 5000);
    QCOMPARE(statistics.figures().missed, 4998);
}

void TestFrameStatistics::latency_isGivenAsPercentiles()
{
    FrameStatistics statistics(Start);
    statistics.published(held(1, 100));
    for (int frame = 1; frame <= 100; ++frame)
        statistics.painted(time(frame), time(frame) + frame * 1000);
    // Repeats come later, but do not count.
    statistics.painted(time(1), time(100));
    FrameFigures const figures = statistics.figures();
    QVERIFY(qAbs(*figures.latencyP50Ms - 50.0) < 0.1);
    QVERIFY(qAbs(*figures.latencyP99Ms - 99.0) < 0.1);
}

void TestFrameStatistics::latency_isBoundedBothWays()
{
    Fixture early;
    early.paint(1, -500'000);
    QVERIFY(*early.figures().latencyP50Ms < 0.1);
    Fixture late;
    late.paint(1, 3'600'000'000);
    QVERIFY(*late.figures().latencyP99Ms >= 10'000.0);
}

void TestFrameStatistics::displayRate_isThatOfNewFrames()
{
    Fixture statistics;
    statistics.paint(1);
    QCOMPARE(statistics.figures().displayRate, 0.0);
    statistics.paint(2);
    statistics.paint(2, 5000);
    statistics.paint(3);
    QCOMPARE(statistics.figures().displayRate, 25.0);
}

void TestFrameStatistics::longestPause_isBetweenNewFrames()
{
    Fixture statistics;
    statistics.paint(1);
    statistics.paint(3);
    statistics.paint(3, 5 * Interval);
    statistics.paint(4);
    QCOMPARE(statistics.figures().longestPauseMs, 80.0);
}

void TestFrameStatistics::threads_mayPublishAndPaintAtOnce()
{
    constexpr int count = 5000;
    FrameStatistics statistics(Start);
    std::thread publisher([&] {
        for (int frame = 0; frame < count; ++frame)
            statistics.published(held(frame - 7, frame));
    });
    for (int frame = 0; frame < count; ++frame) {
        // Never shown before it is published, as in life; then nothing is counted twice.
        while (statistics.figures().published <= frame)
            std::this_thread::yield();
        statistics.painted(time(frame), time(frame));
    }
    publisher.join();
    // The last one is remembered in any case, those that were too far behind are not.
    FrameFigures const figures = statistics.figures();
    QCOMPARE(figures.published, count);
    QVERIFY(figures.shown >= 1);
    QVERIFY(figures.shown + figures.missed <= count);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestFrameStatistics)
#include "tst_framestatistics.moc"
