#include <memory>
#include <optional>

#include <QPainter>
#include <QTest>

#include "canvas.h"
#include "opengltest.h"
#include "paintway.h"
#include "picturecheck.h"
#include "reference.h"

using Direction = QVideoSurfaceFormat::Direction;

namespace {

QSize const Frame(66, 42);
QColor const Background(20, 110, 190);

struct Orientation
{
    char const* name;
    Direction direction;
    bool mirrored;
};

constexpr Orientation Orientations[] = {
    {"top to bottom", QVideoSurfaceFormat::TopToBottom, false},
    {"bottom to top", QVideoSurfaceFormat::BottomToTop, false},
    {"mirrored", QVideoSurfaceFormat::TopToBottom, true},
    {"bottom to top and mirrored", QVideoSurfaceFormat::BottomToTop, true},
};

struct Mode
{
    char const* name;
    Qt::AspectRatioMode mode;
};

constexpr Mode Modes[] = {
    {"ignored", Qt::IgnoreAspectRatio},
    {"kept", Qt::KeepAspectRatio},
    {"kept by expanding", Qt::KeepAspectRatioByExpanding},
};

Way const& wayNamed(char const* name)
{
    for (Way const& way : allWays()) {
        if (qstrcmp(way.name, name) == 0)
            return way;
    }
    qFatal("No way \"%s\"", name);
}

Scene sceneOf(QSize const& device, Picture const& picture)
{
    Scene scene = wholeScene(device, picture);
    scene.background = Background;
    return scene;
}

} // namespace

/** Where frames land: orientation, aspect ratio, target and source. */
class PaintedGeometry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { mCanvas = std::make_unique<Canvas>(); }
    void cleanupTestCase() { mCanvas.reset(); }

    void orientation_turnsFrameWithinTarget_data() { addOrientations(); }
    void orientation_turnsFrameWithinTarget();
    void targetAwayFromCorner_isPainted_data() { addOrientations(); }
    void targetAwayFromCorner_isPainted();
    void aspectRatio_isKeptByShadersOnly_data();
    void aspectRatio_isKeptByShadersOnly();
    void wideFrameInNarrowTarget_getsBarsAboveAndBelow_data();
    void wideFrameInNarrowTarget_getsBarsAboveAndBelow();
    void barsOfHalfPixels_loseOrKeepAWholeOne();
    void backgroundColor_fillsBarsOfShaders_data();
    void backgroundColor_fillsBarsOfShaders();
    void noFrame_fillsTargetOnly_data();
    void noFrame_fillsTargetOnly();
    void ignoredAspectRatio_clearsWithTheLastColor();
    void source_isCutOut_data();
    void source_isCutOut();
    void fractionalSource_isCutOutByShaders_data();
    void fractionalSource_isCutOutByShaders();
    void painterMovedBefore_movesFrameOfSoftware_data() { addOrientations(PainterKind::Software); }
    void painterMovedBefore_movesFrameOfSoftware();
    void clipOfPainter_cutsFrameButNotClearing();

private:
    void addOrientations(std::optional<PainterKind> kind = std::nullopt);

    std::unique_ptr<Canvas> mCanvas;
};

void PaintedGeometry::addOrientations(std::optional<PainterKind> kind)
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<bool>("mirrored");
    for (Way const& way : allWays()) {
        if (kind && way.painter != *kind)
            continue;
        for (Orientation const& row : Orientations)
            QTest::addRow("%s, %s", way.name, row.name) << way << row.direction << row.mirrored;
    }
}

void PaintedGeometry::orientation_turnsFrameWithinTarget()
{
    QFETCH(Way, way);
    QFETCH(Direction, direction);
    QFETCH(bool, mirrored);
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(Frame * 2, picture);
    scene.scanLineDirection = direction;
    scene.mirrored = mirrored;
    comparePainted(*mCanvas, way, scene, picture);
}

void PaintedGeometry::targetAwayFromCorner_isPainted()
{
    QFETCH(Way, way);
    QFETCH(Direction, direction);
    QFETCH(bool, mirrored);
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(QSize(180, 120), picture);
    scene.target = QRectF(QPointF(24, 10), Frame * 2);
    scene.scanLineDirection = direction;
    scene.mirrored = mirrored;
    for (Mode const& mode : Modes) {
        scene.aspectRatioMode = mode.mode;
        // Without an aspect ratio to keep, nothing sets the colour that surrounds the target.
        if (mode.mode == Qt::IgnoreAspectRatio)
            mCanvas->setClearColor(Background);
        comparePainted(*mCanvas, way, scene, picture);
    }
}

