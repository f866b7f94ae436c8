#include "viewerwindow.h"

#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QImage>
#include <QScreen>
#include <QVBoxLayout>

#include "fade.h"
#include "framestatistics.h"
#include "statusline.h"
#include "streamview.h"
#include "widgets/audiometerwidget.h"

namespace {

constexpr QSize PictureSize(1280, 720);
constexpr QSize MinPictureSize(160, 90);
constexpr QRgb Background = qRgb(13, 17, 23);
constexpr QRgb MeterColour = qRgb(22, 27, 34);
constexpr int RatePeriodMs = 1000;
constexpr int MeterBarHeight = 8;
constexpr int MeterSpacing = 4;
constexpr QMargins MeterMargins(20, 10, 20, 8);

void setColour(QWidget& widget, QRgb colour)
{
    QPalette palette = widget.palette();
    palette.setColor(QPalette::Window, colour);
    widget.setPalette(palette);
    widget.setAutoFillBackground(true);
}

void dim(QWidget& widget, bool dimmed)
{
    // Kept by the widget, and of no cost while it is not enabled.
    auto* effect = static_cast<QGraphicsOpacityEffect*>(widget.graphicsEffect());
    if (!effect) {
        effect = new QGraphicsOpacityEffect(&widget);
        effect->setOpacity(DimmedOpacity);
        widget.setGraphicsEffect(effect);
    }
    effect->setEnabled(dimmed);
}

} // namespace

ViewerWindow::ViewerWindow(QString const& streamName, FrameStatistics& statistics)
    : mStatistics(statistics)
    , mView(new StreamView(this))
    , mMeter(new AudioMeterWidget(this))
    , mMeterStrip(new QWidget(this))
    , mStatusLine(new StatusLine(streamName, this))
{
    setWindowTitle(streamName);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(mView, 1);
    layout->addWidget(mMeterStrip);
    layout->addWidget(mStatusLine);
    auto* strip = new QHBoxLayout(mMeterStrip);
    strip->setContentsMargins(MeterMargins);
    strip->addWidget(mMeter);
    mMeter->setSpacing(MeterSpacing);
    mMeter->setStrokeWidth(3);
    mMeter->setStrokeSpacing(2);
    mMeterStrip->hide();
    setColour(*mMeterStrip, MeterColour);
    setColour(*this, Background);
    mView->setMinimumSize(MinPictureSize);
    mView->setBgColor(QColor(Background));
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

void ViewerWindow::setChannels(int channels)
{
    mMeter->setChannels(channels);
    mMeter->setFixedHeight(channels * MeterBarHeight + qMax(0, channels - 1) * MeterSpacing);
    mMeterStrip->setVisible(channels > 0);
}

void ViewerWindow::showLevels(AudioLevels const& levels)
{
    mMeter->updateAudioLevels(levels);
}

void ViewerWindow::setAudioVideoOffset(std::optional<double> milliseconds)
{
    mStatusLine->setAudioVideoOffset(milliseconds);
}

void ViewerWindow::setNote(QString const& note)
{
    mStatusLine->setNote(note);
}

void ViewerWindow::setDimmed(bool dimmed)
{
    dim(*mMeterStrip, dimmed);
    dim(*mStatusLine, dimmed);
}

void ViewerWindow::showImage(QImage const& image)
{
    mView->showImage(image);
}

void ViewerWindow::setState(StreamState const& state)
{
    // A frame may come to the screen before it is known that there is a stream.
    bool const gone = !state.present && (mState.present || !mWaiting);
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
    qint64 const now = wallClock();
    bool const isNew = mStatistics.painted(timestamp, now);
    if (mWaiting) {
        mWaiting = false;
        Q_EMIT showing();
    }
    if (isNew)
        Q_EMIT framePainted(timestamp, now);
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
