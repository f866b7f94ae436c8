#include "videoviewer.h"

#include "options.h"

VideoViewer::VideoViewer(Options const& options)
    : mWindow(options.stream)
    , mDisplay(options.stream, options.rateNum, options.rateDen, mWindow)
{
    connect(&mDisplay, &StreamDisplay::showing, this, &Viewer::showing);
    connect(&mDisplay, &StreamDisplay::waiting, this, &Viewer::waiting);
}

void VideoViewer::start()
{
    mWindow.show();
    mDisplay.start();
}
