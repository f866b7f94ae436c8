#include "utils/audioreader.h"

#include <cmath>
#include <vector>

#include <QCoreApplication>

#include "allocationcounter.h"
#include "messagecheck.h"
#include "pcmformat.h"
#include "shm_writer.h"
#include "soundanalysis.h"
#include "utils/mediasource.h"

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr double Frequency = 1000;
constexpr double Amplitude = 16384;
// Blocks, and what is read for each, are 40 ms: more than the resampler's chunks.
constexpr int BlocksPerSecond = 25;
constexpr qint64 BlockDuration = 1000000 / BlocksPerSecond;
constexpr qint64 Start = 1700000000000000;

QString newName()
{
    static int count = 0;
    return QStringLiteral("qvorlin-test/reader-%1-%2")
        .arg(QCoreApplication::applicationPid())
        .arg(++count);
}

/** A stream that sounds a sine of 1 kHz on all channels, written block by block. */
class SineStream
{
public:
    SineStream(QString const& name, int rate, int channels)
        : mRate(rate)
        , mChannels(channels)
    {
        QByteArray const utf8 = name.toUtf8();
        shm_writer_config_t config;
        shm_writer_config_init(&config);
        config.name = utf8.constData();
        config.audio_sample_rate = rate;
        config.audio_channels = channels;
        char error[200] = "";
        mWriter = shm_writer_open(&config, error, sizeof(error));
        if (!mWriter)
            qFatal("%s", error);
    }
    ~SineStream() { shm_writer_close(mWriter); }
    SineStream(SineStream const&) = delete;
    SineStream& operator=(SineStream const&) = delete;

    qint16 sample(qint64 index) const
    {
        double const periods = std::fmod(Frequency * static_cast<double>(index) / mRate, 1.0);
        return static_cast<qint16>(std::lround(Amplitude * std::sin(2 * Pi * periods)));
    }

    void write(int blocks)
    {
        int const frames = mRate / BlocksPerSecond;
        std::vector<qint16> samples;
        for (int i = 0; i < blocks; ++i, ++mBlock) {
            samples.clear();
            for (int frame = 0; frame < frames; ++frame)
                samples.insert(
                    samples.end(), static_cast<size_t>(mChannels), sample(mBlock * frames + frame));
            if (shm_writer_append_audio(mWriter, samples.data(), static_cast<uint32_t>(frames),
                    Start + mBlock * BlockDuration) != 0)
                qFatal("not written");
        }
    }

    /** Time passes without sound. */
    void pause(int blocks) { mBlock += blocks; }

private:
    int mRate;
    int mChannels;
    shm_writer_t* mWriter = nullptr;
    qint64 mBlock = 0;
};

/** Such a stream with a second of sound, and a reader opened on it. */
struct Bench
{
    Bench(QAudioFormat const& from, QAudioFormat const& to)
        : name(newName())
        , stream(name, from.sampleRate(), from.channelCount())
        , source(name)
    {
        stream.write(BlocksPerSecond);
        if (!reader.open(&source, to, true))
            qFatal("not opened");
        blockSize = to.bytesForDuration(BlockDuration);
    }

    QByteArray read(int blocks)
    {
        QByteArray sound(blocks * blockSize, char(0xff));
        for (int i = 0; i < blocks; ++i) {
            if (reader.readDataInternal(sound.data() + i * blockSize, blockSize) != blockSize)
                qFatal("not read");
        }
        return sound;
    }

    /** What an output pulls while so much time passes. */
    QByteArray play(int blocks)
    {
        QByteArray sound;
        for (int i = 0; i < blocks; ++i) {
            stream.write(1);
            sound += read(1);
        }
        return sound;
    }

    /** Whether stereo is the stream's, sample for sample, from frame @p first of it on. */
    bool soundsFrom(qint64 first, QByteArray const& sound) const
    {
        auto const* const samples = reinterpret_cast<qint16 const*>(sound.constData());
        for (int i = 0; i < sound.size() / 4; ++i) {
            qint16 const expected = stream.sample(first + i);
            if (samples[2 * i] != expected || samples[2 * i + 1] != expected)
                return false;
        }
        return true;
    }

    QString name;
    SineStream stream;
    MediaSource source;
    AudioReader reader;
    int blockSize = 0;
};

/** One channel of @p count. */
std::vector<qint16> channelOf(QByteArray const& sound, int channel, int count)
{
    auto const* const samples = reinterpret_cast<qint16 const*>(sound.constData());
    std::vector<qint16> result;
    for (int i = channel; i < sound.size() / 2; i += count)
        result.push_back(samples[i]);
    return result;
}

} // namespace

class AudioReaderLiveTest : public QObject
{
    Q_OBJECT

private slots:
    void sine_comesOutPure_data();
    void sine_comesOutPure();
    void soundOfTheSameFormat_isSampleForSample();
    void soundResampled_beginsAtItsTime();
    void steadyReads_allocateNothing_data();
    void steadyReads_allocateNothing();
    void pauseOfTheStream_isSilenceAndThenSoundAgain();
    void streamFallenBehind_isCaughtUpWith();
};

void AudioReaderLiveTest::sine_comesOutPure_data()
{
    QTest::addColumn<QAudioFormat>("from");
    QTest::addColumn<QAudioFormat>("to");

    QTest::newRow("44100 mono to 48000 stereo") << pcm(44100, 1) << pcm(48000, 2);
    QTest::newRow("48000 stereo to 44100 mono") << pcm(48000, 2) << pcm(44100, 1);
    QTest::newRow("48000 stereo as it is") << pcm(48000, 2) << pcm(48000, 2);
    QTest::newRow("44100 mono as it is") << pcm(44100, 1) << pcm(44100, 1);
}

