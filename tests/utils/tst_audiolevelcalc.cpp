#include "utils/audiolevelcalc.h"

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include <QCoreApplication>

#include "messagecheck.h"

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr int Signed16 = 1;
constexpr float Silence = -100;
// What the levels held before the call.
constexpr float Untouched = 77;

using Samples = std::vector<int16_t>;
using Levels = std::array<float, 16>;
using Signal = std::function<double(uint64_t frame, int channel)>;

Levels untouched()
{
    Levels levels;
    levels.fill(Untouched);
    return levels;
}

Samples render(Signal const& signal, uint64_t frames, int channels)
{
    Samples samples;
    for (uint64_t frame = 0; frame < frames; ++frame) {
        for (int channel = 0; channel < channels; ++channel)
            samples.push_back(static_cast<int16_t>(std::lround(signal(frame, channel))));
    }
    return samples;
}

Levels measured(Samples const& samples, int channels)
{
    Levels levels = untouched();
    uint64_t const frames = samples.size() / static_cast<size_t>(channels);
    if (av_audio_level_calc(samples.data(), frames, channels, Signed16, levels.data()) != 0)
        qFatal("not measured");
    return levels;
}

/** The same figures in the plainest way. */
Levels expected(Samples const& samples, int channels)
{
    Levels levels;
    levels.fill(Silence);
    auto const step = static_cast<size_t>(channels);
    for (size_t channel = 0; channel < step; ++channel) {
        double squares = 0;
        double peak = 0;
        for (size_t i = channel; i < samples.size(); i += step) {
            double const value = samples[i];
            squares += value * value;
            peak = std::max(peak, std::abs(value));
        }
        double const rms = std::sqrt(squares / static_cast<double>(samples.size() / step));
        if (peak > 0) {
            levels[channel] = static_cast<float>(20 * std::log10(rms / 32768));
            levels[8 + channel] = static_cast<float>(20 * std::log10(peak / 32768));
        }
    }
    return levels;
}

/** @return the first place where they are more than 0.01 dB apart, -1 if none */
int firstDifference(Levels const& a, Levels const& b)
{
    for (size_t i = 0; i < a.size(); ++i) {
        if (!(std::abs(a[i] - b[i]) <= 0.01f))
            return static_cast<int>(i);
    }
    return -1;
}

} // namespace

class AudioLevelCalcTest : public QObject
{
    Q_OBJECT

private slots:
    void signal_hasLevelsOfPlainComputation_data();
    void signal_hasLevelsOfPlainComputation();
    void sine_hasKnownLevels();
    void squareAtLowerEnd_isFullScale();
    void squareAtUpperEnd_isJustBelowFullScale();
    void singleStep_isTheSmallestPeak();
    void silence_isFloorBelowTheMetersMarks();
    void noFrames_areSilence();
    void oneLoudChannelOfEight_isTheOnlyOneHeard_data();
    void oneLoudChannelOfEight_isTheOnlyOneHeard();
    void singleLoudSample_isFoundAnywhere();
    void channelsNotThere_areSilence();
    void samplesAtOddAddress_areMeasured();
    void longLoudBlock_doesNotOverflow();
    void longQuietBlock_isExact();
    void nullPointer_isRefused();
    void channelsOutOfRange_areRefused_data();
    void channelsOutOfRange_areRefused();
    void otherSampleFormats_areRefused_data();
    void otherSampleFormats_areRefused();
};

