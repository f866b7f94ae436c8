#include "streamoverlay.h"

#include <algorithm>
#include <cmath>

#include <QPainter>

#include "overlaystyle.h"
#include "statustext.h"

using namespace overlaystyle;

namespace {

constexpr double Pi = 3.14159265358979323846;

constexpr QRgb PresentColour = qRgb(63, 185, 80);
constexpr QRgb WaitingColour = qRgb(210, 153, 34);

constexpr int WheelDots = 12;
constexpr int WheelRadius = 26;
constexpr double WheelDotDiameter = 7.2;
constexpr int WheelStepMs = 80;
constexpr int WheelTextDistance = 44;
constexpr int WheelTextPixels = 16;

/** How the line looks; below a width of WideFrom there is room for the chief figures only. */
struct LineStyle
{
    int height;
    int margin;
    int lampDiameter;
    int namePixels;
    int valuePixels;
    int columnWidth;
    bool captions; /**< and with them all fields */
};

constexpr int WideFrom = 800;
constexpr int CaptionTop = 9;
constexpr int CaptionPixels = 10;
constexpr int ValueTop = 22;
constexpr int ValueHeight = 22;
constexpr LineStyle Wide = {52, 20, 10, 17, 15, 112, true};
constexpr LineStyle Narrow = {30, 12, 8, 13, 12, 66, false};

LineStyle const& lineStyle(double width)
{
    return width >= WideFrom ? Wide : Narrow;
}

QImage makeDot(double diameter, QColor const& colour)
{
    int const side = int(std::ceil(diameter));
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    double const margin = (side - diameter) / 2;
    painter.drawEllipse(QRectF(margin, margin, diameter, diameter));
    return image;
}

} // namespace

StreamOverlay::StreamOverlay(QString const& streamName, renderlib::CustomVideoWidget* videoWidget)
    : CustomSubWidget(videoWidget)
    , mName(streamName)
    , mWheelDot(makeDot(WheelDotDiameter, QColor(TextColour)))
{
    mTime.start();
}

void StreamOverlay::setState(StreamState const& state)
{
    mState = state;
    mLine = QImage();
}

void StreamOverlay::setFigures(double displayRate, double latencyMs)
{
    mDisplayRate = displayRate;
    mLatencyMs = latencyMs;
    mLine = QImage();
}

void StreamOverlay::setAudioVideoOffset(std::optional<double> milliseconds)
{
    mOffsetMs = milliseconds;
    mLine = QImage();
}

void StreamOverlay::setScale(double scale)
{
    mScale = scale;
    mWheelDot = makeDot(WheelDotDiameter * scale, QColor(TextColour));
    mLine = QImage();
}

void StreamOverlay::setNote(QString const& note)
{
    mNote = note;
    mLine = QImage();
}

QVector<StreamOverlay::Field> StreamOverlay::fields() const
{
    QVector<Field> fields{
        {QStringLiteral("SIZE"), statustext::size(mState), false},
        {QStringLiteral("STREAM RATE"), statustext::streamRate(mState), false},
        {QStringLiteral("DISPLAY RATE"), statustext::displayRate(mState, mDisplayRate), true},
        {QStringLiteral("LATENCY"), statustext::latency(mState, mLatencyMs), true},
    };
    if (mOffsetMs)
        fields.append({QStringLiteral("A/V"), statustext::offset(mState, *mOffsetMs), true});
    return fields;
}

void StreamOverlay::paint(QPainter* painter)
{
    painter->save();
    if (mWaiting)
        paintWheel(*painter);
    if (double const opacity = mFade.value(); opacity > 0) {
        if (mLine.isNull() || mLine.width() != width())
            mLine = makeLine();
        painter->setOpacity(opacity);
        painter->drawImage(0, 0, mLine);
    }
    painter->restore();
    Q_EMIT painted(painter);
}

