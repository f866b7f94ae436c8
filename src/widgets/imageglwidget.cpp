#include "widgets/imageglwidget.h"

#include <QOpenGLPaintDevice>
#include <QPaintEngine>
#include <QPainter>

#include "widgets/letterbox.h"

namespace {

QString ptsOf(QImage const& image)
{
    return image.text(QStringLiteral("pts"));
}

/**
 * Lets @p painter draw in widget coordinates on a framebuffer of another size: the framebuffer
 * keeps the size that the widget was first shown with, and Qt stretches it over the widget.
 */
void coverFramebuffer(QPainter& painter, QRect const& widget)
{
    QPaintEngine const* engine = painter.paintEngine();
    auto const* framebuffer =
        engine ? dynamic_cast<QOpenGLPaintDevice const*>(engine->paintDevice()) : nullptr;
    if (!framebuffer)
        return;
    QSize const size = framebuffer->size() / framebuffer->devicePixelRatioF();
    if (size != widget.size()) {
        painter.setWindow(widget);
        painter.setViewport(QRect(QPoint(0, 0), size));
    }
}

} // namespace

ImageGLWidget::ImageGLWidget(QWidget* parent)
    : QOpenGLWidget(parent, Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    // All drawing happens in paintEvent(), so that a grab, which only calls paintGL(), must find
    // the last picture still there.
    setUpdateBehavior(PartialUpdate);
}

void ImageGLWidget::updateImage(QImage value)
{
    if (mImage.isNull() && value.isNull())
        return;
    QString const pts = ptsOf(value);
    if (!pts.isEmpty() && pts == ptsOf(mImage))
        return;
    mImage = value;
    mUpdateRate.tick();
    update();
}

void ImageGLWidget::setBgColor(QColor value)
{
    if (value == mBgColor)
        return;
    mBgColor = value;
    update();
}

void ImageGLWidget::setKeepAspectRatio(bool value)
{
    if (value == mKeepAspectRatio)
        return;
    mKeepAspectRatio = value;
    update();
}

void ImageGLWidget::resizeEvent(QResizeEvent* /*event*/)
{
    update();
}

void ImageGLWidget::resizeGL(int /*width*/, int /*height*/) {}

void ImageGLWidget::paintGL() {}

void ImageGLWidget::countPaint()
{
    // Images without a time stamp can't be told apart, so that each paint of one counts as new.
    QString const pts = ptsOf(mImage);
    if (pts.isEmpty() || pts != mLastPts)
        mDisplayRate.tick();
    mLastPts = pts;
    mRenderRate.tick();
}

void ImageGLWidget::paintEvent(QPaintEvent* /*event*/)
{
    countPaint();

    QPainter painter(this);
    coverFramebuffer(painter, rect());
    // The framebuffer still holds the last picture, which must not shine through.
    if (mImage.hasAlphaChannel())
        painter.fillRect(rect(), Qt::black);
    if (mImage.isNull()) {
        painter.fillRect(rect(), mBgColor);
    } else if (mKeepAspectRatio) {
        Letterbox const layout = letterbox(mImage.size(), size());
        painter.drawImage(layout.image, mImage);
        for (QRect const& bar : layout.bars)
            painter.fillRect(bar, mBgColor);
    } else {
        painter.drawImage(rect(), mImage);
    }
}
