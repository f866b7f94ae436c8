#include "videoscene.h"

#include <QOpenGLFunctions>
#include <QPainter>
#include <QTest>
#include <QVideoFrame>
#include <QWindow>

void Probe::paint(QPainter* painter)
{
    ++paints;
    transform = painter->worldTransform();
    context = QOpenGLContext::currentContext();

    QImage image(painter->device()->width(), painter->device()->height(), QImage::Format_RGBX8888);
    painter->beginNativePainting();
    context->functions()->glReadPixels(
        0, 0, image.width(), image.height(), GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    painter->endNativePainting();
    picture = image.mirrored();
}

QOpenGLContext* contextOf(renderlib::CustomVideoWidget const& widget)
{
    return widget.windowHandle()->findChild<QOpenGLContext*>(QString(), Qt::FindDirectChildrenOnly);
}

bool showVideo(renderlib::CustomVideoWidget& widget)
{
    widget.window()->show();
    return QTest::qWaitForWindowExposed(widget.window()) &&
           QTest::qWaitFor([&] { return contextOf(widget) != nullptr; });
}

bool present(renderlib::CustomVideoWidget& widget, Probe const& probe, QVideoFrame const& frame)
{
    int const before = probe.paints;
    widget.updateFrame(frame);
    return QTest::qWaitFor([&] { return probe.paints > before; });
}

void letRepaint()
{
    QTest::qWait(100);
}
