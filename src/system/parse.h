#ifndef PARSE_H
#define PARSE_H

#include <QRectF>
#include <QSize>
#include <QString>

#include "qvorlinexport.h"

/**
 * Geometry as configuration values write it. Whatever the text, there is a result and no message.
 * Thread-safe.
 */
namespace parse {

/**
 * Reads a rectangle as left,top-widthxheight ("10,20-300x200") or as two corners
 * ("10,20-310,220"); the second corner may lie above or left of the first, which makes the height
 * or the width negative.
 *
 * A number is digits, with a decimal point at most before the last of them: "12", "0.5" or ".5".
 * Any other text, be it for a sign, an exponent or a space, gives QRectF(0, 0, 0, 0); only a
 * newline may end it.
 */
QVORLIN_EXPORT QRectF stringToRectF(QString const& text);

/**
 * Reads a size as widthxheight ("1920x1080"). A side that is no whole number of the range of int is
 * 0; signs and white space around a number are taken. A text with no "x" or more than one gives
 * QSize(-1, -1).
 */
QVORLIN_EXPORT QSize stringToSize(QString const& text);

} // namespace parse

#endif
