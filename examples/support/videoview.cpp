#include "videoview.h"

#include <utility>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPainter>

namespace {

constexpr QRgb Background = qRgb(13, 17, 23);
constexpr int DarkFrameSide = 16;
constexpr int WheelIntervalMs = 40;
constexpr int MaxWaitMs = 5000;

QVideoFrame makeDarkFrame()
{
    QImage image(DarkFrameSide, DarkFrameSide, QImage::Format_RGB32);
    image.fill(Background);
    return QVideoFrame(image);
}

QImage readFramebuffer(QOpenGLFunctions& gl, QSize const& size)
{
    QImage image(size, QImage::Format_RGBX8888);
    gl.glReadPixels(0, 0, size.width(), size.height(), GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    return image.mirrored();
}

/** Painted on top of all overlays, it sees what they have left. */
class Camera : public renderlib::CustomSubWidget
{
public:
    using CustomSubWidget::CustomSubWidget;

    void paint(QPainter* painter) override
    {
        painter->beginNativePainting();
        picture = readFramebuffer(*QOpenGLContext::currentContext()->functions(),
            {painter->device()->width(), painter->device()->height()});
        painter->endNativePainting();
    }

    QImage picture;
};

} // namespace

VideoView::VideoView(QString const& streamName, QWidget* parent)
    : CustomVideoWidget(parent)
    , mOverlay(streamName, this)
    , mDarkFrame(makeDarkFrame())
{
    setWindowTitle(streamName);
    setBackgroundColor(QColor(Background));
    connect(&mOverlay, &StreamOverlay::painted, this, &VideoView::onOverlayPainted);
    connect(&mWheelTimer, &QTimer::timeout, this, [this] { present(mDarkFrame); });
    mWheelTimer.start(WheelIntervalMs);
}

void VideoView::wait()
{
    mOverlay.setWaiting(true);
    mNewFrame = false;
    mWheelTimer.start(WheelIntervalMs);
}

QImage VideoView::picture()
{
    // A window that is shown only now is not on the screen yet.
    QDeadlineTimer const patience(MaxWaitMs);
    while (isVisible() && !mPaintable && !patience.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (mRenderer.isEmpty())
        present(mDarkFrame);
    Camera camera(this);
    repaint();
    return camera.picture;
}

void VideoView::showFrame(QVideoFrame const& frame)
{
    bool const repeated = frame.startTime() == mTimestamp;
    if (repeated) {
        Q_EMIT frameRepeated();
        if (!mRestartWanted || isWaiting())
            return;
    }
    if (!present(frame) || repeated)
        return;
    mTimestamp = frame.startTime();
    mNewFrame = true;
    mWheelTimer.stop();
    mOverlay.setWaiting(false);
}

void VideoView::paintEvent(QPaintEvent* event)
{
    CustomVideoWidget::paintEvent(event);
    mPaintable = true;
    mPaintPending = false;
    // Told only now that the buffers are swapped.
    if (std::exchange(mNewFrame, false))
        Q_EMIT framePainted(mTimestamp);
}

void VideoView::resizeEvent(QResizeEvent* event)
{
    CustomVideoWidget::resizeEvent(event);
    mOverlay.setGeometry(rect());
}

/** @return whether the frame will be painted */
bool VideoView::present(QVideoFrame const& frame)
{
    // A surface that starts before there is a context would paint without OpenGL for good.
    if (!mPaintable || mPaintPending)
        return false;
    // The surface takes mirroring and viewport over when it starts, and a frame of another format
    // is what stops it.
    if (mRestartWanted && mVideoGiven)
        updateFrame(mDarkFrame);
    mRestartWanted = false;

    updateFrame(frame);
    if (renderError() == renderlib::RenderIncorrectFormatError)
        updateFrame(frame);
    mPaintPending = renderError() == renderlib::RenderNoError;
    mVideoGiven = mPaintPending && frame.pixelFormat() != mDarkFrame.pixelFormat();
    return mPaintPending;
}

void VideoView::onOverlayPainted(QPainter* painter)
{
    if (!mRenderer.isEmpty())
        return;
    painter->beginNativePainting();
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    mRenderer = QString::fromLatin1(reinterpret_cast<char const*>(gl.glGetString(GL_RENDERER)));
    painter->endNativePainting();
}
