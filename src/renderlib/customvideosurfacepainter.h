#ifndef CUSTOMVIDEOSURFACEPAINTER_H
#define CUSTOMVIDEOSURFACEPAINTER_H

#include <QAbstractVideoBuffer>
#include <QAbstractVideoSurface>
#include <QColor>
#include <QList>
#include <QRectF>
#include <QVideoFrame>
#include <QVideoSurfaceFormat>

#include "qvorlinexport.h"

class QPainter;

namespace renderlib {

/**
 * Draws the current frame of a video surface.
 *
 * A surface owns one painter at a time: it starts it with a format, gives it frames, has each frame
 * painted any number of times, stops it, and may start it again with another format. Between
 * setCurrentFrame() and the next frame or stop() the painter keeps a reference to the frame, and so
 * its buffer.
 *
 * Thread-bound to the GUI thread. Failures are returned, never thrown.
 */
class QVORLIN_EXPORT CustomVideoSurfacePainter
{
public:
    CustomVideoSurfacePainter() = default;
    virtual ~CustomVideoSurfacePainter();

    /** The pixel formats that can be painted from buffers of this kind, best first. */
    virtual QList<QVideoFrame::PixelFormat> supportedPixelFormats(
        QAbstractVideoBuffer::HandleType handleType) const = 0;
    virtual bool isFormatSupported(QVideoSurfaceFormat const& format) const = 0;

    /**
     * Prepares for frames of @p format. Its property "mirrored" (bool) exchanges left and right.
     * After a failure the painter is stopped.
     */
    virtual QAbstractVideoSurface::Error start(QVideoSurfaceFormat const& format) = 0;
    /** Drops the frame and what start() prepared; may be called when stopped. */
    virtual void stop() = 0;

    /** Takes the frame to paint from now on; an invalid one clears the picture. */
    virtual QAbstractVideoSurface::Error setCurrentFrame(QVideoFrame const& frame) = 0;

    /**
     * Paints the current frame.
     * @param target where, in the painter's coordinates
     * @param source which part of the frame, in its pixels
     */
    virtual QAbstractVideoSurface::Error paint(
        QRectF const& target, QPainter* painter, QRectF const& source) = 0;

    /** The colour around the frame and in place of a missing one; black at first. */
    virtual QColor backgroundColor() const = 0;
    virtual void setBackgroundColor(QColor const& color) = 0;

    /** How the frame is fitted into the target; Qt::KeepAspectRatio at first. */
    virtual Qt::AspectRatioMode aspectRatioMode() const = 0;
    virtual void setAspectRatioMode(Qt::AspectRatioMode mode) = 0;

    /** Takes over the colour space of the started format; to be called before the first paint. */
    virtual void updateColors() = 0;

    /**
     * Tells that what was painted to is going away, its OpenGL context included. Afterwards the
     * painter may only be stopped and deleted.
     */
    virtual void viewportDestroyed();

private:
    Q_DISABLE_COPY(CustomVideoSurfacePainter)
};

} // namespace renderlib

#endif
