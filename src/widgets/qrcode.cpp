#include "widgets/qrcode.h"

#include <memory>
#include <vector>

#include <QBrush>
#include <QPainter>
#include <QPen>
#include <QRect>

#include <qrencode.h>

namespace {

struct SymbolDeleter
{
    void operator()(QRcode* symbol) const { QRcode_free(symbol); }
};
using Symbol = std::unique_ptr<QRcode, SymbolDeleter>;

QRecLevel encoderLevel(QRErrorCorrLevel level)
{
    constexpr QRecLevel levels[] = {QR_ECLEVEL_L, QR_ECLEVEL_M, QR_ECLEVEL_Q, QR_ECLEVEL_H};
    return level >= QRErrorCorrLow && level <= QRErrorCorrHigh ? levels[level] : QR_ECLEVEL_L;
}

/** Null when the data can't be encoded. */
Symbol encode(QByteArray const& data, int version, QRErrorCorrLevel level)
{
    auto const* bytes = reinterpret_cast<unsigned char const*>(data.constData());
    Symbol symbol(QRcode_encodeData(data.size(), bytes, version, encoderLevel(level)));
    // The encoder takes the version for the least one, and goes on to larger ones by itself.
    if (symbol && version > 0 && (symbol->width - 17) / 4 > version)
        return nullptr;
    return symbol;
}

int sideOf(QRcode const& symbol, int moduleSize, int margin)
{
    return symbol.width * moduleSize + 2 * margin;
}

/** A square for each dark module. */
std::vector<QRect> darkModules(QRcode const& symbol, QPoint const& topLeft, int moduleSize)
{
    std::vector<QRect> squares;
    squares.reserve(size_t(symbol.width) * size_t(symbol.width));
    unsigned char const* module = symbol.data;
    for (int y = 0; y < symbol.width; ++y) {
        for (int x = 0; x < symbol.width; ++x, ++module) {
            if (*module & 1) {
                squares.emplace_back(topLeft.x() + x * moduleSize, topLeft.y() + y * moduleSize,
                    moduleSize, moduleSize);
            }
        }
    }
    return squares;
}

void paint(QPainter& painter, QPoint const& topLeft, QRcode const& symbol, QColor const& background,
    QColor const& foreground, int moduleSize, int margin)
{
    int const side = sideOf(symbol, moduleSize, margin);
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(background);
    painter.drawRect(topLeft.x(), topLeft.y(), side, side);
    if (moduleSize > 0) {
        // In one call, since a call for each would take longer than the encoding.
        std::vector<QRect> const squares =
            darkModules(symbol, topLeft + QPoint(margin, margin), moduleSize);
        painter.setBrush(foreground);
        painter.drawRects(squares.data(), int(squares.size()));
    }
    painter.restore();
}

} // namespace

QPixmap createQRCode(QByteArray const& data, int version, QRErrorCorrLevel level,
    QColor const& background, QColor const& foreground, int moduleSize, int margin)
{
    Symbol const symbol = encode(data, version, level);
    if (!symbol)
        return QPixmap();
    int const side = sideOf(*symbol, moduleSize, margin);
    QPixmap pixmap(side, side);
    // Of no size, or of more than there is memory for; the latter doesn't call itself null.
    if (!pixmap.paintEngine())
        return QPixmap();
    // A new pixmap holds anything; what is painted over may show it.
    if (background.alpha() < 255)
        pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paint(painter, QPoint(0, 0), *symbol, background, foreground, moduleSize, margin);
    return pixmap;
}

bool drawQRCode(QPainter& painter, QPoint const& topLeft, QByteArray const& data, int version,
    QRErrorCorrLevel level, QColor const& background, QColor const& foreground, int moduleSize,
    int margin)
{
    Symbol const symbol = encode(data, version, level);
    if (!symbol)
        return false;
    paint(painter, topLeft, *symbol, background, foreground, moduleSize, margin);
    return true;
}

bool drawQRCode(QPainter& painter, QPoint const& topLeft, QByteArray const& data, int version,
    QRErrorCorrLevel level, int margin)
{
    QPen const& pen = painter.pen();
    return drawQRCode(painter, topLeft, data, version, level, painter.background().color(),
        pen.color(), pen.width(), margin);
}
