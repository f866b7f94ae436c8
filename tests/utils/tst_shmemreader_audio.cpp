#include "utils/shmemreader.h"

#include <limits>
#include <numeric>

#include "messagecheck.h"
#include "shmemreaderbench.h"

namespace {

QVector<qint16> samples(QAudioBuffer const& buffer)
{
    auto const* data = buffer.constData<qint16>();
    return QVector<qint16>(data, data + buffer.sampleCount());
}

} // namespace

class TestShmemReaderAudio : public QObject
{
    Q_OBJECT

private slots:
    void audioFormat_isSignedLittleEndianPcm();
    void audioFormatWithoutAudio_isInvalid();
    void audioFormatWithoutStream_isInvalid();
    void audioLastTimestamp_isTheStreams();
    void audioLastTimestampWithPositiveResult_isTheStreams();
    void audioLastTimestampOnFailure_isZero();
    void audioLastTimestampWithoutAudio_isZero();
    void rawAudio_asksForBlocksOfOne();
    void rawAudioFailure_isZero();
    void rawAudioWithoutAudio_isZero();
    void rawAudio_ignoresSyncRange();
    void audio_asksForOneBlock();
    void audioOfNothing_asksNothing();
    void audioWithoutAudio_isEmpty();
    void audioStatusFailure_isEmpty_data();
    void audioStatusFailure_isEmpty();
    void audioLongerThanHeld_isEmpty();
    void audioAsLongAsHeld_isComplete();
    void audioAtZero_isTheNewest();
    void audioAtNegativeTime_countsBackFromTheNewest();
    void audioBeforeOldest_startsAtOldest();
    void audioFarBeforeOldest_startsAtOldest();
    void audioPastNewest_endsAtNewest();
    void audioFarPastNewest_endsAtNewest();
    void audioAtLatestStart_isNotMoved();
    void audioBeforeOldestByRounding_startsAtOldest();
    void audioPastNewestByRounding_endsAtNewest();
    void audioOutsideSyncRange_isEmptyAndNotCopied();
    void audioSync_judgesTheMovedStart();
    void audioQueryResultOtherThanOne_isEmpty_data();
    void audioQueryResultOtherThanOne_isEmpty();
    void audioBeyondQtsRange_isEmpty_data();
    void audioBeyondQtsRange_isEmpty();
};

void TestShmemReaderAudio::audioFormat_isSignedLittleEndianPcm()
{
    Bench bench;
    bench.shm.publishAudio(44100, 6, Now - 1000000, Now);

    QAudioFormat const format = bench.reader.getAudioFormat();

    QVERIFY(format.isValid());
    QCOMPARE(format.channelCount(), 6);
    QCOMPARE(format.sampleRate(), 44100);
    QCOMPARE(format.sampleSize(), 16);
    QCOMPARE(format.sampleType(), QAudioFormat::SignedInt);
    QCOMPARE(format.byteOrder(), QAudioFormat::LittleEndian);
    QCOMPARE(format.codec(), QStringLiteral("audio/pcm"));
    QCOMPARE(format, shmemFormatToAudioFormat(bench.shm.format));
}

void TestShmemReaderAudio::audioFormatWithoutAudio_isInvalid()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.format.audio_sample_rate = 48000;
    bench.shm.format.audio_channels = 2;

    QCOMPARE(bench.reader.getAudioFormat(), QAudioFormat());
}

void TestShmemReaderAudio::audioFormatWithoutStream_isInvalid()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();
    bench.shm.ready = false;
    bench.shm.exists = false;
    bench.clock.advance(1000);

    QCOMPARE(bench.reader.getAudioFormat(), QAudioFormat());
}

void TestShmemReaderAudio::audioLastTimestamp_isTheStreams()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now - 5);
    bench.settle();

    QCOMPARE(bench.reader.getAudioLastTimestamp(), Now - 5);

    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_audio_status 1 0"));
}

void TestShmemReaderAudio::audioLastTimestampWithPositiveResult_isTheStreams()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.audioStatusResult = 1;

    QCOMPARE(bench.reader.getAudioLastTimestamp(), Now);
}

void TestShmemReaderAudio::audioLastTimestampOnFailure_isZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.audioStatusResult = -1;

    QCOMPARE(bench.reader.getAudioLastTimestamp(), qint64{0});
}

