#ifndef VIDEOVIEWER_H
#define VIDEOVIEWER_H

#include "streamdisplay.h"
#include "videowindow.h"
#include "viewer.h"

/** Shows a stream with OpenGL. */
class VideoViewer : public Viewer
{
    Q_OBJECT

public:
    explicit VideoViewer(Options const& options);

    void start() override;
    void stop() override { mDisplay.stop(); }
    StreamReport report() const override { return mDisplay.report(); }
    QString renderer() const override { return mWindow.renderer(); }
    QImage picture() override { return mWindow.picture(); }

private:
    VideoWindow mWindow;
    StreamDisplay mDisplay;
};

#endif
