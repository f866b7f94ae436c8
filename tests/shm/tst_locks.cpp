#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <cstring>
#include <vector>

#include <QCoreApplication>
#include <QTest>

using namespace shmtest;

namespace {

shm_video_frame_t lockNewest(shm_reader_t* reader)
{
    shm_video_frame_t frame = request(0);
    shm_reader_lock_video(reader, &frame, SHM_VIDEO_LOOKUP_LATEST);
    return frame;
}

} // namespace

class LocksTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void lockedFrame_staysWhileAThousandFollow();
    void lockedFrame_staysAfterReaderIsClosed();
    void lockedFrame_staysAfterWriterIsClosed();
    void lockedFrame_staysAfterTheNameIsTakenOver();
    void severalLocksOnOneFrame_areCounted();
    void unlock_twiceEndsNoOtherLock();
    void unlock_ofACopyEndsNoOtherLock();
    void unlock_ofAnAlteredRecordIsIgnored();
    void unlock_ofWrongArgumentsIsIgnored();
    void unlock_throughAnotherHandleIsIgnored();
    void closedReader_heldByAFrameReadsAsAbsent();
    void tooManyLocks_failAndRecover();
    void mediaAreReadOnlyForReaders();

private:
    void publish(int64_t timestamp)
    {
        QVERIFY(shmpicture::publish(mWriter.get(), timestamp, uint64_t(timestamp)));
    }

    std::unique_ptr<Place> mPlace;
    Writer mWriter;
    Reader mReader;
};

void LocksTest::init()
{
    mPlace = std::make_unique<Place>();
    mWriter = openWriter(videoConfig("cam1"));
    mReader.reset(shm_reader_open("cam1"));
    QVERIFY(mReader);
    publish(1);
}

void LocksTest::cleanup()
{
    mReader.reset();
    mWriter.reset();
    mPlace.reset();
}

void LocksTest::lockedFrame_staysWhileAThousandFollow()
{
    shm_video_frame_t frame = lockNewest(mReader.get());
    for (int64_t i = 2; i <= 1001; ++i)
        publish(i);
    QVERIFY(shmpicture::isIntact(frame));
    QCOMPARE(shmpicture::seedOf(frame), uint64_t(1));
    QCOMPARE(frame.timestamp, int64_t(1));
    shm_reader_unlock_video(mReader.get(), &frame);
    QCOMPARE(statistics(mWriter.get()).pins, 0u);
}

void LocksTest::lockedFrame_staysAfterReaderIsClosed()
{
    shm_reader_t* const handle = mReader.get();
    shm_video_frame_t frame = lockNewest(handle);
    mReader.reset();
    for (int64_t i = 2; i <= 1001; ++i)
        publish(i);
    QVERIFY(shmpicture::isIntact(frame));
    QCOMPARE(shmpicture::seedOf(frame), uint64_t(1));
    QCOMPARE(statistics(mWriter.get()).pinned_slots, 1u);
    QCOMPARE(statistics(mWriter.get()).readers, 1u);

    shm_reader_unlock_video(handle, &frame);
    QCOMPARE(statistics(mWriter.get()).pinned_slots, 0u);
    QCOMPARE(statistics(mWriter.get()).readers, 0u);
}

void LocksTest::lockedFrame_staysAfterWriterIsClosed()
{
    shm_video_frame_t frame = lockNewest(mReader.get());
    mWriter.reset();
    QCOMPARE(shm_reader_is_ready(mReader.get()), 0);
    QVERIFY(shmpicture::isIntact(frame));
    QCOMPARE(shmpicture::seedOf(frame), uint64_t(1));
    shm_reader_unlock_video(mReader.get(), &frame);
    QVERIFY(!frame.plane0);
}

void LocksTest::lockedFrame_staysAfterTheNameIsTakenOver()
{
    shm_video_frame_t frame = lockNewest(mReader.get());
    mWriter.reset();
    mWriter = openWriter(videoConfig("cam1"));
    QVERIFY(mWriter);
    for (int64_t i = 2; i <= 1001; ++i)
        publish(i);
    QVERIFY(shmpicture::isIntact(frame));
    QCOMPARE(shmpicture::seedOf(frame), uint64_t(1));
    // The old handle stays with its old stream.
    QCOMPARE(shm_reader_is_ready(mReader.get()), 0);
    QCOMPARE(statistics(mWriter.get()).pins, 0u);
    shm_reader_unlock_video(mReader.get(), &frame);
}

void LocksTest::severalLocksOnOneFrame_areCounted()
{
    // More than one byte can count.
    std::vector<shm_video_frame_t> frames;
    for (int i = 0; i < 300; ++i)
        frames.push_back(lockNewest(mReader.get()));
    QCOMPARE(statistics(mWriter.get()).pins, 300u);
    QCOMPARE(statistics(mWriter.get()).pinned_slots, 1u);
    for (int i = 0; i < 299; ++i)
        shm_reader_unlock_video(mReader.get(), &frames[size_t(i)]);
    QCOMPARE(statistics(mWriter.get()).pins, 1u);
    for (int64_t i = 2; i < 100; ++i)
        publish(i);
    QCOMPARE(shmpicture::seedOf(frames.back()), uint64_t(1));
    shm_reader_unlock_video(mReader.get(), &frames.back());
    QCOMPARE(statistics(mWriter.get()).pins, 0u);
}

void LocksTest::unlock_twiceEndsNoOtherLock()
{
    shm_video_frame_t first = lockNewest(mReader.get());
    shm_video_frame_t second = lockNewest(mReader.get());
    shm_reader_unlock_video(mReader.get(), &first);
    shm_reader_unlock_video(mReader.get(), &first);
    QCOMPARE(statistics(mWriter.get()).pins, 1u);
    shm_reader_unlock_video(mReader.get(), &second);
}

