#include "utils/shmemreader.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

#include "messagecheck.h"
#include "objectlayout.h"
#include "shmemreaderbench.h"

class TestShmemReader : public QObject
{
    Q_OBJECT

private slots:
    void construct_opensNothing();
    void open_asksForTheNameInUtf8();
    void openMissingStream_fails();
    void openWithoutFormat_closesHandleAtOnce();
    void openAgain_replacesHandle();
    void openAgainAfterLoss_closesOldHandle();
    void openAgainWithoutFormat_closesBothHandles();
    void firstAccess_opens();
    void firstAccessAfterOpen_checksLiveness();
    void firstAccessAfterFailedOpen_triesAgainAtOnce();
    void absentStream_isTriedOnceASecond();
    void openStream_isCheckedOnceASecond();
    void liveStream_isTrustedFromItsLastCheck();
    void lostStream_isReopenedInTheSameAccess();
    void lostStreamThatStaysAway_closesAndIsTriedAgain();
    void close_closesHandle();
    void accessAfterClose_opensAgain();
    void destroy_closesHandle();
    void videoFrameSize_isTheStreams();
    void videoFrameSizeWithoutVideo_isInvalid();
    void videoStatus_isTheStreams();
    void videoStatusWithoutVideo_isZero();
    void videoTimestamps_areCutToWhatIsThere();
    void videoTimestampsWithoutResult_areEmpty_data();
    void videoTimestampsWithoutResult_areEmpty();
    void videoTimestampsAboveCapacity_areCut();
    void videoTimestampsWithoutSlots_areEmpty_data();
    void videoTimestampsWithoutSlots_areEmpty();
    void videoTimestampsWithoutVideo_areEmpty();
    void callsOfSeveralThreads_areSerialised();
    void members_keepTheirOrder();
};

void TestShmemReader::construct_opensNothing()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);

    QCOMPARE(bench.takeCalls(), QStringList());
    QCOMPARE(bench.reader.name(), QByteArray("camera"));
}

void TestShmemReader::open_asksForTheNameInUtf8()
{
    FakeShm shm;
    shm.publishVideo(4, 2, Now);
    ShmemReader reader(QString::fromUtf8("Bühne ½"));

    QVERIFY(reader.open());

    QCOMPARE(shm.takeCalls(), FakeShm::calls("open Bühne ½; get_format 1; set_fps 1 1 1"));
    QCOMPARE(reader.name(), QByteArray("Bühne ½"));
}

void TestShmemReader::openMissingStream_fails()
{
    Bench bench;

    QVERIFY(!bench.reader.open());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera"));
}

void TestShmemReader::openWithoutFormat_closesHandleAtOnce()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.valid = 0;

    QVERIFY(!bench.reader.open());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; get_format 1; close 1"));
}

void TestShmemReader::openAgain_replacesHandle()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    QVERIFY(bench.reader.open());

    QCOMPARE(
        bench.takeCalls(), FakeShm::calls("open camera; close 1; get_format 2; set_fps 2 1 1"));
}

void TestShmemReader::openAgainAfterLoss_closesOldHandle()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.shm.exists = false;

    QVERIFY(!bench.reader.open());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; close 1"));
}

void TestShmemReader::openAgainWithoutFormat_closesBothHandles()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.shm.format.valid = 0;

    QVERIFY(!bench.reader.open());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; close 1; get_format 2; close 2"));
}

void TestShmemReader::firstAccess_opens()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);

    bench.reader.getVideoFrameSize();

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; get_format 1; set_fps 1 1 1"));
}

void TestShmemReader::firstAccessAfterOpen_checksLiveness()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.reader.open();
    bench.takeCalls();

    bench.reader.getVideoFrameSize();

    QCOMPARE(bench.takeCalls(), FakeShm::calls("is_ready 1"));
}

void TestShmemReader::firstAccessAfterFailedOpen_triesAgainAtOnce()
{
    Bench bench;
    bench.reader.open();
    bench.takeCalls();

    bench.reader.getVideoFrameSize();

    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera"));
}

void TestShmemReader::absentStream_isTriedOnceASecond()
{
    Bench bench;
    bench.reader.getVideoFrameSize();
    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera"));

    bench.clock.advance(999);
    bench.shm.publishVideo(4, 2, Now);
    QVERIFY(!bench.reader.grabVideo(0).isValid());
    QCOMPARE(bench.takeCalls(), QStringList());

    bench.clock.advance(1);
    QVERIFY(bench.reader.grabVideo(0).isValid());
    QCOMPARE(bench.takeCalls().first(), QStringLiteral("open camera"));
}

