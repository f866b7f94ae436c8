#include "messagecheck.h"
#include "shmaudio.h"

#include <QCoreApplication>
#include <QTest>

using namespace shmtest;

class AudioWriterTest : public QObject
{
    Q_OBJECT

private slots:
    void gap_endsOlderAudio_data();
    void gap_endsOlderAudio();
    void timestamps_followTheWriter();
    void timestamps_followManySmallBlocks();
    void timestamps_stepBackWithinToleranceOfTinyBlocks();
    void longBlocks_leaveTheNewestAudio();
    void ring_wrapsWithoutFault();
    void timestamps_mayBeAnyNumber();
};

void AudioWriterTest::gap_endsOlderAudio_data()
{
    QTest::addColumn<int>("gap");
    QTest::addColumn<bool>("isBreak");
    QTest::newRow("1 ms") << 1000 << false;
    QTest::newRow("more than 1 ms") << 1001 << true;
    QTest::newRow("1 ms back") << -1000 << false;
    QTest::newRow("more than 1 ms back") << -1001 << true;
    QTest::newRow("a second") << 1000000 << true;
    QTest::newRow("a second back") << -1000000 << true;
}

void AudioWriterTest::gap_endsOlderAudio()
{
    QFETCH(int, gap);
    QFETCH(bool, isBreak);
    AudioStream stream;
    stream.append(10 * second, 20);
    int64_t const next = 10 * second + 200000 + gap;
    stream.appendAt(next, 480);
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    QCOMPARE(status.sample_count, isBreak ? 480u : 10080u);
    QCOMPARE(status.first_timestamp, isBreak ? next : 10 * second);
    QCOMPARE(status.last_timestamp, next + 10000);
    QCOMPARE(statistics(stream.writer.get()).audio_breaks, uint64_t(isBreak));
    QCOMPARE(stream.strict(480, next), 1);
    QVERIFY(stream.readsAt(9600, 480));
    QCOMPARE(stream.strict(480, 10 * second), isBreak ? 0 : 1);
    // A continuous reader passes over a break at the newer audio's start.
    stream.appendAt(next + 10000, 480);
    QCOMPARE(stream.continuous(480, next), 480);
    QVERIFY(stream.readsAt(9600, 480));
}

void AudioWriterTest::timestamps_followTheWriter()
{
    AudioStream stream;
    stream.appendAt(1000000, 480);
    stream.appendAt(1010300, 480); // 300 µs late
    stream.appendAt(1020300, 480);
    stream.appendAt(1029800, 480); // 500 µs early
    QCOMPARE(audioStatus(stream.reader.get()).last_timestamp, int64_t(1039800));
    QCOMPARE(stream.strict(100, 1010300), 1);
    QVERIFY(stream.readsAt(480, 100));
    QCOMPARE(stream.strict(100, 1020300), 1);
    QVERIFY(stream.readsAt(960, 100));
    QCOMPARE(stream.strict(100, 1029800), 1);
    QVERIFY(stream.readsAt(1440, 100));
    // Time that was left out belongs to what follows it.
    QCOMPARE(stream.strict(100, 1010200), 1);
    QVERIFY(stream.readsAt(480, 100));
}

void AudioWriterTest::timestamps_followManySmallBlocks()
{
    AudioStream stream;
    int64_t timestamp = second;
    // 1.5 % slow in blocks of a millisecond: more turns of the clock than there is room to note.
    for (int i = 0; i < 10000; ++i) {
        stream.appendAt(timestamp, 48);
        timestamp += 1015;
    }
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    QVERIFY(qAbs(status.last_timestamp - timestamp) < 1100);
    QCOMPARE(statistics(stream.writer.get()).audio_frames_written, uint64_t(480000));
    QVERIFY(stream.strict(480, status.last_timestamp - 10000) == 1);
    QVERIFY(stream.readsAt(480000 - 480, 480));
}

void AudioWriterTest::timestamps_stepBackWithinToleranceOfTinyBlocks()
{
    AudioStream stream;
    stream.appendAt(second, 480);
    stream.appendAt(second + 10000, 1);
    stream.appendAt(second + 9500, 1);
    stream.appendAt(second + 9600, 480);
    QCOMPARE(statistics(stream.writer.get()).audio_breaks, uint64_t(0));
    QCOMPARE(audioStatus(stream.reader.get()).sample_count, 962u);
}

void AudioWriterTest::longBlocks_leaveTheNewestAudio()
{
    AudioStream stream;
    stream.appendAt(second, 48000 * 7 + 1);
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    QCOMPARE(status.sample_count, 96000u);
    QCOMPARE(status.last_timestamp, 8 * second + 20);
    QCOMPARE(stream.strict(96000, status.first_timestamp), 1);
    QVERIFY(stream.readsAt(48000 * 5 + 1, 96000));
}

void AudioWriterTest::ring_wrapsWithoutFault()
{
    AudioStream stream;
    uint64_t count = 1;
    for (int i = 0; i < 2000; ++i) {
        count = count * 7919 % 1543 + 1;
        stream.appendAt(second + int64_t(stream.position) * second / 48000, count);
        shm_audio_status_t const status = audioStatus(stream.reader.get());
        QCOMPARE(stream.strict(count, status.last_timestamp - int64_t(count) * second / 48000), 1);
        QVERIFY(stream.readsAt(stream.position - count, count));
    }
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    QCOMPARE(status.sample_count, 96000u);
    QCOMPARE(stream.strict(96000, status.first_timestamp), 1);
    QVERIFY(stream.readsAt(stream.position - 96000, 96000));
}

void AudioWriterTest::timestamps_mayBeAnyNumber()
{
    AudioStream stream;
    for (int64_t timestamp : {INT64_MIN, INT64_MAX, int64_t(0), INT64_MAX - 10000, INT64_MIN}) {
        stream.appendAt(timestamp, 480);
        QCOMPARE(audioStatus(stream.reader.get()).first_timestamp, timestamp);
        QCOMPARE(audioStatus(stream.reader.get()).sample_count, 480u);
        QCOMPARE(stream.strict(480, timestamp), 1);
    }
    QCOMPARE(statistics(stream.writer.get()).audio_breaks, uint64_t(4));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioWriterTest)

#include "tst_audiowriter.moc"
