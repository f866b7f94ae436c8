#include "overlaystyle.h"

#include <QPainter>

namespace {

constexpr double CornerRadius = 6;

} // namespace

QFont overlaystyle::makeFont(int pixels, bool bold)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}

void overlaystyle::paintGround(QPainter& painter, QRect const& place, double scale)
{
    double const radius = CornerRadius * scale;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(EdgeColour));
    painter.setBrush(QColor::fromRgba(LineColour));
    painter.drawRoundedRect(QRectF(place).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}
