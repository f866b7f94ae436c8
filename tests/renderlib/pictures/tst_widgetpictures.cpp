#include <memory>

#include <QOpenGLContext>
#include <QOpenGLShaderProgram>
#include <QPainter>
#include <QTest>
#include <QWindow>

#include "renderlib/customvideowidget.h"

#include "opengltest.h"
#include "paintway.h"
#include "picturecheck.h"
#include "reference.h"
#include "videowindow.h"

namespace {
bool shadersAvailable = true;
}

bool QOpenGLShaderProgram::hasOpenGLShaderPrograms(QOpenGLContext*)
{
    return shadersAvailable;
}

namespace {

QSize const WindowSize(320, 240);
QSize const Frame(160, 90);

Picture const& yuvPicture()
{
    static Picture const picture = makePicture(QVideoFrame::Format_YUV420P, Frame);
    return picture;
}

QImage wantedOf(VideoWindow const& window, Picture const& picture)
{
    return shaderReference(window.scene(picture), picture);
}

class Patch : public renderlib::CustomSubWidget
{
public:
    Patch(renderlib::CustomVideoWidget* widget, QRect const& place, QColor const& color)
        : CustomSubWidget(widget)
        , mColor(color)
    {
        setGeometry(place);
    }
    void paint(QPainter* painter) override
    {
        // The upper half as a shape, the lower one as an image, which needs a texture.
        QSize const half(width(), height() / 2);
        QImage image(half, QImage::Format_RGB32);
        image.fill(mColor);
        painter->fillRect(QRect(QPoint(0, 0), half), mColor);
        painter->drawImage(0, half.height(), image);
    }

private:
    QColor const mColor;
};

void fill(QImage* image, QRect const& place, QColor const& color)
{
    for (int y = place.top(); y <= place.bottom(); ++y) {
        for (int x = place.left(); x <= place.right(); ++x)
            image->setPixelColor(x, y, color);
    }
}

} // namespace

/** What a video widget puts on the screen, from the frame to the pixels of its window. */
class WidgetPictures : public QObject
{
    Q_OBJECT

private slots:
    void init() { shadersAvailable = true; }

    void pixelRatio_isTheScaleFactor();
    void frame_fillsWindowInPixels_data();
    void frame_fillsWindowInPixels();
    void painted_isOnScreen();
    void viewport_isCutOut_data();
    void viewport_isCutOut();
    void viewport_waitsForRestart();
    void mirrored_isLeftRightAndWaitsForRestart();
    void aspectRatioMode_changesAtOnce_data();
    void aspectRatioMode_changesAtOnce();
    void backgroundColor_surroundsVideo();
    void resizedWindow_isFilledAgain();
    void hiddenWindow_showsLastFrameAgain();
    void invalidFrame_clearsToBackground();
    void overlays_lieOverVideoInOrder_data();
    void overlays_lieOverVideoInOrder();
};

void WidgetPictures::pixelRatio_isTheScaleFactor()
{
    QByteArray const factor = qgetenv("QT_SCALE_FACTOR");
    VideoWindow const window(WindowSize);
    QCOMPARE(window.windowHandle()->devicePixelRatio(), factor.isEmpty() ? 1 : factor.toDouble());
}

void WidgetPictures::frame_fillsWindowInPixels_data()
{
    QTest::addColumn<Way>("way");
    for (Way const& way : allWays()) {
        // Nothing is painted behind these, and what the window holds there is anything.
        bool const hasHoles = way.painter == PainterKind::Shaders &&
                              way.handleType == QAbstractVideoBuffer::QPixmapHandle &&
                              way.format == QVideoFrame::Format_ARGB32;
        if (!hasHoles)
            QTest::addRow("%s", way.name) << way;
    }
}

void WidgetPictures::frame_fillsWindowInPixels()
{
    QFETCH(Way, way);
    if (!isOpenGLESRun() && qstrcmp(way.name, "software, ARGB32") == 0)
        QSKIP(
            "Mesa's llvmpipe gets the red wrong when QPainter blends such an image with a window");
    shadersAvailable = way.painter == PainterKind::Shaders;
    expectConstruction(way.painter);
    VideoWindow window(WindowSize);
    window.setBackgroundColor(QColor(20, 110, 190));
    Picture const picture = makePicture(way, Frame);
    std::unique_ptr<PictureTexture> texture;
    if (way.handleType == QAbstractVideoBuffer::GLTextureHandle)
        texture = std::make_unique<PictureTexture>(picture);
    QImage const shown = window.show(toFrame(picture, texture ? texture->name() : 0));
    QImage const wanted = opaque(wantedPicture(way, window.scene(picture), picture));
    // Around what QPainter draws, the window holds anything.
    bool const byQPainter = way.painter == PainterKind::Software ||
                            way.handleType == QAbstractVideoBuffer::QPixmapHandle;
    if (byQPainter)
        COMPARE_PICTURES(window.painted(shown), window.painted(wanted));
    else
        COMPARE_PICTURES(shown, wanted);
}

