#include "renderlib/customrenderervideowidgetbackend.h"

#include <algorithm>

#include <QBrush>
#include <QDebug>
#include <QOpenGLContext>
#include <QOpenGLPaintDevice>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <QPlatformSurfaceEvent>
#include <QVideoFrame>
#include <QVideoSurfaceFormat>
#include <QWindow>

#include "renderlib/custompaintervideosurface.h"
#include "renderlib/customsubwidget.h"

namespace renderlib {

namespace {

QVideoSurfaceFormat plainFormat(QVideoFrame const& frame)
{
    return QVideoSurfaceFormat(frame.size(), frame.pixelFormat(), frame.handleType());
}

bool isOpenGL(QPaintEngine const* engine)
{
    return engine &&
           (engine->type() == QPaintEngine::OpenGL || engine->type() == QPaintEngine::OpenGL2);
}

/** The part of a frame of @p size that @p viewport chooses, in pixels. */
QRect pixelViewport(QRectF const& viewport, QSize const& size)
{
    if (viewport.width() <= 1 && viewport.height() <= 1) {
        return QRect(int(viewport.x() * size.width()), int(viewport.y() * size.height()),
            int(viewport.width() * size.width()), int(viewport.height() * size.height()));
    }
    return QRect(qRound(viewport.x()), qRound(viewport.y()), int(viewport.width() + 0.5),
        int(viewport.height() + 0.5));
}

} // namespace

CustomRendererVideoWidgetBackend::CustomRendererVideoWidgetBackend(QWidget* widget)
    : mWidget(widget)
    , mSurface(new CustomPainterVideoSurface)
{
    connect(mSurface, &CustomPainterVideoSurface::frameChanged, this,
        &CustomRendererVideoWidgetBackend::frameChanged);
    connect(mSurface, &CustomPainterVideoSurface::surfaceFormatChanged, this,
        &CustomRendererVideoWidgetBackend::formatChanged);
    mSurface->setGLContext(nullptr);
    mSurface->setShaderType(CustomPainterVideoSurface::ShaderGlsl);
}

CustomRendererVideoWidgetBackend::~CustomRendererVideoWidgetBackend()
{
    // The widget is going, and must not be asked to lay itself out any more.
    mSurface->disconnect(this);
    // Without a window there is nowhere to delete the textures; they go with the context.
    if (mContext && !mContext->surface())
        mSurface->viewportDestroyed();
    mSurface->stop();
    mSurface->viewportDestroyed();
    delete mSurface;

    if (mContext && mContext->parent())
        mContext->makeCurrent(mWidget->windowHandle());
    delete mPaintDevice;
    delete mContext;
}

QColor CustomRendererVideoWidgetBackend::backgroundColor() const
{
    return mSurface->backgroundColor();
}

void CustomRendererVideoWidgetBackend::setBackgroundColor(QColor const& color)
{
    mSurface->setBackgroundColor(color);
}

Qt::AspectRatioMode CustomRendererVideoWidgetBackend::aspectRatioMode() const
{
    return mSurface->aspectRatioMode();
}

void CustomRendererVideoWidgetBackend::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    mSurface->setAspectRatioMode(mode);
    updateRects();
    mWidget->updateGeometry();
    mWidget->update();
}

QRectF CustomRendererVideoWidgetBackend::viewport() const
{
    return mViewport;
}

void CustomRendererVideoWidgetBackend::setViewport(QRectF const& viewport)
{
    mViewport = viewport;
}

bool CustomRendererVideoWidgetBackend::mirrored() const
{
    return mMirrored;
}

void CustomRendererVideoWidgetBackend::setMirrored(bool mirrored)
{
    mMirrored = mirrored;
}

RenderError CustomRendererVideoWidgetBackend::updateFrame(QVideoFrame const& frame)
{
    // The painter needs a current context also while the widget waits for its new window.
    if (mContext && !mContext->surface()) {
        mWidget->winId();
        enterWindow(mWidget->windowHandle());
    }
    if (mSurface->isActive()) {
        mSurface->present(frame);
        mLastError = surfaceError();
    } else if (!frame.isValid()) {
        mLastError = RenderNoError;
    } else {
        mLastError = startWith(frame);
    }
    return mLastError;
}

RenderError CustomRendererVideoWidgetBackend::startWith(QVideoFrame const& frame)
{
    if (!mSurface->start(surfaceFormat(frame)))
        return surfaceError();
    if (mSurface->supportedPixelFormats(QAbstractVideoBuffer::NoHandle)
            .contains(frame.pixelFormat()) &&
        mSurface->isFormatSupported(plainFormat(frame))) {
        mSurface->present(frame);
        return surfaceError();
    }
    qWarning() << "The format of video frame is not supported" << frame;
    return RenderUnsupportedFormatError;
}

QVideoSurfaceFormat CustomRendererVideoWidgetBackend::surfaceFormat(QVideoFrame const& frame) const
{
    QVideoSurfaceFormat format = plainFormat(frame);
    // Wherever they come from, frames are shown with the full range of values.
    format.setYCbCrColorSpace(QVideoSurfaceFormat::YCbCr_JPEG);
    if (mViewport.width() > 0 && mViewport.height() > 0)
        format.setViewport(pixelViewport(mViewport, frame.size()));
    if (mMirrored)
        format.setProperty("mirrored", true);
    return format;
}

RenderError CustomRendererVideoWidgetBackend::surfaceError() const
{
    return RenderError(mSurface->error());
}

QPaintEngine* CustomRendererVideoWidgetBackend::paintEngine() const
{
    return mPaintDevice ? mPaintDevice->paintEngine() : nullptr;
}

