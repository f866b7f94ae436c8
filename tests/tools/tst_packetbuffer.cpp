#include <packetbuffer.h>

#include <messagecheck.h>

#include <atomic>
#include <thread>

#include <QCoreApplication>
#include <QTest>

using Result = PacketBuffer::Result;

namespace {

ffmpeg::Packet makePacket(int64_t pts = 0)
{
    ffmpeg::Packet packet(av_packet_alloc());
    packet->pts = pts;
    return packet;
}

} // namespace

class PacketBufferTest : public QObject
{
    Q_OBJECT

private slots:
    void takeFromEmptyBuffer_saysEmpty();
    void packets_comeInTheirOrderPerMedium();
    void endOfPass_comesAfterItsPackets();
    void finish_comesAfterEverything();
    void packetsNotExpected_areThrownAway();
    void ignoredMedium_freesTheBuffer();
    void halfASecondOfEachMedium_isEnough();
    void oneMediumLate_keepsReading();
    void bytes_areBounded();
    void refill_isToldOncePerStarvation();
    void putIntoFullBuffer_waitsForATake();
    void abort_endsTheWait();
    void twoThreads_loseNothing();
};

void PacketBufferTest::takeFromEmptyBuffer_saysEmpty()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    ffmpeg::Packet packet;
    QCOMPARE(buffer.take(Video, packet), Result::Empty);
    QVERIFY(!packet);
}

void PacketBufferTest::packets_comeInTheirOrderPerMedium()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.expect(Audio);
    QVERIFY(buffer.put(Video, makePacket(1), 1, 10));
    QVERIFY(buffer.put(Audio, makePacket(2), 2, 10));
    QVERIFY(buffer.put(Video, makePacket(3), 3, 10));
    ffmpeg::Packet packet;
    QCOMPARE(buffer.take(Audio, packet), Result::Packet);
    QCOMPARE(packet->pts, int64_t(2));
    QCOMPARE(buffer.take(Video, packet), Result::Packet);
    QCOMPARE(packet->pts, int64_t(1));
    QCOMPARE(buffer.take(Video, packet), Result::Packet);
    QCOMPARE(packet->pts, int64_t(3));
    QCOMPARE(buffer.take(Audio, packet), Result::Empty);
}

void PacketBufferTest::endOfPass_comesAfterItsPackets()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.put(Video, makePacket(1), 1, 10);
    buffer.endPass();
    buffer.put(Video, makePacket(2), 2, 10);
    ffmpeg::Packet packet;
    QCOMPARE(buffer.take(Video, packet), Result::Packet);
    QCOMPARE(buffer.take(Video, packet), Result::EndOfPass);
    QVERIFY(!packet);
    QCOMPARE(buffer.take(Video, packet), Result::Packet);
}

void PacketBufferTest::finish_comesAfterEverything()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.put(Video, makePacket(1), 1, 10);
    buffer.finish();
    ffmpeg::Packet packet;
    QCOMPARE(buffer.take(Video, packet), Result::Packet);
    QCOMPARE(buffer.take(Video, packet), Result::Finished);
    QCOMPARE(buffer.take(Audio, packet), Result::Finished);
}

void PacketBufferTest::packetsNotExpected_areThrownAway()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    QVERIFY(buffer.put(Audio, makePacket(1), 1, 10));
    ffmpeg::Packet packet;
    QCOMPARE(buffer.take(Audio, packet), Result::Empty);
}

void PacketBufferTest::ignoredMedium_freesTheBuffer()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.expect(Audio);
    buffer.put(Video, makePacket(), 0, size_t(1) << 30);
    QVERIFY(buffer.isFull());
    buffer.ignore(Video);
    QVERIFY(!buffer.isFull());
    QVERIFY(buffer.put(Video, makePacket(), 0, size_t(1) << 30));
    QVERIFY(!buffer.isFull());
}

void PacketBufferTest::halfASecondOfEachMedium_isEnough()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    for (int64_t end = 0; end <= 460000; end += 20000) {
        QVERIFY(!buffer.isFull());
        buffer.put(Video, makePacket(), end, 10);
    }
    QVERIFY(!buffer.isFull());
    buffer.put(Video, makePacket(), 500000, 10);
    QVERIFY(buffer.isFull());
}

void PacketBufferTest::oneMediumLate_keepsReading()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.expect(Audio);
    for (int64_t end = 0; end < 5000000; end += 20000)
        QVERIFY(buffer.put(Video, makePacket(), end, 10));
    QVERIFY(!buffer.isFull());
    buffer.put(Audio, makePacket(), 0, 10);
    buffer.put(Audio, makePacket(), 500000, 10);
    QVERIFY(buffer.isFull());
}

void PacketBufferTest::bytes_areBounded()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.expect(Audio);
    buffer.put(Video, makePacket(), 0, (48 << 20) - 1);
    QVERIFY(!buffer.isFull());
    buffer.put(Video, makePacket(), 0, 1);
    QVERIFY(buffer.isFull());
}

void PacketBufferTest::refill_isToldOncePerStarvation()
{
    int told = 0;
    PacketBuffer buffer([&told] { ++told; });
    buffer.expect(Video);
    buffer.put(Video, makePacket(), 0, 10);
    QCOMPARE(told, 0);
    ffmpeg::Packet packet;
    buffer.take(Video, packet);
    buffer.take(Video, packet);
    buffer.put(Video, makePacket(), 0, 10);
    buffer.put(Video, makePacket(), 0, 10);
    QCOMPARE(told, 1);
    while (buffer.take(Video, packet) == Result::Packet) {
    }
    buffer.endPass();
    QCOMPARE(told, 2);
    while (buffer.take(Video, packet) != Result::Empty) {
    }
    buffer.finish();
    QCOMPARE(told, 3);
}

void PacketBufferTest::putIntoFullBuffer_waitsForATake()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.put(Video, makePacket(), 0, size_t(1) << 30);
    std::atomic<bool> done = false;
    std::thread reader([&] {
        buffer.put(Video, makePacket(), 0, 10);
        done = true;
    });
    QTest::qWait(50);
    bool const doneWhileFull = done;
    ffmpeg::Packet packet;
    buffer.take(Video, packet);
    reader.join();
    QVERIFY(!doneWhileFull);
}

void PacketBufferTest::abort_endsTheWait()
{
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    buffer.put(Video, makePacket(), 0, size_t(1) << 30);
    bool accepted = true;
    std::thread reader([&] { accepted = buffer.put(Video, makePacket(), 0, 10); });
    buffer.abort();
    reader.join();
    QVERIFY(!accepted);
    ffmpeg::Packet packet;
    buffer.take(Video, packet);
    QVERIFY(!buffer.put(Video, makePacket(), 0, 10));
}

void PacketBufferTest::twoThreads_loseNothing()
{
    constexpr int64_t Count = 20000;
    PacketBuffer buffer([] {});
    buffer.expect(Video);
    std::thread reader([&] {
        for (int64_t i = 0; i < Count; ++i)
            buffer.put(Video, makePacket(i), i * 10000, 10);
        buffer.finish();
    });
    int64_t next = 0;
    bool ordered = true;
    for (Result result = Result::Empty; result != Result::Finished;) {
        ffmpeg::Packet packet;
        result = buffer.take(Video, packet);
        if (result == Result::Packet)
            ordered = ordered && packet->pts == next++;
    }
    reader.join();
    QVERIFY(ordered);
    QCOMPARE(next, Count);
}

QVORLIN_TEST_MAIN(QCoreApplication, PacketBufferTest)

#include "tst_packetbuffer.moc"
