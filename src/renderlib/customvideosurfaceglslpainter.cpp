#include "renderlib/customvideosurfaceglslpainter.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <QOpenGLContext>
#include <QOpenGLShaderProgram>
#include <QPainter>
#include <QVariant>

#include "renderlib/glslshaders.h"

namespace renderlib {

namespace {

struct FormatShader
{
    QAbstractVideoBuffer::HandleType handleType;
    QVideoFrame::PixelFormat pixelFormat;
    char const* text;
};

// Textures are opaque whatever their format says.
FormatShader const FormatShaders[] = {
    {QAbstractVideoBuffer::NoHandle, QVideoFrame::Format_ARGB32, SwappedAlphaRgbShader},
    {QAbstractVideoBuffer::NoHandle, QVideoFrame::Format_RGB32, SwappedOpaqueRgbShader},
    {QAbstractVideoBuffer::NoHandle, QVideoFrame::Format_YUV420P, ThreePlaneYuvShader},
    {QAbstractVideoBuffer::NoHandle, QVideoFrame::Format_NV12, Nv12Shader},
    {QAbstractVideoBuffer::GLTextureHandle, QVideoFrame::Format_RGB32, SwappedOpaqueRgbShader},
    {QAbstractVideoBuffer::GLTextureHandle, QVideoFrame::Format_ARGB32, SwappedOpaqueRgbShader},
};

/** The fragment shader for frames of this format; null if there is none. */
char const* fragmentShader(QVideoSurfaceFormat const& format)
{
    auto const found = std::find_if(
        std::begin(FormatShaders), std::end(FormatShaders), [&](FormatShader const& shader) {
            return shader.handleType == format.handleType() &&
                   shader.pixelFormat == format.pixelFormat();
        });
    return found == std::end(FormatShaders) ? nullptr : found->text;
}

} // namespace

CustomVideoSurfaceGlslPainter::CustomVideoSurfaceGlslPainter(QOpenGLContext* context)
    : CustomVideoSurfaceGLPainter(context)
    , mProgram(new QOpenGLShaderProgram(context))
{
    // The same formats as the base class has already: callers have come to see each one twice.
    mImagePixelFormats << QVideoFrame::Format_RGB32 << QVideoFrame::Format_ARGB32
                       << QVideoFrame::Format_YUV420P << QVideoFrame::Format_NV12;
    mGlPixelFormats << QVideoFrame::Format_RGB32 << QVideoFrame::Format_ARGB32;
}

CustomVideoSurfaceGlslPainter::~CustomVideoSurfaceGlslPainter()
{
    delete mProgram;
}

QAbstractVideoSurface::Error CustomVideoSurfaceGlslPainter::start(QVideoSurfaceFormat const& format)
{
    mContext->makeCurrent(mContext->surface());
    if (format.handleType() == QAbstractVideoBuffer::QPixmapHandle) {
        mHandleType = format.handleType();
        return QAbstractVideoSurface::NoError;
    }

    mTexturesAllocated = false;
    char const* shader = fragmentShader(format);
    if (!shader)
        return QAbstractVideoSurface::UnsupportedFormatError;
    initTextureInfo(format);
    if (!buildProgram(shader)) {
        // No textures were made; stop() must not delete others that have the names now.
        mTextureCount = 0;
        return QAbstractVideoSurface::ResourceError;
    }

    mHandleType = format.handleType();
    mScanLineDirection = format.scanLineDirection();
    mMirrored = format.property("mirrored").toBool();
    mFrameSize = format.frameSize();
    mColorSpace = format.yCbCrColorSpace();
    if (mHandleType == QAbstractVideoBuffer::NoHandle)
        glGenTextures(mTextureCount, mTextureIds.data());
    return QAbstractVideoSurface::NoError;
}

void CustomVideoSurfaceGlslPainter::initTextureInfo(QVideoSurfaceFormat const& format)
{
    if (format.handleType() == QAbstractVideoBuffer::GLTextureHandle) {
        mYuv = false;
        mTextureCount = 1;
        return;
    }
    switch (format.pixelFormat()) {
    case QVideoFrame::Format_YUV420P:
        initYuv420PTextureInfo(format.frameSize());
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        break;
    case QVideoFrame::Format_NV12:
        initNV12TextureInfo(format.frameSize());
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        break;
    default:
        initRgbTextureInfo(GL_RGBA, GL_RGBA, GL_UNSIGNED_BYTE, format.frameSize());
        break;
    }
}

bool CustomVideoSurfaceGlslPainter::buildProgram(char const* fragmentShader)
{
    char const* message = nullptr;
    if (!mProgram->addShaderFromSourceCode(QOpenGLShader::Vertex, VertexShader))
        message = "CustomVideoSurfaceGlslPainter: Vertex shader compile error %s";
    else if (!mProgram->addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentShader))
        message = "CustomVideoSurfaceGlslPainter: Shader compile error %s";
    else if (!mProgram->link())
        message = "CustomVideoSurfaceGlslPainter: Shader link error %s";
    if (!message)
        return true;
    qWarning(message, qPrintable(mProgram->log()));
    mProgram->removeAllShaders();
    return false;
}

void CustomVideoSurfaceGlslPainter::stop()
{
    // Without its context the program keeps its shaders until both are deleted: taking them off
    // would be a call into whichever context is current now.
    if (mContext) {
        mContext->makeCurrent(mContext->surface());
        if (mHandleType != QAbstractVideoBuffer::GLTextureHandle)
            glDeleteTextures(mTextureCount, mTextureIds.data());
        mProgram->removeAllShaders();
    }
    mTextureCount = 0;
    mTexturesAllocated = false;
    mHandleType = QAbstractVideoBuffer::NoHandle;
    CustomVideoSurfaceGLPainter::stop();
}

