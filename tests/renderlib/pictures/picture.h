#ifndef PICTURE_H
#define PICTURE_H

#include <vector>

#include <QAbstractVideoBuffer>
#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QVideoFrame>

/** One plane of a picture as a texture holds it: a byte per channel, rows without gaps. */
struct Plane
{
    int width;
    int height;
    int channels;
    QByteArray texels;

    uchar at(int column, int row, int channel) const
    {
        return uchar(texels[(row * width + column) * channels + channel]);
    }
};

/** A picture in one format, and where its frames keep it. */
struct Picture
{
    QVideoFrame::PixelFormat format;
    QAbstractVideoBuffer::HandleType handleType;
    QSize size;
    std::vector<Plane> planes;
};

/**
 * A colourful picture without two equal corners: gradients, blocks and diagonal lines, another one
 * for each @p seed. The planes of 4:2:0 formats are as wide as the painters' textures, rounded up
 * to multiples of 4, and the columns that this adds hold a picture too: where they are seen is part
 * of what the painters promise. ARGB32 has every alpha from 0 to 255.
 */
Picture makePicture(QVideoFrame::PixelFormat format, QSize const& size,
    QAbstractVideoBuffer::HandleType handleType = QAbstractVideoBuffer::NoHandle, int seed = 0);

/** The 32-bit picture as an image. */
QImage toImage(Picture const& picture);

/**
 * A frame of @p picture without a start time, so that no surface takes it for a repeated one. A
 * frame in a texture takes the name of one, see PictureTexture.
 */
QVideoFrame toFrame(Picture const& picture, unsigned int texture = 0);

#endif
