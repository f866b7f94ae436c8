#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <cerrno>
#include <vector>

#include <QCoreApplication>
#include <QTest>

using namespace shmtest;

namespace {

/** A stream of eight slots, four of them visible, all held by a reader. */
struct FullHouse
{
    FullHouse()
    {
        for (int64_t timestamp = 1; timestamp <= 8; ++timestamp) {
            shmpicture::publish(writer.get(), timestamp, uint64_t(timestamp));
            locked.push_back(request(timestamp));
            shm_reader_lock_video(reader.get(), &locked.back(), SHM_VIDEO_LOOKUP_LATEST);
        }
    }
    ~FullHouse()
    {
        for (shm_video_frame_t& frame : locked)
            shm_reader_unlock_video(reader.get(), &frame);
    }

    Place place;
    Writer writer = openWriter(videoConfig("cam1"));
    Reader reader{shm_reader_open("cam1")};
    std::vector<shm_video_frame_t> locked;
};

} // namespace

class WriterTest : public QObject
{
    Q_OBJECT

private slots:
    void acquiredFrame_hasAlignedPlanesWithPadding();
    void lines_areAsWideAsTheTexturesForThem();
    void commit_publishesOnlyThen();
    void commit_refusesTimestampThatDoesNotAscend();
    void commit_twiceIsRefused();
    void commit_ofForeignFrameIsRefused();
    void release_withoutCommitFreesTheSlot();
    void held_frameStaysAfterItLeftTheWindow();
    void hold_ofFrameNotHeldIsRefused();
    void acquire_manyAtOnce();
    void everySlotHeld_dropsAndCounts();
    void everySlotHeld_recoversWithOneUnlock();
    void pinnedOldestFrames_areSteppedOver();
    void fullHouse_keepsTheVisibleFrames();
    void statistics_countWhatIsHeld();
    void wrongArguments_areRefused();
};

void WriterTest::acquiredFrame_hasAlignedPlanesWithPadding()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.video_width = 1919;
    config.video_height = 1079;
    Writer const writer = openWriter(config);
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    for (int plane = 0; plane < 3; ++plane)
        QCOMPARE(reinterpret_cast<uintptr_t>(frame.plane[plane]) % 64, uintptr_t(0));
    QCOMPARE(frame.stride[0], 1920);
    QCOMPARE(frame.stride[1], 960);
    QCOMPARE(frame.stride[2], 960);
    QCOMPARE(frame.lines[0], 1088 + 16);
    QCOMPARE(frame.lines[1], (1088 + 16) / 2);
    QCOMPARE(frame.lines[2], (1088 + 16) / 2);
    QVERIFY(frame.plane[1] >= frame.plane[0] + frame.stride[0] * frame.lines[0]);
    QVERIFY(frame.plane[2] >= frame.plane[1] + frame.stride[1] * frame.lines[1]);
    shm_writer_release_frame(writer.get(), &frame);
}

void WriterTest::lines_areAsWideAsTheTexturesForThem()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.video_width = 642;
    config.video_height = 361;
    Writer const writer = openWriter(config);
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    QCOMPARE(frame.stride[0], 644);
    QCOMPARE(frame.stride[1], 324);
    QCOMPARE(frame.stride[2], 324);
    for (int plane = 0; plane < 3; ++plane)
        QCOMPARE(reinterpret_cast<uintptr_t>(frame.plane[plane]) % 64, uintptr_t(0));
    shm_writer_release_frame(writer.get(), &frame);
}

void WriterTest::commit_publishesOnlyThen()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    QCOMPARE(videoStatus(reader.get()).frame_count, 0u);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 7), 0);
    QCOMPARE(videoStatus(reader.get()).frame_count, 1u);
    QCOMPARE(videoStatus(reader.get()).last_timestamp, int64_t(7));
}

void WriterTest::commit_refusesTimestampThatDoesNotAscend()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    QVERIFY(shmpicture::publish(writer.get(), 100, 1));
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    for (int64_t timestamp : {int64_t(100), int64_t(99), INT64_MIN}) {
        errno = 0;
        QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, timestamp), -1);
        QCOMPARE(errno, EINVAL);
    }
    // The hold is as it was.
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 101), 0);
    QCOMPARE(videoStatus(reader.get()).last_timestamp, int64_t(101));
}

void WriterTest::commit_twiceIsRefused()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    QCOMPARE(shm_writer_hold_frame(writer.get(), &frame), 0);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 1), 0);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 2), -1);
    QCOMPARE(shm_writer_release_frame(writer.get(), &frame), 0);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 2), -1);
    QCOMPARE(shm_writer_release_frame(writer.get(), &frame), -1);
}

