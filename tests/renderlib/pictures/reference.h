#ifndef REFERENCE_H
#define REFERENCE_H

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSize>
#include <QVideoSurfaceFormat>

#include "picture.h"

/** How a picture is painted, and onto what. */
struct Scene
{
    QSize device;
    QRectF target;
    QRectF source;
    Qt::AspectRatioMode aspectRatioMode = Qt::KeepAspectRatio;
    QColor background = Qt::black;
    QVideoSurfaceFormat::Direction scanLineDirection = QVideoSurfaceFormat::TopToBottom;
    bool mirrored = false;
    QVideoSurfaceFormat::YCbCrColorSpace colorSpace = QVideoSurfaceFormat::YCbCr_JPEG;
};

/** The whole of @p picture over the whole of a device of this size. */
Scene wholeScene(QSize const& device, Picture const& picture);

/** The colour, opaque, that a device has before it is painted onto. */
extern QColor const Untouched;

/**
 * What the shaders make of @p picture, computed here: GL_LINEAR sampling of each plane with its
 * edges continued, the colour matrix, the fitted quad. Every pixel is exact but for rounding; where
 * a pixel's centre lies on the very edge of the quad, which OpenGL leaves open, it is outside at
 * the lower left and inside at the upper right, or the other way round if @p lowerLeft.
 */
QImage shaderReference(Scene const& scene, Picture const& picture, bool lowerLeft = false);

/**
 * What QPainter makes of @p picture, without smoothing. A scene that has a pixel's centre on the
 * border of two texels, where rounding decides, is refused as an error of the test.
 */
QImage softwareReference(Scene const& scene, Picture const& picture);

/** The same for a picture drawn by the shader painter with QPainter: without a background. */
QImage pixmapReference(Scene const& scene, Picture const& picture);

#endif
