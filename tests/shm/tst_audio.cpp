#include "messagecheck.h"
#include "shmtest.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

#include <QCoreApplication>
#include <QtTest>

using namespace shmtest;

namespace {

constexpr int64_t second = 1000000;

/** One channel of a sine, one that numbers the sample frames: a repeat or a skip shows. */
class Tone
{
public:
    Tone(int rate, double frequency)
        : mRate(rate)
        , mFrequency(frequency)
    {}

    int16_t sine(uint64_t position) const
    {
        double const phase = std::fmod(double(position) * mFrequency, double(mRate)) / mRate;
        return int16_t(std::lrint(20000 * std::sin(2 * 3.14159265358979 * phase)));
    }
    static int16_t number(uint64_t position) { return int16_t(position % 30011); }

    std::vector<int16_t> samples(uint64_t position, uint64_t count) const
    {
        std::vector<int16_t> values;
        for (uint64_t i = position; i < position + count; ++i) {
            values.push_back(sine(i));
            values.push_back(number(i));
        }
        return values;
    }
    bool isAt(int16_t const* samples, uint64_t position, uint64_t count) const
    {
        for (uint64_t i = 0; i < count; ++i) {
            if (samples[2 * i] != sine(position + i) || samples[2 * i + 1] != number(position + i))
                return false;
        }
        return true;
    }

private:
    int mRate;
    double mFrequency;
};

/** A stereo stream, its writer's clock and a reader. */
struct Stream
{
    explicit Stream(int sampleRate = 48000, uint32_t duration = 2000)
        : tone(sampleRate, 1000)
        , rate(sampleRate)
    {
        shm_writer_config_t config = audioConfig("sound");
        config.audio_sample_rate = rate;
        config.audio_duration_ms = duration;
        writer = openWriter(config);
        reader.reset(shm_reader_open("sound"));
        samples.resize(2 * 4 * size_t(rate));
    }

    /** Appends @p count sample frames at @p timestamp. */
    void appendAt(int64_t timestamp, uint64_t count)
    {
        std::vector<int16_t> const values = tone.samples(position, count);
        QCOMPARE(
            shm_writer_append_audio(writer.get(), values.data(), uint32_t(count), timestamp), 0);
        position += count;
    }
    /** Appends in blocks of 10 ms by a clock that starts with @p start and never drifts. */
    void append(int64_t start, int blocks)
    {
        for (int i = 0; i < blocks; ++i)
            appendAt(start + int64_t(position) * second / rate, uint64_t(rate) / 100);
    }
    int strict(uint64_t count, int64_t timestamp)
    {
        return shm_reader_query_audio(
            reader.get(), SHM_AUDIO_STRICT, samples.data(), 1, count, timestamp);
    }
    int continuous(uint64_t count, int64_t timestamp)
    {
        return shm_reader_query_audio(
            reader.get(), SHM_AUDIO_CONTINUOUS, samples.data(), count, 1, timestamp);
    }
    bool readsAt(uint64_t first, uint64_t count) const
    {
        return tone.isAt(samples.data(), first, count);
    }

    Place place;
    Tone tone;
    int rate;
    Writer writer;
    Reader reader;
    uint64_t position = 0;
    std::vector<int16_t> samples;
};

} // namespace

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
    void continuous_deliversWhatIsThere();
    void continuous_deliversWholeBlocksOnly();
    void continuous_startIsMovedToTheOldest();
    void continuous_futureDeliversNothingAndForgetsNothing();
    void continuous_tenMillisecondsAreTolerated();
    void continuous_moreThanTenMillisecondsTakesTheTimestamp();
    void continuous_handlesDoNotDisturbEachOther();
    void continuousSine_hasNoRepeatAndNoSkip_data();
    void continuousSine_hasNoRepeatAndNoSkip();
    void longContinuousReading_correctsByTenMilliseconds();
    void gap_endsOlderAudio_data();
    void gap_endsOlderAudio();
    void timestamps_followTheWriter();
    void timestamps_followManySmallBlocks();
    void timestamps_stepBackWithinToleranceOfTinyBlocks();
    void longBlocks_leaveTheNewestAudio();
    void ring_wrapsWithoutFault();
    void timestamps_mayBeAnyNumber();
};

void AudioTest::status_beforeAnyAudio()
{
    Stream stream;
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
    Stream stream;
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
        Stream stream(44100, duration);
        stream.append(0, 1000);
        shm_audio_status_t const status = audioStatus(stream.reader.get());
        QCOMPARE(status.sample_count, 44100 * duration / 1000);
        QCOMPARE(status.last_timestamp, 10 * second);
        QCOMPARE(status.last_timestamp - status.first_timestamp, int64_t(duration) * 1000);
    }
}

