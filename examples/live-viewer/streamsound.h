#ifndef STREAMSOUND_H
#define STREAMSOUND_H

#include <optional>

#include <QAudioFormat>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

#include "soundlag.h"
#include "utils/audio.h"
#include "utils/mediasource.h"

/** What became of the sound, all that was played together. */
struct SoundFigures
{
    qint64 underruns = 0; /**< times that there was nothing to play */
    qint64 reanchors = 0; /**< times that some was left out because playback had fallen behind */
    qint64 silence = 0;   /**< played for want of sound, µs */
};

/**
 * Plays the sound of a stream, whenever there is any and something to play it on, and follows what
 * is heard. Uses the process's one audio player; there can be one at a time.
 */
class StreamSound : public QObject
{
    Q_OBJECT

public:
    /** @param delay how far it is heard behind the live edge, µs */
    StreamSound(QString const& device, qint64 delay);
    ~StreamSound() override;

    /** Plays @p source from now on, which other threads may use as well. */
    void open(QSharedPointer<MediaSource> source);
    void close();

    /** In percent. */
    int volume() const { return mVolume; }
    bool isMuted() const { return mMuted; }
    /** Stays within 0 and 100 %. */
    void changeVolume(int difference);
    void setMuted(bool muted);

    /** How far the sound that is heard lies behind the wall clock, µs; once that is known. */
    std::optional<qint64> lag() const { return mLag.value(); }

    SoundFigures figures() const;

Q_SIGNALS:
    /** How many channels are heard from now on; 0: none. */
    void channelsChanged(int channels);

    /** How loud it is what is heard now. */
    void levelsChanged(AudioLevels const& levels);

private:
    void poll();
    bool findDevice();
    bool hasFallenBack() const;
    void play(QAudioFormat const& format);
    void stopPlaying();
    void setChannels(int channels);
    void onAudioPlayed(qint64 timestamp);
    qint64 silence() const;

    QString const mDevice;
    qint64 const mDelay;
    QSharedPointer<MediaSource> mSource;
    QTimer mPollTimer;
    QElapsedTimer mSinceAudio; // invalid: the stream has none
    QDeadlineTimer mNextTry;
    bool mPlaying = false;
    bool mDeviceMissed = false;
    int mChannels = 0;
    int mRate = 0; // of the output, Hz
    int mVolume = 100;
    bool mMuted = false;
    SoundLag mLag;
    std::optional<qint64> mFirstLag; // that was known since the start
    SoundFigures mFigures;           // of what was played before the last start
};

#endif
