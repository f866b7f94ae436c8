#ifndef SOUNDLEVELS_H
#define SOUNDLEVELS_H

#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>
#include <QTimer>

#include "utils/audio.h"
#include "utils/mediasource.h"

/** Measures how loud the newest sound of a stream is, many times a second. */
class SoundLevels : public QObject
{
    Q_OBJECT

public:
    explicit SoundLevels(QSharedPointer<MediaSource> source);

    void start();
    void stop() { mTimer.stop(); }

    /** Of the sound measured last; invalid: there is none. */
    QAudioFormat const& format() const { return mFormat; }

Q_SIGNALS:
    /** There is sound of this many channels from now on; 0: none. */
    void channelsChanged(int channels);

    /** Empty when the sound has ended. */
    void levelsChanged(AudioLevels const& levels);

private:
    void measure();
    void setFormat(QAudioFormat const& format);

    QSharedPointer<MediaSource> const mSource;
    QTimer mTimer;
    QAudioFormat mFormat;
    qint64 mNewest = 0;
    QElapsedTimer mSinceNew;
};

#endif
