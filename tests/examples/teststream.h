#ifndef TESTSTREAM_H
#define TESTSTREAM_H

#include <memory>

#include <QByteArray>

struct shm_writer;

/** A stream of small grey frames at nominally 50 frames a second, written by the test itself. */
class TestStream
{
public:
    static constexpr int Width = 64;
    static constexpr int Height = 36;

    explicit TestStream(QByteArray const& name);

    bool isOpen() const { return mWriter != nullptr; }

    /** Publishes a frame of this moment. */
    bool publish();

private:
    struct Close
    {
        void operator()(shm_writer* writer) const;
    };

    std::unique_ptr<shm_writer, Close> mWriter;
};

#endif
