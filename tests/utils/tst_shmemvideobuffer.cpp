#include "utils/shmemvideobuffer.h"

#include <memory>
#include <thread>

#include <QRegularExpression>
#include <QVariant>

#include "dyingwords.h"
#include "fakeshm.h"
#include "messagecheck.h"
#include "objectlayout.h"

namespace {

using Handle = QSharedPointer<shm_reader_t>;

Handle openHandle()
{
    return Handle(shm_reader_open("camera"), shm_reader_close);
}

struct Mapping
{
    int numBytes = -1;
    int bytesPerLine[4] = {-1, -1, -1, -1};
    uchar* data[4] = {};

    int map(ShmemVideoBuffer& buffer)
    {
        return buffer.map(QAbstractVideoBuffer::ReadOnly, &numBytes, bytesPerLine, data);
    }
};

void verifyAssertion(std::function<void()> const& misuse, char const* condition)
{
    QString const words = QString::fromLocal8Bit(dyingWords(misuse));
    QString const expected =
        QStringLiteral("^ASSERT: \"%1\" in file utils/shmemvideobuffer, line \\d+\n$")
            .arg(QRegularExpression::escape(QLatin1String(condition)));
    QVERIFY2(QRegularExpression(expected).match(words).hasMatch(), qPrintable(words));
}

} // namespace

class TestShmemVideoBuffer : public QObject
{
    Q_OBJECT

private slots:
    void construct_locksWithTimestampAndModeGiven_data();
    void construct_locksWithTimestampAndModeGiven();
    void constructWithoutMode_zeroAloneLocksNewest_data();
    void constructWithoutMode_zeroAloneLocksNewest();
    void construct_tellsSizeAndTimeOfLockedFrame();
    void construct_isNotMappedAndHasNoHandle();
    void destroy_givesBackTheRecordAsLocked();
    void destroyOnAnotherThread_unlocks();
    void destroyLastHolder_closesHandleAfterUnlock();
    void destroyWithOtherHolders_leavesHandleOpen();
    void map_givesPlanesAndStrides();
    void map_sumsBytesOfPlanes_data();
    void map_sumsBytesOfPlanes();
    void mapWithoutNumBytes_stillGivesPlanes();
    void mapFirstPlaneOnly_givesLuma();
    void mapWithoutFrame_givesNothing();
    void destroyWithoutFrame_unlocksNothing();
    void mapAndUnmapRepeatedly_keepsFrameLocked();
    void mapForOtherThanReading_aborts_data();
    void mapForOtherThanReading_aborts();
    void mapTwice_aborts();
    void mapTwiceForWriting_abortsForTheMode();
    void unmapUnmapped_aborts();
    void unmapAfterMapWithoutFrame_aborts();
    void virtualFunctions_keepTheirPlaces();
    void members_keepTheirOrder();
};

void TestShmemVideoBuffer::construct_locksWithTimestampAndModeGiven_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<qint64>("timestamp");
    QTest::addColumn<QString>("call");

    QTest::newRow("by timestamp") << 0 << qint64{5000} << "lock_video 1 5000 0";
    QTest::newRow("latest with a timestamp") << 1 << qint64{5000} << "lock_video 1 5000 1";
    QTest::newRow("by timestamp 0") << 0 << qint64{0} << "lock_video 1 0 0";
    QTest::newRow("library's own") << 3 << qint64{-7} << "lock_video 1 -7 3";
}

void TestShmemVideoBuffer::construct_locksWithTimestampAndModeGiven()
{
    QFETCH(int, mode);
    QFETCH(qint64, timestamp);
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    Handle const handle = openHandle();
    shm.takeCalls();

    ShmemVideoBuffer buffer(handle, timestamp, static_cast<shm_video_lookup_mode_t>(mode));

    // Nothing says "dirty": the rest of the record came in zero.
    QTEST(shm.takeCalls().join(QLatin1Char(';')), "call");
}