void AudioReaderLiveTest::sine_comesOutPure()
{
    QFETCH(QAudioFormat, from);
    QFETCH(QAudioFormat, to);
    Bench bench(from, to);
    // The beginning of the filter.
    bench.play(BlocksPerSecond);

    QByteArray const sound = bench.play(10 * BlocksPerSecond);

    QCOMPARE(sound.size(), 10 * BlocksPerSecond * bench.blockSize);
    for (int channel = 0; channel < to.channelCount(); ++channel) {
        std::vector<qint16> const samples = channelOf(sound, channel, to.channelCount());
        soundanalysis::Tone const tone =
            soundanalysis::fitTone(samples, Frequency, to.sampleRate());
        double const level = 20 * std::log10(tone.amplitude / Amplitude);
        double const rest = 20 * std::log10(tone.rest * std::sqrt(2.0) / tone.amplitude);
        qInfo("channel %d: sine at %.2f dB, anything else at %.1f dB of it", channel, level, rest);
        // A conversion between mono and stereo may take half of the power.
        QVERIFY(level > -3.1 && level < 0.1);
        QVERIFY(rest <= -60);
    }
    QCOMPARE(bench.reader.underruns(), qint64{0});
    QCOMPARE(bench.reader.reanchors(), qint64{0});
}

void AudioReaderLiveTest::soundOfTheSameFormat_isSampleForSample()
{
    Bench bench(pcm(48000, 2), pcm(48000, 2));

    QByteArray const sound = bench.play(2 * BlocksPerSecond);

    // When it was first read, the stream was a second and a block long.
    QCOMPARE(bench.reader.startTimestamp(), Start + 1000000 + BlockDuration - 200000);
    QVERIFY(bench.soundsFrom(48000 + 1920 - 9600, sound));
}

void AudioReaderLiveTest::soundResampled_beginsAtItsTime()
{
    Bench bench(pcm(44100, 1), pcm(48000, 2));

    QByteArray const sound = bench.play(BlocksPerSecond);

    // A whole number of periods after the start of the stream.
    QCOMPARE((bench.reader.startTimestamp() - Start) % 1000, qint64{0});
    std::vector<qint16> const left = channelOf(sound, 0, 2);
    soundanalysis::Tone const tone =
        soundanalysis::fitTone(soundanalysis::Part(left, 480, 48000), Frequency, 48000);
    // Radians; the fitted stretch begins whole periods later. A sample is 0.13.
    QVERIFY2(std::abs(tone.phase) < 0.01, qPrintable(QString::number(tone.phase)));
}

void AudioReaderLiveTest::steadyReads_allocateNothing_data()
{
    QTest::addColumn<QAudioFormat>("from");

    QTest::newRow("direct") << pcm(48000, 2);
    QTest::newRow("resampling") << pcm(44100, 1);
}

void AudioReaderLiveTest::steadyReads_allocateNothing()
{
    QFETCH(QAudioFormat, from);
    Bench bench(from, pcm(48000, 2));
    bench.play(BlocksPerSecond);
    std::vector<char> block(static_cast<size_t>(bench.blockSize));

    int allocations = 0;
    for (int i = 0; i < 4 * BlocksPerSecond; ++i) {
        bench.stream.write(1);
        AllocationCounter const counter;
        bench.reader.readDataInternal(block.data(), bench.blockSize);
        allocations += counter.count();
    }

    QCOMPARE(allocations, 0);
    QCOMPARE(bench.reader.underruns(), qint64{0});
}

void AudioReaderLiveTest::pauseOfTheStream_isSilenceAndThenSoundAgain()
{
    Bench bench(pcm(44100, 1), pcm(48000, 2));
    bench.play(BlocksPerSecond);

    // The reader has a fifth of a second left.
    QByteArray const silent = bench.read(BlocksPerSecond);
    QVERIFY(bench.reader.underruns() > 0);
    QVERIFY(silent.endsWith(QByteArray(BlocksPerSecond / 2 * bench.blockSize, 0)));
    bench.stream.pause(BlocksPerSecond);
    QByteArray const sound = bench.play(BlocksPerSecond);

    // As far behind as at first.
    QByteArray const end = sound.right(BlocksPerSecond / 2 * bench.blockSize);
    std::vector<qint16> const left = channelOf(end, 0, 2);
    soundanalysis::Tone const tone = soundanalysis::fitTone(left, Frequency, 48000);
    QVERIFY(tone.amplitude > Amplitude / 2);
    QVERIFY(tone.rest * 1000 < tone.amplitude);
}

void AudioReaderLiveTest::streamFallenBehind_isCaughtUpWith()
{
    Bench bench(pcm(48000, 2), pcm(48000, 2));
    bench.play(BlocksPerSecond);

    // Nobody reads for a second.
    bench.stream.write(BlocksPerSecond);
    QByteArray const sound = bench.play(1);

    QCOMPARE(bench.reader.reanchors(), qint64{1});
    QCOMPARE(bench.reader.underruns(), qint64{0});
    QVERIFY(bench.soundsFrom(3 * 48000 + 1920 - 9600, sound));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioReaderLiveTest)
#include "tst_audioreader_live.moc"
