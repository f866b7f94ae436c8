#include <atomic>
#include <functional>

#include <pthread.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QMutex>
#include <QMutexLocker>
#include <QSemaphore>
#include <QSharedPointer>
#include <QTest>
#include <QThread>

#include "messagecheck.h"
#include "utils/mediasource.h"
#include "utils/videotimeline.h"
#include "virtualtime.h"

namespace {

using Status = MediaSource::VideoStatus;

// µs
constexpr qint64 Now = 1700000000000000;

QMutex statusMutex;
Status currentStatus;
std::function<void()> duringStatus;

void setStatus(Status const& status)
{
    QMutexLocker const lock(&statusMutex);
    currentStatus = status;
}

// Frames at an even spacing, the newest last.
Status evenFrames(qint64 newest, qint64 interval, qint64 jitter = 0, int count = 8)
{
    Status status;
    for (int i = count - 1; i >= 0; --i)
        status.timestamps.append(newest - i * interval);
    status.frameInterval = interval;
    status.intervalJitter = jitter;
    return status;
}

/** A timeline in virtual time that ticks when the test says. */
class Bench
{
public:
    explicit Bench(int frameRateNum = 25, int frameRateDen = 1)
        : mTime(Now * 1000)
        , mTimeline(QSharedPointer<MediaSource>::create(QStringLiteral("cam")), frameRateNum,
              frameRateDen)
    {
        QObject::connect(
            &mTimeline, &VideoTimeline::tick, &mTimeline,
            [this](qint64 timestamp) { mTicked = timestamp; }, Qt::DirectConnection);
    }

    VideoTimeline* operator->() { return &mTimeline; }
    VirtualTime& time() { return mTime; }

    /** What the next tick emits when the wall clock reads @p now and the stream is @p status. */
    qint64 tick(qint64 now, Status const& status)
    {
        setWallClock(now);
        setStatus(status);
        if (mRunning) {
            mTime.endSleep();
        } else {
            mTimeline.start();
            mRunning = true;
        }
        return mTime.waitForSleep(++mSleeps) > 0 ? mTicked : -1;
    }

    /** Nanoseconds until the tick after the n-th. */
    qint64 period(int n) { return mTime.waitForSleep(n); }

    void setWallClock(qint64 now) { mTime.setWallClock(now * 1000 + 999); }

    bool stop()
    {
        mRunning = false;
        return mTimeline.stop();
    }

private:
    VirtualTime mTime;
    VideoTimeline mTimeline;
    qint64 mTicked = 0;
    int mSleeps = 0;
    bool mRunning = false;
};

} // namespace

// Takes the place of the library's own.
MediaSource::VideoStatus MediaSource::getVideoStatus()
{
    if (duringStatus)
        duringStatus();
    QMutexLocker const lock(&statusMutex);
    return currentStatus;
}

class VideoTimelineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void start_ticksAtDisplayRate();
    void start_namesThreadAfterSource();
    void tick_fewerThanTwoFrames_carriesNow_data();
    void tick_fewerThanTwoFrames_carriesNow();
    void tick_framesGone_keepsEarlierOffset();
    void firstOffset_isDepthTimesIntervalPlusLatency_data();
    void firstOffset_isDepthTimesIntervalPlusLatency();
    void tick_betweenComputations_advancesWithWallClock();
    void tick_nearMidpoint_computesOffsetAnew_data();
    void tick_nearMidpoint_computesOffsetAnew();
    void tick_atFrameCloseToNext_computesOffsetAnew();
    void tick_outsideFramesHeld_keepsOffset_data();
    void tick_outsideFramesHeld_keepsOffset();
    void phase_isWatchedNearIntegerRatioOnly_data();
    void phase_isWatchedNearIntegerRatioOnly();
    void setMinDepth_takesEffectAtNextComputation();
    void adjust_setsDepthThatReachesDelay_data();
    void adjust_setsDepthThatReachesDelay();
    void adjust_computesOffsetAnewWhereItWouldBeKept();
    void adjust_secondRequest_isIgnored();
    void adjust_zero_isNoRequest();
    void adjust_afterStop_countsAgain();
    void adjust_beforeFirstFrames_isHeededOnceTheyCome();
    void adjust_whileTicking_takesEffectAtNextTick();
    void adjust_racingFirstComputation_takesEffect();
    void start_afterStop_goesOnWithKeptOffset();
    void stop_whenIdle_returnsTrue();
    void destroy_whileTicking_endsTicksAndReleasesSource();
    void tick_reachesReceiverInOtherThread();
};