void TestShmemVideoBuffer::constructWithoutMode_zeroAloneLocksNewest_data()
{
    QTest::addColumn<qint64>("timestamp");
    QTest::addColumn<QString>("call");

    QTest::newRow("zero") << qint64{0} << "lock_video 1 0 1";
    QTest::newRow("positive") << qint64{1} << "lock_video 1 1 0";
    QTest::newRow("negative") << qint64{-1} << "lock_video 1 -1 0";
}

void TestShmemVideoBuffer::constructWithoutMode_zeroAloneLocksNewest()
{
    QFETCH(qint64, timestamp);
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    Handle const handle = openHandle();
    shm.takeCalls();

    ShmemVideoBuffer buffer(handle, timestamp);

    QTEST(shm.takeCalls().join(QLatin1Char(';')), "call");
}

void TestShmemVideoBuffer::construct_tellsSizeAndTimeOfLockedFrame()
{
    FakeShm shm;
    shm.publishVideo(40, 30, 5000);

    ShmemVideoBuffer buffer(openHandle(), 4321);

    QCOMPARE(buffer.size(), QSize(40, 30));
    QCOMPARE(buffer.timestamp(), qint64{5000});
}

void TestShmemVideoBuffer::construct_isNotMappedAndHasNoHandle()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);

    ShmemVideoBuffer buffer(openHandle(), 0);

    QCOMPARE(buffer.mapMode(), QAbstractVideoBuffer::NotMapped);
    QCOMPARE(buffer.handleType(), QAbstractVideoBuffer::NoHandle);
    QVERIFY(!buffer.handle().isValid());
}

void TestShmemVideoBuffer::destroy_givesBackTheRecordAsLocked()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    Handle const handle = openHandle();
    auto buffer = std::make_unique<ShmemVideoBuffer>(handle, 0);
    QCOMPARE(shm.lockedFrames(), 1);
    shm.takeCalls();

    buffer.reset();

    QCOMPARE(shm.takeCalls(), FakeShm::calls("unlock_video 1"));
    QCOMPARE(shm.lockedFrames(), 0);
}

void TestShmemVideoBuffer::destroyOnAnotherThread_unlocks()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    auto buffer = std::make_unique<ShmemVideoBuffer>(openHandle(), 0);

    std::thread([&] { buffer.reset(); }).join();

    QCOMPARE(shm.lockedFrames(), 0);
    QCOMPARE(shm.openHandles(), 0);
}

void TestShmemVideoBuffer::destroyLastHolder_closesHandleAfterUnlock()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    auto buffer = std::make_unique<ShmemVideoBuffer>(openHandle(), 0);
    QCOMPARE(shm.openHandles(), 1);
    shm.takeCalls();

    buffer.reset();

    QCOMPARE(shm.takeCalls(), FakeShm::calls("unlock_video 1; close 1"));
}

void TestShmemVideoBuffer::destroyWithOtherHolders_leavesHandleOpen()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    Handle const handle = openHandle();

    std::make_unique<ShmemVideoBuffer>(handle, 0).reset();

    QCOMPARE(shm.openHandles(), 1);
}

void TestShmemVideoBuffer::map_givesPlanesAndStrides()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    uint8_t planes[3] = {};
    shm.frame.plane0 = &planes[0];
    shm.frame.plane1 = &planes[1];
    shm.frame.plane2 = &planes[2];
    shm.frame.stride0 = 64;
    shm.frame.stride1 = 32;
    shm.frame.stride2 = 48;
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;
    uchar untouched = 0;
    mapping.data[3] = &untouched;

    QCOMPARE(mapping.map(buffer), 3);

    QCOMPARE(buffer.mapMode(), QAbstractVideoBuffer::ReadOnly);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(static_cast<void*>(mapping.data[i]), static_cast<void*>(&planes[i]));
    QCOMPARE(mapping.bytesPerLine[0], 64);
    QCOMPARE(mapping.bytesPerLine[1], 32);
    QCOMPARE(mapping.bytesPerLine[2], 48);
    // The fourth entries stay as they were.
    QCOMPARE(static_cast<void*>(mapping.data[3]), static_cast<void*>(&untouched));
    QCOMPARE(mapping.bytesPerLine[3], -1);
}

