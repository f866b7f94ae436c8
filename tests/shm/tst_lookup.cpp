#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <QCoreApplication>
#include <QTest>
#include <QVector>

using namespace shmtest;

namespace {

QVector<int64_t> timestamps(shm_reader_t* reader, int capacity = 64)
{
    QVector<int64_t> values(capacity);
    values.resize(shm_reader_get_video_timestamps(reader, values.data(), capacity));
    return values;
}

/** A stream of the given frames and a reader of it. */
struct Stream
{
    explicit Stream(QVector<int64_t> const& frames, uint32_t rate = 25, int visible = 4)
    {
        shm_writer_config_t config = videoConfig("cam1");
        config.frame_rate_num = rate;
        config.video_frame_count = visible;
        writer = openWriter(config);
        reader.reset(shm_reader_open("cam1"));
        for (int64_t timestamp : frames)
            shmpicture::publish(writer.get(), timestamp, uint64_t(timestamp));
    }

    Place place;
    Writer writer;
    Reader reader;
};

QVector<int64_t> steadyFrames(int count, int64_t rate)
{
    QVector<int64_t> frames;
    for (int i = 0; i < count; ++i)
        frames.append(1000000 + i * 1000000 / rate);
    return frames;
}

} // namespace

class LookupTest : public QObject
{
    Q_OBJECT

private slots:
    void lookup_findsFrameOfItsMode_data();
    void lookup_findsFrameOfItsMode();
    void lookup_anyTimestampIsAllowed();
    void unknownMode_findsNothing();
    void noFrameYet_findsNothing();
    void lock_fillsTheWholeRecord();
    void failedLock_clearsAllButTheTimestamp();
    void timestamps_areTheNewestAscending();
    void timestamps_ofWrongArguments();
    void status_countsAndNamesTheVisibleFrames();
    void status_beforeTheFirstFrame();
    void jitter_isMeanDeviationFromNominal();
    void intervalWithoutNominalRate_isTheMean();
    void streamWithoutVideo_hasNone();
    void setFps_showsFirstFrameAtOrAfterEachInstant();
    void setFps_firstFrameOfAllIsShown();
    void setFps_lookupsSeeShownFramesOnly();
    void setFps_fractionalRate();
    void setFps_answerStaysWhileTheWindowMoves();
    void setFps_oneToOneShowsEverything();
    void setFps_oneFrameASecond();
    void setFps_rateOfTheStreamOrAboveChangesNothing();
    void setFps_rateAboveMeasuredChangesNothing();
    void setFps_belowMeasuredRateThins();
    void setFps_zeroPartIsRefused();
    void setFps_concernsThisReaderOnly();
};

void LookupTest::lookup_findsFrameOfItsMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<qint64>("timestamp");
    QTest::addColumn<qint64>("found");

    int const nearest = SHM_VIDEO_LOOKUP_BY_TIMESTAMP;
    int const latest = SHM_VIDEO_LOOKUP_LATEST;
    int const before = SHM_VIDEO_LOOKUP_AT_OR_BEFORE;
    int const after = SHM_VIDEO_LOOKUP_AT_OR_AFTER;
    // Visible: 200, 300, 400, 501.
    QTest::newRow("nearest, exact") << nearest << qint64(300) << qint64(300);
    QTest::newRow("nearest, just later") << nearest << qint64(349) << qint64(300);
    QTest::newRow("nearest, middle takes the earlier") << nearest << qint64(350) << qint64(300);
    QTest::newRow("nearest, just sooner") << nearest << qint64(351) << qint64(400);
    QTest::newRow("nearest, odd gap below its middle") << nearest << qint64(450) << qint64(400);
    QTest::newRow("nearest, odd gap above its middle") << nearest << qint64(451) << qint64(501);
    QTest::newRow("nearest, before all") << nearest << qint64(1) << qint64(200);
    QTest::newRow("nearest, gone") << nearest << qint64(100) << qint64(200);
    QTest::newRow("nearest, after all") << nearest << qint64(9999) << qint64(501);
    QTest::newRow("latest") << latest << qint64(200) << qint64(501);
    QTest::newRow("before, exact") << before << qint64(300) << qint64(300);
    QTest::newRow("before, between") << before << qint64(399) << qint64(300);
    QTest::newRow("before, after all") << before << qint64(9999) << qint64(501);
    QTest::newRow("before, oldest") << before << qint64(200) << qint64(200);
    QTest::newRow("before, older than all") << before << qint64(199) << qint64(-1);
    QTest::newRow("after, exact") << after << qint64(300) << qint64(300);
    QTest::newRow("after, between") << after << qint64(301) << qint64(400);
    QTest::newRow("after, before all") << after << qint64(1) << qint64(200);
    QTest::newRow("after, newest") << after << qint64(501) << qint64(501);
    QTest::newRow("after, newer than all") << after << qint64(502) << qint64(-1);
}

