#include "utils/shmemreader.h"

#include <memory>
#include <thread>
#include <utility>

#include <QVariant>

#include "messagecheck.h"
#include "shmemreaderbench.h"

class TestShmemReaderVideo : public QObject
{
    Q_OBJECT

private slots:
    void videoAtZero_asksForTheNewest();
    void videoAtTimestamp_asksByTimestamp();
    void videoWithMode_asksByThatMode();
    void video_isDescribedByTheLockedFrame();
    void video_isNotCopied();
    void videoWithoutVideo_isInvalid();
    void videoWithoutStream_isInvalid();
    void videoWithoutArea_isInvalidAndUnlocked_data();
    void videoWithoutArea_isInvalidAndUnlocked();
    void videoOutsideSyncRange_isInvalidAndUnlocked();
    void videoCopies_shareOneLock();
    void videoOfClosedReader_staysValid();
    void videoOfReopenedReader_keepsOldHandle();
    void videoOfDestroyedReader_staysValid();
    void videoDroppedOnAnotherThread_isUnlocked();
};

void TestShmemReaderVideo::videoAtZero_asksForTheNewest()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    QVERIFY(bench.reader.grabVideo(0).isValid());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("lock_video 1 0 1; unlock_video 1"));
}

void TestShmemReaderVideo::videoAtTimestamp_asksByTimestamp()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    QVERIFY(bench.reader.grabVideo(5000).isValid());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("lock_video 1 5000 0; unlock_video 1"));
}

void TestShmemReaderVideo::videoWithMode_asksByThatMode()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    QVERIFY(bench.reader.grabVideo(5000, SHM_VIDEO_LOOKUP_AT_OR_AFTER).isValid());
    QVERIFY(bench.reader.grabVideo(0, SHM_VIDEO_LOOKUP_BY_TIMESTAMP).isValid());

    QCOMPARE(bench.takeCalls(),
        FakeShm::calls("lock_video 1 5000 3; unlock_video 1; lock_video 1 0 0; unlock_video 1"));
}

void TestShmemReaderVideo::video_isDescribedByTheLockedFrame()
{
    Bench bench;
    bench.shm.publishVideo(1920, 1080, Now);
    // The frame may differ from the format, when that has just changed.
    bench.shm.frame.width = 64;
    bench.shm.frame.height = 36;

    QVideoFrame const frame = bench.reader.grabVideo(5000);

    QCOMPARE(frame.size(), QSize(64, 36));
    QCOMPARE(frame.pixelFormat(), QVideoFrame::Format_YUV420P);
    QCOMPARE(frame.handleType(), QAbstractVideoBuffer::NoHandle);
    QCOMPARE(frame.startTime(), Now);
    QCOMPARE(frame.endTime(), qint64{-1});
    QCOMPARE(frame.fieldType(), QVideoFrame::ProgressiveFrame);
    QVariantMap const metaData = frame.availableMetaData();
    QCOMPARE(metaData.keys(), QStringList(QStringLiteral("shmname")));
    QVariant const name = metaData.value(QStringLiteral("shmname"));
    QCOMPARE(name.userType(), int{QMetaType::QByteArray});
    QCOMPARE(name.toByteArray(), QByteArray("camera"));
}

void TestShmemReaderVideo::video_isNotCopied()
{
    Bench bench;
    uint8_t planes[3] = {1, 2, 3};
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.frame.plane0 = &planes[0];
    bench.shm.frame.plane1 = &planes[1];
    bench.shm.frame.plane2 = &planes[2];

    QVideoFrame frame = bench.reader.grabVideo(0);

    QVERIFY(frame.map(QAbstractVideoBuffer::ReadOnly));
    QCOMPARE(frame.planeCount(), 3);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(static_cast<void*>(frame.bits(i)), static_cast<void*>(&planes[i]));
    frame.unmap();
}

void TestShmemReaderVideo::videoWithoutVideo_isInvalid()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();

    QVERIFY(!bench.reader.grabVideo(0).isValid());

    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReaderVideo::videoWithoutStream_isInvalid()
{
    Bench bench;

    QVERIFY(!bench.reader.grabVideo(0).isValid());
    QVERIFY(!bench.reader.grabVideo(0, SHM_VIDEO_LOOKUP_LATEST).isValid());
}

