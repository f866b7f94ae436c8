#ifndef CUSTOMVIDEOSURFACEGLPAINTER_H
#define CUSTOMVIDEOSURFACEGLPAINTER_H

#include <array>

#include <QMatrix4x4>
#include <QOpenGLFunctions>

#include "renderlib/customvideosurfacepainter.h"

class QOpenGLContext;
class QSize;

namespace renderlib {

/**
 * What painters that use OpenGL have in common: textures filled with the planes of each frame, and
 * the matrix that makes RGB of YUV.
 *
 * The context is borrowed; it must be current when the painter is made, and live until
 * viewportDestroyed() or the painter's destructor. start(), stop() and setCurrentFrame() make it
 * current on the surface that it was current on last; paint() expects it to be current there. The
 * destructor makes no OpenGL call, so stop() has to come before it.
 *
 * Thread-bound to the GUI thread.
 */
class QVORLIN_EXPORT CustomVideoSurfaceGLPainter : public CustomVideoSurfacePainter,
                                                   protected QOpenGLFunctions
{
public:
    explicit CustomVideoSurfaceGLPainter(QOpenGLContext* context);
    ~CustomVideoSurfaceGLPainter() override;

    QList<QVideoFrame::PixelFormat> supportedPixelFormats(
        QAbstractVideoBuffer::HandleType handleType) const override;
    bool isFormatSupported(QVideoSurfaceFormat const& format) const override;

    void stop() override;

    /**
     * Uploads the frame; only the first one after a start allocates the textures. The lines of YUV
     * planes must follow each other at the width of their texture, which is the plane's width
     * rounded up to a multiple of 4. An allocation that fails is a warning; a frame that can't be
     * mapped is an IncorrectFormatError, unless frames are pixmaps.
     */
    QAbstractVideoSurface::Error setCurrentFrame(QVideoFrame const& frame) override;
    /** Paints pixmaps; any other frame is an IncorrectFormatError here. */
    QAbstractVideoSurface::Error paint(
        QRectF const& target, QPainter* painter, QRectF const& source) override;

    QColor backgroundColor() const override;
    void setBackgroundColor(QColor const& color) override;

    Qt::AspectRatioMode aspectRatioMode() const override;
    void setAspectRatioMode(Qt::AspectRatioMode mode) override;

    void updateColors() override;
    void viewportDestroyed() override;

protected:
    // Each lays out the textures for frames of this size; they have no names and no storage yet.
    void initRgbTextureInfo(
        unsigned int internalFormat, unsigned int format, unsigned int type, QSize const& size);
    void initYuv420PTextureInfo(QSize const& size);
    void initNV12TextureInfo(QSize const& size);

    QList<QVideoFrame::PixelFormat> mImagePixelFormats;
    QList<QVideoFrame::PixelFormat> mGlPixelFormats;
    QMatrix4x4 mColorMatrix;
    QVideoFrame mFrame;
    QColor mBackgroundColor = Qt::black;
    Qt::AspectRatioMode mAspectRatioMode = Qt::KeepAspectRatio;
    QOpenGLContext* mContext;
    QAbstractVideoBuffer::HandleType mHandleType = QAbstractVideoBuffer::NoHandle;
    QVideoSurfaceFormat::Direction mScanLineDirection = QVideoSurfaceFormat::TopToBottom;
    bool mMirrored = false;
    QVideoSurfaceFormat::YCbCrColorSpace mColorSpace = QVideoSurfaceFormat::YCbCr_BT601;
    int mTextureCount = 0;
    std::array<GLenum, 3> mTextureFormats{};
    std::array<GLint, 3> mTextureInternalFormats{};
    std::array<GLenum, 3> mTextureTypes{};
    std::array<GLuint, 3> mTextureIds{};
    std::array<int, 3> mTextureWidths{};
    std::array<int, 3> mTextureHeights{};
    bool mYuv = false;
    bool mTexturesAllocated = false;

private:
    void initPlane(size_t plane, GLenum format, GLenum type, QSize const& size);
    void bindForeignTexture();
    void uploadPlane(size_t plane);
};

} // namespace renderlib

#endif
