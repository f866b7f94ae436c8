#include <memory>

#include <QOpenGLFunctions>
#include <QPainter>
#include <QTest>

#include "canvas.h"
#include "opengltest.h"
#include "paintway.h"
#include "picturecheck.h"
#include "reference.h"

using Format = QVideoSurfaceFormat;
using Space = Format::YCbCrColorSpace;

namespace {

QColor const Background(20, 110, 190);

/** The picture stretched over all of a device. */
Scene stretched(QSize const& device, Picture const& picture)
{
    Scene scene = wholeScene(device, picture);
    scene.aspectRatioMode = Qt::IgnoreAspectRatio;
    scene.background = Background;
    return scene;
}

struct SpaceRow
{
    char const* name;
    Space space;
    Space other;
};

constexpr SpaceRow SpaceRows[] = {
    {"JPEG", Format::YCbCr_JPEG, Format::YCbCr_BT601},
    {"BT.601", Format::YCbCr_BT601, Format::YCbCr_BT709},
    {"BT.709", Format::YCbCr_BT709, Format::YCbCr_BT601},
    {"xvYCC 601", Format::YCbCr_xvYCC601, Format::YCbCr_xvYCC709},
    {"xvYCC 709", Format::YCbCr_xvYCC709, Format::YCbCr_xvYCC601},
    {"undefined", Format::YCbCr_Undefined, Format::YCbCr_JPEG},
    {"custom", Format::YCbCr_CustomMatrix, Format::YCbCr_BT709},
};

bool isYuv(Way const& way)
{
    return way.format == QVideoFrame::Format_YUV420P || way.format == QVideoFrame::Format_NV12;
}

} // namespace

/** Every kind of frame, painted and read back: the colours and the sampling. */
class PaintedFormats : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { mCanvas = std::make_unique<Canvas>(); }
    void cleanupTestCase() { mCanvas.reset(); }

    void frameOfTargetsSize_isPaintedTexelByTexel_data() { addSizes({{96, 64}, {98, 61}}, 1); }
    void frameOfTargetsSize_isPaintedTexelByTexel() { compareStretched(); }
    void frameOfOddSize_isPaintedToItsEdges_data() { addSizes({{642, 361}}, 1); }
    void frameOfOddSize_isPaintedToItsEdges() { compareStretched(); }
    void smallFrame_isScaledUp_data() { addSizes({{70, 46}, {33, 27}, {2, 2}}, 5); }
    void smallFrame_isScaledUp() { compareStretched(); }
    void largeFrame_isScaledDown_data();
    void largeFrame_isScaledDown() { compareStretched(); }
    void yuvFrame_isConvertedByColourSpace_data();
    void yuvFrame_isConvertedByColourSpace();
    void transparentFrame_isBlendedByQPainterOnly_data();
    void transparentFrame_isBlendedByQPainterOnly();
    void secondFrame_replacesFirst_data();
    void secondFrame_replacesFirst();
    void shadersStartedAgain_paintAnotherSizeAndFormat();

private:
    void addColumns();
    void addSizes(std::initializer_list<QSize> sizes, int scale);
    void compareStretched();

    std::unique_ptr<Canvas> mCanvas;
};

void PaintedFormats::addColumns()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<QSize>("frame");
    QTest::addColumn<QSize>("device");
}

void PaintedFormats::addSizes(std::initializer_list<QSize> sizes, int scale)
{
    addColumns();
    for (Way const& way : allWays()) {
        for (QSize const& size : sizes) {
            QTest::addRow("%s, %d x %d", way.name, size.width(), size.height())
                << way << size << size * scale;
        }
    }
}

void PaintedFormats::largeFrame_isScaledDown_data()
{
    addColumns();
    for (Way const& way : allWays()) {
        QTest::addRow("%s, to a third", way.name) << way << QSize(378, 213) << QSize(126, 71);
        QTest::addRow("%s, to odd parts", way.name) << way << QSize(642, 361) << QSize(200, 111);
    }
}

void PaintedFormats::compareStretched()
{
    QFETCH(Way, way);
    QFETCH(QSize, frame);
    QFETCH(QSize, device);
    Picture const picture = makePicture(way, frame);
    Scene const scene = stretched(device, picture);
    comparePainted(*mCanvas, way, scene, picture);
}

