#include "codepainting.h"

#include <QPainter>
#include <QPixmap>

int codepainting::countModules(QByteArray const& data, QRErrorCorrLevel level)
{
    return createQRCode(data, 0, level, Qt::white, Qt::black, 1, 0).width();
}

void codepainting::paintCode(QPainter& painter, QRect const& ground, QByteArray const& data,
    QRErrorCorrLevel level, int moduleSize)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(ground, moduleSize, moduleSize);
    painter.setRenderHint(QPainter::Antialiasing, false);
    int const quiet = QuietModules * moduleSize;
    drawQRCode(painter, ground.topLeft() + QPoint(quiet, quiet), data, 0, level, Qt::white,
        Qt::black, moduleSize, 0);
}
