#include "picture.h"

#include <algorithm>
#include <utility>

#include <QAbstractPlanarVideoBuffer>
#include <QPixmap>
#include <QVariant>

namespace {

int roundedUp(int width)
{
    return (width + 3) / 4 * 4;
}

/** The texels of a picture in memory. */
class PlanesBuffer : public QAbstractPlanarVideoBuffer
{
public:
    explicit PlanesBuffer(std::vector<Plane> planes)
        : QAbstractPlanarVideoBuffer(NoHandle)
        , mPlanes(std::move(planes))
    {}

    MapMode mapMode() const override { return mMapMode; }
    using QAbstractPlanarVideoBuffer::map;
    int map(MapMode mode, int* numBytes, int bytesPerLine[4], uchar* data[4]) override
    {
        mMapMode = mode;
        int total = 0;
        for (size_t i = 0; i < mPlanes.size(); ++i) {
            Plane& plane = mPlanes[i];
            bytesPerLine[i] = plane.width * plane.channels;
            data[i] = reinterpret_cast<uchar*>(plane.texels.data());
            total += plane.texels.size();
        }
        if (numBytes)
            *numBytes = total;
        return int(mPlanes.size());
    }
    void unmap() override { mMapMode = NotMapped; }

private:
    std::vector<Plane> mPlanes;
    MapMode mMapMode = NotMapped;
};

/** What can't be mapped, only handed on. */
class HandleBuffer : public QAbstractVideoBuffer
{
public:
    HandleBuffer(HandleType type, QVariant handle)
        : QAbstractVideoBuffer(type)
        , mHandle(std::move(handle))
    {}

    QVariant handle() const override { return mHandle; }
    MapMode mapMode() const override { return NotMapped; }
    uchar* map(MapMode, int*, int*) override { return nullptr; }
    void unmap() override {}

private:
    QVariant mHandle;
};

/**
 * How a channel of a picture changes: by @p across from left to right and @p down from top to
 * bottom, both in 1/255, with blocks of @p block texels that differ by @p contrast.
 */
struct Pattern
{
    int base;
    int across;
    int down;
    int block;
    int contrast;
};

// Small steps from texel to texel keep what an 8-bit weight between them can lose below the
// comparison's tolerance; enough of them that a shift by half a texel is seen.
constexpr Pattern Blue = {40, 140, 30, 5, 40};
constexpr Pattern Green = {200, -60, -110, 7, 36};
constexpr Pattern Red = {30, 60, 130, 4, 32};
constexpr Pattern Alpha = {0, 180, 75, 0, 0};
constexpr Pattern Luma = {60, 70, 50, 5, 30};
constexpr Pattern ChromaBlue = {90, 60, 20, 4, 14};
constexpr Pattern ChromaRed = {155, -20, -50, 3, 14};

uchar value(Pattern const& pattern, int column, int row, QSize const& size, int seed)
{
    int result = pattern.base + pattern.across * column / std::max(1, size.width() - 1) +
                 pattern.down * row / std::max(1, size.height() - 1);
    if (pattern.block) {
        bool const odd = (column / pattern.block + row / (pattern.block + 1) + seed) % 2 != 0;
        bool const line = (column + 2 * row + seed) % 11 == 0;
        result += (odd ? pattern.contrast : 0) + (line ? pattern.contrast / 2 : 0);
    }
    return uchar(std::clamp(result, 0, 255));
}

Plane makePlane(QSize const& size, std::vector<Pattern> const& channels, int seed)
{
    Plane plane = {size.width(), size.height(), int(channels.size()), QByteArray()};
    plane.texels.reserve(plane.width * plane.height * plane.channels);
    for (int row = 0; row < plane.height; ++row) {
        for (int column = 0; column < plane.width; ++column) {
            for (Pattern const& pattern : channels)
                plane.texels.append(char(value(pattern, column, row, size, seed)));
        }
    }
    return plane;
}

std::vector<Plane> makePlanes(QVideoFrame::PixelFormat format, QSize const& size, int seed)
{
    QSize const luma(roundedUp(size.width()), size.height());
    QSize const chroma(roundedUp(size.width() / 2), size.height() / 2);
    if (format == QVideoFrame::Format_YUV420P) {
        return {makePlane(luma, {Luma}, seed), makePlane(chroma, {ChromaBlue}, seed),
            makePlane(chroma, {ChromaRed}, seed)};
    }
    if (format == QVideoFrame::Format_NV12)
        return {makePlane(luma, {Luma}, seed), makePlane(chroma, {ChromaBlue, ChromaRed}, seed)};
    // In RGB32 the fourth byte means nothing, and nothing may show of it.
    return {makePlane(size, {Blue, Green, Red, Alpha}, seed)};
}

} // namespace

Picture makePicture(QVideoFrame::PixelFormat format, QSize const& size,
    QAbstractVideoBuffer::HandleType handleType, int seed)
{
    return {format, handleType, size, makePlanes(format, size, seed)};
}

QImage toImage(Picture const& picture)
{
    Plane const& plane = picture.planes.front();
    QImage const image(reinterpret_cast<uchar const*>(plane.texels.constData()), plane.width,
        plane.height, plane.width * plane.channels,
        QVideoFrame::imageFormatFromPixelFormat(picture.format));
    return image.copy();
}

QVideoFrame toFrame(Picture const& picture, unsigned int texture)
{
    QAbstractVideoBuffer* buffer = nullptr;
    switch (picture.handleType) {
    case QAbstractVideoBuffer::GLTextureHandle:
        buffer = new HandleBuffer(picture.handleType, texture);
        break;
    case QAbstractVideoBuffer::QPixmapHandle:
        buffer = new HandleBuffer(picture.handleType, QPixmap::fromImage(toImage(picture)));
        break;
    default:
        buffer = new PlanesBuffer(picture.planes);
    }
    return QVideoFrame(buffer, picture.size, picture.format);
}
