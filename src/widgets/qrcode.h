#ifndef QRCODE_H
#define QRCODE_H

#include <QByteArray>
#include <QColor>
#include <QPixmap>
#include <QPoint>

#include "qvorlinexport.h"

class QPainter;

/**
 * How much of a QR code may be lost before it can't be read any more: about 7, 15, 25 and 30 %. The
 * more, the larger the code.
 */
enum QRErrorCorrLevel : int
{
    QRErrorCorrLow = 0,
    QRErrorCorrMedium = 1,
    QRErrorCorrQuartile = 2,
    QRErrorCorrHigh = 3
};

/**
 * Makes a picture of the QR code of @p data, which is taken as bytes.
 *
 * @p version is how large the code is, from 1 (21 modules a side) in steps of 4 modules to 40 (177
 * modules); 0 is the smallest that holds the data. A @p level without a name is QRErrorCorrLow. A
 * module is a square of @p moduleSize pixels; @p margin pixels lie around all of them, for readers
 * at least four modules' worth. Neither may be negative.
 *
 * A null pixmap when there is no data, when it doesn't fit into the version, for another version
 * than these, or when the picture has no pixels or too many. Thread-bound to the GUI thread, as
 * pixmaps are.
 *
 * @code
 * const QPixmap code = createQRCode("https://example.org/", 0, QRErrorCorrMedium,
 *     Qt::white, Qt::black, 8, 32);
 * @endcode
 */
QVORLIN_EXPORT QPixmap createQRCode(QByteArray const& data, int version, QRErrorCorrLevel level,
    QColor const& background, QColor const& foreground, int moduleSize, int margin);

/**
 * Paints the same square at @p topLeft. The painter keeps its settings, and those that hold for
 * every fill (transformation, clipping, opacity, composition mode) hold here.
 *
 * False, with nothing painted, when the data can't be encoded. Reentrant: may be called in any
 * thread that may use the painter.
 */
QVORLIN_EXPORT bool drawQRCode(QPainter& painter, QPoint const& topLeft, QByteArray const& data,
    int version, QRErrorCorrLevel level, QColor const& background, QColor const& foreground,
    int moduleSize, int margin);

/**
 * The same in the painter's own settings: a module has the size of the pen's width and the pen's
 * colour, on the colour of the painter's background. The pen's width is taken as QPen::width() has
 * it; with 0 only the background is painted.
 */
QVORLIN_EXPORT bool drawQRCode(QPainter& painter, QPoint const& topLeft, QByteArray const& data,
    int version, QRErrorCorrLevel level, int margin);

#endif
