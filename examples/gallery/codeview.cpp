#include "codeview.h"

#include <algorithm>

#include <QPainter>

#include "codepainting.h"

using namespace codepainting;

void CodeView::setCode(QByteArray const& data, QRErrorCorrLevel level)
{
    if (data == mData && level == mLevel)
        return;
    mData = data;
    mLevel = level;
    mModules = countModules(data, level);
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
    paintCode(painter, ground, mData, mLevel, moduleSize);
}