void TestShmemVideoBuffer::map_sumsBytesOfPlanes_data()
{
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("luma");
    QTest::addColumn<int>("cb");
    QTest::addColumn<int>("cr");
    QTest::addColumn<int>("numBytes");

    QTest::newRow("full HD") << 1080 << 1920 << 960 << 960 << 3110400;
    QTest::newRow("odd height") << 1081 << 1920 << 960 << 960 << 3113280;
    QTest::newRow("each half rounds down by itself") << 3 << 4 << 3 << 5 << 12 + 4 + 7;
    QTest::newRow("half of a product above 31 bits") << 65536 << 0 << 65535 << 0 << 2147450880;
    QTest::newRow("half is unsigned") << 2 << 0 << -1 << 0 << 2147483647;
    QTest::newRow("product wraps at 32 bits") << 65536 << 65537 << 0 << 0 << 65536;
}

void TestShmemVideoBuffer::map_sumsBytesOfPlanes()
{
    QFETCH(int, height);
    QFETCH(int, luma);
    QFETCH(int, cb);
    QFETCH(int, cr);
    FakeShm shm;
    uint8_t plane = 0;
    shm.publishVideo(4, height, 5000);
    shm.frame.plane0 = &plane;
    shm.frame.stride0 = luma;
    shm.frame.stride1 = cb;
    shm.frame.stride2 = cr;
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;

    QCOMPARE(mapping.map(buffer), 3);

    QTEST(mapping.numBytes, "numBytes");
}

void TestShmemVideoBuffer::mapWithoutNumBytes_stillGivesPlanes()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;

    QCOMPARE(
        buffer.map(QAbstractVideoBuffer::ReadOnly, nullptr, mapping.bytesPerLine, mapping.data), 3);

    for (int i = 0; i < 3; ++i)
        QVERIFY(mapping.data[i]);
    QCOMPARE(mapping.bytesPerLine[0], 4);
    QCOMPARE(mapping.bytesPerLine[1], 2);
    QCOMPARE(mapping.bytesPerLine[2], 2);
}

void TestShmemVideoBuffer::mapFirstPlaneOnly_givesLuma()
{
    FakeShm shm;
    uint8_t plane = 0;
    shm.publishVideo(4, 2, 5000);
    shm.frame.plane0 = &plane;
    ShmemVideoBuffer buffer(openHandle(), 0);
    int numBytes = 0;
    int bytesPerLine = 0;

    uchar const* data = buffer.map(QAbstractVideoBuffer::ReadOnly, &numBytes, &bytesPerLine);

    QCOMPARE(static_cast<void const*>(data), static_cast<void const*>(&plane));
    QCOMPARE(bytesPerLine, 4);
}

void TestShmemVideoBuffer::mapWithoutFrame_givesNothing()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    shm.noPlanes = true;
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;

    QCOMPARE(mapping.map(buffer), 0);

    QCOMPARE(buffer.mapMode(), QAbstractVideoBuffer::NotMapped);
    QCOMPARE(mapping.numBytes, -1);
    QCOMPARE(mapping.bytesPerLine[0], -1);
    QVERIFY(!mapping.data[0]);
    // Not being mapped, it may be tried again.
    QCOMPARE(mapping.map(buffer), 0);
}

void TestShmemVideoBuffer::destroyWithoutFrame_unlocksNothing()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    shm.noPlanes = true;
    auto buffer = std::make_unique<ShmemVideoBuffer>(openHandle(), 0);
    shm.takeCalls();

    buffer.reset();

    QCOMPARE(shm.takeCalls(), FakeShm::calls("close 1"));
}

void TestShmemVideoBuffer::mapAndUnmapRepeatedly_keepsFrameLocked()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    ShmemVideoBuffer buffer(openHandle(), 0);
    shm.takeCalls();

    for (int i = 0; i < 3; ++i) {
        Mapping mapping;
        QCOMPARE(mapping.map(buffer), 3);
        buffer.unmap();
        QCOMPARE(buffer.mapMode(), QAbstractVideoBuffer::NotMapped);
    }

    QCOMPARE(shm.takeCalls(), QStringList());
    QCOMPARE(shm.lockedFrames(), 1);
}

