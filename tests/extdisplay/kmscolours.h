#ifndef KMSCOLOURS_H
#define KMSCOLOURS_H

#include <QColor>
#include <QRect>

/** The picture of kms-scene. */
namespace kms {

/** Top left, top right, bottom left, bottom right. */
inline QColor const quarterColours[4] = {Qt::red, Qt::green, Qt::magenta, Qt::white};
inline QRect const overlayArea(40, 30, 120, 80);
inline QColor const overlayColour = Qt::yellow;

} // namespace kms

#endif
