#ifndef FILLRECORDER_H
#define FILLRECORDER_H

#include <QBrush>
#include <QColor>
#include <QPaintDevice>
#include <QPaintEngine>
#include <QPen>
#include <QRect>
#include <QVector>

struct Fill
{
    QRect rect;
    QColor colour;
};

inline bool operator==(Fill const& one, Fill const& other)
{
    return one.rect == other.rect && one.colour == other.colour;
}

/** Paints nothing, but keeps what is filled. Warns of anything but plain filled rectangles. */
class FillRecorder : public QPaintEngine
{
public:
    FillRecorder()
        : QPaintEngine(AllFeatures)
    {}

    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    void updateState(QPaintEngineState const& change) override
    {
        if (change.state() & DirtyBrush)
            mBrush = change.brush();
        if (change.state() & DirtyPen)
            mPen = change.pen();
    }
    void drawRects(QRect const* rects, int count) override
    {
        if (mBrush.style() != Qt::SolidPattern || mPen.style() != Qt::NoPen)
            qWarning("A rectangle was more or less than filled");
        for (int i = 0; i < count; ++i)
            fills.append({rects[i], mBrush.color()});
    }
    void drawPixmap(QRectF const&, QPixmap const&, QRectF const&) override
    {
        qWarning("A pixmap was drawn");
    }
    void drawPath(QPainterPath const&) override { qWarning("A path was drawn"); }
    Type type() const override { return User; }

    QVector<Fill> fills;

private:
    QBrush mBrush;
    QPen mPen;
};

class RecordingDevice : public QPaintDevice
{
public:
    QPaintEngine* paintEngine() const override { return &mRecorder; }

    QVector<Fill> const& fills() const { return mRecorder.fills; }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        return metric == PdmDevicePixelRatio || metric == PdmDevicePixelRatioScaled ? 1 : 1000;
    }

private:
    mutable FillRecorder mRecorder;
};

#endif
