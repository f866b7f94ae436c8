#ifndef SOUNDRECORDER_H
#define SOUNDRECORDER_H

#include <atomic>
#include <memory>
#include <vector>

#include <QMutex>
#include <QString>
#include <QThread>

/** Stereo sound of 48 kHz, and when it was heard. */
class SoundRecording
{
public:
    static constexpr int Rate = 48000;

    void append(std::vector<qint16> const& samples, qint64 time);

    int size() const { return static_cast<int>(mLeft.size()); }
    std::vector<qint16> const& left() const { return mLeft; }
    std::vector<qint16> const& right() const { return mRight; }

    /**
     * When the sample was heard, µs of the wall clock. It came at the latest when it was read; of
     * all that was read within some seconds, what came with the least delay gives the time.
     */
    qint64 timeOf(int index) const;
    /** The sample of that time, or the nearest there is. */
    int indexAt(qint64 time) const;

private:
    struct Arrival
    {
        qint64 time;
        int end;
    };

    std::vector<qint16> mLeft;
    std::vector<qint16> mRight;
    std::vector<Arrival> mArrivals;
};

/**
 * Records what a PulseAudio source hears, by default all that is played on the null sink that
 * the tests have, for as long as the object lives. Link qvorlin_sound_recorder; needs parec.
 */
class SoundRecorder
{
public:
    explicit SoundRecorder(QString const& source = QStringLiteral("qvorlin_null.monitor"));
    ~SoundRecorder();
    SoundRecorder(SoundRecorder const&) = delete;
    SoundRecorder& operator=(SoundRecorder const&) = delete;

    /** Waits for the first sample. @return whether there is one */
    bool isRecording(int timeoutMs = 10000) const;

    /** All that was heard so far. */
    SoundRecording recording() const;

private:
    void record(QString const& source);

    mutable QMutex mMutex;
    SoundRecording mRecording;
    std::atomic<bool> mEnd{false};
    std::unique_ptr<QThread> mThread;
};

#endif
