#ifndef TESTSTREAM_H
#define TESTSTREAM_H

#include <memory>

#include <QByteArray>
#include <QSize>

struct shm_writer;

/**
 * A stream of flat grey frames at nominally 50 frames a second, with sound if wanted, written by
 * the test itself.
 */
class TestStream
{
public:
    static constexpr int Width = 64;
    static constexpr int Height = 36;

    explicit TestStream(
        QByteArray const& name, QSize const& size = QSize(Width, Height), int channels = 0);

    bool isOpen() const { return mWriter != nullptr; }

    /** Publishes a frame of this moment, @p grey from 0 to 255. */
    bool publish(int grey = 128);

    /** Publishes 40 ms of sound up to this moment, all samples alike, at 48000 samples a second. */
    bool publishSound(short sample);

    /** How many frames readers hold now. */
    int pins() const;

private:
    int const mChannels;
    struct Close
    {
        void operator()(shm_writer* writer) const;
    };

    std::unique_ptr<shm_writer, Close> mWriter;
};

#endif