void VideoTimelineTest::init()
{
    duringStatus = nullptr;
    setStatus({});
}

void VideoTimelineTest::start_ticksAtDisplayRate()
{
    Bench bench(30000, 1001);
    bench.tick(Now, {});
    QCOMPARE(bench.period(1), qint64(33366666));
    bench.tick(Now, {});
    QCOMPARE(bench.period(2), qint64(33366667));
}

void VideoTimelineTest::start_namesThreadAfterSource()
{
    auto const source = QSharedPointer<MediaSource>::create(QStringLiteral("studio"));
    VideoTimeline timeline(source, 100, 1);
    char name[16] = {};
    QSemaphore done;
    connect(
        &timeline, &VideoTimeline::tick, &timeline,
        [&] {
            if (name[0])
                return;
            pthread_getname_np(pthread_self(), name, sizeof name);
            done.release();
        },
        Qt::DirectConnection);
    timeline.start();
    QVERIFY(done.tryAcquire(1, 20000));
    QCOMPARE(name, "VT studio");
}

void VideoTimelineTest::tick_fewerThanTwoFrames_carriesNow_data()
{
    QTest::addColumn<int>("frames");
    QTest::newRow("none") << 0;
    QTest::newRow("one") << 1;
}

void VideoTimelineTest::tick_fewerThanTwoFrames_carriesNow()
{
    QFETCH(int, frames);
    Bench bench;
    Status const status = evenFrames(Now - 30000, 40000, 0, frames);
    QCOMPARE(bench.tick(Now, status), Now);
    QCOMPARE(bench.tick(Now + 40000, status), Now + 40000);
}

void VideoTimelineTest::tick_framesGone_keepsEarlierOffset()
{
    Bench bench;
    bench.tick(Now, evenFrames(Now - 30000, 40000));
    QCOMPARE(bench.tick(Now + 40000, {}), Now + 40000 - 70000);
    QCOMPARE(bench.tick(Now + 80000, evenFrames(Now, 40000, 0, 1)), Now + 80000 - 70000);
}

void VideoTimelineTest::firstOffset_isDepthTimesIntervalPlusLatency_data()
{
    QTest::addColumn<qint64>("latency");
    QTest::addColumn<qint64>("interval");
    QTest::addColumn<qint64>("jitter");
    QTest::addColumn<int>("minDepth");
    QTest::addColumn<qint64>("offset");

    QTest::newRow("one frame behind the newest") << 30000LL << 40000LL << 0LL << 1 << 70000LL;
    QTest::newRow("jitter") << 30000LL << 40000LL << 5000LL << 1 << 110000LL;
    QTest::newRow("jitter of a tenth") << 30000LL << 40000LL << 4000LL << 1 << 70000LL;
    QTest::newRow("jitter above a tenth") << 30000LL << 40000LL << 4001LL << 1 << 110000LL;
    QTest::newRow("tenth of interval truncated") << 0LL << 16669LL << 1667LL << 1 << 33338LL;
    QTest::newRow("other least depth") << 30000LL << 40000LL << 0LL << 3 << 150000LL;
    QTest::newRow("other least depth, jitter") << 30000LL << 40000LL << 5000LL << 3 << 190000LL;
    QTest::newRow("least depth 0") << 30000LL << 40000LL << 0LL << 0 << 30000LL;
    QTest::newRow("exactly 0 is stored as 1") << -40000LL << 40000LL << 0LL << 1 << 1LL;
    QTest::newRow("newest frame ahead of the clock") << -90000LL << 40000LL << 0LL << 1 << -50000LL;
    QTest::newRow("interval unknown") << 30000LL << 0LL << 0LL << 1 << 30000LL;
}

