#include <memory>

#include <QTest>

#include "renderlib/custompaintervideosurface.h"

#include "canvas.h"
#include "opengltest.h"
#include "paintway.h"
#include "picturecheck.h"
#include "reference.h"

using renderlib::CustomPainterVideoSurface;

namespace {

QSize const Frame(98, 61);
QSize const Device(90, 60);
QColor const Background(20, 110, 190);
QRectF const Everything(0, 0, 1, 1);

/** A surface that paints onto a canvas, as the shader type asks for. */
class CanvasSurface
{
public:
    CanvasSurface(Canvas& canvas, PainterKind kind)
        : mCanvas(canvas)
    {
        mSurface.setBackgroundColor(Background);
        mSurface.setAspectRatioMode(Qt::IgnoreAspectRatio);
        mSurface.setGLContext(canvas.context());
        mSurface.setShaderType(kind == PainterKind::Shaders
                                   ? CustomPainterVideoSurface::ShaderGlsl
                                   : CustomPainterVideoSurface::ShaderNone);
        expectConstruction(kind);
    }

    CustomPainterVideoSurface* operator->() { return &mSurface; }

    bool start(Scene const& scene, Picture const& picture, QRect const& viewport = QRect())
    {
        QVideoSurfaceFormat format = surfaceFormat(scene, picture);
        if (viewport.isValid())
            format.setViewport(viewport);
        return mSurface.start(format);
    }
    /** Starts and shows the first picture. */
    bool begin(Scene const& scene, Picture const& picture, QRect const& viewport = QRect())
    {
        return start(scene, picture, viewport) && show(picture);
    }
    bool show(Picture const& picture)
    {
        mSurface.setReady(true);
        return mSurface.present(toFrame(picture));
    }
    QImage paint(QRectF const& source = Everything)
    {
        QImage const image = mCanvas.paint(Device, [&](QPainter* painter) {
            mSurface.paint(painter, QRectF(QPointF(0, 0), Device), source);
        });
        return opaque(image);
    }

private:
    Canvas& mCanvas;
    CustomPainterVideoSurface mSurface;
};

/** All of the picture over all of the device. */
Scene sceneOf(Picture const& picture)
{
    Scene scene = wholeScene(Device, picture);
    scene.background = Background;
    scene.aspectRatioMode = Qt::IgnoreAspectRatio;
    return scene;
}

QImage background()
{
    QImage image(Device, QImage::Format_RGBA8888);
    image.fill(Background);
    return image;
}

QImage wantedOf(Way const& way, Scene const& scene, Picture const& picture)
{
    return opaque(wantedPicture(way, scene, picture));
}

} // namespace

/** What a surface makes of its format, its frames and the part that is asked for. */
class SurfacePictures : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { mCanvas = std::make_unique<Canvas>(); }
    void cleanupTestCase() { mCanvas.reset(); }

    void orientationOfFormat_turnsFrame_data();
    void orientationOfFormat_turnsFrame();
    void source_isPartOfViewport_data();
    void source_isPartOfViewport();
    void restart_takesOnOtherColourSpaceAndViewport();
    void shaderType_changesPainterNotPicture();
    void nextFrame_replacesLastOnceReady();
    void invalidFrame_leavesBackground_data() { addKinds(); }
    void invalidFrame_leavesBackground();
    void stoppedSurface_fillsTarget_data() { addKinds(); }
    void stoppedSurface_fillsTarget();
    void aspectRatioAndBackground_changeWhileActive();

private:
    void addKinds();

    std::unique_ptr<Canvas> mCanvas;
    Way const mSoftware = {"", PainterKind::Software, QVideoFrame::Format_RGB32};
    Way const mShaders = {"", PainterKind::Shaders, QVideoFrame::Format_YUV420P};
};

void SurfacePictures::addKinds()
{
    QTest::addColumn<Way>("way");
    QTest::newRow("software") << mSoftware;
    QTest::newRow("shaders") << mShaders;
}

void SurfacePictures::orientationOfFormat_turnsFrame_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<bool>("upsideDown");
    QTest::addColumn<bool>("mirrored");
    for (Way const& way : allWays()) {
        if (way.handleType != QAbstractVideoBuffer::NoHandle)
            continue;
        QTest::addRow("%s, upright", way.name) << way << false << false;
        QTest::addRow("%s, upside down", way.name) << way << true << false;
        QTest::addRow("%s, mirrored", way.name) << way << false << true;
        QTest::addRow("%s, both", way.name) << way << true << true;
    }
}

void SurfacePictures::orientationOfFormat_turnsFrame()
{
    QFETCH(Way, way);
    QFETCH(bool, upsideDown);
    QFETCH(bool, mirrored);
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(picture);
    if (upsideDown)
        scene.scanLineDirection = QVideoSurfaceFormat::BottomToTop;
    scene.mirrored = mirrored;
    CanvasSurface surface(*mCanvas, way.painter);
    QVERIFY(surface.begin(scene, picture));
    COMPARE_PICTURES(surface.paint(), wantedOf(way, scene, picture));
}

