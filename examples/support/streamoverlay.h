#ifndef STREAMOVERLAY_H
#define STREAMOVERLAY_H

#include <optional>

#include <QElapsedTimer>
#include <QImage>
#include <QString>
#include <QVector>

#include "fade.h"
#include "renderlib/customsubwidget.h"
#include "streamobserver.h"

/**
 * What lies over the picture of a stream: a line with its name, rates and latency at the upper
 * edge, and while the stream is waited for a turning wheel in the middle. Its parts are painted
 * without OpenGL and kept as images, which makes them smooth on any device and cheap to repeat.
 */
class StreamOverlay : public renderlib::CustomSubWidget
{
    Q_OBJECT

public:
    StreamOverlay(QString const& streamName, renderlib::CustomVideoWidget* videoWidget);

    void setState(StreamState const& state);
    void setWaiting(bool waiting) { mWaiting = waiting; }

    /** New frames shown per second, and how old they were when painted, in milliseconds. */
    void setFigures(double displayRate, double latencyMs);

    /** How far the picture is ahead of the sound; nothing: there is no such figure, as at first. */
    void setAudioVideoOffset(std::optional<double> milliseconds);

    /** Lets the line stand back, or come forth again. */
    void setDimmed(bool dimmed) { mFade.setDimmed(dimmed); }

    /** Hides the line, or shows it again; it is shown at first. */
    void setLineShown(bool shown) { mFade.setShown(shown); }

    /** Makes everything so many times as large as usual. */
    void setScale(double scale);

    /** What else is to be said, such as how the picture is shown; empty: nothing. */
    void setNote(QString const& note);

    /** A figure on the line. */
    struct Field
    {
        QString caption;
        QString value;
        bool chief; /**< shown on a narrow picture, too */
    };

    /** The figures, from left to right. */
    QVector<Field> fields() const;

    void paint(QPainter* painter) override;

Q_SIGNALS:
    /** The overlay is there, whole. */
    void painted(QPainter* painter);

private:
    int scaled(int pixels) const { return qRound(pixels * mScale); }
    void paintWheel(QPainter& painter) const;
    QImage makeLine() const;
    int paintFields(QPainter& painter, int width) const;

    QString const mName;
    QString mNote;
    StreamState mState;
    double mDisplayRate = 0;
    double mLatencyMs = 0;
    std::optional<double> mOffsetMs;
    Fade mFade;
    bool mWaiting = true;
    QElapsedTimer mTime;
    double mScale = 1;
    QImage mWheelDot;
    QImage mLine; // null when it has to be made anew
};

#endif