void VideoTimelineTest::firstOffset_isDepthTimesIntervalPlusLatency()
{
    QFETCH(qint64, latency);
    QFETCH(qint64, interval);
    QFETCH(qint64, jitter);
    QFETCH(int, minDepth);
    Bench bench;
    // 1 is where it starts.
    if (minDepth != 1)
        bench->setMinDepth(minDepth);
    qint64 const ticked = bench.tick(Now, evenFrames(Now - latency, interval, jitter));
    QTEST(Now - ticked, "offset");
}

void VideoTimelineTest::tick_betweenComputations_advancesWithWallClock()
{
    Bench bench;
    qint64 const first = bench.tick(Now, evenFrames(Now - 30000, 40000));
    for (int n = 1; n <= 20; ++n) {
        // However irregular the ticks are and the age of the newest frame is.
        qint64 const now = Now + n * 40000 + n * n % 7;
        qint64 const newest = Now - 30000 + n * 40000 - n * n % 11;
        QCOMPARE(bench.tick(now, evenFrames(newest, 40000)) - first, now - Now);
    }
}

void VideoTimelineTest::tick_nearMidpoint_computesOffsetAnew_data()
{
    QTest::addColumn<qint64>("interval");
    QTest::addColumn<qint64>("fromMidpoint");
    QTest::addColumn<bool>("anew");

    // Twice the distance from the midpoint against a tenth of the interval.
    QTest::newRow("25 fps, at midpoint") << 40000LL << 0LL << true;
    QTest::newRow("25 fps, just inside") << 40000LL << 1999LL << true;
    QTest::newRow("25 fps, just inside before") << 40000LL << -1999LL << true;
    QTest::newRow("25 fps, at the margin") << 40000LL << 2000LL << false;
    QTest::newRow("25 fps, at the margin before") << 40000LL << -2000LL << false;
    QTest::newRow("25 fps, at a frame") << 40000LL << 20000LL << false;
    QTest::newRow("50 fps, just inside") << 20000LL << 999LL << true;
    QTest::newRow("50 fps, at the margin") << 20000LL << 1000LL << false;
    // Not a tenth, but 2000 µs.
    QTest::newRow("100 fps, just inside") << 10000LL << 999LL << true;
    QTest::newRow("100 fps, at the margin") << 10000LL << 1000LL << false;
    // A tenth is 4170, truncated.
    QTest::newRow("23.98 fps, just inside") << 41708LL << 2084LL << true;
    QTest::newRow("23.98 fps, at the margin") << 41708LL << 2085LL << false;
}

void VideoTimelineTest::tick_nearMidpoint_computesOffsetAnew()
{
    QFETCH(qint64, interval);
    QFETCH(qint64, fromMidpoint);
    QFETCH(bool, anew);

    Bench bench(1000000, int(interval));
    qint64 const offset = Now - bench.tick(Now, evenFrames(Now - 30000, interval));
    // Later the frames lie so that the same offset leads to where the row says.
    qint64 const now = Now + 10 * interval;
    qint64 const newest = now - offset - fromMidpoint + interval / 2 + 2 * interval;
    qint64 const ticked = bench.tick(now, evenFrames(newest, interval));
    QCOMPARE(ticked, anew ? newest - interval : now - offset);
}

void VideoTimelineTest::tick_atFrameCloseToNext_computesOffsetAnew()
{
    Bench bench;
    qint64 const candidate = bench.tick(Now, evenFrames(Now - 30000, 40000)) + 40000;
    // A frame that has just come counts as the one before, not as the one after.
    Status status;
    status.timestamps = {candidate - 40000, candidate, candidate + 1000};
    status.frameInterval = 40000;
    QCOMPARE(bench.tick(Now + 40000, status), candidate + 1000 - 40000);
}

void VideoTimelineTest::tick_outsideFramesHeld_keepsOffset_data()
{
    QTest::addColumn<qint64>("newestFromCandidate");
    QTest::newRow("newer than all") << -20000LL;
    QTest::newRow("at the newest") << 0LL;
    QTest::newRow("at the oldest") << 40000LL;
    QTest::newRow("older than all, midway") << 60000LL;
}

