#include "renderlib/customvideowidget.h"

#include <QPaintEngine>
#include <QWindow>

#include "renderlib/customvideowidgetprivate.h"

namespace renderlib {

CustomVideoWidget::CustomVideoWidget(QWidget* parent)
    : QWidget(parent)
    , mPrivate(std::make_unique<CustomVideoWidgetPrivate>(this))
{
    qRegisterMetaType<QVideoFrame>();
    qRegisterMetaType<RenderError>();
    setBackgroundColor(Qt::black);
    setAttribute(Qt::WA_PaintOnScreen);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NativeWindow);
    setAttribute(Qt::WA_DontCreateNativeAncestors, false);
    windowHandle()->setSurfaceType(QSurface::OpenGLSurface);
    windowHandle()->create();
}

CustomVideoWidget::~CustomVideoWidget() = default;

Qt::AspectRatioMode CustomVideoWidget::aspectRatioMode() const
{
    return mPrivate->aspectRatioMode();
}

QColor CustomVideoWidget::backgroundColor() const
{
    return mPrivate->backgroundColor();
}

QRectF CustomVideoWidget::viewport() const
{
    return mPrivate->viewport();
}

bool CustomVideoWidget::mirrored() const
{
    return mPrivate->mirrored();
}

RenderError CustomVideoWidget::renderError() const
{
    return mPrivate->renderError();
}

void CustomVideoWidget::addCustomSubWidget(CustomSubWidget* subWidget)
{
    mPrivate->addCustomSubWidget(subWidget);
}

QSize CustomVideoWidget::sizeHint() const
{
    QSize const hint = mPrivate->sizeHint();
    return hint.isEmpty() ? QWidget::sizeHint() : hint;
}

QPaintEngine* CustomVideoWidget::paintEngine() const
{
    // Any other engine would have Qt paint the widget itself.
    QPaintEngine* engine = mPrivate->paintEngine();
    return engine && engine->type() == QPaintEngine::OpenGL2 ? engine : nullptr;
}

void CustomVideoWidget::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    mPrivate->setAspectRatioMode(mode);
}

void CustomVideoWidget::setBackgroundColor(QColor bgColor)
{
    mPrivate->setBackgroundColor(bgColor);
}

void CustomVideoWidget::setViewport(QRectF viewport)
{
    mPrivate->setViewport(viewport);
}

void CustomVideoWidget::setMirrored(bool mirrored)
{
    mPrivate->setMirrored(mirrored);
}

void CustomVideoWidget::updateFrame(QVideoFrame frame)
{
    mPrivate->updateFrame(frame);
}

bool CustomVideoWidget::event(QEvent* event)
{
    return QWidget::event(event);
}

void CustomVideoWidget::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    mPrivate->showEvent();
}

void CustomVideoWidget::hideEvent(QHideEvent* event)
{
    mPrivate->hideEvent(event);
    QWidget::hideEvent(event);
}

void CustomVideoWidget::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    mPrivate->resizeEvent(event);
}

void CustomVideoWidget::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    mPrivate->moveEvent(event);
}

void CustomVideoWidget::paintEvent(QPaintEvent* event)
{
    mPrivate->paintEvent(event);
}

} // namespace renderlib
