#include "renderlib/customvideosurfaceglpainter.h"

#include <utility>

#include <QDebug>
#include <QOpenGLContext>
#include <QPainter>
#include <QSize>
#include <QVariant>

#include "renderlib/pixmapframe.h"

namespace renderlib {

namespace {

// clang-format off
float const FullRange[16] = {
    1.0f,  0.0f,    1.402f, -0.701f,
    1.0f, -0.344f, -0.714f,  0.529f,
    1.0f,  1.772f,  0.0f,   -0.886f,
    0.0f,  0.0f,    0.0f,    1.0f};
float const VideoRange709[16] = {
    1.164f,  0.0f,    1.793f, -0.5727f,
    1.164f, -0.534f, -0.213f,  0.3007f,
    1.164f,  2.115f,  0.0f,   -1.1302f,
    0.0f,    0.0f,    0.0f,    1.0f};
float const VideoRange601[16] = {
    1.164f,  0.0f,    1.596f, -0.8708f,
    1.164f, -0.392f, -0.813f,  0.5296f,
    1.164f,  2.017f,  0.0f,   -1.081f,
    0.0f,    0.0f,    0.0f,    1.0f};
// clang-format on

QMatrix4x4 yuvToRgb(QVideoSurfaceFormat::YCbCrColorSpace colorSpace)
{
    switch (colorSpace) {
    case QVideoSurfaceFormat::YCbCr_JPEG:
        return QMatrix4x4(FullRange);
    case QVideoSurfaceFormat::YCbCr_BT709:
    case QVideoSurfaceFormat::YCbCr_xvYCC709:
        return QMatrix4x4(VideoRange709);
    default:
        return QMatrix4x4(VideoRange601);
    }
}

/** The width of the texture for a plane whose lines are aligned to four bytes. */
int alignedWidth(int width)
{
    return (width + 3) & ~3;
}

} // namespace

CustomVideoSurfaceGLPainter::CustomVideoSurfaceGLPainter(QOpenGLContext* context)
    : mImagePixelFormats{QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32,
          QVideoFrame::Format_YUV420P, QVideoFrame::Format_NV12}
    , mGlPixelFormats{QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32}
    , mContext(context)
{
    initializeOpenGLFunctions();
}

CustomVideoSurfaceGLPainter::~CustomVideoSurfaceGLPainter() = default;

QList<QVideoFrame::PixelFormat> CustomVideoSurfaceGLPainter::supportedPixelFormats(
    QAbstractVideoBuffer::HandleType handleType) const
{
    switch (handleType) {
    case QAbstractVideoBuffer::NoHandle:
        return mImagePixelFormats;
    case QAbstractVideoBuffer::GLTextureHandle:
    case QAbstractVideoBuffer::QPixmapHandle:
        return mGlPixelFormats;
    default:
        return {};
    }
}

bool CustomVideoSurfaceGLPainter::isFormatSupported(QVideoSurfaceFormat const& format) const
{
    return !format.frameSize().isEmpty() &&
           supportedPixelFormats(format.handleType()).contains(format.pixelFormat());
}

void CustomVideoSurfaceGLPainter::stop()
{
    mFrame = QVideoFrame();
}

QAbstractVideoSurface::Error CustomVideoSurfaceGLPainter::setCurrentFrame(QVideoFrame const& frame)
{
    mFrame = frame;
    if (!mFrame.isValid())
        return QAbstractVideoSurface::NoError;

    if (mHandleType == QAbstractVideoBuffer::GLTextureHandle) {
        bindForeignTexture();
        return QAbstractVideoSurface::NoError;
    }
    if (!mFrame.map(QAbstractVideoBuffer::ReadOnly)) {
        return mHandleType == QAbstractVideoBuffer::QPixmapHandle
                   ? QAbstractVideoSurface::NoError
                   : QAbstractVideoSurface::IncorrectFormatError;
    }
    mContext->makeCurrent(mContext->surface());
    for (int plane = 0; plane < mTextureCount; ++plane)
        uploadPlane(size_t(plane));
    mFrame.unmap();
    mTexturesAllocated = true;
    return QAbstractVideoSurface::NoError;
}

/** Takes the texture that the current frame brings; it stays the frame's own. */
void CustomVideoSurfaceGLPainter::bindForeignTexture()
{
    mContext->makeCurrent(mContext->surface());
    mTextureIds[0] = GLuint(mFrame.handle().toInt());
    glBindTexture(GL_TEXTURE_2D, mTextureIds[0]);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void CustomVideoSurfaceGLPainter::uploadPlane(size_t plane)
{
    glBindTexture(GL_TEXTURE_2D, mTextureIds[plane]);
    uchar const* bits = std::as_const(mFrame).bits(int(plane));
    if (mTexturesAllocated) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, mTextureWidths[plane], mTextureHeights[plane],
            mTextureFormats[plane], mTextureTypes[plane], bits);
        return;
    }
    glTexImage2D(GL_TEXTURE_2D, 0, mTextureInternalFormats[plane], mTextureWidths[plane],
        mTextureHeights[plane], 0, mTextureFormats[plane], mTextureTypes[plane], bits);
    if (GLenum const error = glGetError()) {
        qWarning() << "glTexImage2D() error : " << error << "texture number : " << int(plane)
                   << "frame pixel format : " << mFrame.pixelFormat();
    }
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

QAbstractVideoSurface::Error CustomVideoSurfaceGLPainter::paint(
    QRectF const& target, QPainter* painter, QRectF const& source)
{
    if (!mFrame.isValid()) {
        painter->fillRect(target, mBackgroundColor);
        return QAbstractVideoSurface::NoError;
    }
    if (mFrame.handleType() != QAbstractVideoBuffer::QPixmapHandle)
        return QAbstractVideoSurface::IncorrectFormatError;
    drawPixmapFrame(painter, target, mFrame, source);
    return QAbstractVideoSurface::NoError;
}

QColor CustomVideoSurfaceGLPainter::backgroundColor() const
{
    return mBackgroundColor;
}

void CustomVideoSurfaceGLPainter::setBackgroundColor(QColor const& color)
{
    mBackgroundColor = color;
}

Qt::AspectRatioMode CustomVideoSurfaceGLPainter::aspectRatioMode() const
{
    return mAspectRatioMode;
}

void CustomVideoSurfaceGLPainter::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    mAspectRatioMode = mode;
}

