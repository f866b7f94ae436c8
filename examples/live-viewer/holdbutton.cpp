#include "holdbutton.h"

#include <algorithm>

#include <QPainter>
#include <QPainterPath>

#include "overlaystyle.h"

using namespace overlaystyle;

namespace {

constexpr QRgb RingColour = qRgb(88, 166, 255);
constexpr QRgb PressedColour = qRgba(48, 54, 61, 240);
constexpr int RingSteps = 60;
constexpr double RingWidth = 0.07; // parts of the diameter
constexpr double SymbolSize = 0.46;
constexpr double Reach = 0.7; // of a finger, from the centre

// Symbols are drawn in a square of this side.
constexpr double SymbolSide = 24;

void paintLoudspeaker(QPainter& painter)
{
    constexpr QPointF Outline[] = {{2, 9}, {7, 9}, {12, 4}, {12, 20}, {7, 15}, {2, 15}};
    painter.save();
    painter.setBrush(painter.pen().color());
    painter.drawPolygon(Outline, int(std::size(Outline)));
    painter.restore();
}

void paintDetails(QPainter& painter)
{
    QPen pen = painter.pen();
    pen.setWidthF(1.7 * pen.widthF());
    painter.setPen(pen);
    painter.drawPoint(QPointF(12, 3.5));
    painter.drawLine(QPointF(12, 11), QPointF(12, 20.5));
}

void paintSound(QPainter& painter)
{
    paintLoudspeaker(painter);
    for (double const radius : {4.0, 9.0}) {
        QRectF const circle(12 - radius, 12 - radius, 2 * radius, 2 * radius);
        painter.drawArc(circle.translated(1, 0), -45 * 16, 90 * 16);
    }
}

void paintMuted(QPainter& painter)
{
    paintLoudspeaker(painter);
    painter.drawLine(QPointF(16, 9), QPointF(22, 15));
    painter.drawLine(QPointF(16, 15), QPointF(22, 9));
}

constexpr void (*SymbolPainters[])(QPainter&) = {paintDetails, paintSound, paintMuted};

} // namespace

HoldButton::HoldButton(renderlib::CustomVideoWidget* videoWidget)
    : CustomSubWidget(videoWidget)
{
    mHoldTimer.setSingleShot(true);
    mHoldTimer.setTimerType(Qt::PreciseTimer);
    connect(&mHoldTimer, &QTimer::timeout, this, &HoldButton::held);
}

void HoldButton::setSymbol(Symbol symbol)
{
    mSymbol = symbol;
    mStep = -1;
}

bool HoldButton::isAt(QPoint const& position) const
{
    QPointF const way = position - QRectF(geometry()).center();
    return QPointF::dotProduct(way, way) <= Reach * Reach * width() * width();
}

void HoldButton::press()
{
    mPressed.start();
    mHoldTimer.start(HoldMs);
}

void HoldButton::release()
{
    if (!isPressed())
        return;
    mHoldTimer.stop();
    Q_EMIT tapped();
}

void HoldButton::cancel()
{
    mHoldTimer.stop();
}

double HoldButton::progress() const
{
    return isPressed() ? std::min(1.0, double(mPressed.elapsed()) / HoldMs) : 0;
}

void HoldButton::paint(QPainter* painter)
{
    // The first step is the button that is pressed, without a ring yet.
    int const step = isPressed() ? 1 + int(progress() * RingSteps) : 0;
    if (step != mStep || mFace.size() != size())
        paintFace(step);
    double const opacity = painter->opacity();
    painter->setOpacity(opacity * mFade.value());
    painter->drawImage(0, 0, mFace);
    painter->setOpacity(opacity);
}

void HoldButton::paintFace(int step)
{
    mStep = step;
    if (mFace.size() != size())
        mFace = QImage(size(), QImage::Format_ARGB32_Premultiplied);
    mFace.fill(Qt::transparent);
    QPainter painter(&mFace);
    painter.setRenderHint(QPainter::Antialiasing);
    double const ring = RingWidth * width();
    QRectF const circle = QRectF(mFace.rect()).adjusted(ring / 2, ring / 2, -ring / 2, -ring / 2);
    painter.setPen(QPen(QColor(EdgeColour), 1));
    painter.setBrush(QColor::fromRgba(step > 0 ? PressedColour : LineColour));
    painter.drawEllipse(circle);
    painter.setBrush(Qt::NoBrush);
    if (step > 1) {
        // Clockwise from the top.
        painter.setPen(QPen(QColor(RingColour), ring, Qt::SolidLine, Qt::FlatCap));
        painter.drawArc(circle, 90 * 16, -(step - 1) * 360 * 16 / RingSteps);
    }

    double const scale = SymbolSize * width() / SymbolSide;
    painter.translate(QRectF(mFace.rect()).center());
    painter.scale(scale, scale);
    painter.translate(-SymbolSide / 2, -SymbolSide / 2);
    painter.setPen(QPen(QColor(TextColour), 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    SymbolPainters[int(mSymbol)](painter);
}
