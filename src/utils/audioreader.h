#ifndef AUDIOREADER_H
#define AUDIOREADER_H

#include <memory>

#include <QAudioFormat>
#include <QElapsedTimer>
#include <QIODevice>
#include <QVector>

#include "qvorlinexport.h"

class MediaSource;
struct SwrContext;

/**
 * The sound of a live stream as a device that a QAudioOutput pulls PCM from, a bounded delay behind
 * the live edge.
 *
 * The first read places the reader delay() behind the newest sound of the stream; from there it
 * reads on without a gap. When it has fallen more than maxDelay() behind, it is placed anew. Rate,
 * sample format and channels (mono or stereo) are converted where the stream's differ from
 * format(). What the stream can't supply becomes silence, so that a read is always filled to the
 * last frame.
 *
 * The source and the waveform device are borrowed: they outlive the reader, or are taken from it
 * first. All times and durations are microseconds, times on the timeline of the source.
 *
 * Thread-bound. A read fails, with -1, only when the sound is gone and was required, or can't be
 * converted; the log says why. Wrong use, such as opening twice, ends the process.
 *
 * @code
 * AudioReader reader;
 * if (reader.open(&source, output.format(), false))
 *     output.start(&reader);
 * @endcode
 */
class QVORLIN_EXPORT AudioReader : public QIODevice
{
    Q_OBJECT

public:
    explicit AudioReader(QObject* parent = nullptr);
    ~AudioReader() override;

    /**
     * Begins to read @p source and to deliver @p format; the counters start at 0. The reader must
     * be closed.
     * @param requireAudio whether a source without sound is an error rather than silent
     * @return false when there is no sound and it is required, or it can't be converted
     */
    bool open(MediaSource* source, QAudioFormat const& format, bool requireAudio);
    /** Lets go of the source. */
    void close() override;

    /** Sets how far behind the live edge the reader is placed (200 ms) the next time it is. */
    void setDelay(qint64 usec);
    /** Sets how far it may fall behind the live edge (300 ms). */
    void setMaxDelay(qint64 usec);
    /** Copies to @p device whatever readData() delivers from now on; null ends that. */
    void setWaveformOutput(QIODevice* device);
    /** Has the next read place the reader anew. */
    void resetTimer();

    /**
     * Whether the time that has passed since the reader was placed and the sound consumed since the
     * first frame are more than maxDelay() apart; the log then says by how much. For a reader that
     * has been read from since it was opened; changes nothing.
     */
    bool check_delta();
    /** Prepares the conversion from @p sourceFormat to format(). @return false if there is none */
    bool updateResampler(QAudioFormat sourceFormat);
    /**
     * Fills @p data, as readData() does, without the copy to the waveform device. The reader must
     * be open.
     * @return @p maxSize, or -1
     */
    qint64 readDataInternal(char* data, qint64 maxSize);

    qint64 delay() const;
    qint64 maxDelay() const;
    /** When the first frame since open() or resetTimer() belongs on the source's timeline; 0: none
     * was obtained yet. */
    qint64 startTimestamp() const;
    /** What is delivered; invalid before the first open(). */
    QAudioFormat format() const;
    /** Times that the reader was placed anew because it had fallen behind. */
    qint64 reanchors() const;
    /** How much of the stream was left out when it was placed anew, µs. */
    qint64 skippedTime() const;
    /** Output frames that were silence for want of sound, since the first frame was obtained. */
    qint64 silentFrames() const;
    /** Reads that had such frames in them. */
    qint64 underruns() const;

    bool isSequential() const override;
    /** Always 0: nothing is announced, the output pulls. The reader must be open. */
    qint64 bytesAvailable() const override;
    bool seek(qint64 position) override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(char const* data, qint64 size) override;

private:
    using QIODevice::open;

    struct ResamplerDeleter
    {
        void operator()(SwrContext* resampler) const;
    };

    bool changeSourceFormat(QAudioFormat const& sourceFormat);
    void updatePosition(qint64 last, qint64 maxSize);
    int readSource(void* samples, int frames, qint64 last);
    int convertSource(char* data, int frames, qint64 last);
    int resample(char* data, int frames, unsigned char const* source, int sourceFrames);
    int drainResampler(char* data, int frames);
    qint64 padWithSilence(char* data, qint64 maxSize, int frames);
    void countSilence(int frames);

    QAudioFormat mFormat;
    QAudioFormat mSourceFormat;
    MediaSource* mSource = nullptr;
    bool mRequireAudio = true;
    qint64 mTimestamp = 0;
    qint64 mStartTimestamp = 0;
    std::unique_ptr<SwrContext, ResamplerDeleter> mResampler;
    QElapsedTimer mTimer;
    qint64 mDelay = 200000;
    qint64 mMaxDelay = 300000;
    qint64 mSamplesRead = 0;
    int mChunkFrames = 1024;
    QVector<unsigned char> mBuffer;
    QIODevice* mWaveformOutput = nullptr;
    qint64 mReanchors = 0;
    qint64 mSkippedTime = 0;
    qint64 mSilentFrames = 0;
    qint64 mUnderruns = 0;
};

#endif
