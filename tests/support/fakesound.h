#ifndef FAKESOUND_H
#define FAKESOUND_H

#include <QAudio>
#include <QAudioFormat>
#include <QStringList>

class FakeAudioOutput;

/**
 * A sound system under the test's hand: link qvorlin_fake_sound, make one before anything of Qt
 * Multimedia is used, and QAudioOutput and QAudioDeviceInfo know no other. There is one at a time;
 * it needs a QCoreApplication.
 *
 * What outputs are told is written down, outputs numbered from 1 as they are made:
 *
 *     "create 1 speaker", "setFormat 1 48000 Hz 2 ch 16 bit", "setVolume 1 0.5",
 *     "setNotifyInterval 1 40", "start 1", "stop 1", "reset 1", "delete 1"
 *
 * For one thread.
 */
class FakeSound
{
public:
    FakeSound();
    ~FakeSound();
    FakeSound(FakeSound const&) = delete;
    FakeSound& operator=(FakeSound const&) = delete;

    /** The devices, the first one is the default; "name/handle" for two of one name. */
    QStringList devices{QStringLiteral("speaker"), QStringLiteral("headphones")};
    /** What they prefer: at first 48 kHz, stereo, 16 bits. */
    QAudioFormat format;
    /** Whether they take other formats of 16-bit PCM as well. */
    bool takesOtherFormats = true;

    /** What start() makes of an output. */
    QAudio::State stateWhenStarted = QAudio::ActiveState;
    QAudio::Error errorWhenStarted = QAudio::NoError;
    /** What outputs say of themselves. */
    qint64 processedUSecs = 0;
    int bufferSize = 0;
    int periodSize = 0;

    /** The calls since the last time. */
    QStringList takeCalls();

    // The newest output, which has to exist.
    /** Has it pull so many bytes of what it plays. */
    QByteArray pull(int size);
    void notify();
    void changeState(QAudio::State state);
    /** Changes the state without a word. */
    void setState(QAudio::State state);

    // For the sound system.
    void record(QString const& call);
    int add(FakeAudioOutput* output);
    void remove(FakeAudioOutput* output);

private:
    QStringList mCalls;
    FakeAudioOutput* mOutput = nullptr;
    int mCount = 0;
};

#endif
