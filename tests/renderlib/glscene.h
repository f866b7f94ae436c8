#ifndef GLSCENE_H
#define GLSCENE_H

#include <memory>

#include <QImage>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QPainter>
#include <QSize>
#include <QVector>

/**
 * A current OpenGL context with a framebuffer to paint to, and a QPainter that makes no OpenGL call
 * of its own: all calls recorded are those of the video painter.
 */
class GlScene
{
public:
    explicit GlScene(QSize const& size = {8, 8});
    ~GlScene();

    QOpenGLContext* context() { return &mContext; }
    QOpenGLFunctions& gl() { return *mContext.functions(); }
    QPainter& painter() { return mPainter; }

    /** What stands in the framebuffer, the top line first. */
    QImage picture() { return mFramebuffer->toImage(); }
    /** What the QPainter has painted. */
    QImage const& canvas() const { return mCanvas; }

private:
    QOffscreenSurface mSurface;
    QOpenGLContext mContext;
    std::unique_ptr<QOpenGLFramebufferObject> mFramebuffer;
    QImage mCanvas;
    QPainter mPainter;
};

#endif
