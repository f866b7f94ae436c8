#ifndef PAINTERFRAMES_H
#define PAINTERFRAMES_H

#include <QAbstractVideoBuffer>
#include <QByteArray>
#include <QSize>
#include <QVariant>
#include <QVideoFrame>
#include <QVideoSurfaceFormat>

/** A buffer that brings its picture as a handle; in memory it has nothing. */
class HandleBuffer : public QAbstractVideoBuffer
{
public:
    HandleBuffer(HandleType type, QVariant const& handle)
        : QAbstractVideoBuffer(type)
        , mHandle(handle)
    {}

    MapMode mapMode() const override { return NotMapped; }
    uchar* map(MapMode, int*, int*) override { return nullptr; }
    void unmap() override {}
    QVariant handle() const override { return mHandle; }

private:
    QVariant mHandle;
};

/** A buffer in memory that tells how it is used and when it goes. */
class MemoryBuffer : public QAbstractVideoBuffer
{
public:
    struct Log
    {
        MapMode mode = NotMapped;
        int mapCount = 0;
        int unmapCount = 0;
        bool released = false;
    };

    MemoryBuffer(QByteArray const& data, int bytesPerLine, Log* log)
        : QAbstractVideoBuffer(NoHandle)
        , mData(data)
        , mBytesPerLine(bytesPerLine)
        , mLog(log)
    {}
    ~MemoryBuffer() override { mLog->released = true; }

    MapMode mapMode() const override { return mMode; }
    uchar* map(MapMode mode, int* numBytes, int* bytesPerLine) override;
    void unmap() override;

private:
    QByteArray mData;
    int mBytesPerLine;
    Log* mLog;
    MapMode mMode = NotMapped;
};

/** A frame that can't be mapped, with a handle or without. */
QVideoFrame handleFrame(QAbstractVideoBuffer::HandleType type, QVariant const& handle,
    QSize const& size = {4, 4}, QVideoFrame::PixelFormat pixelFormat = QVideoFrame::Format_RGB32);

/** A frame of one colour in memory, its lines as long as the textures for them. */
QVideoFrame yuv420Frame(QSize const& size, uchar y = 16, uchar u = 128, uchar v = 128);
QVideoFrame nv12Frame(QSize const& size, uchar y = 16, uchar u = 128, uchar v = 128);

/** What a surface starts its painter with. */
QVideoSurfaceFormat surfaceFormat(QVideoFrame::PixelFormat pixelFormat, QSize const& size = {4, 4},
    QAbstractVideoBuffer::HandleType handleType = QAbstractVideoBuffer::NoHandle);

#endif
