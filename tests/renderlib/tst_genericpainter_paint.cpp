#include <memory>

#include <QImage>
#include <QPainter>
#include <QPixmap>

#include "messagecheck.h"
#include "openglmodule.h"
#include "painterframes.h"
#include "renderlib/customvideosurfacegenericpainter.h"

using Buffer = QAbstractVideoBuffer;
using Format = QVideoSurfaceFormat;
using Surface = QAbstractVideoSurface;

namespace {

/** A 2 x 2 picture of four colours: red, green / blue, white. */
QImage quarters()
{
    QImage image(2, 2, QImage::Format_RGB32);
    image.setPixelColor(0, 0, Qt::red);
    image.setPixelColor(1, 0, Qt::green);
    image.setPixelColor(0, 1, Qt::blue);
    image.setPixelColor(1, 1, Qt::white);
    return image;
}

/** One letter for each pixel, lines separated by '/'; '.' stands for what nobody painted. */
QByteArray letters(QImage const& image)
{
    static QHash<QRgb, char> const names{{0xffff0000, 'r'}, {0xff00ff00, 'g'}, {0xff0000ff, 'b'},
        {0xffffffff, 'w'}, {0xff000000, 'k'}, {0xffff00ff, '.'}, {0xff808080, 'n'}};
    QByteArray text;
    for (int y = 0; y < image.height(); ++y) {
        if (y > 0)
            text += '/';
        for (int x = 0; x < image.width(); ++x)
            text += names.value(image.pixel(x, y), '?');
    }
    return text;
}

/** A painter beside a canvas that it paints to. */
struct Bench
{
    OpenGLModuleChange quiet{QOpenGLContext::LibGLES};
    renderlib::CustomVideoSurfaceGenericPainter painter;
    QImage canvas;
    QPainter qpainter;

    explicit Bench(QSize const& size = {4, 4})
        : canvas(size, QImage::Format_RGB32)
    {
        canvas.fill(Qt::magenta);
        qpainter.begin(&canvas);
    }
    ~Bench() { qpainter.end(); }

    void start(Format format = surfaceFormat(QVideoFrame::Format_RGB32, {2, 2}))
    {
        QCOMPARE(painter.start(format), Surface::NoError);
    }

    QByteArray painted(QRectF const& target, QRectF const& source = {0, 0, 2, 2})
    {
        auto const error = painter.paint(target, &qpainter, source);
        return error == Surface::NoError ? letters(canvas) : "error " + QByteArray::number(error);
    }
};

} // namespace

class GenericPainterPaintTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noFrame_fillsTargetWithBackground();
    void newPainter_fillsWithBlack();
    void frameBeforeStart_paintsBackgroundOnly();
    void frame_coversWholeTargetInEveryAspectMode();
    void translucentFrame_showsBackground();
    void source_choosesPartOfFrame();
    void lines_followAtTheirStride();
    void formatWithoutListing_isPainted();
    void direction_flipsWithinTarget_data();
    void direction_flipsWithinTarget();
    void flippedTargetAwayFromOrigin_reachesFromAxis();
    void painterTransform_isKeptAndRestored();
    void frame_isMappedReadOnlyWhilePainted();
    void unmappableFrame_isIncorrectFormat();
    void pixmapFrame_isPainted_data();
    void pixmapFrame_isPainted();
    void pixmapFrame_ignoresDirection();
};

void GenericPainterPaintTest::noFrame_fillsTargetWithBackground()
{
    Bench bench;
    bench.painter.setBackgroundColor(Qt::red);
    QCOMPARE(bench.painted({1, 1, 2, 2}), QByteArray("..../.rr./.rr./...."));
}

void GenericPainterPaintTest::newPainter_fillsWithBlack()
{
    Bench bench;
    QCOMPARE(bench.painted({0, 0, 4, 2}), QByteArray("kkkk/kkkk/..../...."));
}

void GenericPainterPaintTest::frameBeforeStart_paintsBackgroundOnly()
{
    Bench bench;
    bench.painter.setCurrentFrame(quarters());
    QCOMPARE(bench.painted({0, 0, 4, 4}), QByteArray("kkkk/kkkk/kkkk/kkkk"));
}

