#ifndef CUSTOMVIDEOSURFACEGLSLPAINTER_H
#define CUSTOMVIDEOSURFACEGLSLPAINTER_H

#include <QPointer>
#include <QSize>

#include "renderlib/customvideosurfaceglpainter.h"

class QOpenGLShaderProgram;

namespace renderlib {

/**
 * Draws frames as a textured quad with shaders of OpenGL ES 2, which also convert YUV to RGB.
 *
 * Takes frames of 32-bit RGB, YUV420P and NV12 in memory, 32-bit RGB in textures of the context,
 * which it doesn't own and draws without their alpha, and pixmaps. A frame keeps its aspect ratio
 * with bars of the background colour beside it, in Qt::KeepAspectRatioByExpanding as well; parts of
 * it are never cropped.
 *
 * Context and thread: see CustomVideoSurfaceGLPainter.
 */
class QVORLIN_EXPORT CustomVideoSurfaceGlslPainter : public CustomVideoSurfaceGLPainter
{
public:
    explicit CustomVideoSurfaceGlslPainter(QOpenGLContext* context);
    ~CustomVideoSurfaceGlslPainter() override;

    /**
     * Fails with UnsupportedFormatError, or with a warning and ResourceError when the shaders don't
     * compile or link.
     */
    QAbstractVideoSurface::Error start(QVideoSurfaceFormat const& format) override;
    void stop() override;

    /**
     * Paints over all that @p painter paints to, the viewport's surroundings too. The attribute
     * arrays stay enabled, and another texture unit than the first may stay active.
     */
    QAbstractVideoSurface::Error paint(
        QRectF const& target, QPainter* painter, QRectF const& source) override;

private:
    void initTextureInfo(QVideoSurfaceFormat const& format);
    bool buildProgram(char const* fragmentShader);
    void clear();
    QRectF fittedRect(QRectF const& target) const;
    void drawQuad(QRectF const& target, QRectF const& source);
    void bindTextures();

    // A child of the context, which deletes it when the context goes first.
    QPointer<QOpenGLShaderProgram> mProgram;
    QSize mFrameSize;
};

} // namespace renderlib

#endif