void TestShmemVideoBuffer::mapForOtherThanReading_aborts_data()
{
    QTest::addColumn<int>("mode");

    QTest::newRow("not at all") << int{QAbstractVideoBuffer::NotMapped};
    QTest::newRow("writing") << int{QAbstractVideoBuffer::WriteOnly};
    QTest::newRow("both") << int{QAbstractVideoBuffer::ReadWrite};
}

void TestShmemVideoBuffer::mapForOtherThanReading_aborts()
{
    QFETCH(int, mode);
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    ShmemVideoBuffer buffer(openHandle(), 0);

    verifyAssertion(
        [&] {
            Mapping mapping;
            buffer.map(static_cast<QAbstractVideoBuffer::MapMode>(mode), &mapping.numBytes,
                mapping.bytesPerLine, mapping.data);
        },
        "mode == QAbstractVideoBuffer::ReadOnly");
}

void TestShmemVideoBuffer::mapTwice_aborts()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;
    QCOMPARE(mapping.map(buffer), 3);

    verifyAssertion([&] { mapping.map(buffer); }, "mMapMode == NotMapped");
}

void TestShmemVideoBuffer::mapTwiceForWriting_abortsForTheMode()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;
    QCOMPARE(mapping.map(buffer), 3);

    verifyAssertion(
        [&] {
            buffer.map(QAbstractVideoBuffer::WriteOnly, &mapping.numBytes, mapping.bytesPerLine,
                mapping.data);
        },
        "mode == QAbstractVideoBuffer::ReadOnly");
}

void TestShmemVideoBuffer::unmapUnmapped_aborts()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    ShmemVideoBuffer buffer(openHandle(), 0);

    verifyAssertion([&] { buffer.unmap(); }, "mMapMode == QAbstractVideoBuffer::ReadOnly");
}

void TestShmemVideoBuffer::unmapAfterMapWithoutFrame_aborts()
{
    FakeShm shm;
    shm.publishVideo(4, 2, 5000);
    shm.noPlanes = true;
    ShmemVideoBuffer buffer(openHandle(), 0);
    Mapping mapping;
    QCOMPARE(mapping.map(buffer), 0);

    verifyAssertion([&] { buffer.unmap(); }, "mMapMode == QAbstractVideoBuffer::ReadOnly");
}

void TestShmemVideoBuffer::virtualFunctions_keepTheirPlaces()
{
    using Buffer = ShmemVideoBuffer;
    // The destructor takes the first two places.
    QCOMPARE(virtualSlot(&Buffer::release), size_t{2});
    QCOMPARE(virtualSlot(&Buffer::mapMode), size_t{3});
    QCOMPARE(
        virtualSlot(static_cast<uchar* (Buffer::*)(Buffer::MapMode, int*, int*)>(&Buffer::map)),
        size_t{4});
    QCOMPARE(virtualSlot(&Buffer::unmap), size_t{5});
    QCOMPARE(virtualSlot(&Buffer::handle), size_t{6});
    QCOMPARE(virtualSlot(static_cast<int (Buffer::*)(Buffer::MapMode, int*, int[4], uchar* [4])>(
                 &Buffer::map)),
        size_t{7});
}

void TestShmemVideoBuffer::members_keepTheirOrder()
{
    FakeShm shm;
    shm.publishVideo(0x1234, 0x5678, 5000);
    shm.noPlanes = true;
    Handle const handle = openHandle();
    ShmemVideoBuffer buffer(handle, 0);

    std::ptrdiff_t const reader = offsetIn(buffer, handle);
    std::ptrdiff_t const frame = offsetIn(buffer, shm.frame);

    QVERIFY(reader > 0);
    QCOMPARE(frame, reader + std::ptrdiff_t{sizeof(handle)});
    QCOMPARE(sizeof(buffer), static_cast<size_t>(frame) + sizeof(shm.frame));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestShmemVideoBuffer)
#include "tst_shmemvideobuffer.moc"