void TestShmemReaderAudio::audioLastTimestampWithoutAudio_isZero()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.shm.audioStatus.last_timestamp = Now;
    bench.settle();

    QCOMPARE(bench.reader.getAudioLastTimestamp(), qint64{0});

    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReaderAudio::rawAudio_asksForBlocksOfOne()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();
    QVector<qint16> samples(8, -1);

    QCOMPARE(bench.reader.grabAudio(3, 4ul, samples.data(), Now - 1000), 4ul);

    // Count, then 1.
    QCOMPARE(
        bench.takeCalls(), QStringList(QStringLiteral("query_audio 1 3 4 1 %1").arg(Now - 1000)));
    QCOMPARE(samples, (QVector<qint16>{0, 1, 2, 3, 4, 5, 6, 7}));
}

void TestShmemReaderAudio::rawAudioFailure_isZero()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.queryResult = -1;
    qint16 samples[8] = {};

    QCOMPARE(bench.reader.grabAudio(0, 4ul, samples, 0), 0ul);
}

void TestShmemReaderAudio::rawAudioWithoutAudio_isZero()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();
    qint16 samples[8] = {};

    QCOMPARE(bench.reader.grabAudio(0, 4ul, samples, 0), 0ul);

    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReaderAudio::rawAudio_ignoresSyncRange()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.reader.setRealtimeSyncRange(-1, 0);
    qint16 samples[8] = {};

    QCOMPARE(bench.reader.grabAudio(3, 4ul, samples, Now - 500000), 4ul);
}

void TestShmemReaderAudio::audio_asksForOneBlock()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();

    QAudioBuffer const buffer = bench.reader.grabAudio(2, 48ul, Now - 500000);

    // 1, then count.
    QCOMPARE(bench.takeCalls(), QStringList()
                                    << QStringLiteral("get_audio_status 1 2")
                                    << QStringLiteral("query_audio 1 2 1 48 %1").arg(Now - 500000));
    QVERIFY(buffer.isValid());
    QCOMPARE(buffer.frameCount(), 48);
    QCOMPARE(buffer.startTime(), Now - 500000);
    QCOMPARE(buffer.duration(), qint64{1000});
    QCOMPARE(buffer.format(), shmemFormatToAudioFormat(bench.shm.format));
    QVector<qint16> counting(96);
    std::iota(counting.begin(), counting.end(), qint16{0});
    QCOMPARE(samples(buffer), counting);
}

void TestShmemReaderAudio::audioOfNothing_asksNothing()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QVERIFY(!bench.reader.grabAudio(0, 0ul, Now).isValid());

    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReaderAudio::audioWithoutAudio_isEmpty()
{
    Bench bench;
    bench.shm.publishVideo(4, 2, Now);
    bench.settle();

    QVERIFY(!bench.reader.grabAudio(0, 48ul, 0).isValid());

    QCOMPARE(bench.takeCalls(), QStringList());
}

void TestShmemReaderAudio::audioStatusFailure_isEmpty_data()
{
    QTest::addColumn<int>("result");

    QTest::newRow("negative") << -1;
    QTest::newRow("positive") << 1;
}

void TestShmemReaderAudio::audioStatusFailure_isEmpty()
{
    QFETCH(int, result);
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.audioStatusResult = result;
    bench.settle();

    QVERIFY(!bench.reader.grabAudio(0, 48ul, 0).isValid());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_audio_status 1 0"));
}

void TestShmemReaderAudio::audioLongerThanHeld_isEmpty()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.settle();

    QVERIFY(!bench.reader.grabAudio(0, 48001ul, 0).isValid());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_audio_status 1 0"));
}

void TestShmemReaderAudio::audioAsLongAsHeld_isComplete()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QAudioBuffer const buffer = bench.reader.grabAudio(0, 48000ul, 0);

    QCOMPARE(buffer.frameCount(), 48000);
    QCOMPARE(buffer.startTime(), Now - 1000000);
}

void TestShmemReaderAudio::audioAtZero_isTheNewest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.reader.grabAudio(0, 4800ul, 0).startTime(), Now - 100000);
}

void TestShmemReaderAudio::audioAtNegativeTime_countsBackFromTheNewest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.reader.grabAudio(0, 4800ul, -50000).startTime(), Now - 150000);
}

void TestShmemReaderAudio::audioBeforeOldest_startsAtOldest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.reader.grabAudio(0, 4800ul, Now - 1000001).startTime(), Now - 1000000);
    QCOMPARE(bench.reader.grabAudio(0, 4800ul, -900001).startTime(), Now - 1000000);
}

void TestShmemReaderAudio::audioFarBeforeOldest_startsAtOldest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.reader.grabAudio(0, 4800ul, 1).startTime(), Now - 1000000);
    qint64 const earliest = std::numeric_limits<qint64>::min();
    QCOMPARE(bench.reader.grabAudio(0, 4800ul, earliest).startTime(), Now - 1000000);
}