void CustomVideoSurfaceGLPainter::updateColors()
{
    mColorMatrix = mYuv ? yuvToRgb(mColorSpace) : QMatrix4x4();
}

void CustomVideoSurfaceGLPainter::viewportDestroyed()
{
    mContext = nullptr;
}

void CustomVideoSurfaceGLPainter::initRgbTextureInfo(
    unsigned int internalFormat, unsigned int format, unsigned int type, QSize const& size)
{
    mYuv = false;
    mTextureCount = 1;
    initPlane(0, format, type, size);
    mTextureInternalFormats[0] = GLint(internalFormat);
}

void CustomVideoSurfaceGLPainter::initYuv420PTextureInfo(QSize const& size)
{
    QSize const chroma(alignedWidth(size.width() / 2), size.height() / 2);
    mYuv = true;
    mTextureCount = 3;
    initPlane(0, GL_LUMINANCE, GL_UNSIGNED_BYTE, {alignedWidth(size.width()), size.height()});
    initPlane(1, GL_LUMINANCE, GL_UNSIGNED_BYTE, chroma);
    initPlane(2, GL_LUMINANCE, GL_UNSIGNED_BYTE, chroma);
}

void CustomVideoSurfaceGLPainter::initNV12TextureInfo(QSize const& size)
{
    QSize const chroma(alignedWidth(size.width() / 2), size.height() / 2);
    mYuv = true;
    mTextureCount = 2;
    initPlane(0, GL_LUMINANCE, GL_UNSIGNED_BYTE, {alignedWidth(size.width()), size.height()});
    initPlane(1, GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE, chroma);
}

void CustomVideoSurfaceGLPainter::initPlane(
    size_t plane, GLenum format, GLenum type, QSize const& size)
{
    mTextureInternalFormats[plane] = GLint(format);
    mTextureFormats[plane] = format;
    mTextureTypes[plane] = type;
    mTextureWidths[plane] = size.width();
    mTextureHeights[plane] = size.height();
}

} // namespace renderlib