void WriterTest::commit_ofForeignFrameIsRefused()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    shm_writer_frame_t frame = {};
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 1), -1);
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    shm_writer_frame_t altered = frame;
    altered.slot = UINT32_MAX;
    QCOMPARE(shm_writer_commit_frame(writer.get(), &altered, 1), -1);
    altered = frame;
    ++altered.generation;
    QCOMPARE(shm_writer_commit_frame(writer.get(), &altered, 1), -1);
    QCOMPARE(errno, EINVAL);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 1), 0);
}

void WriterTest::release_withoutCommitFreesTheSlot()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    for (int i = 0; i < 100; ++i) {
        shm_writer_frame_t frame;
        QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
        QCOMPARE(shm_writer_release_frame(writer.get(), &frame), 0);
        QCOMPARE(shm_writer_release_frame(writer.get(), &frame), -1);
        QCOMPARE(errno, EINVAL);
    }
    QCOMPARE(videoStatus(reader.get()).frames_written, uint64_t(0));
}

void WriterTest::held_frameStaysAfterItLeftTheWindow()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    shm_writer_frame_t held;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &held), 0);
    shmpicture::fill(held, 1);
    QCOMPARE(shm_writer_hold_frame(writer.get(), &held), 0);
    QCOMPARE(shm_writer_hold_frame(writer.get(), &held), 0);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &held, 1), 0);
    QCOMPARE(shm_writer_release_frame(writer.get(), &held), 0);
    for (int64_t i = 2; i < 200; ++i)
        QVERIFY(shmpicture::publish(writer.get(), i, uint64_t(i)));
    size_t const size = size_t(held.stride[0]) * size_t(held.lines[0]);
    QVERIFY(shmpicture::isPlaneIntact(held.plane[0], size, 1));
    QCOMPARE(shm_writer_release_frame(writer.get(), &held), 0);
    for (int64_t i = 200; i < 210; ++i)
        QVERIFY(shmpicture::publish(writer.get(), i, uint64_t(i)));
    QVERIFY(!shmpicture::isPlaneIntact(held.plane[0], size, 1));
}

void WriterTest::hold_ofFrameNotHeldIsRefused()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    shm_writer_frame_t frame;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
    QCOMPARE(shm_writer_commit_frame(writer.get(), &frame, 1), 0);
    QCOMPARE(shm_writer_hold_frame(writer.get(), &frame), -1);
    QCOMPARE(errno, EINVAL);
}

void WriterTest::acquire_manyAtOnce()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    // A decoder takes several and commits them in another order.
    shm_writer_frame_t frames[4];
    for (unsigned i = 0; i < 4; ++i) {
        QCOMPARE(shm_writer_acquire_frame(writer.get(), &frames[i]), 0);
        shmpicture::fill(frames[i], i);
    }
    int64_t timestamp = 0;
    for (int i : {2, 0, 3, 1})
        QCOMPARE(shm_writer_commit_frame(writer.get(), &frames[i], ++timestamp), 0);
    timestamp = 0;
    for (uint64_t seed : {2, 0, 3, 1}) {
        shm_video_frame_t frame = request(++timestamp);
        QCOMPARE(shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), 0);
        QCOMPARE(shmpicture::seedOf(frame), seed);
        shm_reader_unlock_video(reader.get(), &frame);
    }
}

void WriterTest::everySlotHeld_dropsAndCounts()
{
    FullHouse const house;
    shm_writer_frame_t frame;
    for (int i = 0; i < 3; ++i) {
        errno = 0;
        QCOMPARE(shm_writer_acquire_frame(house.writer.get(), &frame), -1);
        QCOMPARE(errno, EAGAIN);
        QVERIFY(!frame.plane[0]);
    }
    QCOMPARE(videoStatus(house.reader.get()).frames_dropped, uint64_t(3));
    QCOMPARE(videoStatus(house.reader.get()).frames_written, uint64_t(8));
    QCOMPARE(statistics(house.writer.get()).video_frames_dropped, uint64_t(3));
    QCOMPARE(statistics(house.writer.get()).pinned_slots, 8u);
    for (size_t i = 0; i < house.locked.size(); ++i) {
        QCOMPARE(shmpicture::seedOf(house.locked[i]), uint64_t(i + 1));
        QVERIFY(shmpicture::isIntact(house.locked[i]));
    }
}

