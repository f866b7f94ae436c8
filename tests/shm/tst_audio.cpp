#include "messagecheck.h"
#include "shmaudio.h"

#include <climits>
#include <cstring>

#include <QCoreApplication>
#include <QTest>

using namespace shmtest;

class AudioTest : public QObject
{
    Q_OBJECT

private slots:
    void status_beforeAnyAudio();
    void status_spansTheAudioHeld();
    void status_holdsAtLeastTwoSeconds();
    void status_ofWrongArguments();
    void query_ofWrongArguments();
    void strict_deliversTheAskedPosition();
    void strict_newestAndOldest_data();
    void strict_newestAndOldest();
    void strict_beyondAnEndDeliversNothing();
    void strict_moreThanHeldDeliversNothing();
    void strict_allOrNothingInBothOrders();
    void strict_allOfDriftingAudio_data();
    void strict_allOfDriftingAudio();
};

void AudioTest::status_beforeAnyAudio()
{
    AudioStream stream;
    shm_audio_status_t status;
    std::memset(&status, 0x55, sizeof status);
    QCOMPARE(shm_reader_get_audio_status(stream.reader.get(), SHM_AUDIO_STRICT, &status), 0);
    QCOMPARE(status.valid, 0u);
    QCOMPARE(status.sample_count, 0u);
    QCOMPARE(status.last_timestamp, int64_t(0));
    QCOMPARE(stream.strict(1, 0), 0);
    QCOMPARE(stream.continuous(1, 0), 0);
    QCOMPARE(shm_writer_append_audio(stream.writer.get(), nullptr, 0, 5), 0);
    QCOMPARE(audioStatus(stream.reader.get()).valid, 0u);
}

void AudioTest::status_spansTheAudioHeld()
{
    AudioStream stream;
    stream.append(5 * second, 30);
    for (int mode : {SHM_AUDIO_STRICT + 0, SHM_AUDIO_CONTINUOUS + 0}) {
        shm_audio_status_t status;
        QCOMPARE(shm_reader_get_audio_status(stream.reader.get(), mode, &status), 0);
        QVERIFY(status.valid);
        QCOMPARE(status.sample_count, 14400u);
        QCOMPARE(status.first_timestamp, int64_t(5000000));
        QCOMPARE(status.last_timestamp, int64_t(5300000));
    }
}

void AudioTest::status_holdsAtLeastTwoSeconds()
{
    for (uint32_t duration : {2000u, 3500u}) {
        AudioStream stream(44100, duration);
        stream.append(0, 1000);
        shm_audio_status_t const status = audioStatus(stream.reader.get());
        QCOMPARE(status.sample_count, 44100 * duration / 1000);
        QCOMPARE(status.last_timestamp, 10 * second);
        QCOMPARE(status.last_timestamp - status.first_timestamp, int64_t(duration) * 1000);
    }
}

void AudioTest::status_ofWrongArguments()
{
    AudioStream stream;
    stream.append(0, 1);
    shm_audio_status_t status;
    std::memset(&status, 0x55, sizeof status);
    QCOMPARE(shm_reader_get_audio_status(nullptr, SHM_AUDIO_STRICT, &status), -1);
    QCOMPARE(status.last_timestamp, int64_t(0));
    QCOMPARE(shm_reader_get_audio_status(stream.reader.get(), SHM_AUDIO_STRICT, nullptr), -1);
    for (int mode : {1, 2, 4, -1})
        QCOMPARE(shm_reader_get_audio_status(stream.reader.get(), mode, &status), -1);

    Writer const silent = openWriter(videoConfig("silent"));
    Reader const reader(shm_reader_open("silent"));
    QCOMPARE(shm_reader_get_audio_status(reader.get(), SHM_AUDIO_STRICT, &status), -1);
    int16_t sample = 0;
    QCOMPARE(shm_reader_query_audio(reader.get(), SHM_AUDIO_STRICT, &sample, 1, 1, 0), -1);
}

void AudioTest::query_ofWrongArguments()
{
    AudioStream stream;
    stream.append(0, 10);
    shm_reader_t* const reader = stream.reader.get();
    int16_t* const dest = stream.samples.data();
    QCOMPARE(shm_reader_query_audio(nullptr, SHM_AUDIO_STRICT, dest, 1, 1, 0), -1);
    QCOMPARE(shm_reader_query_audio(reader, SHM_AUDIO_STRICT, nullptr, 1, 1, 0), -1);
    for (int mode : {1, 2, 4, -1})
        QCOMPARE(shm_reader_query_audio(reader, mode, dest, 1, 1, 0), -1);
    for (int mode : {SHM_AUDIO_STRICT + 0, SHM_AUDIO_CONTINUOUS + 0}) {
        QCOMPARE(shm_reader_query_audio(reader, mode, dest, 0, 1, 0), 0);
        QCOMPARE(shm_reader_query_audio(reader, mode, dest, 1, 0, 0), 0);
        QCOMPARE(shm_reader_query_audio(reader, mode, dest, 1, ULONG_MAX, 0), 0);
        QCOMPARE(shm_reader_query_audio(reader, mode, dest, ULONG_MAX, 1, 0), -1);
        QCOMPARE(shm_reader_query_audio(reader, mode, dest, INT_MAX, ULONG_MAX / 2, 0), 0);
    }
}