void WidgetPictures::painted_isOnScreen()
{
    VideoWindow window(WindowSize);
    QImage const shown = window.show(toFrame(yuvPicture()));
    COMPARE_PICTURES(shown, wantedOf(window, yuvPicture()));
    QTRY_VERIFY(differingPixels(window.onScreen(), shown, 0) == 0);
}

void WidgetPictures::viewport_isCutOut_data()
{
    QTest::addColumn<QRectF>("viewport");
    QTest::addColumn<QSize>("frame");
    QTest::addColumn<QRect>("wanted");
    QSize const hd(1920, 1080);
    QSize const odd(642, 361);
    QTest::newRow("right half") << QRectF(0.5, 0, 0.5, 1) << hd << QRect(960, 0, 960, 1080);
    QTest::newRow("parts are truncated")
        << QRectF(0.1, 0.1, 0.7, 0.7) << odd << QRect(64, 36, 449, 252);
    QTest::newRow("parts, whole") << QRectF(0, 0, 1, 1) << odd << QRect(0, 0, 642, 361);
    QTest::newRow("parts left of and above the frame")
        << QRectF(-0.0523, -0.0521, 0.4, 0.5) << odd << QRect(-33, -18, 256, 180);
    QTest::newRow("pixels, size rounded up at half and more")
        << QRectF(100, 50, 640.4, 480.6) << hd << QRect(100, 50, 640, 481);
    QTest::newRow("pixels, halves")
        << QRectF(100.5, 50.5, 200.5, 120.5) << odd << QRect(101, 51, 201, 121);
    QTest::newRow("pixels, below halves")
        << QRectF(100.49, 50.49, 200.49, 120.49) << odd << QRect(100, 50, 200, 120);
    QTest::newRow("pixels left of and above the frame")
        << QRectF(-10.5, -7.6, 200, 100) << odd << QRect(-10, -8, 200, 100);
    QTest::newRow("pixels, because wider than 1")
        << QRectF(0, 0, 1.5, 1) << QSize(16, 12) << QRect(0, 0, 2, 1);
    QTest::newRow("pixels, because higher than 1")
        << QRectF(3, 2, 1, 1.4) << QSize(16, 12) << QRect(3, 2, 1, 1);
    QTest::newRow("without a width, all") << QRectF(5, 5, 0, 0.5) << odd << QRect(0, 0, 642, 361);
    QTest::newRow("without a height, all") << QRectF(5, 5, 0.5, -1) << odd << QRect(0, 0, 642, 361);
}

void WidgetPictures::viewport_isCutOut()
{
    QFETCH(QRectF, viewport);
    QFETCH(QSize, frame);
    QFETCH(QRect, wanted);
    VideoWindow window(WindowSize);
    window.setViewport(viewport);
    window.setAspectRatioMode(Qt::IgnoreAspectRatio);
    Picture const picture = makePicture(QVideoFrame::Format_YUV420P, frame);
    Scene scene = window.scene(picture);
    scene.source = wanted;
    QImage const wantedImage = shaderReference(scene, picture);
    // A pixel more or less would show.
    for (QRect const& other : {wanted.adjusted(-1, 0, 0, 0), wanted.adjusted(0, -1, 0, 0),
             wanted.adjusted(0, 0, 1, 0), wanted.adjusted(0, 0, 0, 1)}) {
        scene.source = other;
        QVERIFY(differingPixels(shaderReference(scene, picture), wantedImage) > 0);
    }
    COMPARE_PICTURES(window.show(toFrame(picture)), wantedImage);
}

void WidgetPictures::viewport_waitsForRestart()
{
    VideoWindow window(WindowSize);
    QImage const whole = wantedOf(window, yuvPicture());
    COMPARE_PICTURES(window.show(toFrame(yuvPicture())), whole);
    window.setViewport(QRectF(40, 20, 80, 45));
    COMPARE_PICTURES(window.show(toFrame(yuvPicture())), whole);

    // A frame of another size stops the picture; the next one starts it with the viewport.
    Picture const other = makePicture(QVideoFrame::Format_YUV420P, Frame * 2);
    window.updateFrame(toFrame(other));
    Scene scene = window.scene(other);
    scene.source = QRectF(40, 20, 80, 45);
    COMPARE_PICTURES(window.show(toFrame(other)), shaderReference(scene, other));
}

