#include <continuoustime.h>
#include <mediaclock.h>
#include <timegrid.h>

#include <messagecheck.h>

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

#include <QCoreApplication>
#include <QTest>

namespace {

constexpr int64_t Second = 1000000;
constexpr int64_t Today = 1700000000 * Second;
int64_t wallClockStep = 0; /**< µs */

int64_t wallClock()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * Second + now.tv_nsec / 1000;
}

/** Reading two clocks takes time, more so on a busy machine. */
bool isNear(int64_t a, int64_t b)
{
    constexpr int64_t Slack = 200000;
    return std::abs(a - b) < Slack;
}

constexpr AVRational Rates[] = {{25, 1}, {30000, 1001}, {60, 1}, {1, 10}, {44100, 1}, {48000, 1}};

} // namespace

/** Takes the place of the C library's, so that the wall clock can be set. */
int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    int const result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && clock == CLOCK_REALTIME) {
        int64_t const stepped = time->tv_sec * Second + time->tv_nsec / 1000 + wallClockStep;
        time->tv_sec = stepped / Second;
        time->tv_nsec = stepped % Second * 1000;
    }
    return result;
}

class PublishClockTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { wallClockStep = 0; }

    void grid_roundsEachInstantOnItsOwn();
    void grid_findsItsInstantsAgain();
    void grid_firstAtOrAfter_isTheFirst();
    void grid_afterTenYears_isStillExact();
    void wallBasis_mediaTimeIsTheWallClock();
    void startBasis_beginsNow();
    void smallStepOfTheWallClock_isIgnored();
    void stepOfTheWallClock_movesTimestampsNotDueTimes();
    void stepOfTheWallClock_movesDueTimesOfWallBasis();
    void delay_movesDueTimesAndTimestamps();

    void passes_goOnInWholeFrames();
    void passesWithoutFrameRate_goOnAtTheEnd();
    void passWithAudioBeyondTheVideo_isPaddedToAFrame();
    void jumpOfTimestamps_isTakenOut();
    void jumpOfTimestamps_staysWhereTheFormatHasNone();
    void packetsWithoutTimes_followEachOther();
};

void PublishClockTest::grid_roundsEachInstantOnItsOwn()
{
    TimeGrid const grid({30000, 1001});
    QCOMPARE(grid.at(0), int64_t(0));
    QCOMPARE(grid.at(1), int64_t(33367)); // 33366.67
    QCOMPARE(grid.at(2), int64_t(66733)); // 66733.33
    QCOMPARE(grid.at(3), int64_t(100100));
    QCOMPARE(grid.at(-1), int64_t(-33367));
    QCOMPARE(grid.at(30000), int64_t(1001) * Second);
}

void PublishClockTest::grid_findsItsInstantsAgain()
{
    for (AVRational const rate : Rates) {
        TimeGrid const grid(rate);
        int64_t const first = grid.nearest(Today);
        for (int64_t index = first; index < first + 1000; ++index)
            QCOMPARE(grid.nearest(grid.at(index)), index);
    }
}

void PublishClockTest::grid_firstAtOrAfter_isTheFirst()
{
    for (AVRational const rate : Rates) {
        TimeGrid const grid(rate);
        for (int64_t time = Today; time < Today + 500; ++time) {
            int64_t const index = grid.firstAtOrAfter(time);
            QVERIFY(grid.at(index) >= time);
            QVERIFY(grid.at(index - 1) < time);
        }
    }
}

void PublishClockTest::grid_afterTenYears_isStillExact()
{
    constexpr int64_t seconds = int64_t(10) * 365 * 86400 / 1001 * 1001;
    QCOMPARE(TimeGrid({60000, 1001}).at(seconds / 1001 * 60000), seconds * Second);
    QCOMPARE(TimeGrid({44100, 1}).at(seconds * 44100 + 1), seconds * Second + 23);
}

void PublishClockTest::wallBasis_mediaTimeIsTheWallClock()
{
    MediaClock clock(MediaClock::Basis::WallClock);
    QCOMPARE(clock.wallTime(12345), int64_t(12345));
    QVERIFY(isNear(clock.now(), wallClock()));
    clock.start(5);
    QVERIFY(isNear(clock.now(), wallClock()));
}

void PublishClockTest::startBasis_beginsNow()
{
    MediaClock clock(MediaClock::Basis::Start);
    clock.start(777);
    QVERIFY(isNear(clock.now(), 777));
    QVERIFY(isNear(clock.wallTime(777), wallClock()));
    QVERIFY(isNear(clock.dueTime(777), MediaClock::monotonicNow()));
    QCOMPARE(clock.wallTime(1777) - clock.wallTime(777), int64_t(1000));
    QCOMPARE(clock.dueTime(1777) - clock.dueTime(777), int64_t(1000));
}