void LookupTest::lookup_findsFrameOfItsMode()
{
    QFETCH(int, mode);
    QFETCH(qint64, timestamp);
    QFETCH(qint64, found);
    Stream const stream({100, 200, 300, 400, 501});
    QCOMPARE(qint64(timestampFound(stream.reader.get(), timestamp, shm_video_lookup_mode_t(mode))),
        found);
}

void LookupTest::lookup_anyTimestampIsAllowed()
{
    Stream const stream({INT64_MIN, -5, 0, INT64_MAX});
    shm_reader_t* const reader = stream.reader.get();
    QCOMPARE(timestampFound(reader, INT64_MIN, SHM_VIDEO_LOOKUP_AT_OR_AFTER), INT64_MIN);
    QCOMPARE(timestampFound(reader, INT64_MIN + 1, SHM_VIDEO_LOOKUP_AT_OR_AFTER), int64_t(-5));
    QCOMPARE(timestampFound(reader, INT64_MAX, SHM_VIDEO_LOOKUP_AT_OR_AFTER), INT64_MAX);
    QCOMPARE(timestampFound(reader, INT64_MAX - 1, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), INT64_MAX);
    QCOMPARE(timestampFound(reader, INT64_MIN, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), INT64_MIN);
    QVERIFY(shm_reader_set_fps(reader, UINT_MAX, 1) == 0);
    QCOMPARE(videoStatus(reader).frame_count, 4u);
}

void LookupTest::unknownMode_findsNothing()
{
    Stream const stream({100, 200});
    // A variable, so that the compiler can't reason about a constant out of the enumeration.
    for (int volatile mode : {4, 1000, -1}) {
        shm_video_frame_t frame = request(100);
        QCOMPARE(
            shm_reader_lock_video(stream.reader.get(), &frame, shm_video_lookup_mode_t(mode)), -1);
        QVERIFY(!frame.plane0);
    }
}

void LookupTest::noFrameYet_findsNothing()
{
    Stream const stream({});
    for (int mode = 0; mode < 4; ++mode)
        QCOMPARE(
            timestampFound(stream.reader.get(), 1, shm_video_lookup_mode_t(mode)), int64_t(-1));
    QCOMPARE(timestamps(stream.reader.get()), QVector<int64_t>());
}

void LookupTest::lock_fillsTheWholeRecord()
{
    Stream const stream({100, 200});
    shm_video_frame_t frame = request(150);
    QCOMPARE(shm_reader_lock_video(stream.reader.get(), &frame, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), 0);
    QCOMPARE(frame.width, 66);
    QCOMPARE(frame.height, 34);
    QCOMPARE(frame.timestamp, int64_t(100));
    QVERIFY(frame.plane0 && frame.plane1 && frame.plane2 && frame.lock != 0);
    QCOMPARE(frame.stride0, 68);
    QCOMPARE(frame.stride1, 36);
    QCOMPARE(frame.stride2, 36);
    for (uint8_t const* plane : {frame.plane0, frame.plane1, frame.plane2})
        QCOMPARE(reinterpret_cast<uintptr_t>(plane) % 64, uintptr_t(0));
    QVERIFY(shmpicture::isIntact(frame));
    QCOMPARE(shmpicture::seedOf(frame), uint64_t(100));

    shm_reader_unlock_video(stream.reader.get(), &frame);
    shm_video_frame_t const zero = {};
    QCOMPARE(std::memcmp(&frame, &zero, sizeof frame), 0);
}