void AudioLevelCalcTest::signal_hasLevelsOfPlainComputation_data()
{
    QTest::addColumn<Samples>("samples");
    QTest::addColumn<int>("channels");

    std::mt19937 random(4711);
    std::uniform_int_distribution<int> loud(-32768, 32767);
    std::uniform_int_distribution<int> quiet(-2, 2);
    struct Kind
    {
        char const* name;
        Signal signal;
    };
    Kind const kinds[] = {
        {"sine",
            [](uint64_t frame, int channel) {
                return 3000 * (channel + 1) *
                       std::sin(2 * Pi * 997 * static_cast<double>(frame) / 48000);
            }},
        {"square",
            [](uint64_t frame, int channel) {
                return (frame / 24 % 2 ? 1 : -1) * (32767 >> channel);
            }},
        {"loud noise",
            [&](uint64_t, int) {
                return loud(random);
            }},
        {"quiet noise",
            [&](uint64_t, int) {
                return quiet(random);
            }},
        {"offset",
            [](uint64_t, int channel) {
                return -1000 - channel;
            }},
    };
    // Around the sizes in which samples are taken together.
    uint64_t const lengths[] = {1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 255, 4095, 4800, 8193};
    for (Kind const& kind : kinds) {
        for (int channels = 1; channels <= 8; ++channels) {
            for (uint64_t const frames : lengths)
                QTest::addRow("%s, %d channels, %d frames", kind.name, channels, int(frames))
                    << render(kind.signal, frames, channels) << channels;
        }
    }
}

void AudioLevelCalcTest::signal_hasLevelsOfPlainComputation()
{
    QFETCH(Samples, samples);
    QFETCH(int, channels);

    Levels const levels = measured(samples, channels);

    int const different = firstDifference(levels, expected(samples, channels));
    QVERIFY2(different < 0, qPrintable(QString::number(different)));
}

void AudioLevelCalcTest::sine_hasKnownLevels()
{
    // A hundred whole periods.
    Samples const samples =
        render([](uint64_t frame,
                   int) { return 16384 * std::sin(2 * Pi * static_cast<double>(frame) / 48); },
            4800, 1);

    Levels const levels = measured(samples, 1);

    QVERIFY(std::abs(levels[0] - -9.031f) < 0.01f);
    QVERIFY(std::abs(levels[8] - -6.021f) < 0.01f);
}

void AudioLevelCalcTest::squareAtLowerEnd_isFullScale()
{
    Levels const levels = measured(Samples(2 * 4801, -32768), 2);

    QCOMPARE(levels[0], 0.0f);
    QCOMPARE(levels[1], 0.0f);
    QCOMPARE(levels[8], 0.0f);
    QCOMPARE(levels[9], 0.0f);
}

void AudioLevelCalcTest::squareAtUpperEnd_isJustBelowFullScale()
{
    Levels const levels = measured(Samples(4801, 32767), 1);

    QVERIFY(levels[0] < 0.0f && levels[0] > -0.0004f);
    QVERIFY(levels[8] < 0.0f && levels[8] > -0.0004f);
}

void AudioLevelCalcTest::singleStep_isTheSmallestPeak()
{
    Samples samples(1000, 0);
    samples[500] = -1;

    Levels const levels = measured(samples, 1);

    QVERIFY(std::abs(levels[8] - -90.309f) < 0.01f);
    // A thousandth of its power, below what stands for silence: levels are not cut off.
    QVERIFY(std::abs(levels[0] - -120.309f) < 0.01f);
}

void AudioLevelCalcTest::silence_isFloorBelowTheMetersMarks()
{
    Levels const levels = measured(Samples(4800, 0), 2);

    for (float const level : levels)
        QCOMPARE(level, Silence);
}

void AudioLevelCalcTest::noFrames_areSilence()
{
    Levels levels = untouched();
    int16_t const sample = 12345;

    QCOMPARE(av_audio_level_calc(&sample, 0, 2, Signed16, levels.data()), 0);

    for (float const level : levels)
        QCOMPARE(level, Silence);
}

void AudioLevelCalcTest::oneLoudChannelOfEight_isTheOnlyOneHeard_data()
{
    QTest::addColumn<int>("loud");
    for (int i = 0; i < 8; ++i)
        QTest::addRow("channel %d", i) << i;
}

void AudioLevelCalcTest::oneLoudChannelOfEight_isTheOnlyOneHeard()
{
    QFETCH(int, loud);
    Samples const samples =
        render([&](uint64_t, int channel) { return channel == loud ? -32768 : 0; }, 1001, 8);

    Levels const levels = measured(samples, 8);

    for (int i = 0; i < 16; ++i)
        QCOMPARE(levels[static_cast<size_t>(i)], i % 8 == loud ? 0.0f : Silence);
}

