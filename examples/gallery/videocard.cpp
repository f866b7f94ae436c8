#include "videocard.h"

#include <QEvent>
#include <QVBoxLayout>

#include "videoview.h"

namespace {

constexpr int LineHeight = 30; // of the stream's line over the picture

constexpr QRectF Middle(0.25, 0.25, 0.5, 0.5);

} // namespace

VideoCard::VideoCard(QString const& streamName, QWidget* parent)
    : Card("CustomVideoWidget, AudioMeterGLWidget", parent)
    , mView(new VideoView(streamName, this))
    , mMeter(mView)
{
    // A large picture takes no more room than a small one.
    mView->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    mView->installEventFilter(this);
    body().addWidget(mView, 1);
    addButton({"Mirror",
                  [this] {
                      toggleMirrored();
                  }},
        {"zoom", [this] {
             toggleZoomed();
         }});
    tellState();
}

void VideoCard::setScale(double scale)
{
    Card::setScale(scale);
    mView->overlay().setScale(scale);
    mScale = scale;
    placeMeter();
}

bool VideoCard::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize)
        placeMeter();
    return Card::eventFilter(watched, event);
}

void VideoCard::placeMeter()
{
    mMeter.fitInto(mView->rect().adjusted(0, qRound(LineHeight * mScale), 0, 0), mScale);
}

void VideoCard::toggleMirrored()
{
    mView->setMirrored(!mView->mirrored());
    mView->restartSurface();
    tellState();
}

void VideoCard::toggleZoomed()
{
    mView->setViewport(mView->viewport().isNull() ? Middle : QRectF());
    mView->restartSurface();
    tellState();
}

void VideoCard::tellState()
{
    setState((mView->viewport().isNull() ? QStringLiteral("whole picture")
                                         : QStringLiteral("the middle, twice as large")) +
             (mView->mirrored() ? QStringLiteral(", mirrored") : QString()));
}
