#ifndef STREAMCAPTURE_H
#define STREAMCAPTURE_H

#include <shm_reader.h>

#include <functional>
#include <memory>
#include <vector>

#include <QString>

/** Reads a stream as it comes and keeps what a test wants to know. */
class StreamCapture
{
public:
    struct Frame
    {
        qint64 timestamp;
        int topLuma; /**< the pixel in the middle of the first line */
        size_t hash; /**< of all three planes */
    };

    /** Waits up to ten seconds for the stream. */
    explicit StreamCapture(QString const& name);

    bool isOpen() const { return mReader != nullptr; }
    bool isReady() const { return mReader && shm_reader_is_ready(mReader.get()); }
    shm_reader_t* reader() const { return mReader.get(); }
    shm_reader_format_t format() const;

    /** Takes what is new; to be called more often than the stream forgets. */
    void poll();

    /** Polls until @p done. @return false after @p milliseconds or when the stream has gone */
    bool pollUntil(std::function<bool()> const& done, int milliseconds = 20000);
    bool pollFrames(size_t count)
    {
        return pollUntil([=] { return frames.size() >= count; });
    }
    /** Polls until the stream has gone. */
    bool pollToEnd(int milliseconds = 30000);

    std::vector<Frame> frames;
    size_t missedFrames = 0; /**< that the stream had forgotten before they were taken */

    /** First channel of the audio in one piece; sample i was at audioStart + i / rate. */
    std::vector<qint16> samples;
    qint64 audioStart = 0;
    size_t audioBreaks = 0; /**< places where the audio did not go on */

private:
    void pollVideo();
    void pollAudio();

    struct Closer
    {
        void operator()(shm_reader_t* reader) const { shm_reader_close(reader); }
    };
    std::unique_ptr<shm_reader_t, Closer> mReader;
    shm_reader_format_t mFormat = {};
};

/** Hash of the visible part of three planes. */
size_t hashPicture(uint8_t const* const planes[3], int const strides[3], int width, int height);

#endif
