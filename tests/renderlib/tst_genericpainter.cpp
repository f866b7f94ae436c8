#include <array>
#include <cstring>
#include <memory>

#include <QImage>
#include <QPainter>

#include "messagecheck.h"
#include "objectlayout.h"
#include "openglmodule.h"
#include "painterframes.h"
#include "renderlib/customvideosurfacegenericpainter.h"
#include "renderlib/rendererror.h"

using Buffer = QAbstractVideoBuffer;
using Format = QVideoSurfaceFormat;
using Painter = renderlib::CustomVideoSurfaceGenericPainter;
using Surface = QAbstractVideoSurface;

Q_DECLARE_METATYPE(QOpenGLContext::OpenGLModuleType)

namespace {

std::unique_ptr<Painter> makePainter()
{
    if (openGLModule == QOpenGLContext::LibGL) {
        expectMessage(QtWarningMsg,
            QStringLiteral("CustomVideoSurfaceGenericPainter: OpenGL context not a LibGLES: 0"));
    }
    return std::make_unique<Painter>();
}

QOpenGLContext::OpenGLModuleType const Modules[] = {QOpenGLContext::LibGL, QOpenGLContext::LibGLES};

} // namespace

class GenericPainterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void surfaceErrors_areRenderErrors();
    void virtualOperations_haveTheirPlaces();
    void construction_warnsUnlessModuleIsGLES();
    void newPainter_hasDefaults();
    void members_lieInOrder();
    void accessors_keepWhatIsSet();
    void supportedPixelFormats_dependOnHandle();
    void isFormatSupported_dependsOnFormat_data();
    void isFormatSupported_dependsOnFormat();
    void start_dependsOnFormatAndModule_data();
    void start_dependsOnFormatAndModule();
    void setCurrentFrame_keepsFrameUnmapped();
    void stop_releasesFrame();
    void start_releasesFrame();
    void updateColors_changesNothing();
    void viewportDestroyed_keepsFrame();
};

void GenericPainterTest::surfaceErrors_areRenderErrors()
{
    QCOMPARE(int(renderlib::RenderNoError), 0);
    QCOMPARE(int(renderlib::RenderUnsupportedFormatError), 1);
    QCOMPARE(int(renderlib::RenderIncorrectFormatError), 2);
    QCOMPARE(int(renderlib::RenderStoppedError), 3);
    QCOMPARE(int(renderlib::RenderResourceError), 4);
    QCOMPARE(int(Surface::ResourceError), 4);
}

void GenericPainterTest::virtualOperations_haveTheirPlaces()
{
    // The destructor takes the first two places.
    using Base = renderlib::CustomVideoSurfacePainter;
    QCOMPARE(virtualSlot(&Base::supportedPixelFormats), size_t{2});
    QCOMPARE(virtualSlot(&Base::isFormatSupported), size_t{3});
    QCOMPARE(virtualSlot(&Base::start), size_t{4});
    QCOMPARE(virtualSlot(&Base::stop), size_t{5});
    QCOMPARE(virtualSlot(&Base::setCurrentFrame), size_t{6});
    QCOMPARE(virtualSlot(&Base::paint), size_t{7});
    QCOMPARE(virtualSlot(&Base::backgroundColor), size_t{8});
    QCOMPARE(virtualSlot(&Base::setBackgroundColor), size_t{9});
    QCOMPARE(virtualSlot(&Base::aspectRatioMode), size_t{10});
    QCOMPARE(virtualSlot(&Base::setAspectRatioMode), size_t{11});
    QCOMPARE(virtualSlot(&Base::updateColors), size_t{12});
    QCOMPARE(virtualSlot(&Base::viewportDestroyed), size_t{13});
    QCOMPARE(sizeof(Base), sizeof(void*));
}

void GenericPainterTest::construction_warnsUnlessModuleIsGLES()
{
    // expectMessage() fails the program when the warning doesn't come, or another one does.
    makePainter();
    OpenGLModuleChange const change(QOpenGLContext::LibGLES);
    makePainter();
}

void GenericPainterTest::newPainter_hasDefaults()
{
    auto const painter = makePainter();
    QCOMPARE(painter->backgroundColor(), QColor(Qt::black));
    QCOMPARE(painter->aspectRatioMode(), Qt::KeepAspectRatio);
    QSize const noSize(-1, -1);
    QVERIFY(offsetIn(*painter, noSize) > 0);
}