void TestShmemReader::openStream_isCheckedOnceASecond()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.reader.getVideoFrameSize();
    bench.takeCalls();

    bench.clock.advance(999);
    bench.reader.getVideoFrameSize();
    QCOMPARE(bench.takeCalls(), QStringList());

    bench.clock.advance(1);
    bench.reader.getVideoFrameSize();
    QCOMPARE(bench.takeCalls(), FakeShm::calls("is_ready 1"));
}

void TestShmemReader::liveStream_isTrustedFromItsLastCheck()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.clock.advance(1700);
    bench.reader.getVideoFrameSize();
    bench.takeCalls();

    // More than a second after the check before, less than one after the last.
    bench.clock.advance(999);
    bench.shm.ready = false;

    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(4, 2));
    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReader::lostStream_isReopenedInTheSameAccess()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.shm.ready = false;
    bench.shm.publishVideo(8, 6, Now);
    bench.clock.advance(1000);

    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(8, 6));

    QCOMPARE(bench.takeCalls(),
        FakeShm::calls("is_ready 1; open camera; close 1; get_format 2; set_fps 2 1 1"));
}

void TestShmemReader::lostStreamThatStaysAway_closesAndIsTriedAgain()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.shm.ready = false;
    bench.shm.exists = false;
    bench.clock.advance(1000);

    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(-1, -1));
    QCOMPARE(bench.takeCalls(), FakeShm::calls("is_ready 1; open camera; close 1"));

    bench.clock.advance(999);
    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(-1, -1));
    QCOMPARE(bench.takeCalls(), QStringList());

    bench.clock.advance(1);
    bench.reader.getVideoFrameSize();
    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera"));
}

void TestShmemReader::close_closesHandle()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    bench.reader.close();
    bench.reader.close();

    QCOMPARE(bench.takeCalls(), FakeShm::calls("close 1"));
}

void TestShmemReader::accessAfterClose_opensAgain()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    bench.reader.close();
    bench.takeCalls();

    // An absent stream is looked for once a second, a closed one is no exception.
    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(-1, -1));
    QCOMPARE(bench.takeCalls(), QStringList());

    bench.clock.advance(1000);
    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(4, 2));
    QCOMPARE(bench.takeCalls(), FakeShm::calls("open camera; get_format 2; set_fps 2 1 1"));
}

void TestShmemReader::destroy_closesHandle()
{
    FakeShm shm;
    shm.publishVideo(4, 2, Now);
    auto reader = std::make_unique<ShmemReader>(QStringLiteral("camera"));
    reader->open();
    shm.takeCalls();

    reader.reset();

    QCOMPARE(shm.takeCalls(), FakeShm::calls("close 1"));
}

void TestShmemReader::videoFrameSize_isTheStreams()
{
    Bench bench;
    bench.shm.publishVideo(1920, 1080, Now);

    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(1920, 1080));
}

void TestShmemReader::videoFrameSizeWithoutVideo_isInvalid()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.format.video_width = 1920;
    bench.shm.format.video_height = 1080;

    QCOMPARE(bench.reader.getVideoFrameSize(), QSize(-1, -1));
}

void TestShmemReader::videoStatus_isTheStreams()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.videoStatus = {1, 8, Now - 280000, Now, 40000, 120, 1000, 3};
    bench.settle();

    shm_video_status_t const status = bench.reader.getVideoStatus();

    // Nothing says "dirty": the record came in zero.
    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_video_status 1"));
    QCOMPARE(std::memcmp(&status, &bench.shm.videoStatus, sizeof(status)), 0);
}

void TestShmemReader::videoStatusWithoutVideo_isZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.videoStatus.frames_valid = 1;
    bench.settle();

    shm_video_status_t const status = bench.reader.getVideoStatus();

    shm_video_status_t const zero = {};
    QCOMPARE(bench.takeCalls(), QStringList());
    QCOMPARE(std::memcmp(&status, &zero, sizeof(status)), 0);
}

void TestShmemReader::videoTimestamps_areCutToWhatIsThere()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.video_frame_count = 8;
    bench.shm.timestamps = {Now - 80000, Now - 40000, Now};
    bench.settle();

    QVector<qint64> const timestamps = bench.reader.getVideoTimestamps();

    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_video_timestamps 1 8"));
    QCOMPARE(timestamps, (QVector<qint64>{Now - 80000, Now - 40000, Now}));
}