void LookupTest::failedLock_clearsAllButTheTimestamp()
{
    Stream const stream({100});
    shm_video_frame_t frame;
    std::memset(&frame, 0x55, sizeof frame);
    frame.timestamp = 99;
    QCOMPARE(shm_reader_lock_video(stream.reader.get(), &frame, SHM_VIDEO_LOOKUP_AT_OR_BEFORE), -1);
    shm_video_frame_t const expected = request(99);
    QCOMPARE(std::memcmp(&frame, &expected, sizeof frame), 0);
}

void LookupTest::timestamps_areTheNewestAscending()
{
    Stream const stream({100, 200, 300, 400, 501});
    QCOMPARE(timestamps(stream.reader.get()), (QVector<int64_t>{200, 300, 400, 501}));
    QCOMPARE(timestamps(stream.reader.get(), 2), (QVector<int64_t>{400, 501}));
    QCOMPARE(timestamps(stream.reader.get(), 0), QVector<int64_t>());
}

void LookupTest::timestamps_ofWrongArguments()
{
    Stream const stream({100});
    int64_t value = 0;
    QCOMPARE(shm_reader_get_video_timestamps(nullptr, &value, 1), -1);
    QCOMPARE(shm_reader_get_video_timestamps(stream.reader.get(), nullptr, 1), -1);
    QCOMPARE(shm_reader_get_video_timestamps(stream.reader.get(), &value, -1), -1);
    QCOMPARE(shm_reader_get_video_timestamps(stream.reader.get(), nullptr, 0), 0);
}

void LookupTest::status_countsAndNamesTheVisibleFrames()
{
    Stream const stream(steadyFrames(6, 25));
    shm_video_status_t const status = videoStatus(stream.reader.get());
    QVERIFY(status.frames_valid);
    QCOMPARE(status.frame_count, 4u);
    QCOMPARE(status.first_timestamp, int64_t(1080000));
    QCOMPARE(status.last_timestamp, int64_t(1200000));
    QCOMPARE(status.frame_interval, int64_t(40000));
    QCOMPARE(status.interval_jitter, int64_t(0));
    QCOMPARE(status.frames_written, uint64_t(6));
    QCOMPARE(status.frames_dropped, uint64_t(0));
}

void LookupTest::status_beforeTheFirstFrame()
{
    Stream const stream({});
    shm_video_status_t status;
    std::memset(&status, 0x55, sizeof status);
    QCOMPARE(shm_reader_get_video_status(stream.reader.get(), &status), 0);
    QVERIFY(!status.frames_valid);
    QCOMPARE(status.frame_count, 0u);
    QCOMPARE(status.frame_interval, int64_t(40000));
    QCOMPARE(status.first_timestamp, int64_t(0));
}

void LookupTest::jitter_isMeanDeviationFromNominal()
{
    // Gaps of 40, 46 and 31 ms, nominal 40: deviations 0, 6 and 9.
    Stream const stream({1000000, 1040000, 1086000, 1117000});
    shm_video_status_t const status = videoStatus(stream.reader.get());
    QCOMPARE(status.frame_interval, int64_t(40000));
    QCOMPARE(status.interval_jitter, int64_t(5000));
}

void LookupTest::intervalWithoutNominalRate_isTheMean()
{
    // Gaps of 40, 46 and 31 ms, mean 39: deviations 1, 7 and 8.
    Stream const stream({1000000, 1040000, 1086000, 1117000}, 0);
    shm_video_status_t const status = videoStatus(stream.reader.get());
    QCOMPARE(status.frame_interval, int64_t(39000));
    QCOMPARE(status.interval_jitter, int64_t(5333));

    Stream const single({1000000}, 0);
    QCOMPARE(videoStatus(single.reader.get()).frame_interval, int64_t(0));
    QCOMPARE(videoStatus(single.reader.get()).frame_count, 1u);
}

