#include "soundlevels.h"

#include <memory>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include "messagecheck.h"
#include "streamplace.h"
#include "teststream.h"

namespace {

constexpr short HalfScale = 16384;
constexpr float HalfScaleDb = -6.02F;

/** Levels of the stream named after the test, of two channels, that has sound on demand. */
struct Fixture
{
    SoundLevels levels{
        QSharedPointer<MediaSource>::create(QString::fromLatin1(QTest::currentTestFunction()))};
    QSignalSpy channels{&levels, &SoundLevels::channelsChanged};
    QVector<AudioLevels> measured;
    std::unique_ptr<TestStream> stream;
    QTimer publisher;

    Fixture()
    {
        QObject::connect(&levels, &SoundLevels::levelsChanged, &levels,
            [this](AudioLevels const& values) { measured.append(values); });
        QObject::connect(
            &publisher, &QTimer::timeout, &levels, [this] { stream->publishSound(HalfScale); });
        levels.start();
    }

    bool publish()
    {
        stream = std::make_unique<TestStream>(QTest::currentTestFunction(), QSize(64, 36), 2);
        publisher.start(40);
        return stream->isOpen();
    }

    int lastChannels() const { return channels.last().first().toInt(); }

    Fixture(Fixture const&) = delete;
};

} // namespace

class TestSoundLevels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentStream_givesNothing();
    void sound_isMeasured();
    void soundThatStandsStill_isSilentAfterAWhileAndBackWithTheNext();
    void streamWithoutSound_givesNothing();

private:
    StreamPlace mPlace;
};

void TestSoundLevels::absentStream_givesNothing()
{
    Fixture f;
    QTest::qWait(200);
    QCOMPARE(f.channels.size(), 0);
    QCOMPARE(f.measured.size(), 0);
    QVERIFY(!f.levels.format().isValid());
}

void TestSoundLevels::sound_isMeasured()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_VERIFY(f.measured.size() >= 5);
    QCOMPARE(f.channels.size(), 1);
    QCOMPARE(f.lastChannels(), 2);
    QCOMPARE(f.levels.format().sampleRate(), 48000);
    QCOMPARE(f.measured.last().size(), 2);
    for (AudioLevel const& level : f.measured.last()) {
        QVERIFY2(qAbs(level.max - HalfScaleDb) < 0.1F, qPrintable(QString::number(level.max)));
        QVERIFY2(qAbs(level.rms - HalfScaleDb) < 0.1F, qPrintable(QString::number(level.rms)));
    }
}

void TestSoundLevels::soundThatStandsStill_isSilentAfterAWhileAndBackWithTheNext()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_VERIFY(!f.measured.isEmpty() && f.measured.last().size() == 2);
    f.publisher.stop();
    QTRY_COMPARE(f.lastChannels(), 0);
    QVERIFY(f.measured.last().isEmpty());
    QVERIFY(!f.levels.format().isValid());

    f.publisher.start();
    QTRY_COMPARE(f.lastChannels(), 2);
    QTRY_COMPARE(f.measured.last().size(), 2);
}

void TestSoundLevels::streamWithoutSound_givesNothing()
{
    Fixture f;
    f.stream = std::make_unique<TestStream>(QTest::currentTestFunction());
    QVERIFY(f.stream->publish());
    QTest::qWait(200);
    QCOMPARE(f.channels.size(), 0);
    QCOMPARE(f.measured.size(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestSoundLevels)
#include "tst_soundlevels.moc"
