#include "clockoverlay.h"

#include <QPainter>

#include "overlaystyle.h"

using namespace overlaystyle;

namespace {

constexpr double UsualHeight = 57;

// Parts of the ground's height.
constexpr double TextSize = 0.5;
constexpr double Aspect = 3.2; // as wide as that

} // namespace

ClockOverlay::ClockOverlay(renderlib::CustomVideoWidget* videoWidget)
    : CustomSubWidget(videoWidget)
{}

QString ClockOverlay::text(QTime const& time)
{
    return time.toString(QStringLiteral("HH:mm:ss"));
}

QSize ClockOverlay::sizeForHeight(int height)
{
    return {qRound(height * Aspect), height};
}

void ClockOverlay::paint(QPainter* painter)
{
    QTime const now = QTime::currentTime();
    int const second = now.msecsSinceStartOfDay() / 1000;
    if (second != mSecond || mFace.size() != size()) {
        mSecond = second;
        paintFace(text(now));
    }
    double const opacity = painter->opacity();
    painter->setOpacity(opacity * mFade.value());
    painter->drawImage(0, 0, mFace);
    painter->setOpacity(opacity);
}

void ClockOverlay::paintFace(QString const& text)
{
    if (mFace.size() != size())
        mFace = QImage(size(), QImage::Format_ARGB32_Premultiplied);
    mFace.fill(Qt::transparent);
    QPainter painter(&mFace);
    paintGround(painter, mFace.rect(), height() / UsualHeight);
    painter.setPen(QColor(TextColour));
    painter.setFont(makeFont(qMax(1, qRound(height() * TextSize)), true));
    painter.drawText(mFace.rect(), Qt::AlignCenter, text);
}
