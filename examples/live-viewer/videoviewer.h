#ifndef VIDEOVIEWER_H
#define VIDEOVIEWER_H

#include <memory>

#include "kioskcontrols.h"
#include "streamdisplay.h"
#include "videowindow.h"
#include "viewer.h"

/** Shows a stream with OpenGL. */
class VideoViewer : public Viewer
{
    Q_OBJECT

public:
    explicit VideoViewer(Options const& options);

    void setDimmed(bool dimmed) override;
    StreamReport report() const override { return mDisplay.report(); }
    QString renderer() const override { return mWindow.renderer(); }
    QImage picture() override { return mWindow.picture(); }

protected:
    QWidget& window() override { return mWindow; }
    void startPicture() override { mDisplay.start(); }
    void stopPicture() override { mDisplay.stop(); }
    void reopenPicture() override { mDisplay.reopen(); }
    QSharedPointer<MediaSource> source() const override { return mDisplay.source(); }
    void moveTo(qint64 timestamp) override { mDisplay.moveTo(timestamp); }
    void noteSound(QString const& note) override { mWindow.noteSound(note); }
    void setChannels(int channels) override { mWindow.meter().setSoundChannels(channels); }
    void showLevels(AudioLevels const& levels) override;
    void showOffset(std::optional<double> milliseconds) override;

private:
    void makeKiosk(Options const& options);

    VideoWindow mWindow;
    std::unique_ptr<KioskControls> mKiosk; // null: an ordinary window
    StreamDisplay mDisplay;
};

#endif