void TestShmemReader::videoTimestampsWithoutResult_areEmpty_data()
{
    QTest::addColumn<int>("result");

    QTest::newRow("none") << 0;
    QTest::newRow("failure") << -1;
}

void TestShmemReader::videoTimestampsWithoutResult_areEmpty()
{
    QFETCH(int, result);
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.video_frame_count = 8;
    bench.shm.timestamps = {Now};
    bench.shm.timestampsResult = result;

    QCOMPARE(bench.reader.getVideoTimestamps(), QVector<qint64>());
}

void TestShmemReader::videoTimestampsAboveCapacity_areCut()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.video_frame_count = 2;
    bench.shm.timestamps = {Now - 40000, Now};
    bench.shm.timestampsResult = 5;

    QCOMPARE(bench.reader.getVideoTimestamps(), (QVector<qint64>{Now - 40000, Now}));
}

void TestShmemReader::videoTimestampsWithoutSlots_areEmpty_data()
{
    QTest::addColumn<int>("frameCount");

    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -8;
}

void TestShmemReader::videoTimestampsWithoutSlots_areEmpty()
{
    QFETCH(int, frameCount);
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.video_frame_count = frameCount;
    bench.shm.timestamps = {Now};
    bench.settle();

    QCOMPARE(bench.reader.getVideoTimestamps(), QVector<qint64>());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_video_timestamps 1 0"));
}

void TestShmemReader::videoTimestampsWithoutVideo_areEmpty()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.format.video_frame_count = 8;
    bench.shm.timestamps = {Now};

    QCOMPARE(bench.reader.getVideoTimestamps(), QVector<qint64>());
}

void TestShmemReader::callsOfSeveralThreads_areSerialised()
{
    FakeShm shm;
    shm.publishVideo(4, 2, Now);
    shm.publishAudio(48000, 2, Now - 1000000, Now);
    shm.format.video_frame_count = 4;
    shm.timestamps = {Now};
    ShmemReader reader(QStringLiteral("camera"));
    std::atomic<int> incomplete{0};

    auto const work = [&] {
        for (int i = 0; i < 200; ++i) {
            reader.setVideoFrameRate(25u, 1u);
            reader.setRealtimeSyncRange(0, 0);
            qint16 raw[8] = {};
            bool const complete =
                reader.open() && reader.grabVideo(0).isValid() &&
                reader.grabVideo(1, SHM_VIDEO_LOOKUP_LATEST).isValid() &&
                reader.grabAudio(0, 4ul, 0).isValid() && reader.grabAudio(3, 4ul, raw, 1) == 4 &&
                reader.getVideoTimestamps().size() == 1 && reader.getAudioFormat().isValid() &&
                reader.getAudioLastTimestamp() == Now &&
                reader.getVideoFrameSize() == QSize(4, 2) &&
                reader.getVideoStatus().frames_valid == 0;
            if (!complete)
                ++incomplete;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();

    QCOMPARE(incomplete.load(), 0);
    QVERIFY(!shm.overlapped());
}

void TestShmemReader::members_keepTheirOrder()
{
    Bench bench;
    bench.shm.publishVideo(0x1234, 0x5678, Now);
    bench.reader.setRealtimeSyncRange(-1234, 5678);
    bench.reader.setVideoFrameRate(24000u, 1001u);
    bench.reader.open();

    struct
    {
        qint64 syncMin = -1234000;
        qint64 syncMax = 5678000;
        unsigned fpsNum = 24000;
        unsigned fpsDen = 1001;
    } const settings;
    constexpr size_t handleSize = sizeof(QSharedPointer<shm_reader_t>);
    constexpr size_t guardSize = sizeof(QMutex) + sizeof(QElapsedTimer);

    QCOMPARE(offsetIn(bench.reader, bench.reader.name()), std::ptrdiff_t{0});
    std::ptrdiff_t const format = offsetIn(bench.reader, bench.shm.format);
    QCOMPARE(static_cast<size_t>(format), sizeof(QByteArray) + handleSize);
    std::ptrdiff_t const tail = offsetIn(bench.reader, settings);
    QCOMPARE(static_cast<size_t>(tail - format), sizeof(shm_reader_format_t) + guardSize);
    QCOMPARE(
        sizeof(bench.reader), static_cast<size_t>(tail) + sizeof(settings) + sizeof(QAudioFormat));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestShmemReader)
#include "tst_shmemreader.moc"
