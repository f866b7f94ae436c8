#include "labelledmeter.h"

#include <QPainter>

#include "overlaystyle.h"

namespace {

constexpr int TextPixels = 10;
// Beside the bars: for the name of a horizontal meter and the scale of a vertical one, and below
// them for the other one of the two.
constexpr QSize Margin(40, 18);
constexpr int VerticalMargin = 28;
constexpr int HalfMark = 15; // the scale's writing goes beyond the bars by this

constexpr int Range = 60; // dB
constexpr int MarkStep = 10;
constexpr int MinMarkDistance = 30; // pixels

} // namespace

LabelledMeter::LabelledMeter(Qt::Orientation orientation, AudioMeterMode mode, QWidget* parent)
    : QWidget(parent)
    , mMeter(new AudioMeterWidget(this))
{
    mMeter->setOrientation(orientation);
    mMeter->setMode(mode);
}

void LabelledMeter::setMode(AudioMeterMode mode)
{
    mMeter->setMode(mode);
    update();
}

void LabelledMeter::setScale(double scale)
{
    mScale = scale;
    placeMeter();
    update();
}

void LabelledMeter::resizeEvent(QResizeEvent* /*event*/)
{
    placeMeter();
}

void LabelledMeter::placeMeter()
{
    bool const horizontal = mMeter->orientation() == Qt::Horizontal;
    QRect const room = rect().adjusted(
        scaled(horizontal ? Margin.width() : VerticalMargin), 0, 0, -scaled(Margin.height()));
    mMeter->setGeometry(horizontal ? room.adjusted(0, 0, -scaled(HalfMark), 0)
                                   : room.adjusted(0, scaled(HalfMark / 2), 0, 0));
}

void LabelledMeter::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setFont(overlaystyle::makeFont(scaled(TextPixels), true));
    QRect const bars = mMeter->geometry();
    QRect const beside(0, bars.top(), bars.left(), bars.height());
    QRect const below(bars.left(), bars.bottom() + 1, bars.width(), scaled(Margin.height()));
    bool const horizontal = mMeter->orientation() == Qt::Horizontal;
    painter.setPen(QColor(overlaystyle::TextColour));
    painter.drawText(horizontal ? beside : QRect(0, below.top(), width(), below.height()),
        horizontal ? Qt::AlignLeft | Qt::AlignVCenter : Qt::AlignRight | Qt::AlignBottom,
        mMeter->mode() == Rms ? QStringLiteral("RMS") : QStringLiteral("PEAK"));

    painter.setPen(QColor(overlaystyle::CaptionColour));
    int const length = horizontal ? bars.width() : bars.height();
    int const step = length * MarkStep / Range < scaled(MinMarkDistance) ? 2 * MarkStep : MarkStep;
    QSize const size(2 * scaled(HalfMark), scaled(Margin.height()));
    for (int mark = -Range; mark <= 0; mark += step) {
        int const way = length * (mark + Range) / Range;
        QRect place(QPoint(), size);
        place.moveCenter(
            horizontal ? QPoint(bars.left() + way, below.center().y())
                       : QPoint(bars.left() - scaled(HalfMark) - scaled(4), bars.bottom() - way));
        painter.drawText(place, Qt::AlignVCenter | (horizontal ? Qt::AlignHCenter : Qt::AlignRight),
            QString::number(mark));
    }
}