void CustomRendererVideoWidgetBackend::addCustomSubWidget(CustomSubWidget* subWidget)
{
    mSubWidgets.append(subWidget);
    if (!subWidget)
        return;
    connect(subWidget, &QObject::destroyed, this, [this, subWidget] {
        std::replace(mSubWidgets.begin(), mSubWidgets.end(), subWidget,
            static_cast<CustomSubWidget*>(nullptr));
    });
}

QSize CustomRendererVideoWidgetBackend::sizeHint() const
{
    return mSurface->surfaceFormat().sizeHint();
}

void CustomRendererVideoWidgetBackend::showEvent() {}

void CustomRendererVideoWidgetBackend::hideEvent(QHideEvent* /*event*/)
{
    mUpdatePaintDevice = true;
}

void CustomRendererVideoWidgetBackend::resizeEvent(QResizeEvent* /*event*/)
{
    updateRects();
}

void CustomRendererVideoWidgetBackend::moveEvent(QMoveEvent* /*event*/) {}

void CustomRendererVideoWidgetBackend::paintEvent(QPaintEvent* event)
{
    QWindow* window = mWidget->windowHandle();
    if (!window || (mNeedsContext && !createContext(window)) || !enterWindow(window))
        return;
    qreal const ratio = window->devicePixelRatio();
    mPaintDevice->setSize(
        QSize(qRound(mWidget->width() * ratio), qRound(mWidget->height() * ratio)));
    QPainter painter(mPaintDevice);

    if (mSurface->isActive() && mBoundingRect.intersects(event->rect()))
        paintVideo(painter, window);
    else if (mUpdatePaintDevice && isOpenGL(painter.paintEngine()))
        adoptContext();

    mLastError = surfaceError();
    if (mLastError != RenderNoError && mWidget->testAttribute(Qt::WA_OpaquePaintEvent))
        fillBorder(painter, event->region() - mBoundingRect);
}

bool CustomRendererVideoWidgetBackend::createContext(QWindow* window)
{
    mContext = new QOpenGLContext(window);
    mContext->setFormat(window->format());
    mContext->setScreen(window->screen());
    // A first attempt may fail where the next one doesn't.
    mContext->create();
    if (!mContext->create()) {
        qWarning("CustomRendererVideoWidgetBackend: Failed to create OpenGL context");
        delete mContext;
        mContext = nullptr;
        return false;
    }
    window->installEventFilter(this);
    mContext->makeCurrent(window);
    mPaintDevice = new QOpenGLPaintDevice;
    mNeedsContext = false;
    return true;
}

/** Makes the context current on @p window, which may be another one than before. */
bool CustomRendererVideoWidgetBackend::enterWindow(QWindow* window)
{
    if (mContext->parent() != window) {
        mContext->setParent(window);
        window->installEventFilter(this);
    }
    return mContext->makeCurrent(window);
}

/** Keeps the context, with its textures and programs, from going down with its window. */
void CustomRendererVideoWidgetBackend::leaveWindow()
{
    mContext->doneCurrent();
    mContext->setParent(nullptr);
}

bool CustomRendererVideoWidgetBackend::eventFilter(QObject* watched, QEvent* event)
{
    if (mContext && watched == mContext->parent() && event->type() == QEvent::PlatformSurface &&
        static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
            QPlatformSurfaceEvent::SurfaceAboutToBeDestroyed)
        leaveWindow();
    return CustomVideoWidgetBackend::eventFilter(watched, event);
}

void CustomRendererVideoWidgetBackend::paintVideo(QPainter& painter, QWindow* window)
{
    mSurface->paint(&painter, mBoundingRect, mSourceRect);
    mSurface->setReady(true);
    paintSubWidgets(painter);
    mContext->swapBuffers(window);
}

void CustomRendererVideoWidgetBackend::paintSubWidgets(QPainter& painter)
{
    // An overlay may add or destroy others while it paints.
    for (int i = 0; i < mSubWidgets.size();) {
        CustomSubWidget* subWidget = mSubWidgets.at(i);
        if (!subWidget) {
            mSubWidgets.remove(i);
            continue;
        }
        QPoint const place = subWidget->geometry().topLeft();
        painter.setWorldTransform(QTransform::fromTranslate(place.x(), place.y()));
        subWidget->paint(&painter);
        ++i;
    }
}

/** Gives the surface the context, and with it the choice of its painter. */
void CustomRendererVideoWidgetBackend::adoptContext()
{
    mUpdatePaintDevice = false;
    mSurface->setGLContext(QOpenGLContext::currentContext());
    bool const glsl = mSurface->supportedShaderTypes() & CustomPainterVideoSurface::ShaderGlsl;
    mSurface->setShaderType(glsl ? CustomPainterVideoSurface::ShaderGlsl
                                 : CustomPainterVideoSurface::ShaderAlternative);
}

/** After an error the old picture must not stay around the video. */
void CustomRendererVideoWidgetBackend::fillBorder(QPainter& painter, QRegion const& region) const
{
    QPalette const palette = mWidget->palette();
    QBrush brush = palette.brush(palette.currentColorGroup(), QPalette::Window);
    brush.setColor(backgroundColor());
    for (QRect const& rect : region)
        painter.fillRect(rect, brush);
}

void CustomRendererVideoWidgetBackend::frameChanged()
{
    mWidget->update();
}

void CustomRendererVideoWidgetBackend::formatChanged(QVideoSurfaceFormat const& format)
{
    mNativeSize = format.sizeHint();
    updateRects();
    mWidget->updateGeometry();
    mWidget->update();
}

void CustomRendererVideoWidgetBackend::updateRects()
{
    // The painter fits the picture in.
    mBoundingRect = mWidget->rect();
    mSourceRect = QRectF(0, 0, 1, 1);
}

} // namespace renderlib