QAbstractVideoSurface::Error CustomVideoSurfaceGlslPainter::paint(
    QRectF const& target, QPainter* painter, QRectF const& source)
{
    if (!mFrame.isValid()) {
        painter->fillRect(target, mBackgroundColor);
        return QAbstractVideoSurface::NoError;
    }
    if (mFrame.handleType() != QAbstractVideoBuffer::NoHandle &&
        mFrame.handleType() != QAbstractVideoBuffer::GLTextureHandle)
        return CustomVideoSurfaceGLPainter::paint(target, painter, source);

    // Native painting may begin with both tests switched off.
    bool const stencilTest = glIsEnabled(GL_STENCIL_TEST);
    bool const scissorTest = glIsEnabled(GL_SCISSOR_TEST);
    painter->beginNativePainting();
    clear();
    if (stencilTest)
        glEnable(GL_STENCIL_TEST);
    if (scissorTest)
        glEnable(GL_SCISSOR_TEST);
    drawQuad(target, source);
    painter->endNativePainting();
    return QAbstractVideoSurface::NoError;
}

void CustomVideoSurfaceGlslPainter::clear()
{
    // A frame that fills the target leaves no background to see, so that its colour isn't set.
    if (mAspectRatioMode != Qt::IgnoreAspectRatio) {
        glClearColor(GLfloat(mBackgroundColor.redF()), GLfloat(mBackgroundColor.greenF()),
            GLfloat(mBackgroundColor.blueF()), GLfloat(mBackgroundColor.alphaF()));
    }
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
}

/** Where the frame goes in @p target; centred from the viewport's origin, not from the target's. */
QRectF CustomVideoSurfaceGlslPainter::fittedRect(QRectF const& target) const
{
    if (mAspectRatioMode == Qt::IgnoreAspectRatio)
        return target;
    float const aspect = float(mFrameSize.width()) / float(mFrameSize.height());
    if (qreal(aspect) > target.width() / target.height()) {
        int const height = qRound(target.width() / qreal(aspect));
        return {target.x(), (target.height() - height) * 0.5, target.width(), qreal(height)};
    }
    int const width = qRound(qreal(aspect) * target.height());
    return {(target.width() - width) * 0.5, target.y(), qreal(width), target.height()};
}

void CustomVideoSurfaceGlslPainter::drawQuad(QRectF const& target, QRectF const& source)
{
    glViewport(int(target.x()), int(target.y()), int(target.width()), int(target.height()));

    QRectF const drawn = fittedRect(target);
    auto const left = GLfloat(2 * drawn.left() / target.width() - 1);
    auto const right = GLfloat(2 * drawn.right() / target.width() - 1);
    auto const lower = GLfloat(2 * drawn.top() / target.height() - 1);
    auto const upper = GLfloat(2 * drawn.bottom() / target.height() - 1);
    GLfloat const vertices[] = {left, lower, right, lower, left, upper, right, upper};

    auto uLeft = GLfloat(source.left() / mFrameSize.width());
    auto uRight = GLfloat(source.right() / mFrameSize.width());
    auto vLower = GLfloat(source.bottom() / mFrameSize.height());
    auto vUpper = GLfloat(source.top() / mFrameSize.height());
    if (mMirrored)
        std::swap(uLeft, uRight);
    if (mScanLineDirection == QVideoSurfaceFormat::BottomToTop)
        std::swap(vLower, vUpper);
    GLfloat const coordinates[] = {uLeft, vLower, uRight, vLower, uLeft, vUpper, uRight, vUpper};

    auto const scaleX = GLfloat(2 / target.width());
    auto const scaleY = GLfloat(2 / target.height());
    GLfloat const positions[4][4] = {
        {scaleX, 0, 0, 0}, {0, scaleY, 0, 0}, {0, 0, scaleX, 0}, {0, 0, 0, scaleY}};

    mProgram->bind();
    mProgram->enableAttributeArray("vertexCoordArray");
    mProgram->enableAttributeArray("textureCoordArray");
    mProgram->setAttributeArray("vertexCoordArray", vertices, 2);
    mProgram->setAttributeArray("textureCoordArray", coordinates, 2);
    mProgram->setUniformValue("positionMatrix", positions);
    bindTextures();
    mProgram->setUniformValue("colorMatrix", mColorMatrix);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    mProgram->release();
}

void CustomVideoSurfaceGlslPainter::bindTextures()
{
    for (int unit = 0; unit < mTextureCount; ++unit) {
        glActiveTexture(GLenum(GL_TEXTURE0 + unit));
        glBindTexture(GL_TEXTURE_2D, mTextureIds[size_t(unit)]);
    }
    if (mTextureCount == 3) {
        glActiveTexture(GL_TEXTURE0);
        mProgram->setUniformValue("texY", 0);
        mProgram->setUniformValue("texU", 1);
        mProgram->setUniformValue("texV", 2);
    } else if (mTextureCount == 2) {
        // The third unit stays active, free for whoever binds a texture next.
        glActiveTexture(GL_TEXTURE2);
        mProgram->setUniformValue("texY", 0);
        mProgram->setUniformValue("texU", 1);
    } else {
        mProgram->setUniformValue("texRgb", 0);
    }
}

} // namespace renderlib