void TestShmemReaderAudio::audioPastNewest_endsAtNewest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.reader.grabAudio(0, 4800ul, Now - 99999).startTime(), Now - 100000);
}

void TestShmemReaderAudio::audioFarPastNewest_endsAtNewest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    qint64 const latest = std::numeric_limits<qint64>::max();
    QCOMPARE(bench.reader.grabAudio(0, 4800ul, latest).startTime(), Now - 100000);
}

void TestShmemReaderAudio::audioAtLatestStart_isNotMoved()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);

    QCOMPARE(bench.reader.grabAudio(0, 4800ul, Now - 100000).startTime(), Now - 100000);
    QCOMPARE(bench.reader.grabAudio(0, 4800ul, Now - 100001).startTime(), Now - 100001);
}

void TestShmemReaderAudio::audioBeforeOldestByRounding_startsAtOldest()
{
    Bench bench;
    // One microsecond less between the ends than all samples last.
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.audioStatus.first_timestamp += 1;

    QCOMPARE(bench.reader.grabAudio(0, 48000ul, 0).startTime(), Now - 999999);
}

void TestShmemReaderAudio::audioPastNewestByRounding_endsAtNewest()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.audioStatus.first_timestamp += 1;

    // Not before the oldest, so the end decides, even though that leads before the oldest.
    QCOMPARE(bench.reader.grabAudio(0, 48000ul, Now - 999999).startTime(), Now - 1000000);
}

void TestShmemReaderAudio::audioOutsideSyncRange_isEmptyAndNotCopied()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.reader.setRealtimeSyncRange(-200, 0);
    bench.settle();

    QVERIFY(!bench.reader.grabAudio(0, 4800ul, Now - 200001).isValid());
    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_audio_status 1 0"));

    QVERIFY(bench.reader.grabAudio(0, 4800ul, Now - 200000).isValid());
}

void TestShmemReaderAudio::audioSync_judgesTheMovedStart()
{
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.reader.setRealtimeSyncRange(-200, 0);

    // Itself too late, but moved to 100 ms ago.
    QVERIFY(bench.reader.grabAudio(0, 4800ul, Now + 5000000).isValid());
    // Itself in range, but moved too far back.
    QVERIFY(!bench.reader.grabAudio(0, 24000ul, Now - 1000).isValid());
}

void TestShmemReaderAudio::audioQueryResultOtherThanOne_isEmpty_data()
{
    QTest::addColumn<int>("result");

    QTest::newRow("failure") << -1;
    QTest::newRow("none") << 0;
    QTest::newRow("two") << 2;
    QTest::newRow("count") << 48;
}

void TestShmemReaderAudio::audioQueryResultOtherThanOne_isEmpty()
{
    QFETCH(int, result);
    Bench bench;
    bench.shm.publishAudio(48000, 2, Now - 1000000, Now);
    bench.shm.queryResult = result;

    QVERIFY(!bench.reader.grabAudio(0, 48ul, 0).isValid());
}

void TestShmemReaderAudio::audioBeyondQtsRange_isEmpty_data()
{
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<quint32>("count");

    constexpr int maxInt = std::numeric_limits<int>::max();
    QTest::newRow("bytes") << 48000 << 2 << quint32{maxInt / 4 + 1};
    QTest::newRow("bytes that wrap to few") << 48000 << 2 << quint32{0x40000001};
    QTest::newRow("sample frames") << 48000 << 1 << std::numeric_limits<quint32>::max();
    QTest::newRow("channels") << 48000 << maxInt << 1u;
    QTest::newRow("no channels") << 48000 << 0 << 48u;
    QTest::newRow("no rate") << 0 << 2 << 48u;
    QTest::newRow("negative rate") << -48000 << 2 << 48u;
}

void TestShmemReaderAudio::audioBeyondQtsRange_isEmpty()
{
    QFETCH(int, sampleRate);
    QFETCH(int, channels);
    QFETCH(quint32, count);
    Bench bench;
    bench.shm.publishAudio(sampleRate, channels, Now - 1000000, Now);
    bench.shm.audioStatus.sample_count = std::numeric_limits<quint32>::max();
    bench.settle();

    QVERIFY(!bench.reader.grabAudio(0, static_cast<unsigned long>(count), 0).isValid());

    QCOMPARE(bench.takeCalls(), FakeShm::calls("get_audio_status 1 0"));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestShmemReaderAudio)
#include "tst_shmemreader_audio.moc"
