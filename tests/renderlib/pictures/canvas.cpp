#include "canvas.h"

#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QOpenGLPaintDevice>
#include <QPainter>

#include "reference.h"

Canvas::Canvas()
{
    mSurface.create();
    if (!mContext.create() || !mContext.makeCurrent(&mSurface))
        qFatal("No OpenGL context");
}

Canvas::~Canvas()
{
    mContext.doneCurrent();
}

void Canvas::setClearColor(QColor const& color)
{
    mContext.functions()->glClearColor(GLclampf(color.redF()), GLclampf(color.greenF()),
        GLclampf(color.blueF()), GLclampf(color.alphaF()));
}

QImage Canvas::paint(QSize const& size, std::function<void(QPainter*)> const& paint)
{
    QOpenGLFramebufferObject framebuffer(size, QOpenGLFramebufferObject::CombinedDepthStencil);
    if (!framebuffer.bind())
        qFatal("No framebuffer of %d x %d", size.width(), size.height());
    QOpenGLPaintDevice device(size);
    QPainter painter(&device);
    painter.fillRect(QRect(QPoint(0, 0), size), Untouched);
    paint(&painter);
    painter.end();
    QImage const image = readFramebuffer(mContext.functions(), size);
    framebuffer.release();
    return image;
}

QImage readFramebuffer(QOpenGLFunctions* functions, QSize const& size)
{
    QImage image(size, QImage::Format_RGBA8888);
    functions->glReadPixels(
        0, 0, size.width(), size.height(), GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    return image.mirrored();
}

PictureTexture::PictureTexture(Picture const& picture)
{
    QOpenGLFunctions* functions = QOpenGLContext::currentContext()->functions();
    Plane const& plane = picture.planes.front();
    functions->glGenTextures(1, &mName);
    functions->glBindTexture(GL_TEXTURE_2D, mName);
    functions->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, plane.width, plane.height, 0, GL_RGBA,
        GL_UNSIGNED_BYTE, plane.texels.constData());
}

PictureTexture::~PictureTexture()
{
    QOpenGLContext::currentContext()->functions()->glDeleteTextures(1, &mName);
}
