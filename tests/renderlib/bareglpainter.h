#ifndef BAREGLPAINTER_H
#define BAREGLPAINTER_H

#include "renderlib/customvideosurfaceglpainter.h"

/** The base of the OpenGL painters as a class of its own, open to the test. */
class BareGLPainter : public renderlib::CustomVideoSurfaceGLPainter
{
public:
    using CustomVideoSurfaceGLPainter::CustomVideoSurfaceGLPainter;

    QAbstractVideoSurface::Error start(QVideoSurfaceFormat const&) override
    {
        return QAbstractVideoSurface::NoError;
    }

    using CustomVideoSurfaceGLPainter::initNV12TextureInfo;
    using CustomVideoSurfaceGLPainter::initRgbTextureInfo;
    using CustomVideoSurfaceGLPainter::initYuv420PTextureInfo;

    using CustomVideoSurfaceGLPainter::mAspectRatioMode;
    using CustomVideoSurfaceGLPainter::mBackgroundColor;
    using CustomVideoSurfaceGLPainter::mColorMatrix;
    using CustomVideoSurfaceGLPainter::mColorSpace;
    using CustomVideoSurfaceGLPainter::mContext;
    using CustomVideoSurfaceGLPainter::mFrame;
    using CustomVideoSurfaceGLPainter::mGlPixelFormats;
    using CustomVideoSurfaceGLPainter::mHandleType;
    using CustomVideoSurfaceGLPainter::mImagePixelFormats;
    using CustomVideoSurfaceGLPainter::mMirrored;
    using CustomVideoSurfaceGLPainter::mScanLineDirection;
    using CustomVideoSurfaceGLPainter::mTextureCount;
    using CustomVideoSurfaceGLPainter::mTextureFormats;
    using CustomVideoSurfaceGLPainter::mTextureHeights;
    using CustomVideoSurfaceGLPainter::mTextureIds;
    using CustomVideoSurfaceGLPainter::mTextureInternalFormats;
    using CustomVideoSurfaceGLPainter::mTexturesAllocated;
    using CustomVideoSurfaceGLPainter::mTextureTypes;
    using CustomVideoSurfaceGLPainter::mTextureWidths;
    using CustomVideoSurfaceGLPainter::mYuv;
};

#endif
