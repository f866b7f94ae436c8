#include "videowindow.h"

#include <algorithm>
#include <iterator>

#include <QKeyEvent>
#include <QScreen>

namespace {

constexpr QSize WindowSize(1280, 720);
constexpr QSize MinWindowSize(160, 90);

struct AspectMode
{
    Qt::AspectRatioMode mode;
    char const* note;
};

constexpr AspectMode AspectModes[] = {
    {Qt::KeepAspectRatio, ""},
    {Qt::KeepAspectRatioByExpanding, "expanding"},
    {Qt::IgnoreAspectRatio, "stretched"},
};

struct Viewport
{
    double x, y, side; /**< parts of the picture's width and height */
    char const* note;
};

constexpr Viewport Viewports[] = {
    {0, 0, 1, ""},
    {0, 0, 0.5, "upper left quarter"},
    {0.5, 0, 0.5, "upper right quarter"},
    {0, 0.5, 0.5, "lower left quarter"},
    {0.5, 0.5, 0.5, "lower right quarter"},
};

} // namespace

VideoWindow::VideoWindow(QString const& streamName)
    : VideoView(streamName)
    , mMeter(this)
{
    setMinimumSize(MinWindowSize);
    resize(WindowSize.boundedTo(screen()->availableSize()));
}

void VideoWindow::noteSound(QString const& note)
{
    mSoundNote = note;
    noteChanges();
}

void VideoWindow::setDimmed(bool dimmed)
{
    overlay().setDimmed(dimmed);
    mMeter.setDimmed(dimmed);
}

void VideoWindow::keyPressEvent(QKeyEvent* event)
{
    struct Key
    {
        int key;
        void (VideoWindow::*act)();
    };
    constexpr Key Keys[] = {
        {Qt::Key_M, &VideoWindow::toggleMirrored},
        {Qt::Key_A, &VideoWindow::nextAspectMode},
        {Qt::Key_V, &VideoWindow::nextViewport},
        {Qt::Key_F, &VideoWindow::toggleFullScreen},
    };
    auto const found = std::find_if(std::begin(Keys), std::end(Keys),
        [event](Key const& key) { return key.key == event->key(); });
    if (found == std::end(Keys)) {
        VideoView::keyPressEvent(event);
        return;
    }
    (this->*found->act)();
    noteChanges();
}

void VideoWindow::resizeEvent(QResizeEvent* event)
{
    VideoView::resizeEvent(event);
    mMeter.fitInto(size());
}

void VideoWindow::toggleMirrored()
{
    setMirrored(!mirrored());
    restartSurface();
}

void VideoWindow::nextAspectMode()
{
    mAspect = (mAspect + 1) % int(std::size(AspectModes));
    setAspectRatioMode(AspectModes[mAspect].mode);
}

void VideoWindow::nextViewport()
{
    mViewport = (mViewport + 1) % int(std::size(Viewports));
    Viewport const& viewport = Viewports[mViewport];
    setViewport({viewport.x, viewport.y, viewport.side, viewport.side});
    restartSurface();
}

void VideoWindow::toggleFullScreen()
{
    setWindowState(windowState() ^ Qt::WindowFullScreen);
}

void VideoWindow::noteChanges()
{
    QStringList notes;
    if (mirrored())
        notes.append(QStringLiteral("mirrored"));
    notes.append(QLatin1String(AspectModes[mAspect].note));
    notes.append(QLatin1String(Viewports[mViewport].note));
    notes.append(mSoundNote);
    notes.removeAll(QString());
    overlay().setNote(notes.join(QStringLiteral(", ")));
    update();
}
