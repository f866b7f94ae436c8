/** What the tests of the audio share. */
#ifndef SHMAUDIO_H
#define SHMAUDIO_H

#include "shmtest.h"

#include <cmath>
#include <vector>

#include <QTest>

namespace shmtest {

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
struct AudioStream
{
    explicit AudioStream(int sampleRate = 48000, uint32_t duration = 2000)
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

} // namespace shmtest

#endif
