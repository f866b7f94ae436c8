#include "painterframes.h"

namespace {

int aligned(int width)
{
    return (width + 3) & ~3;
}

QByteArray plane(int width, int height, char value)
{
    return QByteArray(aligned(width) * height, value);
}

QVideoFrame memoryFrame(
    QByteArray const& data, QSize const& size, int bytesPerLine, QVideoFrame::PixelFormat format)
{
    QVideoFrame frame(data.size(), size, bytesPerLine, format);
    frame.map(QAbstractVideoBuffer::WriteOnly);
    std::copy(data.begin(), data.end(), frame.bits());
    frame.unmap();
    return frame;
}

} // namespace

uchar* MemoryBuffer::map(MapMode mode, int* numBytes, int* bytesPerLine)
{
    mMode = mode;
    mLog->mode = mode;
    ++mLog->mapCount;
    if (numBytes)
        *numBytes = mData.size();
    if (bytesPerLine)
        *bytesPerLine = mBytesPerLine;
    return reinterpret_cast<uchar*>(mData.data());
}

void MemoryBuffer::unmap()
{
    mMode = NotMapped;
    ++mLog->unmapCount;
}

QVideoFrame handleFrame(QAbstractVideoBuffer::HandleType type, QVariant const& handle,
    QSize const& size, QVideoFrame::PixelFormat pixelFormat)
{
    return {new HandleBuffer(type, handle), size, pixelFormat};
}

QVideoFrame yuv420Frame(QSize const& size, uchar y, uchar u, uchar v)
{
    int const width = size.width() / 2;
    int const height = size.height() / 2;
    QByteArray const data = plane(size.width(), size.height(), char(y)) +
                            plane(width, height, char(u)) + plane(width, height, char(v));
    return memoryFrame(data, size, aligned(size.width()), QVideoFrame::Format_YUV420P);
}

QVideoFrame nv12Frame(QSize const& size, uchar y, uchar u, uchar v)
{
    QByteArray data = plane(size.width(), size.height(), char(y));
    for (int i = aligned(size.width() / 2) * (size.height() / 2); i > 0; --i)
        data.append(char(u)).append(char(v));
    return memoryFrame(data, size, aligned(size.width()), QVideoFrame::Format_NV12);
}

QVideoSurfaceFormat surfaceFormat(QVideoFrame::PixelFormat pixelFormat, QSize const& size,
    QAbstractVideoBuffer::HandleType handleType)
{
    return QVideoSurfaceFormat(size, pixelFormat, handleType);
}
