#include "paintway.h"

#include <memory>

#include "renderlib/customvideosurfacegenericpainter.h"
#include "renderlib/customvideosurfaceglslpainter.h"

#include "messagecheck.h"
#include "picturecheck.h"

using renderlib::CustomVideoSurfaceGenericPainter;
using renderlib::CustomVideoSurfaceGlslPainter;
using renderlib::CustomVideoSurfacePainter;

namespace {

std::unique_ptr<CustomVideoSurfacePainter> makePainter(PainterKind kind, QOpenGLContext* context)
{
    expectConstruction(kind);
    if (kind == PainterKind::Shaders)
        return std::make_unique<CustomVideoSurfaceGlslPainter>(context);
    return std::make_unique<CustomVideoSurfaceGenericPainter>();
}

bool succeeded(QAbstractVideoSurface::Error error, char const* what)
{
    if (error != QAbstractVideoSurface::NoError)
        qWarning("The painter refused its %s: error %d", what, int(error));
    return error == QAbstractVideoSurface::NoError;
}

/** Whether QPainter draws the picture; of a painter with shaders, only a pixmap. */
bool usesQPainter(PainterKind kind, Picture const& picture)
{
    return kind == PainterKind::Software ||
           picture.handleType == QAbstractVideoBuffer::QPixmapHandle;
}

} // namespace

std::vector<Way> const& allWays()
{
    constexpr auto Memory = QAbstractVideoBuffer::NoHandle;
    constexpr auto Texture = QAbstractVideoBuffer::GLTextureHandle;
    constexpr auto Pixmap = QAbstractVideoBuffer::QPixmapHandle;
    static std::vector<Way> const ways = {
        {"software, RGB32", PainterKind::Software, QVideoFrame::Format_RGB32, Memory},
        {"software, ARGB32", PainterKind::Software, QVideoFrame::Format_ARGB32, Memory},
        {"software, RGB32 pixmap", PainterKind::Software, QVideoFrame::Format_RGB32, Pixmap},
        {"software, ARGB32 pixmap", PainterKind::Software, QVideoFrame::Format_ARGB32, Pixmap},
        {"shaders, RGB32", PainterKind::Shaders, QVideoFrame::Format_RGB32, Memory},
        {"shaders, ARGB32", PainterKind::Shaders, QVideoFrame::Format_ARGB32, Memory},
        {"shaders, YUV420P", PainterKind::Shaders, QVideoFrame::Format_YUV420P, Memory},
        {"shaders, NV12", PainterKind::Shaders, QVideoFrame::Format_NV12, Memory},
        {"shaders, RGB32 texture", PainterKind::Shaders, QVideoFrame::Format_RGB32, Texture},
        {"shaders, ARGB32 texture", PainterKind::Shaders, QVideoFrame::Format_ARGB32, Texture},
        {"shaders, RGB32 pixmap", PainterKind::Shaders, QVideoFrame::Format_RGB32, Pixmap},
        {"shaders, ARGB32 pixmap", PainterKind::Shaders, QVideoFrame::Format_ARGB32, Pixmap},
    };
    return ways;
}

Picture makePicture(Way const& way, QSize const& size, int seed)
{
    return makePicture(way.format, size, way.handleType, seed);
}

QVideoSurfaceFormat surfaceFormat(Scene const& scene, Picture const& picture)
{
    QVideoSurfaceFormat format(picture.size, picture.format, picture.handleType);
    format.setScanLineDirection(scene.scanLineDirection);
    format.setYCbCrColorSpace(scene.colorSpace);
    if (scene.mirrored)
        format.setProperty("mirrored", true);
    return format;
}

QImage wantedPicture(Way const& way, Scene const& scene, Picture const& picture)
{
    if (way.painter == PainterKind::Software)
        return softwareReference(scene, picture);
    if (usesQPainter(way.painter, picture))
        return pixmapReference(scene, picture);
    return shaderReference(scene, picture);
}

void expectConstruction(PainterKind kind)
{
    int const type = QOpenGLContext::openGLModuleType();
    if (kind == PainterKind::Shaders || type == QOpenGLContext::LibGLES)
        return;
    expectMessage(QtWarningMsg,
        QStringLiteral("CustomVideoSurfaceGenericPainter: OpenGL context not a LibGLES: %1")
            .arg(type));
}

CanvasPainter::CanvasPainter(Canvas& canvas, PainterKind kind)
    : mCanvas(canvas)
    , mKind(kind)
    , mPainter(makePainter(kind, canvas.context()))
{}

CanvasPainter::~CanvasPainter()
{
    mPainter->stop();
}

void CanvasPainter::start(Scene const& scene, Picture const& picture)
{
    mPainter->stop();
    mPainter->setBackgroundColor(scene.background);
    mPainter->setAspectRatioMode(scene.aspectRatioMode);
    if (succeeded(mPainter->start(surfaceFormat(scene, picture)), "format"))
        mPainter->updateColors();
}

void CanvasPainter::show(Picture const& picture)
{
    unsigned int name = 0;
    if (picture.handleType == QAbstractVideoBuffer::GLTextureHandle) {
        mTexture = std::make_unique<PictureTexture>(picture);
        name = mTexture->name();
    }
    mAnyAlpha = usesQPainter(mKind, picture) && picture.format == QVideoFrame::Format_RGB32;
    succeeded(mPainter->setCurrentFrame(toFrame(picture, name)), "frame");
}

QImage CanvasPainter::paint(Scene const& scene, std::function<void(QPainter*)> const& prepare)
{
    QAbstractVideoSurface::Error error = QAbstractVideoSurface::NoError;
    QImage const image = mCanvas.paint(scene.device, [&](QPainter* device) {
        if (prepare)
            prepare(device);
        error = mPainter->paint(scene.target, device, scene.source);
    });
    if (!succeeded(error, "paint"))
        return QImage();
    // QPainter leaves anything in the alpha of what it draws an opaque image onto.
    return mAnyAlpha ? opaque(image) : image;
}

QImage paintedPicture(Canvas& canvas, Way const& way, Scene const& scene, Picture const& picture)
{
    CanvasPainter painter(canvas, way.painter);
    painter.start(scene, picture);
    painter.show(picture);
    return painter.paint(scene);
}

void comparePainted(Canvas& canvas, Way const& way, Scene const& scene, Picture const& picture)
{
    COMPARE_PICTURES(
        paintedPicture(canvas, way, scene, picture), wantedPicture(way, scene, picture));
}
