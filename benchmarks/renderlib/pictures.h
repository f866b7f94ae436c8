#ifndef PICTURES_H
#define PICTURES_H

#include <array>
#include <vector>

#include <QSize>
#include <QVideoFrame>

/** A picture in planar YUV 4:2:0, as a frame and as the bare planes of the same memory. */
struct Picture
{
    QVideoFrame frame;
    std::array<const uchar*, 3> planes;
    int grey; /**< how bright it is on average, 0 to 255 */
};

/** Different pictures, each with a start time of its own. To be shown one after the other. */
std::vector<Picture> makePictures(const QSize& size, int count);

#endif
