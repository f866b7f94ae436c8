#include <memory>

#include <QTest>

#include "audioplayerstage.h"
#include "messagecheck.h"

namespace {

QString const Speaker = QStringLiteral("speaker");
QString const Headphones = QStringLiteral("headphones");

} // namespace

class AudioPlayerDevicesTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void setDevice_findsDeviceByName();
    void setDefaultDevice_takesTheDefault();
    void setDeviceDefaultWithCapital_isLookedUpByName();
    void setDevice_takesTheFirstOfEqualNames();
    void setUnknownDevice_keepsThePrevious();
    void setDeviceWithoutAny_isRefused();
    void setDevice_stopsWhatPlays();
    void setFirstDevice_doesNotStop();
    void setDevice_keepsOutputOfEqualFormat();

private:
    AudioPlayer* player() { return AudioPlayer::getInstance(); }

    std::unique_ptr<AudioPlayerStage> mStage;
};

void AudioPlayerDevicesTest::init()
{
    mStage = std::make_unique<AudioPlayerStage>();
}

void AudioPlayerDevicesTest::cleanup()
{
    mStage.reset();
}

void AudioPlayerDevicesTest::setDevice_findsDeviceByName()
{
    QVERIFY(player()->setDevice(Headphones));
    QVERIFY(player()->enabled());
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("create 1 headphones")));
}

void AudioPlayerDevicesTest::setDefaultDevice_takesTheDefault()
{
    QVERIFY(player()->setDevice(QStringLiteral("default")));
    QVERIFY(player()->enabled());
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("create 1 speaker")));
}

void AudioPlayerDevicesTest::setDeviceDefaultWithCapital_isLookedUpByName()
{
    QVERIFY(!player()->setDevice(QStringLiteral("Default")));
    QVERIFY(!player()->enabled());
    QCOMPARE(fakelogger::takeCalls(), lines("warning: Audio device not found"));

    mStage->sound.devices.append(QStringLiteral("Default"));
    QVERIFY(player()->setDevice(QStringLiteral("Default")));
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("create 1 Default")));
}

void AudioPlayerDevicesTest::setDevice_takesTheFirstOfEqualNames()
{
    mStage->sound.devices = lines("speaker; headphones/left; headphones/right");
    QVERIFY(player()->setDevice(Headphones));
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("create 1 headphones/left")));
}

void AudioPlayerDevicesTest::setUnknownDevice_keepsThePrevious()
{
    QVERIFY(player()->setDevice(Headphones));
    fakelogger::takeCalls();

    QVERIFY(!player()->setDevice(QStringLiteral("gramophone")));

    QVERIFY(player()->enabled());
    QCOMPARE(fakelogger::takeCalls(),
        lines("enter: stop; leave: stop; warning: Audio device not found"));
    QVERIFY(player()->start(mStage->source.get(), 25, true));
    QVERIFY(mStage->sound.takeCalls().contains(QStringLiteral("create 1 headphones")));
}

void AudioPlayerDevicesTest::setDeviceWithoutAny_isRefused()
{
    mStage->sound.devices.clear();
    QVERIFY(!player()->setDevice(Speaker));
    QVERIFY(!player()->enabled());
    QCOMPARE(fakelogger::takeCalls(), lines("warning: Audio device not found"));
}

void AudioPlayerDevicesTest::setDevice_stopsWhatPlays()
{
    QVERIFY(mStage->startPlaying());
    QVERIFY(player()->setDevice(Headphones));
    QCOMPARE(mStage->sound.takeCalls(), lines("stop 1"));
    QVERIFY(!player()->isActive());
}

void AudioPlayerDevicesTest::setFirstDevice_doesNotStop()
{
    QVERIFY(player()->setDevice(Speaker));
    QCOMPARE(fakelogger::takeCalls(), QStringList());
}

void AudioPlayerDevicesTest::setDevice_keepsOutputOfEqualFormat()
{
    QVERIFY(mStage->startPlaying());
    QVERIFY(player()->setDevice(Headphones));
    QVERIFY(player()->start(mStage->source.get(), 0, true));
    QCOMPARE(mStage->sound.takeCalls(), lines("stop 1; reset 1; setVolume 1 1; start 1"));
}

QVORLIN_TEST_MAIN(QCoreApplication, AudioPlayerDevicesTest)
#include "tst_audioplayer_devices.moc"
