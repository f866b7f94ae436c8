#ifndef IMAGEVIEWER_H
#define IMAGEVIEWER_H

#include "imagepump.h"
#include "streamfeed.h"
#include "viewer.h"
#include "viewerwindow.h"

/** Shows a stream as images, which the processor converts. */
class ImageViewer : public Viewer
{
    Q_OBJECT

public:
    explicit ImageViewer(Options const& options);

    void setDimmed(bool dimmed) override { mWindow.setDimmed(dimmed); }
    StreamReport report() const override { return mFeed.report(mState); }
    QString renderer() const override { return {}; }
    QImage picture() override;

protected:
    QWidget& window() override { return mWindow; }
    void startPicture() override { mFeed.start(); }
    void stopPicture() override { mFeed.stop(); }
    void reopenPicture() override;
    QSharedPointer<MediaSource> source() const override { return mFeed.source(); }
    void moveTo(qint64 timestamp) override { mFeed.pump().moveTo(timestamp); }
    void noteSound(QString const& note) override { mWindow.setNote(note); }
    void setChannels(int channels) override { mWindow.setChannels(channels); }
    void showLevels(AudioLevels const& levels) override { mWindow.showLevels(levels); }
    void showOffset(std::optional<double> milliseconds) override;

private:
    void connectFeed(StreamObserver& observer, ImagePump& pump);
    void setState(StreamState const& state);

    StreamFeed<ImagePump> mFeed;
    ViewerWindow mWindow;
    StreamState mState;
};

#endif
