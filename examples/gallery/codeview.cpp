#include "codeview.h"

#include <algorithm>

#include <QPainter>
#include <QPixmap>

namespace {

constexpr int QuietModules = 4; // around the code, without which readers don't find it

} // namespace

void CodeView::setCode(QByteArray const& data, QRErrorCorrLevel level)
{
    if (data == mData && level == mLevel)
        return;
    mData = data;
    mLevel = level;
    mModules = createQRCode(data, 0, level, Qt::white, Qt::black, 1, 0).width();
    update();
}

void CodeView::paintEvent(QPaintEvent* /*event*/)
{
    int const modules = mModules + 2 * QuietModules;
    int const moduleSize = std::min(width(), height()) / modules;
    if (mModules == 0 || moduleSize == 0)
        return;
    int const side = modules * moduleSize;
    QRect const ground(0, (height() - side) / 2, side, side);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(ground, moduleSize, moduleSize);
    painter.setRenderHint(QPainter::Antialiasing, false);
    int const quiet = QuietModules * moduleSize;
    drawQRCode(painter, ground.topLeft() + QPoint(quiet, quiet), mData, 0, mLevel, Qt::white,
        Qt::black, moduleSize, 0);
}