void TestShmemReaderVideo::videoWithoutArea_isInvalidAndUnlocked_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("locked");

    QTest::newRow("no frame") << 0 << 0 << false;
    QTest::newRow("no width") << 0 << 2 << true;
    QTest::newRow("no height") << 4 << 0 << true;
    QTest::newRow("negative width") << -4 << 2 << true;
    QTest::newRow("negative height") << 4 << -2 << true;
}

void TestShmemReaderVideo::videoWithoutArea_isInvalidAndUnlocked()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, locked);
    Bench bench;
    uint8_t plane = 0;
    bench.shm.publishVideo(width, height, Now);
    bench.shm.frame.plane0 = locked ? &plane : nullptr;
    bench.shm.noPlanes = true;
    bench.settle();

    QVERIFY(!bench.reader.grabVideo(0).isValid());

    QCOMPARE(bench.takeCalls(),
        FakeShm::calls(locked ? "lock_video 1 0 1; unlock_video 1" : "lock_video 1 0 1"));
}

void TestShmemReaderVideo::videoOutsideSyncRange_isInvalidAndUnlocked()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now - 1000001);
    bench.reader.setRealtimeSyncRange(-1000, 0);
    bench.settle();

    // The locked frame's time counts, not the one asked for.
    QVERIFY(!bench.reader.grabVideo(Now).isValid());
    QCOMPARE(bench.takeCalls(), QStringList() << QStringLiteral("lock_video 1 %1 0").arg(Now)
                                              << QStringLiteral("unlock_video 1"));

    bench.shm.frame.timestamp = Now - 1000000;
    QVERIFY(bench.reader.grabVideo(1).isValid());
}

void TestShmemReaderVideo::videoCopies_shareOneLock()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);

    QVideoFrame frame = bench.reader.grabVideo(0);
    QVideoFrame copy = frame;
    frame = QVideoFrame();
    QCOMPARE(bench.shm.lockedFrames(), 1);

    copy = QVideoFrame();
    QCOMPARE(bench.shm.lockedFrames(), 0);
}

void TestShmemReaderVideo::videoOfClosedReader_staysValid()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    QVideoFrame frame = bench.reader.grabVideo(0);
    bench.takeCalls();

    bench.reader.close();
    QCOMPARE(bench.takeCalls(), QStringList());
    QVERIFY(frame.map(QAbstractVideoBuffer::ReadOnly));
    QCOMPARE(frame.bits(0)[0], uchar{0});
    frame.unmap();

    frame = QVideoFrame();
    QCOMPARE(bench.takeCalls(), FakeShm::calls("unlock_video 1; close 1"));
}

void TestShmemReaderVideo::videoOfReopenedReader_keepsOldHandle()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    QVideoFrame frame = bench.reader.grabVideo(0);
    QVideoFrame other = bench.reader.grabVideo(0);
    bench.reader.open();
    QVideoFrame newer = bench.reader.grabVideo(0);
    QCOMPARE(bench.shm.openHandles(), 2);
    bench.takeCalls();

    frame = QVideoFrame();
    newer = QVideoFrame();
    QCOMPARE(bench.takeCalls(), FakeShm::calls("unlock_video 1; unlock_video 2"));

    other = QVideoFrame();
    QCOMPARE(bench.takeCalls(), FakeShm::calls("unlock_video 1; close 1"));
}

void TestShmemReaderVideo::videoOfDestroyedReader_staysValid()
{
    FakeShm shm;
    shm.publishVideo(4, 2, Now);
    auto reader = std::make_unique<ShmemReader>(QStringLiteral("camera"));
    QVideoFrame frame = reader->grabVideo(0);

    reader.reset();

    QCOMPARE(shm.openHandles(), 1);
    QVERIFY(frame.map(QAbstractVideoBuffer::ReadOnly));
    QCOMPARE(frame.bits(0)[0], uchar{0});
    frame.unmap();
    frame = QVideoFrame();
    QCOMPARE(shm.openHandles(), 0);
}

void TestShmemReaderVideo::videoDroppedOnAnotherThread_isUnlocked()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    QVideoFrame frame = bench.reader.grabVideo(0);

    // While this thread is in the reader; the last copy needs no lock of it.
    std::thread dropping(
        [frame = std::exchange(frame, QVideoFrame())]() mutable { frame = QVideoFrame(); });
    for (int i = 0; i < 100; ++i)
        bench.reader.getVideoStatus();
    dropping.join();

    QCOMPARE(bench.shm.lockedFrames(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestShmemReaderVideo)
#include "tst_shmemreader_video.moc"
