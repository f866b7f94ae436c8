#include "imageviewer.h"

#include "options.h"

ImageViewer::ImageViewer(Options const& options)
    : mStatistics(wallClock())
    , mSource(QSharedPointer<MediaSource>::create(options.stream))
    , mObserver(mSource, mStatistics)
    , mPump(mSource, options.rateNum, options.rateDen)
    , mWindow(options.stream, mStatistics)
{
    connect(&mObserver, &StreamObserver::stateChanged, this,
        [this](StreamState const& state) { mState = state; });
    connect(&mObserver, &StreamObserver::stateChanged, &mWindow, &ViewerWindow::setState);
    connect(&mPump, &ImagePump::imageReady, &mWindow, &ViewerWindow::showImage);
    connect(&mWindow, &ViewerWindow::imageSizeWanted, &mPump, &ImagePump::setImageSize);
    connect(&mWindow, &ViewerWindow::showing, this, &Viewer::showing);
    connect(&mWindow, &ViewerWindow::waiting, this, &Viewer::waiting);
}

void ImageViewer::start()
{
    mWindow.show();
    mObserver.start();
    mPump.start();
}

void ImageViewer::stop()
{
    mPump.stop();
    mObserver.stop();
}

StreamReport ImageViewer::report() const
{
    return {mSource->name(), mState, mStatistics.figures(), mPump.skippedTicks()};
}

QImage ImageViewer::picture()
{
    return mWindow.grab().toImage();
}
