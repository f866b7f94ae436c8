#include "imageviewer.h"

#include "options.h"

ImageViewer::ImageViewer(Options const& options)
    : Viewer(options)
    , mFeed(options.stream, options.rateNum, options.rateDen,
          [this](StreamObserver& observer, ImagePump& pump) { connectFeed(observer, pump); })
    , mWindow(options.stream, mFeed.statistics())
{
    connect(&mWindow, &ViewerWindow::imageSizeWanted, this,
        [this](QSize const& size) { mFeed.pump().setImageSize(size); });
    connect(&mWindow, &ViewerWindow::showing, this, &Viewer::showing);
    connect(&mWindow, &ViewerWindow::waiting, this, &Viewer::waiting);
    connect(&mWindow, &ViewerWindow::framePainted, this, &Viewer::framePainted);
}

void ImageViewer::reopenPicture()
{
    mFeed.reopen();
    setState(StreamState());
}

QImage ImageViewer::picture()
{
    return mWindow.grab().toImage();
}

void ImageViewer::showOffset(std::optional<double> milliseconds)
{
    mWindow.setAudioVideoOffset(milliseconds);
}

void ImageViewer::connectFeed(StreamObserver& observer, ImagePump& pump)
{
    // In the observer's name, so that what it had still to say is forgotten with it.
    connect(&observer, &StreamObserver::stateChanged, &observer,
        [this](StreamState const& state) { setState(state); });
    connect(&pump, &ImagePump::imageReady, this,
        [this](QImage const& image) { mWindow.showImage(image); });
}

void ImageViewer::setState(StreamState const& state)
{
    mState = state;
    mWindow.setState(state);
}
