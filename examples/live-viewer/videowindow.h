#ifndef VIDEOWINDOW_H
#define VIDEOWINDOW_H

#include "meteroverlay.h"
#include "videoview.h"

/**
 * The window of a stream that is shown with OpenGL. It is the video widget itself, with everything
 * else as its overlay, since some displays have room for a single OpenGL window and nothing beside.
 */
class VideoWindow : public VideoView
{
    Q_OBJECT

public:
    explicit VideoWindow(QString const& streamName);

    MeterOverlay& meter() { return mMeter; }

    /** A word on the sound; empty: none. */
    void noteSound(QString const& note);

    /** Lets all that lies over the picture stand back, or come forth again. */
    void setDimmed(bool dimmed);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void toggleMirrored();
    void nextAspectMode();
    void nextViewport();
    void toggleFullScreen();
    void noteChanges();

    MeterOverlay mMeter;
    QString mSoundNote;
    int mAspect = 0;   // index into the table of modes
    int mViewport = 0; // index into the table of viewports
};

#endif
