#ifndef TESTSTREAM_H
#define TESTSTREAM_H

#include <memory>

#include <QByteArray>
#include <QSize>

struct shm_writer;

/** A stream of flat grey frames at nominally 50 frames a second, written by the test itself. */
class TestStream
{
public:
    static constexpr int Width = 64;
    static constexpr int Height = 36;

    explicit TestStream(QByteArray const& name, QSize const& size = QSize(Width, Height));

    bool isOpen() const { return mWriter != nullptr; }

    /** Publishes a frame of this moment, @p grey from 0 to 255. */
    bool publish(int grey = 128);

    /** How many frames readers hold now. */
    int pins() const;

private:
    struct Close
    {
        void operator()(shm_writer* writer) const;
    };

    std::unique_ptr<shm_writer, Close> mWriter;
};

#endif
