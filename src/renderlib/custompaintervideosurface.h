#ifndef CUSTOMPAINTERVIDEOSURFACE_H
#define CUSTOMPAINTERVIDEOSURFACE_H

#include <memory>

#include <QAbstractVideoSurface>
#include <QColor>
#include <QRect>
#include <QSize>
#include <QVideoFrame>
#include <QVideoSurfaceFormat>

#include "qvorlinexport.h"

class QOpenGLContext;
class QPainter;

namespace renderlib {

class CustomVideoSurfacePainter;

/**
 * A video surface that draws its current frame with a painter: through shaders where the OpenGL
 * context can, otherwise with QPainter.
 *
 * The surface owns its painter and creates it at the first start; until then it supports no format.
 * The context stays the caller's and must outlive the surface, or be taken away before
 * (viewportDestroyed()). A frame is held until the next one is accepted or the surface stops.
 *
 * Thread-bound to the GUI thread. Failures stop the surface, show as error() and in the log.
 */
class QVORLIN_EXPORT CustomPainterVideoSurface : public QAbstractVideoSurface
{
    Q_OBJECT

public:
    enum ShaderType
    {
        ShaderNone = 0,
        ShaderAlternative = 1,
        ShaderGlsl = 2
    };
    Q_DECLARE_FLAGS(ShaderTypes, ShaderType)

    explicit CustomPainterVideoSurface(QObject* parent = nullptr);
    ~CustomPainterVideoSurface() override;

    /** What the painter takes; nothing before the first start. */
    QList<QVideoFrame::PixelFormat> supportedPixelFormats(
        QAbstractVideoBuffer::HandleType handleType =
            QAbstractVideoBuffer::NoHandle) const override;
    /** Whether the painter takes @p format; false before the first start. */
    bool isFormatSupported(QVideoSurfaceFormat const& format) const override;

    /** Begins, or begins anew, with frames of @p format. */
    bool start(QVideoSurfaceFormat const& format) override;
    /** Lets go of the frame; keeps the painter for the next start. */
    void stop() override;
    /**
     * Makes @p frame the one to paint. Refused without an error while the last one still waits to
     * be painted. A repeat, known by its start time, is accepted and dropped; an invalid frame
     * clears the picture.
     */
    bool present(QVideoFrame const& frame) override;

    /**
     * Paints the frame over @p target. @p source is the part of the format's viewport to show,
     * (0, 0, 1, 1) being all of it. A stopped surface shows the background colour.
     */
    void paint(QPainter* painter, QRectF const& target, QRectF const& source);

    /** Whether the last frame has been painted, so that present() takes another. */
    void setReady(bool ready) { mReady = ready; }

    /** How the frame is fitted into the target (Qt::KeepAspectRatio at first). */
    Qt::AspectRatioMode aspectRatioMode() const { return mAspectRatioMode; }
    void setAspectRatioMode(Qt::AspectRatioMode mode);

    /** The colour around and without a frame (black at first). */
    QColor backgroundColor() const { return mBackgroundColor; }
    void setBackgroundColor(QColor const& color);

    /** The context that shaders run in; another one stops a surface that paints with shaders. */
    QOpenGLContext* glContext() const { return mGlContext; }
    void setGLContext(QOpenGLContext* context);

    /** What the context can run. */
    ShaderTypes supportedShaderTypes() const { return mSupportedShaderTypes; }

    /** What the next start paints with; a type that isn't supported becomes ShaderNone. */
    ShaderType shaderType() const { return mShaderType; }
    /** Another type than before stops the surface and makes the next start create a new painter. */
    void setShaderType(ShaderType type);

public Q_SLOTS:
    /** The context's window is gone: stops without touching the context again. */
    void viewportDestroyed();

Q_SIGNALS:
    /** A frame has been accepted and wants to be painted. */
    void frameChanged();

private:
    bool createPainter();
    void abandonPainter();

    std::unique_ptr<CustomVideoSurfacePainter> mPainter;
    QOpenGLContext* mGlContext = nullptr;
    ShaderTypes mSupportedShaderTypes;
    ShaderType mShaderType = ShaderNone;
    QColor mBackgroundColor = Qt::black;
    Qt::AspectRatioMode mAspectRatioMode = Qt::KeepAspectRatio;
    QVideoFrame::PixelFormat mPixelFormat = QVideoFrame::Format_Invalid;
    QSize mFrameSize;
    QRect mFrameViewport;
    bool mColorsDirty = true;
    bool mReady = false;
    qint64 mLastStartTime = -1;
    bool mLastFrameEmpty = false;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(CustomPainterVideoSurface::ShaderTypes)

} // namespace renderlib

#endif
