#include "videowindow.h"

#include <QOpenGLContext>
#include <QPainter>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include "canvas.h"
#include "picturecheck.h"

void FramebufferReader::paint(QPainter* painter)
{
    painter->beginNativePainting();
    QSize const size(painter->device()->width(), painter->device()->height());
    image = opaque(readFramebuffer(QOpenGLContext::currentContext()->functions(), size));
    painter->endNativePainting();
    ++paintCount;
}

VideoWindow::VideoWindow(QSize const& size)
    : mReader(this)
{
    resize(size);
    move(0, 0);
    QWidget::show();
    // The first paint gives the surface the context that it needs to choose its painter.
    if (!QTest::qWaitForWindowExposed(this) || !QTest::qWaitFor([this] { return mPaintCount > 0; }))
        qWarning("The window was not painted");
}

QImage VideoWindow::next(std::function<void()> const& change)
{
    int const before = mReader.paintCount;
    change();
    bool const painted = QTest::qWaitFor([&] { return mReader.paintCount > before; });
    return painted ? mReader.image : QImage();
}

QImage VideoWindow::show(QVideoFrame const& frame)
{
    return next([&] { updateFrame(frame); });
}

QImage VideoWindow::onScreen() const
{
    QImage image = screen()->grabWindow(winId()).toImage();
    image.setDevicePixelRatio(1);
    return image.convertToFormat(QImage::Format_RGBA8888);
}

Scene VideoWindow::scene(Picture const& picture) const
{
    Scene scene = wholeScene(size() * windowHandle()->devicePixelRatio(), picture);
    // The paint device counts in pixels, whatever the widget's size stands for on the screen.
    scene.target = rect();
    scene.background = backgroundColor();
    scene.aspectRatioMode = aspectRatioMode();
    scene.mirrored = mirrored();
    return scene;
}

QImage VideoWindow::painted(QImage const& image) const
{
    return image.copy(rect());
}

void VideoWindow::paintEvent(QPaintEvent* event)
{
    CustomVideoWidget::paintEvent(event);
    ++mPaintCount;
}
