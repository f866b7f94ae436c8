#ifndef PLANARBUFFER_H
#define PLANARBUFFER_H

#include <array>

#include <QAbstractPlanarVideoBuffer>
#include <QByteArray>
#include <QSize>
#include <QVideoFrame>

/**
 * A picture in planar YUV 4:2:0 for the frames of tests, with the odd lines and strides that
 * streams have. The chroma planes are half the size, rounded up. Counts how it is mapped.
 */
class PlanarBuffer : public QAbstractPlanarVideoBuffer
{
public:
    /** A picture of one colour. */
    PlanarBuffer(QSize const& size, uchar y, uchar cb, uchar cr);
    /** A picture without two equal corners, another one for each @p seed. */
    PlanarBuffer(QSize const& size, int seed);

    MapMode mapMode() const override { return mMapMode; }
    using QAbstractPlanarVideoBuffer::map;
    int map(MapMode mode, int* numBytes, int bytesPerLine[4], uchar* data[4]) override;
    void unmap() override { mMapMode = NotMapped; }

    uchar const* plane(int index) const;
    int stride(int index) const { return mStrides[size_t(index)]; }

    bool refuseMap = false;
    int mapCount = 0;
    MapMode lastMode = NotMapped;

private:
    explicit PlanarBuffer(QSize const& size);

    QSize mSize;
    std::array<int, 3> mStrides;
    std::array<QByteArray, 3> mPlanes;
    MapMode mMapMode = NotMapped;
};

/** A frame that owns @p buffer. */
QVideoFrame planarFrame(PlanarBuffer* buffer, QSize const& size, qint64 startTime);
/** A frame of the picture of this seed. */
QVideoFrame planarFrame(QSize const& size, qint64 startTime, int seed = 1);

#endif
