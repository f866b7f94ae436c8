#ifndef AUDIOPLAYER_H
#define AUDIOPLAYER_H

#include <QAudioDeviceInfo>
#include <QAudioOutput>
#include <QObject>
#include <QPointer>
#include <QString>

#include "qvorlinexport.h"
#include "utils/audioreader.h"
#include "utils/clockadjustmentdetector.h"

class MediaSource;

/**
 * Plays the sound of one live stream on a chosen output device, and tells which moment of the
 * stream is being heard, so that the picture can follow. There is one player in a process.
 *
 * The sound is delay() behind the live edge when it is fetched, see AudioReader; the output's own
 * buffer comes on top. A stream that goes away is heard as silence and plays on when it is back.
 * Playback ends by stop(), and by itself, with playerStopped(), when the wall clock is moved by
 * more than a second or the output stops.
 *
 * The source is borrowed until the next stop(). Start, and tear the player down, from a receiver of
 * its signals through a queued connection only: they come out of the output under way.
 *
 * Thread-bound: the thread of the first getInstance(), which has an event loop. What fails returns
 * false, and the log says why; starting without a source or a device ends the process.
 *
 * @code
 * AudioPlayer* player = AudioPlayer::getInstance();
 * connect(player, &AudioPlayer::audioPlayed, &timeline, &VideoTimeline::adjustReadPosition);
 * player->setDevice(QStringLiteral("default"));
 * player->start(&source, 25, false);
 * @endcode
 */
class QVORLIN_EXPORT AudioPlayer : public QObject
{
    Q_OBJECT
    // Not by READ: of the two volume() the slot would be taken, with the precision of a float.
    Q_PROPERTY(double volume MEMBER mVolume WRITE setVolume)
    Q_PROPERTY(bool mute READ isMute WRITE setMute)

public:
    /** The player, which the first call makes. */
    static AudioPlayer* getInstance();
    /** Stops and deletes the player, if there is one. */
    static void teardown();

    /**
     * Chooses the output device for the next start(): "default", exactly so written, or one of the
     * names that QAudioDeviceInfo lists. Stops what is playing.
     * @return false when there is no such device; the one before stays chosen
     */
    bool setDevice(QString const& name);
    /** Whether a device has been chosen. */
    bool enabled() const;

    /**
     * Plays @p source from now on, instead of what was playing.
     * @param frameRate how often a second audioPlayed() comes, normally the rate of the video; not
     * positive: as often as the output likes
     * @param requireAudio whether a source without sound is an error rather than silent
     */
    bool start(MediaSource* source, qreal frameRate, bool requireAudio);
    /** Whether sound is being put out. */
    bool isActive() const;

    /**
     * Time of the sound being heard, µs on the source's timeline; 0 when not active or when no
     * sound has come yet. It counts what the output has consumed, so it keeps to the first frame's
     * timeline when the reader skips.
     */
    qint64 getPlayedTime() const;
    /** Of the output; 0 when not active. */
    int sampleRate() const;

    /** From 0 to 1, linear. Muting doesn't change it. */
    double volume() const;
    bool isMute() const;

    /** How far behind the live edge sound is fetched (200 ms) and how far it may fall behind before
     * some is skipped (300 ms), µs. @{ */
    void setDelay(qint64 usec);
    qint64 delay() const;
    void setMaxDelay(qint64 usec);
    qint64 maxDelay() const;
    /** @} */

    /** What became of the sound since the last start(), see AudioReader. @{ */
    qint64 reanchors() const;
    qint64 skippedTime() const;
    qint64 silentFrames() const;
    qint64 underruns() const;
    /** @} */

    /**
     * Copies all sound from now on to the file @p path as raw PCM, silence included. What the file
     * held before is lost. Empty: nothing changes; a file that can't be opened ends the copying.
     * Files are complete after teardown().
     */
    void setWaveformFile(QString const& path);

public slots:
    /** The same as volume() const, for callers by name. */
    float volume();
    /** Kept within 0 and 1. */
    void setVolume(double v);
    void setMute(bool mute);
    /** Ends playback, without playerStopped(). */
    void stop();

signals:
    /** getPlayedTime() of this moment, at the rate given to start(); 0 right after an end. */
    void audioPlayed(qint64 timestamp);
    /** Playback has ended by itself. */
    void playerStopped();

private slots:
    void onFrameTimer();
    void playerStateChanged(QAudio::State state);

private:
    AudioPlayer();
    ~AudioPlayer() override;

    void prepareOutput(QAudioFormat const& format);
    void deleteOutput();
    double effectiveVolume() const;

    static AudioPlayer* instance;

    QPointer<QAudioOutput> mAudioOutput;
    QAudioDeviceInfo mOutDevice;
    AudioReader mReader;
    double mVolume = 1.0;
    bool mMute = false;
    ClockAdjustmentDetector mClockDetector;
};

#endif