void GenericPainterTest::members_lieInOrder()
{
    auto const painter = makePainter();
    QColor const color(12, 34, 56, 78);
    painter->setBackgroundColor(color);
    painter->setAspectRatioMode(Qt::KeepAspectRatioByExpanding);
    Format format = surfaceFormat(QVideoFrame::Format_ARGB32, {1234, 4321});
    format.setScanLineDirection(Format::BottomToTop);
    format.setProperty("mirrored", true);
    QCOMPARE(painter->start(format), Surface::NoError);

    struct
    {
        QSize size{1234, 4321};
        QImage::Format format = QImage::Format_ARGB32;
        Format::Direction direction = Format::BottomToTop;
        bool mirrored = true;
    } const started;
    auto const sizeOffset = offsetIn(*painter, started.size);
    QCOMPARE(size_t(sizeOffset), sizeof(void*) + sizeof(QList<int>) + sizeof(QVideoFrame));
    QCOMPARE(offsetIn(*painter, started.format), sizeOffset + 8);
    QCOMPARE(offsetIn(*painter, started.direction), sizeOffset + 12);
    // Without the padding at its end, which holds anything.
    std::array<char, 14> colorBytes;
    std::memcpy(colorBytes.data(), &color, colorBytes.size());
    QCOMPARE(offsetIn(*painter, colorBytes), sizeOffset + 20);
    QCOMPARE(
        sizeof(Painter), size_t(sizeOffset) + 20 + sizeof(QColor) + sizeof(Qt::AspectRatioMode));
}

void GenericPainterTest::accessors_keepWhatIsSet()
{
    auto const painter = makePainter();
    painter->setBackgroundColor(QColor(1, 2, 3, 4));
    painter->setAspectRatioMode(Qt::IgnoreAspectRatio);
    QCOMPARE(painter->backgroundColor(), QColor(1, 2, 3, 4));
    QCOMPARE(painter->aspectRatioMode(), Qt::IgnoreAspectRatio);
}

void GenericPainterTest::supportedPixelFormats_dependOnHandle()
{
    auto const painter = makePainter();
    QList<QVideoFrame::PixelFormat> const rgb{
        QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32};
    QCOMPARE(painter->supportedPixelFormats(Buffer::NoHandle), rgb);
    QCOMPARE(painter->supportedPixelFormats(Buffer::QPixmapHandle), rgb);
    for (int handle : {1, 2, 3, 5, 1000}) {
        QVERIFY2(painter->supportedPixelFormats(Buffer::HandleType(handle)).isEmpty(),
            qPrintable(QString::number(handle)));
    }
}

void GenericPainterTest::isFormatSupported_dependsOnFormat_data()
{
    QTest::addColumn<Format>("format");
    QTest::addColumn<bool>("supported");

    QTest::newRow("RGB32") << surfaceFormat(QVideoFrame::Format_RGB32) << true;
    QTest::newRow("ARGB32") << surfaceFormat(QVideoFrame::Format_ARGB32) << true;
    QTest::newRow("one pixel") << surfaceFormat(QVideoFrame::Format_RGB32, {1, 1}) << true;
    QTest::newRow("RGB24") << surfaceFormat(QVideoFrame::Format_RGB24) << false;
    QTest::newRow("YUV420P") << surfaceFormat(QVideoFrame::Format_YUV420P) << false;
    QTest::newRow("invalid") << Format() << false;
    QTest::newRow("no width") << surfaceFormat(QVideoFrame::Format_RGB32, {0, 4}) << false;
    QTest::newRow("no height") << surfaceFormat(QVideoFrame::Format_RGB32, {4, 0}) << false;
    QTest::newRow("negative") << surfaceFormat(QVideoFrame::Format_RGB32, {-4, -4}) << false;
    QTest::newRow("pixmap") << surfaceFormat(
                                   QVideoFrame::Format_YUV420P, {0, 0}, Buffer::QPixmapHandle)
                            << true;
    QTest::newRow("texture") << surfaceFormat(
                                    QVideoFrame::Format_RGB32, {4, 4}, Buffer::GLTextureHandle)
                             << false;
    QTest::newRow("user's handle")
        << surfaceFormat(QVideoFrame::Format_RGB32, {4, 4}, Buffer::UserHandle) << false;
}

void GenericPainterTest::isFormatSupported_dependsOnFormat()
{
    QFETCH(Format, format);
    for (auto module : Modules) {
        OpenGLModuleChange const change(module);
        QTEST(makePainter()->isFormatSupported(format), "supported");
    }
}

