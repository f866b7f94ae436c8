#ifndef STROKERECORDER_H
#define STROKERECORDER_H

#include <algorithm>

#include <QColor>
#include <QPainter>
#include <QRect>
#include <QVector>
#include <QWidget>

#include "widgets/audiometerwidget.h"

#include "fillrecorder.h"

inline QColor const Black(0, 0, 0);
inline QColor const Green(0, 255, 0);
inline QColor const Yellow(255, 255, 0);
inline QColor const Red(255, 0, 0);
inline QColor const UnlitGreen(96, 96, 96);
inline QColor const UnlitOther(48, 48, 48);

inline constexpr float Silence = -100;

/** A painter and a widget for it. */
struct Meter
{
    explicit Meter(QSize const& size = QSize(100, 10)) { widget.resize(size); }

    QVector<Fill> paint()
    {
        RecordingDevice device;
        QPainter recorded(&device);
        painter.paint(recorded);
        recorded.end();
        return device.fills();
    }

    QVector<Fill> paintBar(QRect const& rect, float db)
    {
        RecordingDevice device;
        QPainter recorded(&device);
        painter.paintBar(recorded, rect, db);
        recorded.end();
        return device.fills();
    }

    /** The strokes, without shadows, of a horizontal bar. */
    QVector<Fill> strokes(int length, float db)
    {
        return strokesOf(paintBar(QRect(0, 0, length, 5), db));
    }

    static QVector<Fill> strokesOf(QVector<Fill> const& fills)
    {
        QVector<Fill> strokes;
        for (int i = 1; i < fills.size(); i += 2)
            strokes.append(fills[i]);
        return strokes;
    }

    QWidget widget;
    AudioMeterPainter painter{&widget};
};

/** A meter whose bars have a stroke, one pixel wide, at every position. */
struct DenseMeter : Meter
{
    DenseMeter() { painter.setStrokeSpacing(0); }
};

/** A meter whose bars are one stroke, which shows their place and whether they are lit. */
struct PlainMeter : Meter
{
    using Meter::Meter;

    QVector<Fill> bars()
    {
        painter.setStrokeWidth(1000);
        return strokesOf(paint());
    }

    QVector<QRect> places()
    {
        QVector<QRect> result;
        for (Fill const& bar : bars())
            result.append(bar.rect);
        return result;
    }

    /** Whether each bar reaches the bottom of the scale. */
    QVector<bool> lit()
    {
        QVector<bool> result;
        for (Fill const& bar : bars())
            result.append(bar.colour == Green);
        return result;
    }
};

inline int countOf(QVector<Fill> const& strokes, QColor const& colour)
{
    return int(std::count_if(strokes.begin(), strokes.end(),
        [&](Fill const& stroke) { return stroke.colour == colour; }));
}

inline int litCount(QVector<Fill> const& strokes)
{
    return countOf(strokes, Green) + countOf(strokes, Yellow) + countOf(strokes, Red);
}

/** Where the first stroke of this colour begins; -1 for none. */
inline int firstOf(QVector<Fill> const& strokes, QColor const& colour)
{
    for (Fill const& stroke : strokes) {
        if (stroke.colour == colour)
            return stroke.rect.left();
    }
    return -1;
}

#endif
