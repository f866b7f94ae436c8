#include "utils/audio.h"

#include <cmath>
#include <vector>

#include <QCoreApplication>
#include <QRegularExpression>

#include "dyingwords.h"
#include "messagecheck.h"
#include "pcmformat.h"

namespace {

constexpr double Pi = 3.14159265358979323846;
constexpr int Rate = 48000;

/** A sine of half the full scale on the left, a square of a quarter of it on the right. */
std::vector<qint16> sineAndSquare(int frames)
{
    std::vector<qint16> samples;
    for (int i = 0; i < frames; ++i) {
        samples.push_back(static_cast<qint16>(std::lround(16384 * std::sin(2 * Pi * i / 48))));
        samples.push_back(i / 24 % 2 ? 8192 : -8192);
    }
    return samples;
}

bool isNear(float level, double expected)
{
    return std::abs(level - expected) < 0.01;
}

bool areSineAndSquare(AudioLevels const& levels)
{
    return levels.size() == 2 && isNear(levels[0].rms, -9.031) && isNear(levels[0].max, -6.021) &&
           isNear(levels[1].rms, -12.041) && isNear(levels[1].max, -12.041);
}

} // namespace

class AudioTest : public QObject
{
    Q_OBJECT

private slots:
    void levelByDefault_isZero();
    void stereoBlock_hasTwoLevelsInOrder();
    void framesBeyondTheCount_areNotMeasured();
    void buffer_isMeasuredWhole();
    void invalidBuffer_hasNoLevels();
    void silence_isBelowTheMetersMarks();
    void noFrames_areSilence();
    void nullPointer_hasNoLevels();
    void noChannels_haveNoLevels_data();
    void noChannels_haveNoLevels();
    void eightChannels_haveEightLevels();
    void nineChannels_haveNoLevels();
    void otherByteOrder_isNotLookedAt();
    void otherSamples_endTheProcess_data();
    void otherSamples_endTheProcess();
};

void AudioTest::levelByDefault_isZero()
{
    AudioLevel const level;

    QCOMPARE(level.rms, 0.0f);
    QCOMPARE(level.max, 0.0f);
    QCOMPARE(sizeof(AudioLevel), 2 * sizeof(float));
    QCOMPARE(offsetof(AudioLevel, max), sizeof(float));
}

void AudioTest::stereoBlock_hasTwoLevelsInOrder()
{
    std::vector<qint16> const samples = sineAndSquare(4800);

    QVERIFY(areSineAndSquare(getRmsMaxDecibels(samples.data(), 4800, pcm(Rate, 2))));
}

void AudioTest::framesBeyondTheCount_areNotMeasured()
{
    std::vector<qint16> samples = sineAndSquare(4801);
    samples[9600] = samples[9601] = -32768;

    QVERIFY(areSineAndSquare(getRmsMaxDecibels(samples.data(), 4800, pcm(Rate, 2))));
}

void AudioTest::buffer_isMeasuredWhole()
{
    std::vector<qint16> const samples = sineAndSquare(4800);
    QByteArray const bytes(reinterpret_cast<char const*>(samples.data()), 4800 * 4);

    QVERIFY(areSineAndSquare(getRmsMaxDecibels(QAudioBuffer(bytes, pcm(Rate, 2), 0))));
}

void AudioTest::invalidBuffer_hasNoLevels()
{
    QVERIFY(getRmsMaxDecibels(QAudioBuffer()).isEmpty());
}

void AudioTest::silence_isBelowTheMetersMarks()
{
    std::vector<qint16> const samples(960, 0);

    AudioLevels const levels = getRmsMaxDecibels(samples.data(), 480, pcm(Rate, 2));

    QCOMPARE(levels.size(), 2);
    for (AudioLevel const& level : levels) {
        QCOMPARE(level.rms, -100.0f);
        QCOMPARE(level.max, -100.0f);
    }
}

