#ifndef IMAGEVIEWER_H
#define IMAGEVIEWER_H

#include <QSharedPointer>

#include "framestatistics.h"
#include "imagepump.h"
#include "streamobserver.h"
#include "viewer.h"
#include "viewerwindow.h"

/** Shows a stream as images, which the processor converts. */
class ImageViewer : public Viewer
{
    Q_OBJECT

public:
    explicit ImageViewer(Options const& options);

    void start() override;
    void stop() override;
    StreamReport report() const override;
    QString renderer() const override { return {}; }
    QImage picture() override;

private:
    FrameStatistics mStatistics;
    QSharedPointer<MediaSource> mSource;
    StreamObserver mObserver;
    ImagePump mPump;
    ViewerWindow mWindow;
    StreamState mState;
};

#endif
