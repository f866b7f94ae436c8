#include "glscene.h"

GlScene::GlScene(QSize const& size)
    : mCanvas(size, QImage::Format_RGB32)
{
    mSurface.create();
    if (!mContext.create() || !mContext.makeCurrent(&mSurface))
        qFatal("No OpenGL context");
    mFramebuffer = std::make_unique<QOpenGLFramebufferObject>(
        size, QOpenGLFramebufferObject::CombinedDepthStencil);
    mFramebuffer->bind();
    mCanvas.fill(Qt::magenta);
    mPainter.begin(&mCanvas);
}

GlScene::~GlScene()
{
    mPainter.end();
    mContext.makeCurrent(&mSurface);
    mFramebuffer.reset();
}