void LookupTest::streamWithoutVideo_hasNone()
{
    Place place;
    Writer const writer = openWriter(audioConfig("sound"));
    Reader const reader(shm_reader_open("sound"));
    shm_video_status_t status;
    std::memset(&status, 0x55, sizeof status);
    QCOMPARE(shm_reader_get_video_status(reader.get(), &status), -1);
    QCOMPARE(status.frame_interval, int64_t(0));
    int64_t value = 0;
    QCOMPARE(shm_reader_get_video_timestamps(reader.get(), &value, 1), -1);
    QCOMPARE(timestampFound(reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(-1));
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), -1);
    QCOMPARE(errno, EINVAL);
}

void LookupTest::setFps_showsFirstFrameAtOrAfterEachInstant()
{
    // Every second frame of 50 a second, on the grid of 25: 1.00, 1.04, 1.08 s and so on.
    Stream const stream(steadyFrames(9, 50), 50, 8);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 25, 1), 0);
    QCOMPARE(
        timestamps(stream.reader.get()), (QVector<int64_t>{1040000, 1080000, 1120000, 1160000}));
    shm_video_status_t const status = videoStatus(stream.reader.get());
    QCOMPARE(status.frame_count, 4u);
    QCOMPARE(status.first_timestamp, int64_t(1040000));
    QCOMPARE(status.last_timestamp, int64_t(1160000));
    QCOMPARE(status.frame_interval, int64_t(40000));
    QCOMPARE(status.interval_jitter, int64_t(0));
    QCOMPARE(status.frames_written, uint64_t(9));
}

void LookupTest::setFps_firstFrameOfAllIsShown()
{
    Stream const stream({1010000, 1030000, 1050000}, 50, 8);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 25, 1), 0);
    // 1.03 lies in the same cell of the grid as 1.01.
    QCOMPARE(timestamps(stream.reader.get()), (QVector<int64_t>{1010000, 1050000}));
}

void LookupTest::setFps_lookupsSeeShownFramesOnly()
{
    Stream const stream(steadyFrames(10, 50), 50, 8);
    shm_reader_t* const reader = stream.reader.get();
    QCOMPARE(shm_reader_set_fps(reader, 25, 1), 0);
    // In the window are 1.04 to 1.18, shown are 1.04, 1.08, 1.12, 1.16.
    QCOMPARE(timestampFound(reader, 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(1160000));
    QCOMPARE(timestampFound(reader, 1060000, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), int64_t(1040000));
    QCOMPARE(timestampFound(reader, 1060001, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), int64_t(1080000));
    QCOMPARE(timestampFound(reader, 1079999, SHM_VIDEO_LOOKUP_AT_OR_BEFORE), int64_t(1040000));
    QCOMPARE(timestampFound(reader, 1041000, SHM_VIDEO_LOOKUP_AT_OR_AFTER), int64_t(1080000));
    QCOMPARE(timestampFound(reader, 1160001, SHM_VIDEO_LOOKUP_AT_OR_AFTER), int64_t(-1));
    QCOMPARE(timestampFound(reader, 1180000, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), int64_t(1160000));
}

void LookupTest::setFps_fractionalRate()
{
    // 60 to 29.97: instants at n × 33366.67 µs; the 30th is 1001000.0.
    Stream const stream(steadyFrames(6, 60), 60, 8);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 30000, 1001), 0);
    // Frames: 1000000 (first of all), 1016666, 1033333, 1050000, 1066666, 1083333;
    // instants: 1001000, 1034366.7, 1067733.3, 1101100.
    QCOMPARE(
        timestamps(stream.reader.get()), (QVector<int64_t>{1000000, 1016666, 1050000, 1083333}));
    QCOMPARE(videoStatus(stream.reader.get()).frame_interval, int64_t(33367));
}

