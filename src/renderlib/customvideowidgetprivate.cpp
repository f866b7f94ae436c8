#include "renderlib/customvideowidgetprivate.h"

#include <QVideoFrame>

#include "renderlib/customrenderervideowidgetbackend.h"
#include "renderlib/customvideowidget.h"

namespace renderlib {

CustomVideoWidgetPrivate::CustomVideoWidgetPrivate(CustomVideoWidget* widget)
    : mWidget(widget)
    , mRendererBackend(std::make_unique<CustomRendererVideoWidgetBackend>(widget))
{
    use(mRendererBackend.get(), mRendererBackend.get());
}

CustomVideoWidgetPrivate::~CustomVideoWidgetPrivate() = default;

void CustomVideoWidgetPrivate::use(
    CustomVideoWidgetControlInterface* control, CustomVideoWidgetBackend* backend)
{
    mCurrentControl = control;
    mCurrentBackend = backend;
}

QColor CustomVideoWidgetPrivate::backgroundColor() const
{
    return hasControl() ? mCurrentControl->backgroundColor() : QColor(Qt::black);
}

void CustomVideoWidgetPrivate::setBackgroundColor(QColor const& color)
{
    if (hasControl())
        mCurrentControl->setBackgroundColor(color);
}

Qt::AspectRatioMode CustomVideoWidgetPrivate::aspectRatioMode() const
{
    return hasControl() ? mCurrentControl->aspectRatioMode() : Qt::KeepAspectRatio;
}

void CustomVideoWidgetPrivate::setAspectRatioMode(Qt::AspectRatioMode mode)
{
    if (hasControl())
        mCurrentControl->setAspectRatioMode(mode);
}

QRectF CustomVideoWidgetPrivate::viewport() const
{
    return hasControl() ? mCurrentControl->viewport() : QRectF();
}

void CustomVideoWidgetPrivate::setViewport(QRectF const& viewport)
{
    if (hasControl())
        mCurrentControl->setViewport(viewport);
}

bool CustomVideoWidgetPrivate::mirrored() const
{
    return hasControl() && mCurrentControl->mirrored();
}

void CustomVideoWidgetPrivate::setMirrored(bool mirrored)
{
    if (hasControl())
        mCurrentControl->setMirrored(mirrored);
}

void CustomVideoWidgetPrivate::updateFrame(QVideoFrame const& frame)
{
    if (!hasControl())
        return;
    RenderError const error = mCurrentControl->updateFrame(frame);
    if (error != RenderNoError)
        emit mWidget->renderErrorOccurred(error);
}

RenderError CustomVideoWidgetPrivate::renderError() const
{
    return mCurrentBackend ? mRendererBackend->error() : RenderNoError;
}

QSize CustomVideoWidgetPrivate::sizeHint() const
{
    return hasControl() && mCurrentBackend ? mCurrentBackend->sizeHint() : QSize();
}

QPaintEngine* CustomVideoWidgetPrivate::paintEngine() const
{
    return mCurrentBackend ? mCurrentBackend->paintEngine() : nullptr;
}

void CustomVideoWidgetPrivate::addCustomSubWidget(CustomSubWidget* subWidget)
{
    if (mCurrentBackend)
        mCurrentBackend->addCustomSubWidget(subWidget);
}

void CustomVideoWidgetPrivate::showEvent()
{
    use(mRendererBackend.get(), mRendererBackend.get());
    mCurrentBackend->showEvent();
}

void CustomVideoWidgetPrivate::hideEvent(QHideEvent* event)
{
    if (hasBackend())
        mCurrentBackend->hideEvent(event);
}

void CustomVideoWidgetPrivate::resizeEvent(QResizeEvent* event)
{
    if (hasBackend())
        mCurrentBackend->resizeEvent(event);
}

void CustomVideoWidgetPrivate::moveEvent(QMoveEvent* event)
{
    if (hasBackend())
        mCurrentBackend->moveEvent(event);
}

void CustomVideoWidgetPrivate::paintEvent(QPaintEvent* event)
{
    if (hasBackend())
        mCurrentBackend->paintEvent(event);
}

bool CustomVideoWidgetPrivate::hasControl() const
{
    if (!mCurrentControl)
        qWarning("Render current control has not been set");
    return mCurrentControl;
}

bool CustomVideoWidgetPrivate::hasBackend() const
{
    if (!mCurrentBackend)
        qWarning("Render current backend has not been set");
    return mCurrentBackend;
}

} // namespace renderlib
