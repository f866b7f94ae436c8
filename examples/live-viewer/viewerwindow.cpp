#include "viewerwindow.h"

#include <QEvent>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QVBoxLayout>

#include "framestatistics.h"
#include "statusline.h"
#include "streamview.h"

namespace {

constexpr QSize PictureSize(1280, 720);
constexpr QSize MinPictureSize(160, 90);
constexpr int RatePeriodMs = 1000;

} // namespace

ViewerWindow::ViewerWindow(QString const& streamName, FrameStatistics& statistics)
    : mStatistics(statistics)
    , mView(new StreamView(this))
    , mStatusLine(new StatusLine(streamName, this))
{
    setWindowTitle(streamName);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(mView, 1);
    layout->addWidget(mStatusLine);
    mView->setMinimumSize(MinPictureSize);
    mView->setBgColor(QColor(13, 17, 23));
    mView->setBusy(true);
    mView->installEventFilter(this);
    QSize const wanted(PictureSize + QSize(0, mStatusLine->sizeHint().height()));
    resize(wanted.boundedTo(screen()->availableSize()));

    connect(mView, &StreamView::framePainted, this, &ViewerWindow::onFramePainted);
    connect(mView, &StreamView::frameRepeated, this, [this] { mStatistics.repeated(); });
    connect(&mRateTimer, &QTimer::timeout, this, &ViewerWindow::updateDisplayRate);
    mRateTimer.start(RatePeriodMs);
    mRatePeriod.start();
}

void ViewerWindow::showImage(QImage const& image)
{
    mView->showImage(image);
}

void ViewerWindow::setState(StreamState const& state)
{
    bool const gone = mState.present && !state.present;
    bool const resized = state.size != mState.size;
    mState = state;
    mStatusLine->setState(state);
    if (resized)
        askForImageSize();
    if (gone)
        wait();
}

bool ViewerWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize)
        askForImageSize();
    return QWidget::eventFilter(watched, event);
}

void ViewerWindow::onFramePainted(qint64 timestamp)
{
    mStatistics.painted(timestamp, wallClock());
    if (mWaiting) {
        mWaiting = false;
        Q_EMIT showing();
    }
}

void ViewerWindow::wait()
{
    mView->setBusy(true);
    mWaiting = true;
    Q_EMIT waiting();
}

void ViewerWindow::askForImageSize()
{
    if (!mState.size.isEmpty()) {
        QSize const size = mState.size.scaled(mView->size(), Qt::KeepAspectRatio);
        Q_EMIT imageSizeWanted(size.expandedTo(QSize(1, 1)));
    }
}

void ViewerWindow::updateDisplayRate()
{
    qint64 const shown = mStatistics.figures().shown;
    mStatusLine->setDisplayRate((shown - mShownBefore) * 1000.0 / mRatePeriod.restart());
    mShownBefore = shown;
}