void VideoTimelineTest::tick_outsideFramesHeld_keepsOffset()
{
    QFETCH(qint64, newestFromCandidate);
    Bench bench;
    qint64 const candidate = bench.tick(Now, evenFrames(Now - 30000, 40000)) + 40000;
    Status const twoFrames = evenFrames(candidate + newestFromCandidate, 40000, 0, 2);
    QCOMPARE(bench.tick(Now + 40000, twoFrames), candidate);
}

void VideoTimelineTest::phase_isWatchedNearIntegerRatioOnly_data()
{
    QTest::addColumn<int>("frameRateNum");
    QTest::addColumn<int>("frameRateDen");
    QTest::addColumn<qint64>("interval");
    QTest::addColumn<bool>("watched");

    QTest::newRow("25 on 25 fps") << 25 << 1 << 40000LL << true;
    QTest::newRow("30 on 25 fps") << 30 << 1 << 40000LL << false;
    QTest::newRow("60 on 25 fps") << 60 << 1 << 40000LL << false;
    QTest::newRow("50 on 25 fps") << 50 << 1 << 40000LL << false;
    QTest::newRow("25 on 50 fps") << 25 << 1 << 20000LL << true;
    QTest::newRow("30 on 60 fps") << 30 << 1 << 16667LL << true;
    QTest::newRow("24 on 25 fps") << 24 << 1 << 40000LL << true;
    QTest::newRow("25 on 24 fps") << 25 << 1 << 41667LL << true;
    QTest::newRow("60 on 59.94 fps") << 60 << 1 << 16683LL << true;
    QTest::newRow("59.94 on 60 fps") << 60000 << 1001 << 16667LL << true;
    QTest::newRow("a tenth of an interval") << 250 << 1 << 40000LL << false;
    QTest::newRow("below a tenth") << 251 << 1 << 40000LL << true;
    QTest::newRow("nine tenths") << 1000 << 36 << 40000LL << false;
    QTest::newRow("above nine tenths") << 10000 << 361 << 40000LL << true;
    QTest::newRow("interval unknown") << 25 << 1 << 0LL << false;
}

void VideoTimelineTest::phase_isWatchedNearIntegerRatioOnly()
{
    QFETCH(int, frameRateNum);
    QFETCH(int, frameRateDen);
    QFETCH(qint64, interval);
    QFETCH(bool, watched);

    Bench bench(frameRateNum, frameRateDen);
    qint64 const offset = Now - bench.tick(Now, evenFrames(Now - 30000, interval));
    // Two frames with the candidate in their midst, and one more that tells the new offset.
    qint64 const now = Now + 1000000;
    Status status;
    status.timestamps = {now - offset - 15000, now - offset + 15000, now};
    status.frameInterval = interval;
    QCOMPARE(bench.tick(now, status), watched ? now - interval : now - offset);
}

void VideoTimelineTest::setMinDepth_takesEffectAtNextComputation()
{
    Bench bench;
    qint64 const offset = Now - bench.tick(Now, evenFrames(Now - 30000, 40000));
    bench->setMinDepth(3);
    qint64 const kept = Now + 40000 - offset;
    QCOMPARE(bench.tick(Now + 40000, evenFrames(kept + 80000, 40000)), kept);
    qint64 const midway = Now + 80000 - offset;
    QCOMPARE(bench.tick(Now + 80000, evenFrames(midway + 60000, 40000)), midway + 60000 - 120000);
}