void AudioLevelCalcTest::singleLoudSample_isFoundAnywhere()
{
    Samples samples(2 * 75, 0);
    for (size_t place = 0; place < samples.size(); ++place) {
        samples[place] = place % 3 == 0 ? 32767 : -32768;
        QCOMPARE(firstDifference(measured(samples, 2), expected(samples, 2)), -1);
        samples[place] = 0;
    }
}

void AudioLevelCalcTest::channelsNotThere_areSilence()
{
    Levels const levels = measured(Samples(4800, 1000), 2);

    for (size_t i = 2; i < 8; ++i) {
        QCOMPARE(levels[i], Silence);
        QCOMPARE(levels[8 + i], Silence);
    }
}

void AudioLevelCalcTest::samplesAtOddAddress_areMeasured()
{
    Samples const samples = render(
        [](uint64_t frame, int channel) { return 100.0 * channel - static_cast<double>(frame); },
        777, 2);
    std::vector<char> bytes(samples.size() * 2 + 1);
    memcpy(bytes.data() + 1, samples.data(), bytes.size() - 1);
    Levels levels = untouched();

    QCOMPARE(av_audio_level_calc(bytes.data() + 1, 777, 2, Signed16, levels.data()), 0);

    QCOMPARE(firstDifference(levels, expected(samples, 2)), -1);
}

void AudioLevelCalcTest::longLoudBlock_doesNotOverflow()
{
    // Each square is 2^30.
    Levels const levels = measured(Samples(20000000, -32768), 2);

    QCOMPARE(levels[0], 0.0f);
    QCOMPARE(levels[1], 0.0f);
}

void AudioLevelCalcTest::longQuietBlock_isExact()
{
    std::mt19937 random(42);
    std::uniform_int_distribution<int> value(-3, 3);
    Samples const samples = render([&](uint64_t, int) { return value(random); }, 2000000, 2);

    QCOMPARE(firstDifference(measured(samples, 2), expected(samples, 2)), -1);
}

void AudioLevelCalcTest::nullPointer_isRefused()
{
    Levels levels = untouched();
    int16_t const sample = 1;

    QVERIFY(av_audio_level_calc(nullptr, 1, 1, Signed16, levels.data()) < 0);
    QVERIFY(av_audio_level_calc(nullptr, 0, 1, Signed16, levels.data()) < 0);
    QVERIFY(av_audio_level_calc(&sample, 1, 1, Signed16, nullptr) < 0);

    QCOMPARE(levels, untouched());
}

void AudioLevelCalcTest::channelsOutOfRange_areRefused_data()
{
    QTest::addColumn<qint64>("channels");
    QTest::newRow("none") << qint64{0};
    QTest::newRow("negative") << qint64{-1};
    QTest::newRow("nine") << qint64{9};
    QTest::newRow("two in 32 bits") << (qint64{1} << 32) + 2;
    QTest::newRow("least") << std::numeric_limits<qint64>::min();
}

void AudioLevelCalcTest::channelsOutOfRange_areRefused()
{
    QFETCH(qint64, channels);
    Levels levels = untouched();
    Samples const samples(100, 1000);

    QVERIFY(av_audio_level_calc(samples.data(), 1, channels, Signed16, levels.data()) < 0);

    QCOMPARE(levels, untouched());
}

void AudioLevelCalcTest::otherSampleFormats_areRefused_data()
{
    QTest::addColumn<int>("format");
    for (int const format : {-1, 0, 2, 3, 4, 6, 65537})
        QTest::addRow("format %d", format) << format;
}

void AudioLevelCalcTest::otherSampleFormats_areRefused()
{
    QFETCH(int, format);
    Levels levels = untouched();
    Samples const samples(100, 1000);

    QVERIFY(av_audio_level_calc(samples.data(), 1, 1, format, levels.data()) < 0);

    QCOMPARE(levels, untouched());
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioLevelCalcTest)
#include "tst_audiolevelcalc.moc"