void GenericPainterTest::start_dependsOnFormatAndModule_data()
{
    QTest::addColumn<Format>("format");
    QTest::addColumn<QOpenGLContext::OpenGLModuleType>("module");
    QTest::addColumn<Surface::Error>("error");

    struct
    {
        char const* name;
        Format format;
        Surface::Error error;
    } const rows[] = {
        {"RGB32", surfaceFormat(QVideoFrame::Format_RGB32), Surface::NoError},
        {"ARGB32", surfaceFormat(QVideoFrame::Format_ARGB32), Surface::NoError},
        {"RGB565, not listed", surfaceFormat(QVideoFrame::Format_RGB565), Surface::NoError},
        {"YUV420P", surfaceFormat(QVideoFrame::Format_YUV420P), Surface::UnsupportedFormatError},
        {"no width", surfaceFormat(QVideoFrame::Format_RGB32, {0, 4}),
            Surface::UnsupportedFormatError},
        {"no height", surfaceFormat(QVideoFrame::Format_RGB32, {4, 0}),
            Surface::UnsupportedFormatError},
        {"pixmap without size",
            surfaceFormat(QVideoFrame::Format_Invalid, {0, 0}, Buffer::QPixmapHandle),
            Surface::NoError},
        {"pixmap of RGB24", surfaceFormat(QVideoFrame::Format_RGB24, {4, 4}, Buffer::QPixmapHandle),
            Surface::NoError},
        {"texture", surfaceFormat(QVideoFrame::Format_RGB32, {4, 4}, Buffer::GLTextureHandle),
            Surface::UnsupportedFormatError},
        {"user's handle", surfaceFormat(QVideoFrame::Format_RGB32, {4, 4}, Buffer::UserHandle),
            Surface::UnsupportedFormatError},
    };
    for (auto const& row : rows) {
        for (auto module : Modules) {
            QTest::addRow("%s, module %d", row.name, int(module))
                << row.format << module << row.error;
        }
    }
    Format const rgb24 = surfaceFormat(QVideoFrame::Format_RGB24);
    QTest::newRow("RGB24, LibGL") << rgb24 << QOpenGLContext::LibGL << Surface::NoError;
    QTest::newRow("RGB24, LibGLES")
        << rgb24 << QOpenGLContext::LibGLES << Surface::UnsupportedFormatError;
}

void GenericPainterTest::start_dependsOnFormatAndModule()
{
    QFETCH(Format, format);
    QFETCH(QOpenGLContext::OpenGLModuleType, module);
    OpenGLModuleChange const change(module);
    QTEST(makePainter()->start(format), "error");
}

void GenericPainterTest::setCurrentFrame_keepsFrameUnmapped()
{
    MemoryBuffer::Log log;
    auto const painter = makePainter();
    QCOMPARE(painter->setCurrentFrame({new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4},
                 QVideoFrame::Format_RGB32}),
        Surface::NoError);
    QCOMPARE(log.mapCount, 0);
    QVERIFY(!log.released);
    QCOMPARE(painter->setCurrentFrame(QVideoFrame()), Surface::NoError);
    QVERIFY(log.released);
    QCOMPARE(painter->setCurrentFrame(handleFrame(Buffer::GLTextureHandle, 1)), Surface::NoError);
}

void GenericPainterTest::stop_releasesFrame()
{
    MemoryBuffer::Log log;
    auto const painter = makePainter();
    QCOMPARE(painter->start(surfaceFormat(QVideoFrame::Format_RGB32)), Surface::NoError);
    painter->setCurrentFrame(
        {new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, QVideoFrame::Format_RGB32});
    painter->setBackgroundColor(Qt::red);
    painter->stop();
    QVERIFY(log.released);
    QCOMPARE(painter->backgroundColor(), QColor(Qt::red));

    // Only the frame is gone; the format is still there.
    QImage canvas(4, 4, QImage::Format_RGB32);
    QPainter qpainter(&canvas);
    QImage picture(4, 4, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    painter->setCurrentFrame(picture);
    QCOMPARE(painter->paint({0, 0, 4, 4}, &qpainter, {0, 0, 4, 4}), Surface::NoError);
    QCOMPARE(canvas.pixelColor(2, 2), QColor(Qt::blue));
}

void GenericPainterTest::start_releasesFrame()
{
    MemoryBuffer::Log log;
    auto const painter = makePainter();
    painter->setCurrentFrame(
        {new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, QVideoFrame::Format_RGB32});
    QCOMPARE(painter->start(surfaceFormat(QVideoFrame::Format_YUV420P)),
        Surface::UnsupportedFormatError);
    QVERIFY(log.released);
}

void GenericPainterTest::updateColors_changesNothing()
{
    auto const painter = makePainter();
    QByteArray const before(reinterpret_cast<char const*>(painter.get()), sizeof(Painter));
    painter->updateColors();
    QCOMPARE(QByteArray(reinterpret_cast<char const*>(painter.get()), sizeof(Painter)), before);
}

void GenericPainterTest::viewportDestroyed_keepsFrame()
{
    MemoryBuffer::Log log;
    auto const painter = makePainter();
    painter->setCurrentFrame(
        {new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, QVideoFrame::Format_RGB32});
    painter->viewportDestroyed();
    QVERIFY(!log.released);
}

QVORLIN_TEST_MAIN(QGuiApplication, GenericPainterTest)
#include "tst_genericpainter.moc"