void PublishClockTest::smallStepOfTheWallClock_isIgnored()
{
    MediaClock clock(MediaClock::Basis::Start);
    clock.start(0);
    int64_t const before = clock.wallTime(0);
    for (int64_t const step : {-Second / 2, Second / 2}) {
        wallClockStep = step;
        QCOMPARE(clock.followWallClock(), int64_t(0));
        QCOMPARE(clock.wallTime(0), before);
    }
}

void PublishClockTest::stepOfTheWallClock_movesTimestampsNotDueTimes()
{
    for (int64_t const step : {-5 * Second, 5 * Second}) {
        wallClockStep = 0;
        MediaClock clock(MediaClock::Basis::Start);
        clock.start(0);
        int64_t const wall = clock.wallTime(0);
        int64_t const due = clock.dueTime(0);
        wallClockStep = step;
        QVERIFY(isNear(clock.followWallClock(), step));
        QCOMPARE(clock.followWallClock(), int64_t(0));
        QVERIFY(isNear(clock.wallTime(0), wall + step));
        QCOMPARE(clock.dueTime(0), due);
    }
}

void PublishClockTest::stepOfTheWallClock_movesDueTimesOfWallBasis()
{
    MediaClock clock(MediaClock::Basis::WallClock);
    int64_t const due = clock.dueTime(0);
    wallClockStep = 5 * Second;
    QVERIFY(isNear(clock.followWallClock(), 5 * Second));
    QVERIFY(isNear(clock.dueTime(0), due - 5 * Second));
    QCOMPARE(clock.wallTime(12345), int64_t(12345));
}

void PublishClockTest::delay_movesDueTimesAndTimestamps()
{
    MediaClock clock(MediaClock::Basis::Start);
    clock.start(0);
    int64_t const wall = clock.wallTime(0);
    int64_t const due = clock.dueTime(0);
    clock.delay(1000);
    QCOMPARE(clock.wallTime(0), wall + 1000);
    QCOMPARE(clock.dueTime(0), due + 1000);
}

namespace {

constexpr AVRational Milliseconds = {1, 1000};

/** Sends a packet through @p time. @return its new timestamp */
int64_t moved(ContinuousTime& time, int64_t pts, int64_t duration, int64_t* end = nullptr)
{
    ffmpeg::Packet const packet(av_packet_alloc());
    packet->pts = pts;
    packet->dts = pts;
    packet->duration = duration;
    int64_t const packetEnd = time.move(*packet, Milliseconds);
    if (end)
        *end = packetEnd;
    return packet->pts;
}

} // namespace

void PublishClockTest::passes_goOnInWholeFrames()
{
    ContinuousTime time(0, {25, 1}, false);
    for (int64_t pass = 0; pass < 100; ++pass) {
        for (int64_t frame = 0; frame < 3; ++frame)
            QCOMPARE(moved(time, frame * 40, 40), pass * 120 + frame * 40);
        time.startPass();
    }
}

void PublishClockTest::passesWithoutFrameRate_goOnAtTheEnd()
{
    ContinuousTime time(500000, {0, 1}, false);
    for (int64_t pass = 0; pass < 100; ++pass) {
        QCOMPARE(moved(time, 500, 23), 500 + pass * 46);
        QCOMPARE(moved(time, 523, 23), 523 + pass * 46);
        time.startPass();
    }
}

void PublishClockTest::passWithAudioBeyondTheVideo_isPaddedToAFrame()
{
    ContinuousTime time(0, {25, 1}, false);
    moved(time, 0, 40);
    moved(time, 40, 10);
    time.startPass();
    QCOMPARE(moved(time, 0, 40), int64_t(80));
}

void PublishClockTest::jumpOfTimestamps_isTakenOut()
{
    ContinuousTime time(AV_NOPTS_VALUE, {25, 1}, true);
    QCOMPARE(moved(time, 100000, 40), int64_t(100000));
    QCOMPARE(moved(time, 109000, 40), int64_t(109000)); // a pause
    QCOMPARE(moved(time, 200, 40), int64_t(109000));    // a jump back
    QCOMPARE(moved(time, 240, 40), int64_t(109040));
    QCOMPARE(moved(time, 90000, 40), int64_t(109040)); // a jump forward
}

void PublishClockTest::jumpOfTimestamps_staysWhereTheFormatHasNone()
{
    ContinuousTime time(0, {25, 1}, false);
    QCOMPARE(moved(time, 0, 40), int64_t(0));
    QCOMPARE(moved(time, 60000, 40), int64_t(60000));
}

void PublishClockTest::packetsWithoutTimes_followEachOther()
{
    ContinuousTime time(AV_NOPTS_VALUE, {25, 1}, false);
    int64_t end = 0;
    QCOMPARE(moved(time, AV_NOPTS_VALUE, 40, &end), AV_NOPTS_VALUE);
    QCOMPARE(end, int64_t(40000));
    moved(time, AV_NOPTS_VALUE, 40, &end);
    QCOMPARE(end, int64_t(80000));
}

QVORLIN_TEST_MAIN(QCoreApplication, PublishClockTest)

#include "tst_publishclock.moc"