void LocksTest::unlock_ofACopyEndsNoOtherLock()
{
    shm_video_frame_t first = lockNewest(mReader.get());
    shm_video_frame_t copy = first;
    shm_reader_unlock_video(mReader.get(), &first);
    std::vector<shm_video_frame_t> others;
    for (int i = 0; i < 1024; ++i)
        others.push_back(lockNewest(mReader.get()));
    QVERIFY(others.back().plane0);
    shm_reader_unlock_video(mReader.get(), &copy);
    QVERIFY(!copy.plane0);
    QCOMPARE(statistics(mWriter.get()).pins, 1024u);
    for (shm_video_frame_t& other : others)
        shm_reader_unlock_video(mReader.get(), &other);
}

void LocksTest::unlock_ofAnAlteredRecordIsIgnored()
{
    shm_video_frame_t frame = lockNewest(mReader.get());
    for (int bit = 0; bit < 64; ++bit) {
        shm_video_frame_t altered = frame;
        altered.lock ^= uint64_t(1) << bit;
        shm_reader_unlock_video(mReader.get(), &altered);
        QCOMPARE(statistics(mWriter.get()).pins, 1u);
    }
    shm_reader_unlock_video(mReader.get(), &frame);
    QCOMPARE(statistics(mWriter.get()).pins, 0u);
}

void LocksTest::unlock_ofWrongArgumentsIsIgnored()
{
    shm_video_frame_t frame = lockNewest(mReader.get());
    shm_reader_unlock_video(mReader.get(), nullptr);
    shm_video_frame_t copy = frame;
    shm_reader_unlock_video(nullptr, &copy);
    shm_video_frame_t never = {};
    shm_reader_unlock_video(mReader.get(), &never);
    QCOMPARE(statistics(mWriter.get()).pins, 1u);
    shm_reader_unlock_video(mReader.get(), &frame);
    QCOMPARE(shm_reader_lock_video(mReader.get(), nullptr, SHM_VIDEO_LOOKUP_LATEST), -1);
    QCOMPARE(shm_reader_lock_video(nullptr, &frame, SHM_VIDEO_LOOKUP_LATEST), -1);
}

void LocksTest::unlock_throughAnotherHandleIsIgnored()
{
    Reader const other(shm_reader_open("cam1"));
    shm_video_frame_t frame = lockNewest(mReader.get());
    shm_video_frame_t own = lockNewest(other.get());
    shm_video_frame_t copy = frame;
    copy.lock += uint64_t(1) << 40;
    shm_reader_unlock_video(other.get(), &copy);
    QCOMPARE(statistics(mWriter.get()).pins, 2u);
    shm_reader_unlock_video(other.get(), &own);
    shm_reader_unlock_video(mReader.get(), &frame);
}

void LocksTest::closedReader_heldByAFrameReadsAsAbsent()
{
    shm_reader_t* const handle = mReader.get();
    shm_video_frame_t frame = lockNewest(handle);
    mReader.reset();
    QCOMPARE(shm_reader_is_ready(handle), 0);
    shm_reader_format_t format;
    QCOMPARE(shm_reader_get_format(handle, &format), -1);
    QCOMPARE(format.valid, 0u);
    shm_video_status_t status;
    QCOMPARE(shm_reader_get_video_status(handle, &status), -1);
    int64_t timestamp = 0;
    QCOMPARE(shm_reader_get_video_timestamps(handle, &timestamp, 1), -1);
    QVERIFY(!lockNewest(handle).plane0);
    QCOMPARE(shm_reader_set_fps(handle, 25, 1), -1);
    shm_reader_close(handle);
    QVERIFY(shmpicture::isIntact(frame));
    shm_reader_unlock_video(handle, &frame);
}

void LocksTest::tooManyLocks_failAndRecover()
{
    std::vector<shm_video_frame_t> frames;
    for (int i = 0; i < 1024; ++i)
        frames.push_back(lockNewest(mReader.get()));
    QVERIFY(frames.back().plane0);
    QVERIFY(!lockNewest(mReader.get()).plane0);
    QCOMPARE(statistics(mWriter.get()).pins, 1024u);
    shm_reader_unlock_video(mReader.get(), &frames.front());
    frames.front() = lockNewest(mReader.get());
    QVERIFY(frames.front().plane0);
    for (shm_video_frame_t& frame : frames)
        shm_reader_unlock_video(mReader.get(), &frame);
    QCOMPARE(statistics(mWriter.get()).pins, 0u);
}

void LocksTest::mediaAreReadOnlyForReaders()
{
    shm_video_frame_t frame = lockNewest(mReader.get());
    // The kernel's own word on the mapping that the frame lies in.
    QFile maps(QStringLiteral("/proc/self/maps"));
    QVERIFY(maps.open(QIODevice::ReadOnly));
    QByteArray permissions;
    for (QByteArray const& line : maps.readAll().split('\n')) {
        QList<QByteArray> const range = line.left(line.indexOf(' ')).split('-');
        auto const address = reinterpret_cast<uintptr_t>(frame.plane0);
        if (range.size() == 2 && address >= range[0].toULongLong(nullptr, 16) &&
            address < range[1].toULongLong(nullptr, 16))
            permissions = line.mid(line.indexOf(' ') + 1, 4);
    }
    QCOMPARE(permissions, QByteArray("r--s"));
    shm_reader_unlock_video(mReader.get(), &frame);
}

QVORLIN_TEST_MAIN(QCoreApplication, LocksTest)

#include "tst_locks.moc"