void VideoTimelineTest::adjust_setsDepthThatReachesDelay_data()
{
    QTest::addColumn<qint64>("delay");
    QTest::addColumn<qint64>("latency");
    QTest::addColumn<qint64>("interval");
    QTest::addColumn<qint64>("jitter");
    QTest::addColumn<int>("minDepth");
    QTest::addColumn<qint64>("offset");

    QTest::newRow("4.25 frames") << 200000LL << 30000LL << 40000LL << 0LL << 1 << 190000LL;
    QTest::newRow("exactly 4 frames") << 190000LL << 30000LL << 40000LL << 0LL << 1 << 190000LL;
    QTest::newRow("just below 4 frames") << 189999LL << 30000LL << 40000LL << 0LL << 1 << 150000LL;
    QTest::newRow("below the least depth") << 50000LL << 30000LL << 40000LL << 0LL << 1 << 70000LL;
    QTest::newRow("below the latency") << 10000LL << 30000LL << 40000LL << 0LL << 1 << 70000LL;
    QTest::newRow("in the future") << -500000LL << 30000LL << 40000LL << 0LL << 1 << 70000LL;
    QTest::newRow("now: none requested") << 0LL << 30000LL << 40000LL << 0LL << 1 << 70000LL;
    QTest::newRow("at the least depth") << 160000LL << 30000LL << 40000LL << 0LL << 3 << 150000LL;
    QTest::newRow("jitter at the least depth")
        << 160000LL << 30000LL << 40000LL << 9000LL << 3 << 190000LL;
    QTest::newRow("jitter above the least depth")
        << 200000LL << 30000LL << 40000LL << 9000LL << 1 << 190000LL;
    QTest::newRow("interval of 1000 is implausible")
        << 50000LL << 30000LL << 1000LL << 0LL << 1 << 31000LL;
    QTest::newRow("interval of 1001 is not") << 50020LL << 30000LL << 1001LL << 0LL << 1 << 50020LL;
    QTest::newRow("interval unknown") << 50000LL << 30000LL << 0LL << 0LL << 1 << 30000LL;
}

void VideoTimelineTest::adjust_setsDepthThatReachesDelay()
{
    QFETCH(qint64, delay);
    QFETCH(qint64, latency);
    QFETCH(qint64, interval);
    QFETCH(qint64, jitter);
    QFETCH(int, minDepth);
    Bench bench;
    bench.setWallClock(Now);
    bench->setMinDepth(minDepth);
    bench->adjustReadPosition(Now - delay);
    qint64 const ticked = bench.tick(Now, evenFrames(Now - latency, interval, jitter));
    QTEST(Now - ticked, "offset");
}

void VideoTimelineTest::adjust_computesOffsetAnewWhereItWouldBeKept()
{
    // The phase of 30 ticks on 25 frames is not watched.
    Bench bench(30, 1);
    Status const status = evenFrames(Now - 30000, 40000);
    QCOMPARE(bench.tick(Now, status), Now - 70000);
    bench->adjustReadPosition(Now - 200000);
    QCOMPARE(bench.tick(Now, status), Now - 190000);
}

void VideoTimelineTest::adjust_secondRequest_isIgnored()
{
    Bench bench;
    Status const status = evenFrames(Now - 30000, 40000);
    bench.setWallClock(Now);
    bench->adjustReadPosition(Now - 200000);
    bench->adjustReadPosition(Now - 400000);
    QCOMPARE(bench.tick(Now, status), Now - 190000);
    bench->adjustReadPosition(Now - 400000);
    QCOMPARE(bench.tick(Now, status), Now - 190000);
}

void VideoTimelineTest::adjust_zero_isNoRequest()
{
    Bench bench;
    Status const status = evenFrames(Now - 30000, 40000);
    bench->adjustReadPosition(0);
    QCOMPARE(bench.tick(Now, status), Now - 70000);
    // It did not use up the one request either.
    bench->adjustReadPosition(Now - 200000);
    QCOMPARE(bench.tick(Now, status), Now - 190000);
}

void VideoTimelineTest::adjust_afterStop_countsAgain()
{
    Bench bench;
    Status const status = evenFrames(Now - 30000, 40000);
    bench.setWallClock(Now);
    bench->adjustReadPosition(Now - 200000);
    QCOMPARE(bench.tick(Now, status), Now - 190000);
    bench.stop();
    // The delay requested before is kept until the new request.
    QCOMPARE(bench.tick(Now, status), Now - 190000);
    bench->adjustReadPosition(Now - 300000);
    QCOMPARE(bench.tick(Now, status), Now - 270000);
}

void VideoTimelineTest::adjust_beforeFirstFrames_isHeededOnceTheyCome()
{
    Bench bench;
    bench.setWallClock(Now);
    bench->adjustReadPosition(Now - 200000);
    QCOMPARE(bench.tick(Now, {}), Now);
    QCOMPARE(bench.tick(Now + 40000, evenFrames(Now + 10000, 40000)), Now + 40000 - 190000);
}