void PaintedFormats::yuvFrame_isConvertedByColourSpace_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<Space>("space");
    QTest::addColumn<Space>("otherSpace");
    for (Way const& way : allWays()) {
        if (!isYuv(way))
            continue;
        for (SpaceRow const& row : SpaceRows)
            QTest::addRow("%s, %s", way.name, row.name) << way << row.space << row.other;
    }
}

void PaintedFormats::yuvFrame_isConvertedByColourSpace()
{
    QFETCH(Way, way);
    QFETCH(Space, space);
    QFETCH(Space, otherSpace);
    Picture const picture = makePicture(way, QSize(98, 61));
    Scene scene = stretched(picture.size, picture);
    scene.colorSpace = otherSpace;
    QImage const other = wantedPicture(way, scene, picture);
    scene.colorSpace = space;
    QImage const wanted = wantedPicture(way, scene, picture);
    QVERIFY(differingPixels(wanted, other) > 98 * 61 / 2);
    COMPARE_PICTURES(paintedPicture(*mCanvas, way, scene, picture), wanted);
}

void PaintedFormats::transparentFrame_isBlendedByQPainterOnly_data()
{
    constexpr auto Pixmap = QAbstractVideoBuffer::QPixmapHandle;
    constexpr auto Texture = QAbstractVideoBuffer::GLTextureHandle;
    constexpr auto Argb = QVideoFrame::Format_ARGB32;
    QTest::addColumn<Way>("way");
    QTest::addColumn<QColor>("wanted");
    // Of the frame's (200, 60, 40) two fifths, and three of what is behind it.
    QColor const overBackground(92, 90, 130);
    QTest::newRow("software") << Way{"", PainterKind::Software, Argb} << overBackground;
    QTest::newRow("software, pixmap")
        << Way{"", PainterKind::Software, Argb, Pixmap} << overBackground;
    QTest::newRow("shaders, pixmap")
        << Way{"", PainterKind::Shaders, Argb, Pixmap} << QColor(230, 36, 154);
    QTest::newRow("shaders") << Way{"", PainterKind::Shaders, Argb} << QColor(200, 60, 40, 102);
    QTest::newRow("shaders, texture")
        << Way{"", PainterKind::Shaders, Argb, Texture} << QColor(200, 60, 40);
}

void PaintedFormats::transparentFrame_isBlendedByQPainterOnly()
{
    QFETCH(Way, way);
    QFETCH(QColor, wanted);
    QSize const size(8, 8);
    Plane const plane = {8, 8, 4, QByteArray("\x28\x3c\xc8\x66").repeated(8 * 8)};
    Picture const picture = {way.format, way.handleType, size, {plane}};
    QImage uniform(size, QImage::Format_RGBA8888);
    uniform.fill(wanted);
    COMPARE_PICTURES(paintedPicture(*mCanvas, way, stretched(size, picture), picture), uniform);
}

void PaintedFormats::secondFrame_replacesFirst_data()
{
    QTest::addColumn<Way>("way");
    for (Way const& way : allWays())
        QTest::addRow("%s", way.name) << way;
}

void PaintedFormats::secondFrame_replacesFirst()
{
    QFETCH(Way, way);
    QSize const size(66, 42);
    Picture const first = makePicture(way, size, 0);
    Picture const second = makePicture(way, size, 1);
    Scene const scene = stretched(size, first);
    QImage const wanted = wantedPicture(way, scene, second);
    QVERIFY(differingPixels(wanted, wantedPicture(way, scene, first)) > 66 * 42 / 2);
    CanvasPainter painter(*mCanvas, way.painter);
    painter.start(scene, first);
    painter.show(first);
    painter.show(second);
    COMPARE_PICTURES(painter.paint(scene), wanted);
}

void PaintedFormats::shadersStartedAgain_paintAnotherSizeAndFormat()
{
    CanvasPainter painter(*mCanvas, PainterKind::Shaders);
    QSize size(98, 61);
    for (Way const& way : allWays()) {
        if (way.painter != PainterKind::Shaders)
            continue;
        Picture const picture = makePicture(way, size);
        Scene const scene = stretched(QSize(90, 63), picture);
        painter.start(scene, picture);
        painter.show(picture);
        COMPARE_PICTURES(painter.paint(scene), wantedPicture(way, scene, picture));
        size += QSize(-12, 6);
    }
}

QVORLIN_OPENGL_TEST_MAIN(PaintedFormats)

#include "tst_paintedformats.moc"
