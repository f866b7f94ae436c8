#ifndef CUSTOMVIDEOSURFACEGENERICPAINTER_H
#define CUSTOMVIDEOSURFACEGENERICPAINTER_H

#include <QImage>
#include <QSize>

#include "renderlib/customvideosurfacepainter.h"

namespace renderlib {

/**
 * Draws frames of 32-bit RGB and pixmaps with a QPainter alone, on any paint device.
 *
 * The frame is stretched over the whole target; the aspect ratio mode is kept but not used. There
 * is no colour conversion. Thread-bound to the GUI thread; needs no OpenGL context, but warns when
 * Qt was not set up for OpenGL ES, which this painter is meant for.
 */
class QVORLIN_EXPORT CustomVideoSurfaceGenericPainter : public CustomVideoSurfacePainter
{
public:
    CustomVideoSurfaceGenericPainter();
    ~CustomVideoSurfaceGenericPainter() override;

    QList<QVideoFrame::PixelFormat> supportedPixelFormats(
        QAbstractVideoBuffer::HandleType handleType) const override;
    bool isFormatSupported(QVideoSurfaceFormat const& format) const override;

    /**
     * Accepts every pixel format that QImage has, not only the supported ones, and pixmaps of any
     * size; anything else is an UnsupportedFormatError.
     */
    QAbstractVideoSurface::Error start(QVideoSurfaceFormat const& format) override;
    void stop() override;

    /** Never fails; the frame is mapped only while it is painted. */
    QAbstractVideoSurface::Error setCurrentFrame(QVideoFrame const& frame) override;
    /** Fails with IncorrectFormatError when the frame can't be mapped. */
    QAbstractVideoSurface::Error paint(
        QRectF const& target, QPainter* painter, QRectF const& source) override;

    QColor backgroundColor() const override;
    void setBackgroundColor(QColor const& color) override;

    Qt::AspectRatioMode aspectRatioMode() const override;
    void setAspectRatioMode(Qt::AspectRatioMode mode) override;

    void updateColors() override;

private:
    void drawImage(QRectF const& target, QPainter* painter, QRectF const& source);

    QList<QVideoFrame::PixelFormat> mImagePixelFormats;
    QVideoFrame mFrame;
    QSize mImageSize;
    QImage::Format mImageFormat = QImage::Format_Invalid;
    QVideoSurfaceFormat::Direction mScanLineDirection = QVideoSurfaceFormat::TopToBottom;
    bool mMirrored = false;
    QColor mBackgroundColor = Qt::black;
    Qt::AspectRatioMode mAspectRatioMode = Qt::KeepAspectRatio;
};

} // namespace renderlib

#endif