void LookupTest::setFps_answerStaysWhileTheWindowMoves()
{
    Stream const stream({}, 60, 5);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 24, 1), 0);
    QVector<int64_t> shown;
    for (int64_t timestamp : steadyFrames(121, 60)) {
        shmpicture::publish(stream.writer.get(), timestamp, 1);
        for (int64_t seen : timestamps(stream.reader.get())) {
            if (shown.isEmpty() || seen > shown.last())
                shown.append(seen);
            else
                QVERIFY(shown.contains(seen));
        }
    }
    // Two seconds, both ends included.
    QCOMPARE(shown.size(), 49);
}

void LookupTest::setFps_oneToOneShowsEverything()
{
    Stream const stream(steadyFrames(4, 50), 50);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 25, 1), 0);
    QCOMPARE(videoStatus(stream.reader.get()).frame_count, 2u);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 1, 1), 0);
    QCOMPARE(videoStatus(stream.reader.get()).frame_count, 4u);
    QCOMPARE(videoStatus(stream.reader.get()).frame_interval, int64_t(20000));
}

void LookupTest::setFps_oneFrameASecond()
{
    Stream const stream(
        {900000, 1000000, 1500000, 1999999, 2000001, 2500000, 3000000, 3000001}, 25, 8);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 1000, 1000), 0);
    QCOMPARE(
        timestamps(stream.reader.get()), (QVector<int64_t>{900000, 1000000, 2000001, 3000000}));
    QCOMPARE(videoStatus(stream.reader.get()).frame_interval, int64_t(1000000));
}

void LookupTest::setFps_rateOfTheStreamOrAboveChangesNothing()
{
    // Jittering frames: a grid of their own rate would drop some.
    Stream const stream({1000000, 1041000, 1079000, 1119000}, 25);
    for (unsigned num : {25u, 26u, 50u, UINT_MAX}) {
        QCOMPARE(shm_reader_set_fps(stream.reader.get(), num, 1), 0);
        QCOMPARE(videoStatus(stream.reader.get()).frame_count, 4u);
        QCOMPARE(videoStatus(stream.reader.get()).frame_interval, int64_t(40000));
    }
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 2499, 100), 0);
    QCOMPARE(videoStatus(stream.reader.get()).frame_count, 3u);
}

void LookupTest::setFps_rateAboveMeasuredChangesNothing()
{
    Stream const stream({1000000, 1041000, 1079000, 1119000}, 0);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 30, 1), 0);
    QCOMPARE(videoStatus(stream.reader.get()).frame_count, 4u);
    QCOMPARE(videoStatus(stream.reader.get()).frame_interval, int64_t(39667));
}

void LookupTest::setFps_belowMeasuredRateThins()
{
    Stream const stream(steadyFrames(8, 50), 0, 8);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 25, 1), 0);
    QCOMPARE(
        timestamps(stream.reader.get()), (QVector<int64_t>{1000000, 1040000, 1080000, 1120000}));
    QCOMPARE(videoStatus(stream.reader.get()).frame_interval, int64_t(40000));
}

void LookupTest::setFps_zeroPartIsRefused()
{
    Stream const stream(steadyFrames(4, 50), 50);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 25, 1), 0);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 0, 1), -1);
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 1, 0), -1);
    QCOMPARE(shm_reader_set_fps(nullptr, 25, 1), -1);
    QCOMPARE(videoStatus(stream.reader.get()).frame_count, 2u);
}

void LookupTest::setFps_concernsThisReaderOnly()
{
    Stream const stream(steadyFrames(4, 50), 50);
    Reader const other(shm_reader_open("cam1"));
    QCOMPARE(shm_reader_set_fps(stream.reader.get(), 25, 1), 0);
    QCOMPARE(videoStatus(other.get()).frame_count, 4u);
}

QVORLIN_TEST_MAIN(QCoreApplication, LookupTest)

#include "tst_lookup.moc"
