#ifndef CANVAS_H
#define CANVAS_H

#include <functional>

#include <QColor>
#include <QImage>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QSize>

#include "picture.h"

class QOpenGLFunctions;
class QPainter;

/** A context of its own, current as long as it lives, with framebuffers to paint onto. */
class Canvas
{
public:
    Canvas();
    ~Canvas();
    Q_DISABLE_COPY(Canvas)

    QOpenGLContext* context() { return &mContext; }

    /** What glClear() fills with from now on. */
    void setClearColor(QColor const& color);

    /** What @p paint makes of a framebuffer of the Untouched colour, read back as RGBA8888. */
    QImage paint(QSize const& size, std::function<void(QPainter*)> const& paint);

private:
    QOffscreenSurface mSurface;
    QOpenGLContext mContext;
};

/** The pixels of the framebuffer that is bound, as RGBA8888 with the upper line first. */
QImage readFramebuffer(QOpenGLFunctions* functions, QSize const& size);

/** A texture of the current context with a 32-bit picture, its bytes in the order of memory. */
class PictureTexture
{
public:
    explicit PictureTexture(Picture const& picture);
    ~PictureTexture();
    Q_DISABLE_COPY(PictureTexture)

    unsigned int name() const { return mName; }

private:
    unsigned int mName = 0;
};

#endif
