#include "meteroverlay.h"

#include <algorithm>

#include <QPainter>

#include "overlaystyle.h"

namespace {

constexpr int Distance = 20; // from the picture's edges
constexpr int MaxBarLength = 270;
constexpr int BarThickness = 8;
constexpr int BarSpacing = 5;
constexpr int StrokeWidth = 3;
constexpr int StrokeSpacing = 2;

// Around the bars: room for the names of the channels and for the scale.
constexpr QMargins Surround(30, 12, 18, 24);
constexpr int CornerRadius = 6;
constexpr int TextPixels = 10;
constexpr int Marks[] = {-60, -50, -40, -30, -20, -10, 0};
constexpr int Range = 60; // dB
constexpr int MarkWidth = 30;

} // namespace

MeterOverlay::MeterOverlay(renderlib::CustomVideoWidget* videoWidget)
    : AudioMeterGLWidget(videoWidget)
{
    setSpacing(BarSpacing);
    setStrokeWidth(StrokeWidth);
    setStrokeSpacing(StrokeSpacing);
}

void MeterOverlay::setSoundChannels(int channels)
{
    mSoundChannels = channels;
    setChannels(channels);
    fitInto(mPictureSize);
}

void MeterOverlay::fitInto(QSize const& size)
{
    mPictureSize = size;
    int const room = size.width() - 2 * Distance - Surround.left() - Surround.right();
    int const bars = std::max(1, mSoundChannels);
    int const height = bars * BarThickness + (bars - 1) * BarSpacing;
    setGeometry(Distance + Surround.left(), size.height() - Distance - Surround.bottom() - height,
        qBound(1, room, MaxBarLength), height);
    mGround = QImage();
}

void MeterOverlay::setDimmed(bool dimmed)
{
    mFade.to(dimmed ? DimmedOpacity : 1);
}

void MeterOverlay::paint(QPainter* painter)
{
    if (mSoundChannels == 0)
        return;
    if (mGround.isNull())
        mGround = makeGround();
    double const opacity = painter->opacity();
    painter->setOpacity(mFade.value());
    painter->drawImage(-Surround.left(), -Surround.top(), mGround);
    AudioMeterGLWidget::paint(painter);
    painter->setOpacity(opacity);
}

QImage MeterOverlay::makeGround() const
{
    QRect const bars(Surround.left(), Surround.top(), width(), height());
    QImage image(bars.marginsAdded(Surround).size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(overlaystyle::EdgeColour));
    painter.setBrush(QColor::fromRgba(overlaystyle::LineColour));
    painter.drawRoundedRect(
        QRectF(image.rect()).adjusted(0.5, 0.5, -0.5, -0.5), CornerRadius, CornerRadius);

    painter.setPen(QColor(overlaystyle::CaptionColour));
    painter.setFont(overlaystyle::makeFont(TextPixels, true));
    int const pitch = BarThickness + BarSpacing;
    for (int channel = 0; channel < mSoundChannels && mSoundChannels > 1; ++channel) {
        QString const name = mSoundChannels == 2 ? QStringLiteral("LR").mid(channel, 1)
                                                 : QString::number(channel + 1);
        QRect const place(0, bars.top() + channel * pitch, bars.left(), BarThickness);
        painter.drawText(place, Qt::AlignCenter, name);
    }
    for (int const mark : Marks) {
        int const middle = bars.left() + bars.width() * (mark + Range) / Range;
        QRect const place(middle - MarkWidth / 2, bars.bottom() + 1, MarkWidth, Surround.bottom());
        painter.drawText(place, Qt::AlignCenter, QString::number(mark));
    }
    return image;
}