void PaintedGeometry::aspectRatio_isKeptByShadersOnly_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<Qt::AspectRatioMode>("mode");
    QTest::addColumn<QSize>("frame");
    QTest::addColumn<QSize>("device");
    for (Way const& way : allWays()) {
        for (Mode const& mode : Modes) {
            QTest::addRow("%s, %s, wide", way.name, mode.name)
                << way << mode.mode << Frame << QSize(202, 98);
            QTest::addRow("%s, %s, tall", way.name, mode.name)
                << way << mode.mode << Frame << QSize(110, 202);
            QTest::addRow("%s, %s, odd and wide", way.name, mode.name)
                << way << mode.mode << QSize(642, 361) << QSize(402, 126);
        }
    }
}

void PaintedGeometry::aspectRatio_isKeptByShadersOnly()
{
    QFETCH(Way, way);
    QFETCH(Qt::AspectRatioMode, mode);
    QFETCH(QSize, frame);
    QFETCH(QSize, device);
    Picture const picture = makePicture(way, frame);
    Scene scene = sceneOf(device, picture);
    scene.aspectRatioMode = mode;
    comparePainted(*mCanvas, way, scene, picture);
}

void PaintedGeometry::wideFrameInNarrowTarget_getsBarsAboveAndBelow_data()
{
    QTest::addColumn<Qt::AspectRatioMode>("mode");
    QTest::newRow("kept") << Qt::KeepAspectRatio;
    QTest::newRow("kept by expanding") << Qt::KeepAspectRatioByExpanding;
}

void PaintedGeometry::wideFrameInNarrowTarget_getsBarsAboveAndBelow()
{
    QFETCH(Qt::AspectRatioMode, mode);
    Way const way = wayNamed("shaders, RGB32");
    Picture const picture = makePicture(way, QSize(160, 90));
    Scene scene = sceneOf(QSize(160, 120), picture);
    scene.aspectRatioMode = mode;
    QImage wanted(scene.device, QImage::Format_RGBA8888);
    wanted.fill(Background);
    for (int y = 0; y < 90; ++y) {
        for (int x = 0; x < 160; ++x)
            wanted.setPixelColor(x, y + 15, toImage(picture).pixelColor(x, y));
    }
    COMPARE_PICTURES(paintedPicture(*mCanvas, way, scene, picture), wanted);
}

void PaintedGeometry::barsOfHalfPixels_loseOrKeepAWholeOne()
{
    Way const way = wayNamed("shaders, RGB32");
    Picture const picture = makePicture(way, Frame);
    Scene const scene = sceneOf(QSize(200, 90), picture);
    QImage const painted = paintedPicture(*mCanvas, way, scene, picture);
    QImage const lowerLeft = shaderReference(scene, picture, true);
    QImage const upperRight = shaderReference(scene, picture, false);
    QVERIFY(differingPixels(lowerLeft, upperRight) > 90);
    bool const isLowerLeft = differingPixels(painted, lowerLeft) == 0;
    COMPARE_PICTURES(painted, isLowerLeft ? lowerLeft : upperRight);
}

void PaintedGeometry::backgroundColor_fillsBarsOfShaders_data()
{
    QTest::addColumn<QColor>("background");
    QTest::newRow("black") << QColor(Qt::black);
    QTest::newRow("colourful") << QColor(250, 130, 10);
    QTest::newRow("half transparent") << QColor(10, 200, 90, 127);
}

void PaintedGeometry::backgroundColor_fillsBarsOfShaders()
{
    QFETCH(QColor, background);
    Way const way = wayNamed("shaders, YUV420P");
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(QSize(201, 90), picture);
    scene.background = background;
    QImage const wanted = wantedPicture(way, scene, picture);
    QCOMPARE(wanted.pixelColor(0, 0), background);
    QCOMPARE(wanted.pixelColor(200, 89), background);
    COMPARE_PICTURES(paintedPicture(*mCanvas, way, scene, picture), wanted);
}

void PaintedGeometry::noFrame_fillsTargetOnly_data()
{
    QTest::addColumn<Way>("way");
    for (Way const& way : allWays())
        QTest::addRow("%s", way.name) << way;
}

void PaintedGeometry::noFrame_fillsTargetOnly()
{
    QFETCH(Way, way);
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(QSize(180, 120), picture);
    scene.target = QRectF(24, 10, 90, 70);
    QImage wanted(scene.device, QImage::Format_RGBA8888);
    wanted.fill(Untouched);
    for (int y = 10; y < 80; ++y) {
        for (int x = 24; x < 114; ++x)
            wanted.setPixelColor(x, y, Background);
    }
    CanvasPainter painter(*mCanvas, way.painter);
    painter.start(scene, picture);
    COMPARE_PICTURES(painter.paint(scene), wanted);
}