void SurfacePictures::source_isPartOfViewport_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<QRect>("viewport");
    QTest::addColumn<QRectF>("source");
    QTest::addColumn<QRectF>("pixels");
    for (Way const& way : {mSoftware, mShaders}) {
        char const* name = way.painter == PainterKind::Software ? "software" : "shaders";
        QTest::addRow("%s, all of all", name)
            << way << QRect() << Everything << QRectF(0, 0, 98, 61);
        QTest::addRow("%s, all of a viewport", name)
            << way << QRect(41, 22, 30, 20) << Everything << QRectF(41, 22, 30, 20);
        QTest::addRow("%s, part of all", name)
            << way << QRect() << QRectF(0.5, 0, 0.25, 1) << QRectF(49, 0, 24.5, 61);
        QTest::addRow("%s, part of a viewport", name)
            << way << QRect(8, 4, 60, 40) << QRectF(0.25, 0.5, 0.5, 0.5) << QRectF(23, 24, 30, 20);
    }
}

void SurfacePictures::source_isPartOfViewport()
{
    QFETCH(Way, way);
    QFETCH(QRect, viewport);
    QFETCH(QRectF, source);
    QFETCH(QRectF, pixels);
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(picture);
    CanvasSurface surface(*mCanvas, way.painter);
    QVERIFY(surface.begin(scene, picture, viewport));
    scene.source = pixels;
    COMPARE_PICTURES(surface.paint(source), wantedOf(way, scene, picture));
}

void SurfacePictures::restart_takesOnOtherColourSpaceAndViewport()
{
    Picture const picture = makePicture(mShaders, Frame);
    Scene scene = sceneOf(picture);
    CanvasSurface surface(*mCanvas, PainterKind::Shaders);
    for (auto const space : {QVideoSurfaceFormat::YCbCr_JPEG, QVideoSurfaceFormat::YCbCr_BT601,
             QVideoSurfaceFormat::YCbCr_BT709}) {
        scene.colorSpace = space;
        QRect const viewport(int(space), 10 * int(space), 60, 30);
        scene.source = viewport;
        QVERIFY(surface.begin(scene, picture, viewport));
        COMPARE_PICTURES(surface.paint(), wantedOf(mShaders, scene, picture));
    }
}

void SurfacePictures::shaderType_changesPainterNotPicture()
{
    Picture const picture = makePicture(mSoftware, Frame);
    Scene scene = sceneOf(picture);
    scene.source = QRectF(30, 20, 30, 20);
    CanvasSurface surface(*mCanvas, PainterKind::Software);
    QVERIFY(surface.begin(scene, picture, scene.source.toRect()));
    COMPARE_PICTURES(surface.paint(), wantedOf(mSoftware, scene, picture));

    expectMessage(
        QtWarningMsg, QStringLiteral("ResourceError: Painter was destroyed, surface stopped"));
    surface->setShaderType(CustomPainterVideoSurface::ShaderGlsl);
    QVERIFY(surface.begin(scene, picture, scene.source.toRect()));
    COMPARE_PICTURES(surface.paint(), opaque(shaderReference(scene, picture)));
}

void SurfacePictures::nextFrame_replacesLastOnceReady()
{
    Picture const first = makePicture(mShaders, Frame, 0);
    Picture const second = makePicture(mShaders, Frame, 1);
    Scene const scene = sceneOf(first);
    CanvasSurface surface(*mCanvas, PainterKind::Shaders);
    QVERIFY(surface.start(scene, first));
    QVERIFY(surface->present(toFrame(first)));
    QVERIFY(!surface->present(toFrame(second)));
    COMPARE_PICTURES(surface.paint(), wantedOf(mShaders, scene, first));
    QVERIFY(surface.show(second));
    COMPARE_PICTURES(surface.paint(), wantedOf(mShaders, scene, second));
}

void SurfacePictures::invalidFrame_leavesBackground()
{
    QFETCH(Way, way);
    Picture const picture = makePicture(way, Frame);
    CanvasSurface surface(*mCanvas, way.painter);
    QVERIFY(surface.begin(sceneOf(picture), picture));
    surface->setReady(true);
    QVERIFY(surface->present(QVideoFrame()));
    COMPARE_PICTURES(surface.paint(), background());
}

void SurfacePictures::stoppedSurface_fillsTarget()
{
    QFETCH(Way, way);
    Picture const picture = makePicture(way, Frame);
    CanvasSurface surface(*mCanvas, way.painter);
    QVERIFY(surface.begin(sceneOf(picture), picture));
    surface->stop();
    COMPARE_PICTURES(surface.paint(), background());
}

void SurfacePictures::aspectRatioAndBackground_changeWhileActive()
{
    Picture const picture = makePicture(mShaders, QSize(60, 20));
    Scene scene = sceneOf(picture);
    CanvasSurface surface(*mCanvas, PainterKind::Shaders);
    QVERIFY(surface.begin(scene, picture));
    COMPARE_PICTURES(surface.paint(), wantedOf(mShaders, scene, picture));
    scene.aspectRatioMode = Qt::KeepAspectRatio;
    scene.background = QColor(230, 150, 40);
    surface->setAspectRatioMode(scene.aspectRatioMode);
    surface->setBackgroundColor(scene.background);
    COMPARE_PICTURES(surface.paint(), wantedOf(mShaders, scene, picture));
}

QVORLIN_OPENGL_TEST_MAIN(SurfacePictures)

#include "tst_surfacepictures.moc"