void WriterTest::everySlotHeld_recoversWithOneUnlock()
{
    FullHouse house;
    QVERIFY(!shmpicture::publish(house.writer.get(), 9, 9));
    shm_reader_unlock_video(house.reader.get(), &house.locked[5]);
    QVERIFY(shmpicture::publish(house.writer.get(), 9, 9));
    QCOMPARE(timestampFound(house.reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(9));
}

void WriterTest::pinnedOldestFrames_areSteppedOver()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.video_spare_count = 1;
    Writer const writer = openWriter(config);
    Reader const reader(shm_reader_open("cam1"));
    for (int64_t timestamp = 1; timestamp <= 4; ++timestamp)
        QVERIFY(shmpicture::publish(writer.get(), timestamp, uint64_t(timestamp)));
    shm_video_frame_t first = request(1);
    shm_video_frame_t second = request(2);
    QCOMPARE(shm_reader_lock_video(reader.get(), &first, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), 0);
    QCOMPARE(shm_reader_lock_video(reader.get(), &second, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), 0);
    for (int64_t timestamp = 5; timestamp <= 50; ++timestamp)
        QVERIFY(shmpicture::publish(writer.get(), timestamp, uint64_t(timestamp)));
    QCOMPARE(statistics(writer.get()).video_frames_dropped, uint64_t(0));
    // Five slots, two of them held: no more than three frames can be visible.
    QCOMPARE(videoStatus(reader.get()).frame_count, 3u);
    QVERIFY(shmpicture::isIntact(first) && shmpicture::seedOf(first) == 1);
    QVERIFY(shmpicture::isIntact(second) && shmpicture::seedOf(second) == 2);
    shm_reader_unlock_video(reader.get(), &first);
    shm_reader_unlock_video(reader.get(), &second);
    for (int64_t timestamp = 51; timestamp <= 60; ++timestamp)
        QVERIFY(shmpicture::publish(writer.get(), timestamp, uint64_t(timestamp)));
    QCOMPARE(videoStatus(reader.get()).frame_count, 4u);
}

void WriterTest::fullHouse_keepsTheVisibleFrames()
{
    FullHouse const house;
    QVERIFY(!shmpicture::publish(house.writer.get(), 9, 9));
    shm_video_status_t const status = videoStatus(house.reader.get());
    QCOMPARE(status.frame_count, 4u);
    QCOMPARE(status.first_timestamp, int64_t(5));
    QCOMPARE(status.last_timestamp, int64_t(8));
}

void WriterTest::statistics_countWhatIsHeld()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.audio_sample_rate = 48000;
    config.audio_channels = 2;
    Writer const writer = openWriter(config);
    QCOMPARE(statistics(writer.get()).readers, 0u);
    QCOMPARE(statistics(writer.get()).slot_count, 8u);
    Reader const one(shm_reader_open("cam1"));
    {
        Reader const two(shm_reader_open("cam1"));
        QCOMPARE(statistics(writer.get()).readers, 2u);
    }
    QCOMPARE(statistics(writer.get()).readers, 1u);
    shmpicture::publish(writer.get(), 1, 1);
    shmpicture::publish(writer.get(), 2, 2);
    int16_t const samples[20] = {};
    QCOMPARE(shm_writer_append_audio(writer.get(), samples, 10, 1000), 0);
    QCOMPARE(shm_writer_append_audio(writer.get(), samples, 5, 900000), 0);
    shm_video_frame_t frames[3] = {request(1), request(1), request(2)};
    for (shm_video_frame_t& frame : frames)
        QCOMPARE(shm_reader_lock_video(one.get(), &frame, SHM_VIDEO_LOOKUP_BY_TIMESTAMP), 0);
    shm_writer_statistics_t const values = statistics(writer.get());
    QCOMPARE(values.video_frames_written, uint64_t(2));
    QCOMPARE(values.audio_frames_written, uint64_t(15));
    QCOMPARE(values.audio_breaks, uint64_t(1));
    QCOMPARE(values.pinned_slots, 2u);
    QCOMPARE(values.pins, 3u);
    for (shm_video_frame_t& frame : frames)
        shm_reader_unlock_video(one.get(), &frame);
    QCOMPARE(statistics(writer.get()).pins, 0u);
}

void WriterTest::wrongArguments_areRefused()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    shm_writer_frame_t frame;
    shm_writer_statistics_t values;
    int16_t const samples[2] = {};
    shm_writer_close(nullptr);
    QCOMPARE(shm_writer_acquire_frame(nullptr, &frame), -1);
    QCOMPARE(shm_writer_acquire_frame(writer.get(), nullptr), -1);
    QCOMPARE(shm_writer_commit_frame(nullptr, &frame, 1), -1);
    QCOMPARE(shm_writer_commit_frame(writer.get(), nullptr, 1), -1);
    QCOMPARE(shm_writer_hold_frame(nullptr, &frame), -1);
    QCOMPARE(shm_writer_hold_frame(writer.get(), nullptr), -1);
    QCOMPARE(shm_writer_release_frame(nullptr, &frame), -1);
    QCOMPARE(shm_writer_release_frame(writer.get(), nullptr), -1);
    QCOMPARE(shm_writer_get_statistics(nullptr, &values), -1);
    QCOMPARE(shm_writer_get_statistics(writer.get(), nullptr), -1);
    // The stream has no audio.
    QCOMPARE(shm_writer_append_audio(writer.get(), samples, 1, 1), -1);
    QCOMPARE(errno, EINVAL);
    QCOMPARE(shm_writer_append_audio(nullptr, samples, 1, 1), -1);
}

QVORLIN_TEST_MAIN(QCoreApplication, WriterTest)

#include "tst_writer.moc"