void AudioTest::noFrames_areSilence()
{
    qint16 const sample = 1000;

    AudioLevels const levels = getRmsMaxDecibels(&sample, 0, pcm(Rate, 1));

    QCOMPARE(levels.size(), 1);
    QCOMPARE(levels[0].rms, -100.0f);
    QCOMPARE(levels[0].max, -100.0f);
}

void AudioTest::nullPointer_hasNoLevels()
{
    QVERIFY(getRmsMaxDecibels(nullptr, 480, pcm(Rate, 2)).isEmpty());
}

void AudioTest::noChannels_haveNoLevels_data()
{
    QTest::addColumn<int>("channels");
    QTest::newRow("none") << 0;
    QTest::newRow("unset") << -1;
}

void AudioTest::noChannels_haveNoLevels()
{
    QFETCH(int, channels);
    qint16 const sample = 1000;

    QVERIFY(getRmsMaxDecibels(&sample, 1, pcm(Rate, channels)).isEmpty());
}

void AudioTest::eightChannels_haveEightLevels()
{
    std::vector<qint16> samples(8 * 100, 0);
    for (size_t i = 5; i < samples.size(); i += 8)
        samples[i] = -32768;

    AudioLevels const levels = getRmsMaxDecibels(samples.data(), 100, pcm(Rate, 8));

    QCOMPARE(levels.size(), 8);
    for (int i = 0; i < 8; ++i) {
        QCOMPARE(levels[i].rms, i == 5 ? 0.0f : -100.0f);
        QCOMPARE(levels[i].max, i == 5 ? 0.0f : -100.0f);
    }
}

void AudioTest::nineChannels_haveNoLevels()
{
    std::vector<qint16> const samples(9 * 100, 1000);

    QVERIFY(getRmsMaxDecibels(samples.data(), 100, pcm(Rate, 9)).isEmpty());
}

void AudioTest::otherByteOrder_isNotLookedAt()
{
    std::vector<qint16> const samples = sineAndSquare(4800);
    QAudioFormat format = pcm(Rate, 2);
    format.setByteOrder(QAudioFormat::BigEndian);

    QVERIFY(areSineAndSquare(getRmsMaxDecibels(samples.data(), 4800, format)));
}

void AudioTest::otherSamples_endTheProcess_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("condition");

    QString const wrongType = QStringLiteral("format.sampleType() == QAudioFormat::SignedInt");
    QString const wrongSize = QStringLiteral("format.sampleSize() == 16");
    QTest::newRow("unsigned") << int(QAudioFormat::UnSignedInt) << 16 << wrongType;
    QTest::newRow("unknown") << int(QAudioFormat::Unknown) << 16 << wrongType;
    QTest::newRow("float") << int(QAudioFormat::Float) << 32 << wrongType;
    // Both are wrong: the type is looked at first.
    QTest::newRow("unsigned, 8 bits") << int(QAudioFormat::UnSignedInt) << 8 << wrongType;
    QTest::newRow("8 bits") << int(QAudioFormat::SignedInt) << 8 << wrongSize;
    QTest::newRow("32 bits") << int(QAudioFormat::SignedInt) << 32 << wrongSize;
}

void AudioTest::otherSamples_endTheProcess()
{
    QFETCH(int, type);
    QFETCH(int, size);
    QFETCH(QString, condition);
    QAudioFormat const format = pcm(Rate, 2, static_cast<QAudioFormat::SampleType>(type), size);

    QString const words = QString::fromLocal8Bit(dyingWords([&] {
        char const data[64] = {};
        getRmsMaxDecibels(data, 4, format);
    }));

    QString const expected = QStringLiteral("^ASSERT: \"%1\" in file utils/audio, line \\d+\n$")
                                 .arg(QRegularExpression::escape(condition));
    QVERIFY2(QRegularExpression(expected).match(words).hasMatch(), qPrintable(words));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioTest)
#include "tst_audio.moc"
