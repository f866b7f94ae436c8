#include "renderlib/custompaintervideosurface.h"

#include <QBrush>
#include <QDebug>
#include <QOpenGLContext>
#include <QOpenGLShaderProgram>
#include <QPainter>
#include <QVariant>

#include "renderlib/customvideosurfacegenericpainter.h"
#include "renderlib/customvideosurfaceglslpainter.h"
#include "renderlib/customvideosurfacepainter.h"

namespace renderlib {

CustomPainterVideoSurface::CustomPainterVideoSurface(QObject* parent)
    : QAbstractVideoSurface(parent)
{}

CustomPainterVideoSurface::~CustomPainterVideoSurface()
{
    CustomPainterVideoSurface::stop();
}

QList<QVideoFrame::PixelFormat> CustomPainterVideoSurface::supportedPixelFormats(
    QAbstractVideoBuffer::HandleType handleType) const
{
    return mPainter ? mPainter->supportedPixelFormats(handleType)
                    : QList<QVideoFrame::PixelFormat>();
}

bool CustomPainterVideoSurface::isFormatSupported(QVideoSurfaceFormat const& format) const
{
    return mPainter && mPainter->isFormatSupported(format);
}

bool CustomPainterVideoSurface::start(QVideoSurfaceFormat const& format)
{
    if (format.frameSize().isEmpty()) {
        setError(UnsupportedFormatError);
        qWarning("Unsupported surface format");
        return false;
    }
    if (isActive())
        mPainter->stop();
    if (!mPainter && !createPainter()) {
        setError(ResourceError);
        qWarning("Failed to create painter");
        return false;
    }

    mPainter->setBackgroundColor(mBackgroundColor);
    mPainter->setAspectRatioMode(mAspectRatioMode);
    Error const error = mPainter->start(format);
    if (error != NoError) {
        qWarning() << "Painter failed to start surface, error : " << int(error);
        setError(error);
        return false;
    }

    mPixelFormat = format.pixelFormat();
    mFrameSize = format.frameSize();
    mFrameViewport = format.viewport();
    mColorsDirty = true;
    mReady = true;
    mLastStartTime = -1;
    mLastFrameEmpty = false;
    return QAbstractVideoSurface::start(format);
}

void CustomPainterVideoSurface::stop()
{
    if (!isActive())
        return;
    mPainter->stop();
    mReady = false;
    QAbstractVideoSurface::stop();
}

bool CustomPainterVideoSurface::present(QVideoFrame const& frame)
{
    if (!mReady) {
        if (!isActive())
            setError(StoppedError);
        return false;
    }

    bool const valid = frame.isValid();
    if (valid && (frame.pixelFormat() != mPixelFormat || frame.size() != mFrameSize)) {
        qInfo("Frame format changed, surface will be stopped");
        setError(IncorrectFormatError);
        stop();
        return false;
    }
    if (!valid && mLastFrameEmpty)
        return true;
    if (valid && frame.startTime() != -1 && frame.startTime() == mLastStartTime)
        return true;

    Error const error = mPainter->setCurrentFrame(frame);
    if (error != NoError) {
        qWarning() << "Painter failed to set current frame, surface will be stopped, error : "
                   << int(error);
        setError(error);
        stop();
        return false;
    }

    mLastStartTime = frame.startTime();
    mReady = false;
    mLastFrameEmpty = !valid;
    emit frameChanged();
    return true;
}

void CustomPainterVideoSurface::paint(QPainter* painter, QRectF const& target, QRectF const& source)
{
    if (!isActive()) {
        painter->fillRect(target, QBrush(backgroundColor()));
        return;
    }
    if (mColorsDirty) {
        mPainter->updateColors();
        mColorsDirty = false;
    }

    QRectF const viewport = mFrameViewport;
    QRectF const pixels(viewport.left() + source.x() * viewport.width(),
        viewport.top() + source.y() * viewport.height(), source.width() * viewport.width(),
        source.height() * viewport.height());
    Error const error = mPainter->paint(target, painter, pixels);
    if (error != NoError) {
        setError(error);
        qWarning() << "Painter error, surface will be stopped, error : " << int(error);
        stop();
    }
}

void CustomPainterVideoSurface::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    mAspectRatioMode = mode;
    if (mPainter)
        mPainter->setAspectRatioMode(mode);
}

void CustomPainterVideoSurface::setBackgroundColor(QColor const& color)
{
    mBackgroundColor = color;
    if (mPainter)
        mPainter->setBackgroundColor(color);
}

void CustomPainterVideoSurface::setGLContext(QOpenGLContext* context)
{
    if (context == mGlContext)
        return;
    mGlContext = context;
    mSupportedShaderTypes = ShaderNone;
    if (context) {
        setProperty("GLContext", context->nativeHandle());
        context->makeCurrent(context->surface());
        if (QOpenGLShaderProgram::hasOpenGLShaderPrograms(context))
            mSupportedShaderTypes |= ShaderGlsl;
    }

    if (!(mSupportedShaderTypes & mShaderType)) {
        // The generic painter needs no context: nothing changes for it.
        if (mShaderType == ShaderNone)
            return;
        mShaderType = ShaderNone;
    }
    if (isActive())
        abandonPainter();
    emit supportedFormatsChanged();
}

void CustomPainterVideoSurface::setShaderType(ShaderType type)
{
    if (!(mSupportedShaderTypes & type))
        type = ShaderNone;
    if (type == mShaderType)
        return;
    mShaderType = type;
    if (isActive())
        abandonPainter();
    else
        mPainter.reset();
    emit supportedFormatsChanged();
}

void CustomPainterVideoSurface::viewportDestroyed()
{
    if (!mPainter)
        return;
    mPainter->viewportDestroyed();
    setError(ResourceError);
    stop();
    mPainter.reset();
}

bool CustomPainterVideoSurface::createPainter()
{
    if (mShaderType == ShaderGlsl) {
        mGlContext->makeCurrent(mGlContext->surface());
        mPainter = std::make_unique<CustomVideoSurfaceGlslPainter>(mGlContext);
    } else {
        mPainter = std::make_unique<CustomVideoSurfaceGenericPainter>();
    }
    return true;
}

/** Stops an active surface whose painter is no longer the right kind. */
void CustomPainterVideoSurface::abandonPainter()
{
    mPainter->stop();
    mPainter.reset();
    mReady = false;
    setError(ResourceError);
    QAbstractVideoSurface::stop();
    qWarning("ResourceError: Painter was destroyed, surface stopped");
}

} // namespace renderlib
