#include "videometer.h"

#include <algorithm>

#include <QPainter>

#include "overlaystyle.h"

namespace {

constexpr int Distance = 12; // from the edges of the room
constexpr int Padding = 7;   // from the ground's to the bars
constexpr int BarThickness = 9;
constexpr int BarSpacing = 4;
constexpr int StrokeWidth = 3;
constexpr int StrokeSpacing = 2;

} // namespace

VideoMeter::VideoMeter(renderlib::CustomVideoWidget* videoWidget)
    : AudioMeterGLWidget(videoWidget)
{
    setOrientation(Qt::Vertical);
}

void VideoMeter::setSoundChannels(int channels)
{
    mSoundChannels = channels;
    setChannels(channels);
    fitInto(mRoom, mScale);
}

void VideoMeter::fitInto(QRect const& room, double scale)
{
    mRoom = room;
    mScale = scale;
    setSpacing(scaled(BarSpacing));
    setStrokeWidth(scaled(StrokeWidth));
    setStrokeSpacing(scaled(StrokeSpacing));

    int const bars = std::max(1, mSoundChannels);
    int const padding = scaled(Padding);
    QRect ground = room.adjusted(0, scaled(Distance), -scaled(Distance), -scaled(Distance));
    ground.setLeft(ground.right() + 1 - 2 * padding - bars * scaled(BarThickness) -
                   (bars - 1) * scaled(BarSpacing));
    setGeometry(ground.adjusted(padding, padding, -padding, -padding));

    mGround = QImage();
    if (ground.isEmpty())
        return;
    mGround = QImage(ground.size(), QImage::Format_ARGB32_Premultiplied);
    mGround.fill(Qt::transparent);
    QPainter painter(&mGround);
    overlaystyle::paintGround(painter, mGround.rect(), scale);
}

void VideoMeter::paint(QPainter* painter)
{
    if (mSoundChannels == 0)
        return;
    painter->drawImage(-scaled(Padding), -scaled(Padding), mGround);
    AudioMeterGLWidget::paint(painter);
}
