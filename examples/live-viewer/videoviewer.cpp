#include "videoviewer.h"

#include "options.h"

VideoViewer::VideoViewer(Options const& options)
    : Viewer(options)
    , mWindow(options.stream)
    , mDisplay(options.stream, options.rateNum, options.rateDen, mWindow)
{
    connect(&mDisplay, &StreamDisplay::showing, this, &Viewer::showing);
    connect(&mDisplay, &StreamDisplay::waiting, this, &Viewer::waiting);
    connect(&mDisplay, &StreamDisplay::framePainted, this, &Viewer::framePainted);
}

void VideoViewer::showLevels(AudioLevels const& levels)
{
    mWindow.meter().updateAudioLevels(levels);
}

void VideoViewer::showOffset(std::optional<double> milliseconds)
{
    mWindow.overlay().setAudioVideoOffset(milliseconds);
}