void WidgetPictures::mirrored_isLeftRightAndWaitsForRestart()
{
    VideoWindow window(WindowSize);
    QImage const plain = wantedOf(window, yuvPicture());
    COMPARE_PICTURES(window.show(toFrame(yuvPicture())), plain);
    window.setMirrored(true);
    COMPARE_PICTURES(window.show(toFrame(yuvPicture())), plain);

    Picture const other = makePicture(QVideoFrame::Format_YUV420P, Frame * 2);
    window.updateFrame(toFrame(other));
    COMPARE_PICTURES(window.show(toFrame(other)), wantedOf(window, other));
}

void WidgetPictures::aspectRatioMode_changesAtOnce_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("wide") << QSize(400, 90);
    QTest::newRow("tall") << QSize(160, 290);
}

void WidgetPictures::aspectRatioMode_changesAtOnce()
{
    QFETCH(QSize, size);
    VideoWindow window(size);
    COMPARE_PICTURES(window.show(toFrame(yuvPicture())), wantedOf(window, yuvPicture()));
    for (Qt::AspectRatioMode mode :
        {Qt::IgnoreAspectRatio, Qt::KeepAspectRatioByExpanding, Qt::KeepAspectRatio}) {
        QImage const shown = window.next([&] { window.setAspectRatioMode(mode); });
        COMPARE_PICTURES(shown, wantedOf(window, yuvPicture()));
    }
}

void WidgetPictures::backgroundColor_surroundsVideo()
{
    VideoWindow window(WindowSize);
    QImage const onBlack = window.show(toFrame(yuvPicture()));
    QCOMPARE(onBlack.pixelColor(0, 0), QColor(Qt::black));
    window.setBackgroundColor(QColor(200, 90, 30));
    QImage const shown = window.show(toFrame(yuvPicture()));
    COMPARE_PICTURES(shown, wantedOf(window, yuvPicture()));
    QCOMPARE(shown.pixelColor(0, 0), QColor(200, 90, 30));
}

void WidgetPictures::resizedWindow_isFilledAgain()
{
    VideoWindow window(WindowSize);
    window.show(toFrame(yuvPicture()));
    for (QSize const& size : {QSize(480, 360), QSize(200, 120)}) {
        window.next([&] { window.resize(size); });
        QImage const shown = window.show(toFrame(yuvPicture()));
        COMPARE_PICTURES(shown, wantedOf(window, yuvPicture()));
    }
}

void WidgetPictures::hiddenWindow_showsLastFrameAgain()
{
    VideoWindow window(WindowSize);
    QImage const before = window.show(toFrame(yuvPicture()));
    window.hide();
    QImage const after = window.next([&] { window.QWidget::show(); });
    COMPARE_PICTURES(after, before);
}

void WidgetPictures::invalidFrame_clearsToBackground()
{
    VideoWindow window(WindowSize);
    window.setBackgroundColor(QColor(200, 90, 30));
    window.show(toFrame(yuvPicture()));
    QImage wanted(WindowSize, QImage::Format_RGBA8888);
    wanted.fill(window.backgroundColor());
    COMPARE_PICTURES(window.painted(window.show(QVideoFrame())), wanted);
}

void WidgetPictures::overlays_lieOverVideoInOrder_data()
{
    QTest::addColumn<QVideoFrame::PixelFormat>("format");
    QTest::newRow("one texture") << QVideoFrame::Format_RGB32;
    QTest::newRow("two textures") << QVideoFrame::Format_NV12;
    QTest::newRow("three textures") << QVideoFrame::Format_YUV420P;
}

void WidgetPictures::overlays_lieOverVideoInOrder()
{
    QFETCH(QVideoFrame::PixelFormat, format);
    Picture const picture = makePicture(format, Frame);
    VideoWindow window(WindowSize);
    QRect const lower(20, 60, 50, 40);
    QRect const upper(50, 80, 60, 30);
    Patch const first(&window, lower, QColor(240, 30, 60));
    Patch const second(&window, upper, QColor(30, 240, 120));
    FramebufferReader reader(&window);
    QImage wanted = wantedOf(window, picture);
    // The second time, the painter of the video finds what the overlays have left behind.
    for (int i = 0; i < 2; ++i)
        COMPARE_PICTURES(window.show(toFrame(picture)), wanted);
    fill(&wanted, lower, QColor(240, 30, 60));
    fill(&wanted, upper, QColor(30, 240, 120));
    COMPARE_PICTURES(reader.image, wanted);
}

QVORLIN_OPENGL_TEST_MAIN(WidgetPictures)

#include "tst_widgetpictures.moc"
