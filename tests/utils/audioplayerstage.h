#ifndef AUDIOPLAYERSTAGE_H
#define AUDIOPLAYERSTAGE_H

#include <memory>

#include <QStringList>

#include "fakelogger.h"
#include "fakeshm.h"
#include "fakesound.h"
#include "utils/audioplayer.h"
#include "utils/mediasource.h"

/** The player's surroundings under the test's hand; takes the player away in the end. */
class AudioPlayerStage
{
public:
    static constexpr qint64 FirstAudio = 1000000000;
    static constexpr qint64 LastAudio = FirstAudio + 2000000;

    AudioPlayerStage()
        : source(newSource(48000, 2))
    {
        fakelogger::takeCalls();
    }
    ~AudioPlayerStage() { AudioPlayer::teardown(); }

    std::unique_ptr<MediaSource> newSource(int sampleRate, int channels)
    {
        shm.publishAudio(sampleRate, channels, FirstAudio, LastAudio);
        auto made = std::make_unique<MediaSource>(QStringLiteral("live"));
        made->open();
        return made;
    }
    std::unique_ptr<MediaSource> newSilentSource()
    {
        auto made = newSource(48000, 2);
        shm.format.has_audio = 0;
        made->open();
        return made;
    }

    /** Plays from the default device; forgets what has been called for it. */
    bool startPlaying()
    {
        AudioPlayer::getInstance()->setDevice(QStringLiteral("default"));
        bool const started = AudioPlayer::getInstance()->start(source.get(), 0, true);
        fakelogger::takeCalls();
        sound.takeCalls();
        return started;
    }

    FakeShm shm;
    FakeSound sound;
    /** 48 kHz, stereo. */
    std::unique_ptr<MediaSource> const source;
};

/** What @p text separates by semicolons. */
inline QStringList lines(char const* text)
{
    return FakeShm::calls(text);
}

#endif
