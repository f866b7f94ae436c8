#include "renderlib/customvideosurfacegenericpainter.h"

#include <utility>

#include <QOpenGLContext>
#include <QPainter>
#include <QTransform>
#include <QVariant>

#include "renderlib/pixmapframe.h"

namespace renderlib {

CustomVideoSurfaceGenericPainter::CustomVideoSurfaceGenericPainter()
    : mImagePixelFormats{QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32}
{
    QOpenGLContext::OpenGLModuleType const type = QOpenGLContext::openGLModuleType();
    if (type != QOpenGLContext::LibGLES)
        qWarning("CustomVideoSurfaceGenericPainter: OpenGL context not a LibGLES: %d", int(type));
}

CustomVideoSurfaceGenericPainter::~CustomVideoSurfaceGenericPainter() = default;

QList<QVideoFrame::PixelFormat> CustomVideoSurfaceGenericPainter::supportedPixelFormats(
    QAbstractVideoBuffer::HandleType handleType) const
{
    if (handleType == QAbstractVideoBuffer::NoHandle ||
        handleType == QAbstractVideoBuffer::QPixmapHandle)
        return mImagePixelFormats;
    return {};
}

bool CustomVideoSurfaceGenericPainter::isFormatSupported(QVideoSurfaceFormat const& format) const
{
    if (format.handleType() != QAbstractVideoBuffer::NoHandle)
        return format.handleType() == QAbstractVideoBuffer::QPixmapHandle;
    return mImagePixelFormats.contains(format.pixelFormat()) && !format.frameSize().isEmpty();
}

QAbstractVideoSurface::Error CustomVideoSurfaceGenericPainter::start(
    QVideoSurfaceFormat const& format)
{
    mFrame = QVideoFrame();
    mImageFormat = QVideoFrame::imageFormatFromPixelFormat(format.pixelFormat());
    mImageSize = format.frameSize();
    mScanLineDirection = format.scanLineDirection();
    mMirrored = format.property("mirrored").toBool();

    if (format.handleType() != QAbstractVideoBuffer::NoHandle) {
        return format.handleType() == QAbstractVideoBuffer::QPixmapHandle
                   ? QAbstractVideoSurface::NoError
                   : QAbstractVideoSurface::UnsupportedFormatError;
    }

    // Refused on purpose: QImage could hold RGB24 with OpenGL ES as well.
    bool const refused = format.pixelFormat() == QVideoFrame::Format_RGB24 &&
                         QOpenGLContext::openGLModuleType() == QOpenGLContext::LibGLES;
    bool const good = mImageFormat != QImage::Format_Invalid && !mImageSize.isEmpty() && !refused;
    return good ? QAbstractVideoSurface::NoError : QAbstractVideoSurface::UnsupportedFormatError;
}

void CustomVideoSurfaceGenericPainter::stop()
{
    mFrame = QVideoFrame();
}

QAbstractVideoSurface::Error CustomVideoSurfaceGenericPainter::setCurrentFrame(
    QVideoFrame const& frame)
{
    mFrame = frame;
    return QAbstractVideoSurface::NoError;
}

QAbstractVideoSurface::Error CustomVideoSurfaceGenericPainter::paint(
    QRectF const& target, QPainter* painter, QRectF const& source)
{
    painter->fillRect(target, mBackgroundColor);
    if (!mFrame.isValid())
        return QAbstractVideoSurface::NoError;

    if (mFrame.handleType() == QAbstractVideoBuffer::QPixmapHandle) {
        drawPixmapFrame(painter, target, mFrame, source);
        return QAbstractVideoSurface::NoError;
    }
    if (!mFrame.map(QAbstractVideoBuffer::ReadOnly))
        return QAbstractVideoSurface::IncorrectFormatError;
    drawImage(target, painter, source);
    mFrame.unmap();
    return QAbstractVideoSurface::NoError;
}

void CustomVideoSurfaceGenericPainter::drawImage(
    QRectF const& target, QPainter* painter, QRectF const& source)
{
    QImage const image(std::as_const(mFrame).bits(), mImageSize.width(), mImageSize.height(),
        mFrame.bytesPerLine(), mImageFormat);

    QTransform const oldTransform = painter->transform();
    QTransform transform = oldTransform;
    QRectF flippedTarget = target;
    // A flipped target reaches from the axis to its far edge; a surface's target starts at (0, 0).
    if (mScanLineDirection == QVideoSurfaceFormat::BottomToTop) {
        transform.scale(1, -1);
        transform.translate(0, -target.bottom());
        flippedTarget.setTop(0);
    }
    if (mMirrored) {
        transform.scale(-1, 1);
        transform.translate(-target.right(), 0);
        flippedTarget.setLeft(0);
    }
    painter->setTransform(transform);
    painter->drawImage(flippedTarget, image, source);
    painter->setTransform(oldTransform);
}

QColor CustomVideoSurfaceGenericPainter::backgroundColor() const
{
    return mBackgroundColor;
}

void CustomVideoSurfaceGenericPainter::setBackgroundColor(QColor const& color)
{
    mBackgroundColor = color;
}

Qt::AspectRatioMode CustomVideoSurfaceGenericPainter::aspectRatioMode() const
{
    return mAspectRatioMode;
}

void CustomVideoSurfaceGenericPainter::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    mAspectRatioMode = mode;
}

void CustomVideoSurfaceGenericPainter::updateColors() {}

} // namespace renderlib
