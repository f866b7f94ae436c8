#ifndef CODEPAINTING_H
#define CODEPAINTING_H

#include <QByteArray>

#include "widgets/qrcode.h"

class QPainter;
class QRect;

/** How QR codes look: on a white ground with round corners. */
namespace codepainting {

/** On each side of a code, without which readers don't find it. */
constexpr int QuietModules = 4;

/** How many modules a side of the code has; 0: there is no such code. */
int countModules(QByteArray const& data, QRErrorCorrLevel level);

/** Paints the ground, and the code into its upper left corner, within the quiet modules. */
void paintCode(QPainter& painter, QRect const& ground, QByteArray const& data,
    QRErrorCorrLevel level, int moduleSize);

} // namespace codepainting

#endif
