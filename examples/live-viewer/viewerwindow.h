#ifndef VIEWERWINDOW_H
#define VIEWERWINDOW_H

#include <optional>

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

#include "streamobserver.h"
#include "utils/audio.h"

class AudioMeterWidget;
class FrameStatistics;
class StatusLine;
class StreamView;

/** The window: the picture, or a spinner while there is no stream, and the status line below. */
class ViewerWindow : public QWidget
{
    Q_OBJECT

public:
    /** @param statistics is told of what is shown; must outlive the window */
    ViewerWindow(QString const& streamName, FrameStatistics& statistics);

    /** How many channels are heard; 0: no sound. */
    void setChannels(int channels);
    void showLevels(AudioLevels const& levels);

    /** See StatusLine. @{ */
    void setAudioVideoOffset(std::optional<double> milliseconds);
    void setNote(QString const& note);
    /** @} */

    /** Lets what is not the picture stand back, or come forth again. */
    void setDimmed(bool dimmed);

public Q_SLOTS:
    void showImage(QImage const& image);
    void setState(StreamState const& state);

Q_SIGNALS:
    /** Images of any other size would have to be scaled for the window. */
    void imageSizeWanted(QSize const& size);

    /** The first frame since the start, or since waiting(), is on the screen. */
    void showing();

    /** The frame of this time is on the screen for the first time, at @p now. */
    void framePainted(qint64 timestamp, qint64 now);

    /** The stream has gone; the spinner is shown. */
    void waiting();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onFramePainted(qint64 timestamp);
    void wait();
    void askForImageSize();
    void updateDisplayRate();

    FrameStatistics& mStatistics;
    StreamView* mView;
    AudioMeterWidget* mMeter;
    QWidget* mMeterStrip;
    StatusLine* mStatusLine;
    StreamState mState;
    bool mWaiting = true;
    QTimer mRateTimer;
    QElapsedTimer mRatePeriod;
    qint64 mShownBefore = 0;
};

#endif