void PaintedGeometry::ignoredAspectRatio_clearsWithTheLastColor()
{
    Way const way = wayNamed("shaders, NV12");
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(QSize(180, 120), picture);
    scene.target = QRectF(QPointF(0, 0), Frame * 2);
    scene.aspectRatioMode = Qt::IgnoreAspectRatio;
    QColor const lastColor(240, 200, 30, 255);
    mCanvas->setClearColor(lastColor);
    QImage const painted = paintedPicture(*mCanvas, way, scene, picture);
    scene.background = lastColor;
    COMPARE_PICTURES(painted, wantedPicture(way, scene, picture));
}

void PaintedGeometry::source_isCutOut_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<bool>("turned");
    for (Way const& way : allWays()) {
        QTest::addRow("%s", way.name) << way << false;
        QTest::addRow("%s, bottom to top and mirrored", way.name) << way << true;
    }
}

void PaintedGeometry::source_isCutOut()
{
    QFETCH(Way, way);
    QFETCH(bool, turned);
    Picture const picture = makePicture(way, QSize(98, 61));
    Scene scene = sceneOf(QSize(90, 60), picture);
    scene.source = QRectF(46, 9, 30, 20);
    scene.aspectRatioMode = Qt::IgnoreAspectRatio;
    if (turned) {
        scene.scanLineDirection = QVideoSurfaceFormat::BottomToTop;
        scene.mirrored = true;
    }
    comparePainted(*mCanvas, way, scene, picture);
}

void PaintedGeometry::fractionalSource_isCutOutByShaders_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<QRectF>("source");
    for (char const* name : {"shaders, RGB32", "shaders, YUV420P", "shaders, NV12"}) {
        Way const& way = wayNamed(name);
        QTest::addRow("%s, inside", name) << way << QRectF(46.3, 9.6, 30.5, 20.7);
        QTest::addRow("%s, over the edges", name) << way << QRectF(-7.5, -4.25, 110, 72);
        QTest::addRow("%s, within one pixel", name) << way << QRectF(10.2, 7.1, 0.7, 0.8);
    }
}

void PaintedGeometry::fractionalSource_isCutOutByShaders()
{
    QFETCH(Way, way);
    QFETCH(QRectF, source);
    Picture const picture = makePicture(way, QSize(98, 61));
    Scene scene = sceneOf(QSize(90, 60), picture);
    scene.source = source;
    scene.aspectRatioMode = Qt::IgnoreAspectRatio;
    comparePainted(*mCanvas, way, scene, picture);
}

void PaintedGeometry::painterMovedBefore_movesFrameOfSoftware()
{
    QFETCH(Way, way);
    QFETCH(Direction, direction);
    QFETCH(bool, mirrored);
    QPoint const distance(12, 7);
    Picture const picture = makePicture(way, Frame);
    Scene scene = sceneOf(Frame * 2, picture);
    scene.scanLineDirection = direction;
    scene.mirrored = mirrored;
    QImage const unmoved = wantedPicture(way, scene, picture);
    scene.device += QSize(20, 30);
    QImage wanted(scene.device, QImage::Format_RGBA8888);
    wanted.fill(Untouched);
    QPainter(&wanted).drawImage(distance, unmoved);

    CanvasPainter painter(*mCanvas, way.painter);
    painter.start(scene, picture);
    painter.show(picture);
    QImage const painted =
        painter.paint(scene, [&](QPainter* device) { device->translate(distance); });
    COMPARE_PICTURES(painted, wanted);
}

void PaintedGeometry::clipOfPainter_cutsFrameButNotClearing()
{
    Way const way = wayNamed("shaders, YUV420P");
    Picture const picture = makePicture(way, Frame);
    Scene const scene = sceneOf(Frame * 2, picture);
    QRect const clip(20, 10, 60, 50);
    QImage wanted(scene.device, QImage::Format_RGBA8888);
    wanted.fill(Background);
    QPainter(&wanted).drawImage(clip, wantedPicture(way, scene, picture), clip);

    CanvasPainter painter(*mCanvas, way.painter);
    painter.start(scene, picture);
    painter.show(picture);
    QImage const painted =
        painter.paint(scene, [&](QPainter* device) { device->setClipRect(clip); });
    COMPARE_PICTURES(painted, wanted);
}

QVORLIN_OPENGL_TEST_MAIN(PaintedGeometry)

#include "tst_paintedgeometry.moc"
