#ifndef OVERLAYSTYLE_H
#define OVERLAYSTYLE_H

#include <QColor>
#include <QFont>

class QPainter;
class QRect;

/** How overlays look: the colours are those of the line below the picture in an ordinary window. */
namespace overlaystyle {

constexpr QRgb LineColour = qRgba(22, 27, 34, 225);
constexpr QRgb EdgeColour = qRgb(48, 54, 61);
constexpr QRgb TextColour = qRgb(230, 237, 243);
constexpr QRgb CaptionColour = qRgb(139, 148, 158);

QFont makeFont(int pixels, bool bold = false);

/** Paints the dark ground of what lies in @p place, with round corners @p scale times as usual. */
void paintGround(QPainter& painter, QRect const& place, double scale);

} // namespace overlaystyle

#endif
