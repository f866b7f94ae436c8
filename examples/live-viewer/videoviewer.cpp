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
    if (options.kiosk)
        makeKiosk(options);
}

void VideoViewer::setDimmed(bool dimmed)
{
    mWindow.setDimmed(dimmed);
    if (mKiosk)
        mKiosk->setDimmed(dimmed);
}

void VideoViewer::showLevels(AudioLevels const& levels)
{
    mWindow.meter().updateAudioLevels(levels);
}

void VideoViewer::showOffset(std::optional<double> milliseconds)
{
    mWindow.overlay().setAudioVideoOffset(milliseconds);
}

void VideoViewer::makeKiosk(Options const& options)
{
    using Symbol = HoldButton::Symbol;
    mKiosk = std::make_unique<KioskControls>(mWindow, options.kioskAddress());
    mKiosk->setSymbol(options.audio ? Symbol::Sound : Symbol::Details);
    connect(mKiosk.get(), &KioskControls::tapped, this, [this] { toggleMuted(); });
    connect(this, &Viewer::mutedChanged, mKiosk.get(),
        [this](bool muted) { mKiosk->setSymbol(muted ? Symbol::Muted : Symbol::Sound); });
}