void AudioTest::strict_deliversTheAskedPosition()
{
    AudioStream stream;
    stream.append(5 * second, 100);
    QCOMPARE(stream.strict(480, 5500000), 1);
    QVERIFY(stream.readsAt(24000, 480));
    // 20.8 µs are a sample; half of it belongs to the nearer one.
    QCOMPARE(stream.strict(480, 5500010), 1);
    QVERIFY(stream.readsAt(24000, 480));
    QCOMPARE(stream.strict(480, 5500011), 1);
    QVERIFY(stream.readsAt(24001, 480));
}

void AudioTest::strict_newestAndOldest_data()
{
    QTest::addColumn<int>("rate");
    for (int rate : {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000, 192000, 384000})
        QTest::addRow("%d", rate) << rate;
}

void AudioTest::strict_newestAndOldest()
{
    QFETCH(int, rate);
    AudioStream stream(rate);
    stream.append(1234567, 230);
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    // As a caller does that reckons in whole microseconds: the newest n sample frames.
    for (uint64_t count : {uint64_t(1), uint64_t(7), uint64_t(1024), uint64_t(rate) / 10}) {
        int64_t const duration = int64_t(count) * second / rate;
        QCOMPARE(stream.strict(count, status.last_timestamp - duration), 1);
        QVERIFY(stream.readsAt(stream.position - count, count));
        QCOMPARE(stream.strict(count, status.first_timestamp), 1);
        QVERIFY(stream.readsAt(stream.position - status.sample_count, count));
    }
    QCOMPARE(stream.strict(status.sample_count, status.first_timestamp), 1);
    QVERIFY(stream.readsAt(stream.position - status.sample_count, status.sample_count));
}

void AudioTest::strict_beyondAnEndDeliversNothing()
{
    AudioStream stream;
    stream.append(5 * second, 100);
    stream.samples[0] = 77;
    QCOMPARE(stream.strict(480, 4999000), 0);
    QCOMPARE(stream.strict(480, 5991000), 0);
    QCOMPARE(stream.strict(480, 9 * second), 0);
    QCOMPARE(stream.strict(480, 0), 0);
    QCOMPARE(stream.strict(480, INT64_MIN), 0);
    QCOMPARE(stream.strict(480, INT64_MAX), 0);
    QCOMPARE(stream.samples[0], int16_t(77));
    QCOMPARE(stream.strict(480, 5990000), 1);
}

void AudioTest::strict_moreThanHeldDeliversNothing()
{
    AudioStream stream;
    stream.append(5 * second, 100);
    QCOMPARE(stream.strict(48000, 5 * second), 1);
    QCOMPARE(stream.strict(48001, 5 * second), 0);
}

void AudioTest::strict_allOrNothingInBothOrders()
{
    AudioStream stream;
    stream.append(5 * second, 100);
    auto const query = [&](unsigned long blocks, unsigned long frames, int64_t timestamp) {
        return shm_reader_query_audio(stream.reader.get(), SHM_AUDIO_STRICT, stream.samples.data(),
            blocks, frames, timestamp);
    };
    QCOMPARE(query(1, 480, 5990000), 1);
    QCOMPARE(query(480, 1, 5990000), 480);
    QCOMPARE(query(4, 120, 5990000), 4);
    QCOMPARE(query(481, 1, 5990000), 0);
    QCOMPARE(query(1, 481, 5990000), 0);
    QCOMPARE(query(5, 120, 5990000), 0);
}

void AudioTest::strict_allOfDriftingAudio_data()
{
    QTest::addColumn<int>("blockDuration");
    QTest::newRow("writer's clock runs slower") << 9990;
    QTest::newRow("writer's clock runs faster") << 10010;
}

void AudioTest::strict_allOfDriftingAudio()
{
    QFETCH(int, blockDuration);
    AudioStream stream;
    for (int i = 0; i < 100; ++i)
        stream.appendAt(second + i * blockDuration, 480);
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    QCOMPARE(status.sample_count, 48000u);
    QCOMPARE(status.last_timestamp, second + 99 * blockDuration + 10000);
    QCOMPARE(stream.strict(48000, status.first_timestamp), 1);
    QVERIFY(stream.readsAt(0, 48000));
    QCOMPARE(stream.strict(480, status.last_timestamp - 10000), 1);
    QVERIFY(stream.readsAt(48000 - 480, 480));
    // Where a block begins is where its timestamp says.
    QCOMPARE(stream.strict(480, second + 50 * blockDuration), 1);
    QVERIFY(stream.readsAt(50 * 480, 480));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioTest)

#include "tst_audio.moc"
