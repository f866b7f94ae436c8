#include "utils/audio.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <QCoreApplication>

#include "dyingwords.h"
#include "messagecheck.h"
#include "pcmformat.h"
#include "utils/audiolevelcalc.h"

namespace {

constexpr int Rate = 48000;

struct Call
{
    void const* samples;
    uint64_t frames;
    int64_t channels;
    int sampleFormat;
};

std::optional<Call> lastCall;
int status = 0;

std::optional<Call> takeCall()
{
    return std::exchange(lastCall, std::nullopt);
}

} // namespace

// In place of the library's: the levels count down from -1.
int av_audio_level_calc(
    void const* samples, uint64_t frames, int64_t channels, int sampleFormat, float* levels)
{
    lastCall = {samples, frames, channels, sampleFormat};
    for (int i = 0; i < 16; ++i)
        levels[i] = static_cast<float>(-1 - i);
    return status;
}

class AudioCallsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void block_isHandedToTheCalculator();
    void buffer_isHandedToTheCalculatorByFrames();
    void levels_comeFromTheirElements_data();
    void levels_comeFromTheirElements();
    void positiveStatus_isSuccess();
    void negativeStatus_hasNoLevels();
    void noChannels_areAskedForButHaveNoLevels();
    void noFrames_haveTheCalculatorsLevels();
    void invalidBuffer_isNotMeasured();
    void wrongSamples_endTheProcessBeforeTheyAreMeasured();
};

void AudioCallsTest::init()
{
    status = 0;
    lastCall.reset();
}

void AudioCallsTest::block_isHandedToTheCalculator()
{
    qint16 const samples[8] = {};

    getRmsMaxDecibels(samples, 4, pcm(Rate, 2));

    std::optional<Call> const call = takeCall();
    QVERIFY(call);
    QCOMPARE(call->samples, static_cast<void const*>(samples));
    QCOMPARE(call->frames, uint64_t{4});
    QCOMPARE(call->channels, int64_t{2});
    QCOMPARE(call->sampleFormat, 1);
}

void AudioCallsTest::buffer_isHandedToTheCalculatorByFrames()
{
    QAudioBuffer const buffer(QByteArray(4 * 480, 0), pcm(Rate, 2), 0);

    QCOMPARE(getRmsMaxDecibels(buffer).size(), 2);

    std::optional<Call> const call = takeCall();
    QVERIFY(call);
    QCOMPARE(call->samples, buffer.constData());
    QCOMPARE(call->frames, uint64_t{480});
    QCOMPARE(call->channels, int64_t{2});
}

void AudioCallsTest::levels_comeFromTheirElements_data()
{
    QTest::addColumn<int>("channels");
    for (int const channels : {1, 2, 8})
        QTest::addRow("%d channels", channels) << channels;
}

void AudioCallsTest::levels_comeFromTheirElements()
{
    QFETCH(int, channels);
    qint16 const samples[8] = {};

    AudioLevels const levels = getRmsMaxDecibels(samples, 1, pcm(Rate, channels));

    QCOMPARE(levels.size(), channels);
    for (int i = 0; i < channels; ++i) {
        QCOMPARE(levels[i].rms, static_cast<float>(-1 - i));
        QCOMPARE(levels[i].max, static_cast<float>(-9 - i));
    }
}

void AudioCallsTest::positiveStatus_isSuccess()
{
    status = 1;
    qint16 const samples[2] = {};

    QCOMPARE(getRmsMaxDecibels(samples, 1, pcm(Rate, 2)).size(), 2);
}

void AudioCallsTest::negativeStatus_hasNoLevels()
{
    status = -1;
    qint16 const samples[2] = {};

    QVERIFY(getRmsMaxDecibels(samples, 1, pcm(Rate, 2)).isEmpty());
    QVERIFY(takeCall());
}

void AudioCallsTest::noChannels_areAskedForButHaveNoLevels()
{
    qint16 const sample = 0;

    for (int const channels : {0, -1}) {
        QVERIFY(getRmsMaxDecibels(&sample, 1, pcm(Rate, channels)).isEmpty());
        std::optional<Call> const call = takeCall();
        QVERIFY(call);
        QCOMPARE(call->channels, int64_t{channels});
    }
}

void AudioCallsTest::noFrames_haveTheCalculatorsLevels()
{
    qint16 const sample = 0;

    QCOMPARE(getRmsMaxDecibels(&sample, 0, pcm(Rate, 1)).size(), 1);
    QCOMPARE(takeCall()->frames, uint64_t{0});

    status = -22;
    QVERIFY(getRmsMaxDecibels(&sample, 0, pcm(Rate, 1)).isEmpty());
}

void AudioCallsTest::invalidBuffer_isNotMeasured()
{
    QVERIFY(getRmsMaxDecibels(QAudioBuffer()).isEmpty());

    QVERIFY(!takeCall());
}

void AudioCallsTest::wrongSamples_endTheProcessBeforeTheyAreMeasured()
{
    QAudioFormat format = pcm(Rate, 2);
    format.setSampleSize(8);

    QByteArray const words = dyingWords([&] {
        char const data[8] = {};
        getRmsMaxDecibels(data, 4, format);
        fputs("measured", stderr);
    });

    QVERIFY(words.startsWith("ASSERT: \"format.sampleSize() == 16\" in file utils/audio, line "));
    QVERIFY(!words.contains("measured"));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioCallsTest)
#include "tst_audio_calls.moc"
