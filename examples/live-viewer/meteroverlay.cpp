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
constexpr int TextPixels = 10;
constexpr int Marks[] = {-60, -50, -40, -30, -20, -10, 0};
constexpr int Range = 60; // dB
constexpr int MarkWidth = 30;

} // namespace

MeterOverlay::MeterOverlay(renderlib::CustomVideoWidget* videoWidget)
    : AudioMeterGLWidget(videoWidget)
{
    setScale(1);
}

void MeterOverlay::setScale(double scale)
{
    mScale = scale;
    setSpacing(scaled(BarSpacing));
    setStrokeWidth(scaled(StrokeWidth));
    setStrokeSpacing(scaled(StrokeSpacing));
    fitInto(mPictureSize);
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
    QMargins const around = surround();
    int const distance = scaled(Distance);
    int const room = size.width() - 2 * distance - around.left() - around.right();
    int const bars = std::max(1, mSoundChannels);
    int const height = bars * scaled(BarThickness) + (bars - 1) * scaled(BarSpacing);
    setGeometry(distance + around.left(), size.height() - distance - around.bottom() - height,
        qBound(1, room, scaled(MaxBarLength)), height);
    mGround = QImage();
}

void MeterOverlay::paint(QPainter* painter)
{
    if (mSoundChannels == 0)
        return;
    if (mGround.isNull())
        mGround = makeGround();
    double const opacity = painter->opacity();
    painter->setOpacity(mFade.value());
    painter->drawImage(-surround().left(), -surround().top(), mGround);
    AudioMeterGLWidget::paint(painter);
    painter->setOpacity(opacity);
}

QMargins MeterOverlay::surround() const
{
    return {scaled(Surround.left()), scaled(Surround.top()), scaled(Surround.right()),
        scaled(Surround.bottom())};
}

QImage MeterOverlay::makeGround() const
{
    QMargins const around = surround();
    QRect const bars(around.left(), around.top(), width(), height());
    QImage image(bars.marginsAdded(around).size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    overlaystyle::paintGround(painter, image.rect(), mScale);

    painter.setPen(QColor(overlaystyle::CaptionColour));
    painter.setFont(overlaystyle::makeFont(scaled(TextPixels), true));
    int const pitch = scaled(BarThickness) + scaled(BarSpacing);
    for (int channel = 0; channel < mSoundChannels && mSoundChannels > 1; ++channel) {
        QString const name = mSoundChannels == 2 ? QStringLiteral("LR").mid(channel, 1)
                                                 : QString::number(channel + 1);
        QRect const place(0, bars.top() + channel * pitch, bars.left(), scaled(BarThickness));
        painter.drawText(place, Qt::AlignCenter, name);
    }
    int const markWidth = scaled(MarkWidth);
    for (int const mark : Marks) {
        int const middle = bars.left() + bars.width() * (mark + Range) / Range;
        QRect const place(middle - markWidth / 2, bars.bottom() + 1, markWidth, around.bottom());
        painter.drawText(place, Qt::AlignCenter, QString::number(mark));
    }
    return image;
}