void StreamOverlay::paintWheel(QPainter& painter) const
{
    QPoint const centre(width() / 2, (height() + scaled(lineStyle(width() / mScale).height)) / 2);
    int const step = int(mTime.elapsed() / WheelStepMs % WheelDots);
    for (int dot = 0; dot < WheelDots; ++dot) {
        double const angle = 2 * Pi * dot / WheelDots;
        // The brightest goes round, the others follow as its tail.
        int const age = (step - dot + WheelDots) % WheelDots;
        painter.setOpacity(1 - 0.9 * age / (WheelDots - 1));
        QPointF const place = mScale * WheelRadius * QPointF(std::cos(angle), std::sin(angle));
        painter.drawImage(centre + place.toPoint() - mWheelDot.rect().center(), mWheelDot);
    }

    painter.setOpacity(1);
    painter.setFont(makeFont(scaled(WheelTextPixels)));
    painter.setPen(QColor(CaptionColour));
    QFontMetrics const metrics = painter.fontMetrics();
    QRect const place(0, centre.y() + scaled(WheelTextDistance), width(), metrics.height());
    QString const text = QStringLiteral("Waiting for %1").arg(mName);
    painter.drawText(place, Qt::AlignCenter | Qt::TextSingleLine,
        metrics.elidedText(text, Qt::ElideMiddle, width()));
}

QImage StreamOverlay::makeLine() const
{
    // Laid out as on a picture without a scale.
    int const lineWidth = int(std::ceil(width() / mScale));
    LineStyle const& style = lineStyle(width() / mScale);
    QImage image(width(), scaled(style.height), QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor::fromRgba(LineColour));
    QPainter painter(&image);
    painter.fillRect(0, image.height() - 1, width(), 1, QColor(EdgeColour));
    QImage const lamp = makeDot(
        style.lampDiameter * mScale, QColor(mState.present ? PresentColour : WaitingColour));
    painter.drawImage(scaled(style.margin), (image.height() - lamp.height()) / 2, lamp);
    painter.scale(mScale, mScale);

    QRect name(0, 0, lineWidth, style.height);
    name.setLeft(style.margin + style.lampDiameter + 12);
    name.setRight(paintFields(painter, lineWidth) - style.margin);
    painter.setFont(makeFont(style.namePixels, true));
    painter.setPen(QColor(TextColour));
    QString const text = painter.fontMetrics().elidedText(mName, Qt::ElideMiddle, name.width());
    painter.drawText(name, Qt::AlignVCenter | Qt::TextSingleLine, text);

    QRect note = name;
    note.setLeft(name.left() + painter.fontMetrics().horizontalAdvance(text) + style.margin);
    painter.setFont(makeFont(style.valuePixels));
    painter.setPen(QColor(CaptionColour));
    painter.drawText(note, Qt::AlignVCenter | Qt::TextSingleLine,
        painter.fontMetrics().elidedText(mNote, Qt::ElideRight, note.width()));
    return image;
}

/** @return where they begin on a line of @p width */
int StreamOverlay::paintFields(QPainter& painter, int width) const
{
    LineStyle const& style = lineStyle(width);
    QVector<Field> shown = fields();
    if (!style.captions) {
        shown.erase(std::remove_if(shown.begin(), shown.end(),
                        [](Field const& field) { return !field.chief; }),
            shown.end());
    }
    int const begin = width - shown.size() * style.columnWidth;
    QRect caption(begin, CaptionTop, style.columnWidth, ValueTop - CaptionTop);
    QRect value(begin, 0, style.columnWidth, style.height);
    if (style.captions)
        value.setRect(begin, ValueTop, style.columnWidth, ValueHeight);
    for (Field const& field : shown) {
        if (style.captions) {
            painter.setFont(makeFont(CaptionPixels, true));
            painter.setPen(QColor(CaptionColour));
            painter.drawText(caption, Qt::AlignTop, field.caption);
        }
        painter.setFont(makeFont(style.valuePixels));
        painter.setPen(QColor(TextColour));
        painter.drawText(value, Qt::AlignVCenter, field.value);
        caption.translate(style.columnWidth, 0);
        value.translate(style.columnWidth, 0);
    }
    return begin;
}
