#ifndef VIDEOVIEW_H
#define VIDEOVIEW_H

#include <QImage>
#include <QTimer>
#include <QVideoFrame>

#include "renderlib/customvideowidget.h"
#include "streamoverlay.h"

/**
 * Shows the frames of a stream with OpenGL, or that it waits for them, and tells what reaches the
 * screen. It waits at first.
 *
 * An overlay is painted only with a frame. While there is none, a dark one stands in for it, given
 * to the widget anew for each step of the wheel.
 */
class VideoView : public renderlib::CustomVideoWidget
{
    Q_OBJECT

public:
    explicit VideoView(QString const& streamName, QWidget* parent = nullptr);

    StreamOverlay& overlay() { return mOverlay; }

    /** Takes the picture away until the next frame that is a new one. */
    void wait();

    /** Makes a new mirroring or viewport take effect, with the next frame. */
    void restartSurface() { mRestartWanted = true; }

    /** Paints, and reads back what was painted; a null image when OpenGL does not work. */
    QImage picture();

    /** What OpenGL calls the device that paints; empty before the first picture. */
    QString const& renderer() const { return mRenderer; }

public Q_SLOTS:
    /** Shows @p frame, but for one that comes before the last one is painted. */
    void showFrame(QVideoFrame const& frame);

Q_SIGNALS:
    /** The frame of this time has been painted for the first time. */
    void framePainted(qint64 timestamp);

    /** The frame that is shown already came again. */
    void frameRepeated();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    bool isWaiting() const { return mWheelTimer.isActive(); }
    bool present(QVideoFrame const& frame);
    void onOverlayPainted(QPainter* painter);

    StreamOverlay mOverlay;
    QVideoFrame const mDarkFrame;
    QTimer mWheelTimer; // runs while waiting
    QString mRenderer;
    qint64 mTimestamp = 0;      // of the last frame accepted
    bool mPaintable = false;    // the OpenGL context is there
    bool mPaintPending = false; // the surface refuses frames until then
    bool mVideoGiven = false;   // what the surface has is a frame of the stream
    bool mNewFrame = false;     // the next paint shows it for the first time
    bool mRestartWanted = false;
};

#endif
