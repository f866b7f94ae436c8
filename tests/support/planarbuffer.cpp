#include "planarbuffer.h"

namespace {

constexpr int PlaneCount = 3;

QSize planeSize(QSize const& size, int plane)
{
    return plane == 0 ? size : QSize((size.width() + 1) / 2, (size.height() + 1) / 2);
}

} // namespace

PlanarBuffer::PlanarBuffer(QSize const& size)
    : QAbstractPlanarVideoBuffer(NoHandle)
    , mSize(size)
{
    for (size_t i = 0; i < PlaneCount; ++i) {
        QSize const plane = planeSize(size, int(i));
        // Rounded up to 16 as decoders have it, and one more, so that no stride is another's.
        mStrides[i] = (plane.width() / 16 + 1) * 16 + 16 * int(i);
        mPlanes[i].fill('\0', mStrides[i] * plane.height());
    }
}

PlanarBuffer::PlanarBuffer(QSize const& size, uchar y, uchar cb, uchar cr)
    : PlanarBuffer(size)
{
    mPlanes[0].fill(char(y));
    mPlanes[1].fill(char(cb));
    mPlanes[2].fill(char(cr));
}

PlanarBuffer::PlanarBuffer(QSize const& size, int seed)
    : PlanarBuffer(size)
{
    for (int i = 0; i < PlaneCount; ++i) {
        QSize const plane = planeSize(size, i);
        for (int line = 0; line < plane.height(); ++line) {
            for (int column = 0; column < plane.width(); ++column) {
                int const value = 37 * seed + (i + 2) * column + (2 * i + 3) * line;
                mPlanes[size_t(i)][line * stride(i) + column] = char(value);
            }
        }
    }
}

int PlanarBuffer::map(MapMode mode, int* numBytes, int bytesPerLine[4], uchar* data[4])
{
    ++mapCount;
    lastMode = mode;
    if (refuseMap)
        return 0;
    mMapMode = mode;
    int total = 0;
    for (int i = 0; i < PlaneCount; ++i) {
        bytesPerLine[i] = stride(i);
        data[i] = const_cast<uchar*>(plane(i));
        total += mPlanes[size_t(i)].size();
    }
    if (numBytes)
        *numBytes = total;
    return PlaneCount;
}

uchar const* PlanarBuffer::plane(int index) const
{
    return reinterpret_cast<uchar const*>(mPlanes[size_t(index)].constData());
}

QVideoFrame planarFrame(PlanarBuffer* buffer, QSize const& size, qint64 startTime)
{
    QVideoFrame frame(buffer, size, QVideoFrame::Format_YUV420P);
    frame.setStartTime(startTime);
    return frame;
}

QVideoFrame planarFrame(QSize const& size, qint64 startTime, int seed)
{
    return planarFrame(new PlanarBuffer(size, seed), size, startTime);
}