void AudioTest::status_ofWrongArguments()
{
    Stream stream;
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
    Stream stream;
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
    Stream stream;
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
    Stream stream(rate);
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
    Stream stream;
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
    Stream stream;
    stream.append(5 * second, 100);
    QCOMPARE(stream.strict(48000, 5 * second), 1);
    QCOMPARE(stream.strict(48001, 5 * second), 0);
}

void AudioTest::strict_allOrNothingInBothOrders()
{
    Stream stream;
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
    Stream stream;
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

void AudioTest::continuous_deliversWhatIsThere()
{
    Stream stream;
    stream.append(second, 10);
    QCOMPARE(stream.continuous(1000, second), 1000);
    QVERIFY(stream.readsAt(0, 1000));
    QCOMPARE(stream.continuous(10000, second + 20833), 3800);
    QVERIFY(stream.readsAt(1000, 3800));
    QCOMPARE(stream.continuous(10000, second + 100000), 0);
    stream.append(second, 1);
    QCOMPARE(stream.continuous(10000, second + 100000), 480);
    QVERIFY(stream.readsAt(4800, 480));
}

void AudioTest::continuous_deliversWholeBlocksOnly()
{
    Stream stream;
    stream.append(second, 10);
    auto const query = [&](unsigned long blocks, unsigned long frames, int64_t timestamp) {
        return shm_reader_query_audio(stream.reader.get(), SHM_AUDIO_CONTINUOUS,
            stream.samples.data(), blocks, frames, timestamp);
    };
    QCOMPARE(query(1, 4801, second), 0);
    QCOMPARE(query(100, 1000, second), 4);
    QVERIFY(stream.readsAt(0, 4000));
    QCOMPARE(query(1, 1000, second + 83333), 0);
    QCOMPARE(query(1, 800, second + 83333), 1);
    QVERIFY(stream.readsAt(4000, 800));
}

void AudioTest::continuous_startIsMovedToTheOldest()
{
    Stream stream;
    stream.append(second, 300);
    QCOMPARE(stream.continuous(480, 0), 480);
    QVERIFY(stream.readsAt(48000, 480));
    QCOMPARE(stream.continuous(480, INT64_MIN), 480);
    QVERIFY(stream.readsAt(48000, 480));
    // A reader that was left behind goes on with the oldest.
    QCOMPARE(stream.continuous(480, 2 * second), 480);
    stream.append(second, 100);
    QCOMPARE(stream.continuous(480, 2 * second + 10000), 480);
    QVERIFY(stream.readsAt(stream.position - 96000, 480));
}

void AudioTest::continuous_futureDeliversNothingAndForgetsNothing()
{
    Stream stream;
    stream.append(second, 100);
    QCOMPARE(stream.continuous(480, second), 480);
    QCOMPARE(stream.continuous(480, 5 * second), 0);
    QCOMPARE(stream.continuous(480, INT64_MAX), 0);
    // 1 ms off, and yet the very next sample.
    QCOMPARE(stream.continuous(480, second + 11000), 480);
    QVERIFY(stream.readsAt(480, 480));
}

void AudioTest::continuous_tenMillisecondsAreTolerated()
{
    for (int64_t off : {-10000, -1, 0, 1, 10000}) {
        Stream stream;
        stream.append(second, 100);
        QCOMPARE(stream.continuous(4800, second), 4800);
        QCOMPARE(stream.continuous(480, second + 100000 + off), 480);
        QVERIFY(stream.readsAt(4800, 480));
    }
}

void AudioTest::continuous_moreThanTenMillisecondsTakesTheTimestamp()
{
    for (int64_t off : {-10001, 10001, 50000, -50000}) {
        Stream stream;
        stream.append(second, 100);
        QCOMPARE(stream.continuous(4800, second), 4800);
        QCOMPARE(stream.continuous(480, second + 100000 + off), 480);
        uint64_t const position = uint64_t(std::lround(double(100000 + off) * 0.048));
        QVERIFY(stream.readsAt(position, 480));
    }
}

void AudioTest::continuous_handlesDoNotDisturbEachOther()
{
    Stream stream;
    stream.append(second, 100);
    Reader const other(shm_reader_open("sound"));
    std::vector<int16_t> samples(2 * 480);
    QCOMPARE(stream.continuous(480, second), 480);
    QCOMPARE(shm_reader_query_audio(
                 other.get(), SHM_AUDIO_CONTINUOUS, samples.data(), 480, 1, second + 500000),
        480);
    QVERIFY(stream.tone.isAt(samples.data(), 24000, 480));
    QCOMPARE(stream.continuous(480, second + 12000), 480);
    QVERIFY(stream.readsAt(480, 480));
}

void AudioTest::continuousSine_hasNoRepeatAndNoSkip_data()
{
    QTest::addColumn<int>("rate");
    QTest::newRow("44100 Hz") << 44100;
    QTest::newRow("48000 Hz") << 48000;
}

void AudioTest::continuousSine_hasNoRepeatAndNoSkip()
{
    QFETCH(int, rate);
    constexpr uint64_t block = 1024;
    Stream stream(rate);
    int64_t const start = 1700000000 * second;
    int64_t timestamp = start;
    uint64_t expected = 0;
    int corrections = 0;
    int faults = 0;
    while (expected < uint64_t(rate) * 60) {
        stream.append(start, 3);
        while (stream.position - expected >= block) {
            QCOMPARE(stream.continuous(block, timestamp), int(block));
            // The timestamp that the reader would take a correction from.
            corrections +=
                std::llabs(start + int64_t(expected) * second / rate - timestamp) > 10000;
            faults += !stream.readsAt(expected, block);
            expected += block;
            timestamp += int64_t(block) * second / rate;
        }
    }
    QCOMPARE(faults, 0);
    QCOMPARE(corrections, 0);
    qInfo("%d Hz: %llu sample frames, %d corrections, timestamps %lld us behind at the end", rate,
        static_cast<unsigned long long>(expected), corrections,
        static_cast<long long>(start + int64_t(expected) * second / rate - timestamp));
}

void AudioTest::longContinuousReading_correctsByTenMilliseconds()
{
    // At 44100 Hz the caller loses 0.95 µs with each block, 10 ms after 244 s.
    constexpr int rate = 44100;
    constexpr uint64_t block = 1024;
    Stream stream(rate);
    int64_t timestamp = 0;
    uint64_t expected = 0;
    std::vector<int64_t> corrections;
    while (timestamp < 500 * second) {
        stream.append(0, 3);
        while (shm_reader_query_audio(stream.reader.get(), SHM_AUDIO_CONTINUOUS,
                   stream.samples.data(), 1, block, timestamp) == 1) {
            if (!stream.readsAt(expected, block)) {
                corrections.push_back(timestamp);
                uint64_t const taken = uint64_t(std::llround(double(timestamp) * rate / second));
                QVERIFY(stream.readsAt(taken, block));
                expected = taken;
            }
            expected += block;
            timestamp += int64_t(block) * second / rate;
        }
    }
    QCOMPARE(corrections.size(), size_t(2));
    QVERIFY(corrections[0] > 243 * second && corrections[0] < 244 * second);
    qInfo("corrections after %.1f and %.1f s", double(corrections[0]) / second,
        double(corrections[1]) / second);
}

void AudioTest::gap_endsOlderAudio_data()
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

void AudioTest::gap_endsOlderAudio()
{
    QFETCH(int, gap);
    QFETCH(bool, isBreak);
    Stream stream;
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

void AudioTest::timestamps_followTheWriter()
{
    Stream stream;
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

void AudioTest::timestamps_followManySmallBlocks()
{
    Stream stream;
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

void AudioTest::timestamps_stepBackWithinToleranceOfTinyBlocks()
{
    Stream stream;
    stream.appendAt(second, 480);
    stream.appendAt(second + 10000, 1);
    stream.appendAt(second + 9500, 1);
    stream.appendAt(second + 9600, 480);
    QCOMPARE(statistics(stream.writer.get()).audio_breaks, uint64_t(0));
    QCOMPARE(audioStatus(stream.reader.get()).sample_count, 962u);
}

void AudioTest::longBlocks_leaveTheNewestAudio()
{
    Stream stream;
    stream.appendAt(second, 48000 * 7 + 1);
    shm_audio_status_t const status = audioStatus(stream.reader.get());
    QCOMPARE(status.sample_count, 96000u);
    QCOMPARE(status.last_timestamp, 8 * second + 20);
    QCOMPARE(stream.strict(96000, status.first_timestamp), 1);
    QVERIFY(stream.readsAt(48000 * 5 + 1, 96000));
}

void AudioTest::ring_wrapsWithoutFault()
{
    Stream stream;
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

void AudioTest::timestamps_mayBeAnyNumber()
{
    Stream stream;
    for (int64_t timestamp : {INT64_MIN, INT64_MAX, int64_t(0), INT64_MAX - 10000, INT64_MIN}) {
        stream.appendAt(timestamp, 480);
        QCOMPARE(audioStatus(stream.reader.get()).first_timestamp, timestamp);
        QCOMPARE(audioStatus(stream.reader.get()).sample_count, 480u);
        QCOMPARE(stream.strict(480, timestamp), 1);
    }
    QCOMPARE(statistics(stream.writer.get()).audio_breaks, uint64_t(4));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioTest)

#include "tst_audio.moc"
