#ifndef LETTERBOX_H
#define LETTERBOX_H

#include <array>

#include <QRect>
#include <QSize>

/** Where an image and the two bars beside it, or above and below it, lie in a widget; pixels. */
struct Letterbox
{
    QRect image;
    std::array<QRect, 2> bars;
};

/** Fits an image that isn't empty into a widget at the image's own aspect ratio, centred. */
Letterbox letterbox(QSize const& image, QSize const& widget);

#endif