void GenericPainterPaintTest::frame_coversWholeTargetInEveryAspectMode()
{
    for (auto mode : {Qt::KeepAspectRatio, Qt::KeepAspectRatioByExpanding, Qt::IgnoreAspectRatio}) {
        Bench bench;
        bench.start();
        bench.painter.setAspectRatioMode(mode);
        bench.painter.setCurrentFrame(quarters());
        QCOMPARE(bench.painted({0, 0, 4, 2}), QByteArray("rrgg/bbww/..../...."));
    }
}

void GenericPainterPaintTest::translucentFrame_showsBackground()
{
    Bench bench;
    bench.start(surfaceFormat(QVideoFrame::Format_ARGB32, {2, 2}));
    bench.painter.setBackgroundColor(Qt::white);
    QImage image(2, 2, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    image.setPixelColor(0, 0, Qt::red);
    bench.painter.setCurrentFrame(image);
    QCOMPARE(bench.painted({0, 0, 2, 2}), QByteArray("rw../ww../..../...."));
}

void GenericPainterPaintTest::source_choosesPartOfFrame()
{
    Bench bench;
    bench.start();
    bench.painter.setCurrentFrame(quarters());
    QCOMPARE(bench.painted({0, 0, 4, 4}, {1, 0, 1, 2}), QByteArray("gggg/gggg/wwww/wwww"));
}

void GenericPainterPaintTest::lines_followAtTheirStride()
{
    // Two pixels, and one of padding that must not be seen.
    QRgb const pixels[] = {0xffff0000, 0xff00ff00, 0xff808080, 0xff0000ff, 0xffffffff, 0xff808080};
    MemoryBuffer::Log log;
    QByteArray const data(reinterpret_cast<char const*>(pixels), sizeof(pixels));
    Bench bench;
    bench.start();
    bench.painter.setCurrentFrame(
        {new MemoryBuffer(data, 12, &log), {2, 2}, QVideoFrame::Format_RGB32});
    QCOMPARE(bench.painted({0, 0, 2, 2}), QByteArray("rg../bw../..../...."));
}

void GenericPainterPaintTest::formatWithoutListing_isPainted()
{
    Bench bench;
    bench.start(surfaceFormat(QVideoFrame::Format_RGB565, {2, 2}));
    bench.painter.setCurrentFrame(quarters().convertToFormat(QImage::Format_RGB16));
    QCOMPARE(bench.painted({0, 0, 2, 2}), QByteArray("rg../bw../..../...."));
}

void GenericPainterPaintTest::direction_flipsWithinTarget_data()
{
    QTest::addColumn<Format::Direction>("direction");
    QTest::addColumn<bool>("mirrored");
    QTest::addColumn<QByteArray>("painted");

    QTest::newRow("upright") << Format::TopToBottom << false << QByteArray("rrgg/bbww/..../....");
    QTest::newRow("upside down") << Format::BottomToTop << false
                                 << QByteArray("bbww/rrgg/..../....");
    QTest::newRow("mirrored") << Format::TopToBottom << true << QByteArray("ggrr/wwbb/..../....");
    QTest::newRow("both") << Format::BottomToTop << true << QByteArray("wwbb/ggrr/..../....");
}

void GenericPainterPaintTest::direction_flipsWithinTarget()
{
    QFETCH(Format::Direction, direction);
    QFETCH(bool, mirrored);
    Format format = surfaceFormat(QVideoFrame::Format_RGB32, {2, 2});
    format.setScanLineDirection(direction);
    format.setProperty("mirrored", mirrored);
    Bench bench;
    bench.start(format);
    bench.painter.setCurrentFrame(quarters());
    QTEST(bench.painted({0, 0, 4, 2}), "painted");
}

void GenericPainterPaintTest::flippedTargetAwayFromOrigin_reachesFromAxis()
{
    Format format = surfaceFormat(QVideoFrame::Format_RGB32, {2, 2});
    format.setScanLineDirection(Format::BottomToTop);
    format.setProperty("mirrored", true);
    Bench bench;
    bench.start(format);
    bench.painter.setCurrentFrame(quarters());
    QCOMPARE(bench.painted({2, 2, 2, 2}), QByteArray("wwbb/wwbb/ggrr/ggrr"));
}

void GenericPainterPaintTest::painterTransform_isKeptAndRestored()
{
    Format format = surfaceFormat(QVideoFrame::Format_RGB32, {2, 2});
    format.setScanLineDirection(Format::BottomToTop);
    Bench bench;
    bench.start(format);
    bench.painter.setCurrentFrame(quarters());
    QTransform const shifted = QTransform::fromTranslate(2, 1);
    bench.qpainter.setTransform(shifted);
    QCOMPARE(bench.painted({0, 0, 2, 2}), QByteArray("..../..bw/..rg/...."));
    QCOMPARE(bench.qpainter.transform(), shifted);
}

void GenericPainterPaintTest::frame_isMappedReadOnlyWhilePainted()
{
    MemoryBuffer::Log log;
    Bench bench;
    bench.start();
    bench.painter.setCurrentFrame(
        {new MemoryBuffer(QByteArray(16, '\0'), 8, &log), {2, 2}, QVideoFrame::Format_RGB32});
    QCOMPARE(bench.painted({0, 0, 2, 2}), QByteArray("kk../kk../..../...."));
    QCOMPARE(bench.painted({2, 2, 2, 2}), QByteArray("kk../kk../..kk/..kk"));
    QCOMPARE(log.mode, Buffer::ReadOnly);
    QCOMPARE(log.mapCount, 2);
    QCOMPARE(log.unmapCount, 2);
    QVERIFY(!log.released);
}

void GenericPainterPaintTest::unmappableFrame_isIncorrectFormat()
{
    for (auto handle : {Buffer::NoHandle, Buffer::GLTextureHandle}) {
        Bench bench;
        bench.start();
        bench.painter.setBackgroundColor(Qt::white);
        bench.painter.setCurrentFrame(handleFrame(handle, 1));
        QCOMPARE(bench.painter.paint({0, 0, 2, 1}, &bench.qpainter, {0, 0, 2, 2}),
            Surface::IncorrectFormatError);
        QCOMPARE(letters(bench.canvas), QByteArray("ww../..../..../...."));
    }
}

void GenericPainterPaintTest::pixmapFrame_isPainted_data()
{
    QTest::addColumn<QVariant>("handle");
    QTest::addColumn<QByteArray>("painted");

    QTest::newRow("pixmap") << QVariant(QPixmap::fromImage(quarters()))
                            << QByteArray("gggg/gggg/wwww/wwww");
    QTest::newRow("image, converted") << QVariant(quarters()) << QByteArray("gggg/gggg/wwww/wwww");
    QTest::newRow("null pixmap") << QVariant(QPixmap()) << QByteArray("kkkk/kkkk/kkkk/kkkk");
    QTest::newRow("text") << QVariant(QStringLiteral("none")) << QByteArray("kkkk/kkkk/kkkk/kkkk");
    QTest::newRow("nothing") << QVariant() << QByteArray("kkkk/kkkk/kkkk/kkkk");
}

void GenericPainterPaintTest::pixmapFrame_isPainted()
{
    QFETCH(QVariant, handle);
    Bench bench;
    bench.start(surfaceFormat(QVideoFrame::Format_RGB32, {2, 2}, Buffer::QPixmapHandle));
    bench.painter.setCurrentFrame(handleFrame(Buffer::QPixmapHandle, handle, {2, 2}));
    QTEST(bench.painted({0, 0, 4, 4}, {1, 0, 1, 2}), "painted");
}

void GenericPainterPaintTest::pixmapFrame_ignoresDirection()
{
    Format format = surfaceFormat(QVideoFrame::Format_RGB32, {2, 2}, Buffer::QPixmapHandle);
    format.setScanLineDirection(Format::BottomToTop);
    format.setProperty("mirrored", true);
    Bench bench;
    bench.start(format);
    bench.painter.setCurrentFrame(
        handleFrame(Buffer::QPixmapHandle, QPixmap::fromImage(quarters()), {2, 2}));
    QCOMPARE(bench.painted({0, 0, 2, 2}), QByteArray("rg../bw../..../...."));
}

QVORLIN_TEST_MAIN(QGuiApplication, GenericPainterPaintTest)
#include "tst_genericpainter_paint.moc"