void VideoTimelineTest::adjust_whileTicking_takesEffectAtNextTick()
{
    Bench bench(30, 1);
    Status const status = evenFrames(Now - 30000, 40000);
    bench.tick(Now, status);
    // The request arrives between the start of a tick and its end.
    duringStatus = [&bench] {
        bench->adjustReadPosition(Now - 200000);
    };
    bench.tick(Now, status);
    duringStatus = nullptr;
    QCOMPARE(bench.tick(Now, status), Now - 190000);
}

void VideoTimelineTest::adjust_racingFirstComputation_takesEffect()
{
    // Frames so far apart that the depth can be read off the timestamp in real time. What is shown
    // lies before the oldest one, so an offset once stored is kept.
    constexpr qint64 interval = 1000000000;
    auto const source = QSharedPointer<MediaSource>::create(QStringLiteral("cam"));
    std::atomic<bool> computing{false};
    duringStatus = [&computing] {
        computing = true;
    };

    for (int i = 0; i < 250; ++i) {
        qint64 const now = QDateTime::currentMSecsSinceEpoch() * 1000;
        Status status;
        status.timestamps = {now - 1, now};
        status.frameInterval = interval;
        setStatus(status);

        VideoTimeline timeline(source, 10000, 1);
        std::atomic<qint64> shown{0};
        std::atomic<int> ticks{0};
        connect(
            &timeline, &VideoTimeline::tick, &timeline,
            [&](qint64 timestamp) {
                shown = timestamp;
                ++ticks;
            },
            Qt::DirectConnection);
        computing = false;
        timeline.start();
        // The request falls into the first computation, each time a little later.
        while (!computing)
            QThread::yieldCurrentThread();
        QElapsedTimer timer;
        timer.start();
        while (timer.nsecsElapsed() < i * 5) {
        }
        timeline.adjustReadPosition(now - 5 * interval - interval / 2);

        int const atRequest = ticks;
        QDeadlineTimer const deadline(20000);
        while (ticks < atRequest + 2 && !deadline.hasExpired())
            QThread::usleep(50);
        QCOMPARE((now - shown + interval / 2) / interval, qint64(5));
    }
}

void VideoTimelineTest::start_afterStop_goesOnWithKeptOffset()
{
    Bench bench;
    Status const status = evenFrames(Now - 30000, 40000);
    QCOMPARE(bench.tick(Now, status), Now - 70000);
    QVERIFY(bench.stop());
    bench->setMinDepth(5);
    QCOMPARE(bench.tick(Now + 40000, {}), Now + 40000 - 70000);
}

void VideoTimelineTest::stop_whenIdle_returnsTrue()
{
    Bench bench;
    QVERIFY(bench.stop());
}

void VideoTimelineTest::destroy_whileTicking_endsTicksAndReleasesSource()
{
    auto source = QSharedPointer<MediaSource>::create(QStringLiteral("cam"));
    QWeakPointer<MediaSource> const alive = source;
    std::atomic<int> ticks{0};
    {
        VideoTimeline timeline(std::move(source), 500, 1);
        connect(
            &timeline, &VideoTimeline::tick, &timeline, [&ticks] { ++ticks; },
            Qt::DirectConnection);
        timeline.start();
        QTRY_VERIFY_WITH_TIMEOUT(ticks > 0, 20000);
        QVERIFY(alive);
    }
    QVERIFY(!alive);
    int const atEnd = ticks;
    QTest::qSleep(20);
    QCOMPARE(int(ticks), atEnd);
}

void VideoTimelineTest::tick_reachesReceiverInOtherThread()
{
    auto const source = QSharedPointer<MediaSource>::create(QStringLiteral("cam"));
    VideoTimeline timeline(source, 200, 1);
    QObject receiver;
    int received = 0;
    bool inOwnThread = true;
    connect(&timeline, &VideoTimeline::tick, &receiver, [&] {
        ++received;
        inOwnThread = inOwnThread && QThread::currentThread() == receiver.thread();
    });
    timeline.start();
    QTRY_VERIFY_WITH_TIMEOUT(received >= 5, 20000);
    QVERIFY(inOwnThread);
}

QVORLIN_TEST_MAIN(QCoreApplication, VideoTimelineTest)
#include "tst_videotimeline.moc"
