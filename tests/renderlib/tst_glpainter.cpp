#include <QPixmap>

#include "bareglpainter.h"
#include "glrecorder.h"
#include "glscene.h"
#include "opengltest.h"
#include "painterframes.h"

using Buffer = QAbstractVideoBuffer;
using Format = QVideoSurfaceFormat;
using Surface = QAbstractVideoSurface;

namespace {

QList<QVideoFrame::PixelFormat> const MemoryFormats{QVideoFrame::Format_RGB32,
    QVideoFrame::Format_ARGB32, QVideoFrame::Format_YUV420P, QVideoFrame::Format_NV12};
QList<QVideoFrame::PixelFormat> const HandleFormats{
    QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32};

using Rows = std::array<float, 16>;
Rows const Identity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
Rows const Bt601{1.164f, 0.0f, 1.596f, -0.8708f, 1.164f, -0.392f, -0.813f, 0.5296f, 1.164f, 2.017f,
    0.0f, -1.081f, 0, 0, 0, 1};
Rows const Bt709{1.164f, 0.0f, 1.793f, -0.5727f, 1.164f, -0.534f, -0.213f, 0.3007f, 1.164f, 2.115f,
    0.0f, -1.1302f, 0, 0, 0, 1};
Rows const Jpeg{1.0f, 0.0f, 1.402f, -0.701f, 1.0f, -0.344f, -0.714f, 0.529f, 1.0f, 1.772f, 0.0f,
    -0.886f, 0, 0, 0, 1};

Rows rows(QMatrix4x4 const& matrix)
{
    Rows result;
    matrix.copyDataTo(result.data());
    return result;
}

} // namespace

Q_DECLARE_METATYPE(Rows)

class GLPainterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newPainter_hasDefaults();
    void members_lieInOrder();
    void supportedPixelFormats_dependOnHandle();
    void isFormatSupported_dependsOnFormat_data();
    void isFormatSupported_dependsOnFormat();
    void accessors_keepWhatIsSet();
    void rgbTexture_hasSizeOfFrame();
    void yuvTextures_areRoundedUpToFour_data();
    void yuvTextures_areRoundedUpToFour();
    void colorMatrix_followsColorSpace_data();
    void colorMatrix_followsColorSpace();
    void colorMatrix_isIdentityForRgb();
    void stop_releasesFrameOnly();
    void paintWithoutFrame_fillsTarget();
    void paintPixmap_drawsIt();
    void paintOtherFrame_isIncorrectFormat();
    void viewportDestroyed_forgetsContext();
};

void GLPainterTest::newPainter_hasDefaults()
{
    GlScene scene;
    BareGLPainter const painter(scene.context());
    QCOMPARE(painter.mImagePixelFormats, MemoryFormats);
    QCOMPARE(painter.mGlPixelFormats, HandleFormats);
    QVERIFY(painter.mColorMatrix.isIdentity());
    QVERIFY(!painter.mFrame.isValid());
    QCOMPARE(painter.mBackgroundColor, QColor(Qt::black));
    QCOMPARE(painter.mAspectRatioMode, Qt::KeepAspectRatio);
    QCOMPARE(painter.mContext, scene.context());
    QCOMPARE(painter.mHandleType, Buffer::NoHandle);
    QCOMPARE(painter.mScanLineDirection, Format::TopToBottom);
    QCOMPARE(painter.mMirrored, false);
    QCOMPARE(painter.mColorSpace, Format::YCbCr_BT601);
    QCOMPARE(painter.mTextureCount, 0);
    for (size_t plane = 0; plane < 3; ++plane) {
        QCOMPARE(painter.mTextureFormats[plane], GLenum(0));
        QCOMPARE(painter.mTextureInternalFormats[plane], 0);
        QCOMPARE(painter.mTextureTypes[plane], GLenum(0));
        QCOMPARE(painter.mTextureIds[plane], GLuint(0));
        QCOMPARE(painter.mTextureWidths[plane], 0);
        QCOMPARE(painter.mTextureHeights[plane], 0);
    }
    QCOMPARE(painter.mYuv, false);
    QCOMPARE(painter.mTexturesAllocated, false);
}

void GLPainterTest::members_lieInOrder()
{
    GlScene scene;
    BareGLPainter const painter(scene.context());
    void const* const places[] = {&painter, static_cast<void const*>(&painter.mImagePixelFormats),
        &painter.mGlPixelFormats, &painter.mColorMatrix, &painter.mFrame, &painter.mBackgroundColor,
        &painter.mAspectRatioMode, &painter.mContext, &painter.mHandleType,
        &painter.mScanLineDirection, &painter.mMirrored, &painter.mColorSpace,
        &painter.mTextureCount, &painter.mTextureFormats, &painter.mTextureInternalFormats,
        &painter.mTextureTypes, &painter.mTextureIds, &painter.mTextureWidths,
        &painter.mTextureHeights, &painter.mYuv, &painter.mTexturesAllocated, &painter + 1};
    QVERIFY(std::is_sorted(std::begin(places), std::end(places), std::less_equal<void const*>()));
    QCOMPARE(sizeof(painter.mTextureFormats), 3 * sizeof(GLenum));
    QCOMPARE(sizeof(painter.mTextureIds), 3 * sizeof(GLuint));
}

void GLPainterTest::supportedPixelFormats_dependOnHandle()
{
    GlScene scene;
    BareGLPainter const painter(scene.context());
    QCOMPARE(painter.supportedPixelFormats(Buffer::NoHandle), MemoryFormats);
    QCOMPARE(painter.supportedPixelFormats(Buffer::GLTextureHandle), HandleFormats);
    QCOMPARE(painter.supportedPixelFormats(Buffer::QPixmapHandle), HandleFormats);
    for (int handle : {2, 3, 5, 1000}) {
        QVERIFY2(painter.supportedPixelFormats(Buffer::HandleType(handle)).isEmpty(),
            qPrintable(QString::number(handle)));
    }
}

void GLPainterTest::isFormatSupported_dependsOnFormat_data()
{
    QTest::addColumn<Format>("format");
    QTest::addColumn<bool>("supported");

    using Frame = QVideoFrame;
    struct
    {
        Buffer::HandleType handle;
        QList<QVideoFrame::PixelFormat> supported;
    } const handles[] = {{Buffer::NoHandle, MemoryFormats},
        {Buffer::GLTextureHandle, HandleFormats}, {Buffer::QPixmapHandle, HandleFormats},
        {Buffer::XvShmImageHandle, {}}, {Buffer::CoreImageHandle, {}}, {Buffer::EGLImageHandle, {}},
        {Buffer::UserHandle, {}}};
    for (auto const& handle : handles) {
        for (auto format : {Frame::Format_Invalid, Frame::Format_RGB24, Frame::Format_RGB32,
                 Frame::Format_ARGB32, Frame::Format_YUV420P, Frame::Format_YV12,
                 Frame::Format_NV12, Frame::Format_NV21, Frame::Format_YUYV}) {
            QTest::addRow("handle %d, pixel format %d", handle.handle, format)
                << surfaceFormat(format, {4, 4}, handle.handle)
                << handle.supported.contains(format);
        }
        bool const any = !handle.supported.isEmpty();
        QTest::addRow("handle %d, one pixel", handle.handle)
            << surfaceFormat(Frame::Format_RGB32, {1, 1}, handle.handle) << any;
        QTest::addRow("handle %d, no width", handle.handle)
            << surfaceFormat(Frame::Format_RGB32, {0, 4}, handle.handle) << false;
        QTest::addRow("handle %d, no height", handle.handle)
            << surfaceFormat(Frame::Format_RGB32, {4, 0}, handle.handle) << false;
        QTest::addRow("handle %d, negative", handle.handle)
            << surfaceFormat(Frame::Format_RGB32, {-1, -1}, handle.handle) << false;
    }
}

void GLPainterTest::isFormatSupported_dependsOnFormat()
{
    QFETCH(Format, format);
    GlScene scene;
    QTEST(BareGLPainter(scene.context()).isFormatSupported(format), "supported");
}

void GLPainterTest::accessors_keepWhatIsSet()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.setBackgroundColor(QColor(1, 2, 3, 4));
    painter.setAspectRatioMode(Qt::IgnoreAspectRatio);
    QCOMPARE(painter.backgroundColor(), QColor(1, 2, 3, 4));
    QCOMPARE(painter.aspectRatioMode(), Qt::IgnoreAspectRatio);
}

void GLPainterTest::rgbTexture_hasSizeOfFrame()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.mYuv = true;
    painter.initRgbTextureInfo(GL_RGB, GL_RGBA, GL_UNSIGNED_SHORT_5_6_5, {641, 361});
    QCOMPARE(painter.mYuv, false);
    QCOMPARE(painter.mTextureCount, 1);
    QCOMPARE(painter.mTextureInternalFormats[0], GL_RGB);
    QCOMPARE(painter.mTextureFormats[0], GLenum(GL_RGBA));
    QCOMPARE(painter.mTextureTypes[0], GLenum(GL_UNSIGNED_SHORT_5_6_5));
    QCOMPARE(painter.mTextureWidths[0], 641);
    QCOMPARE(painter.mTextureHeights[0], 361);
}

void GLPainterTest::yuvTextures_areRoundedUpToFour_data()
{
    QTest::addColumn<QSize>("frame");
    QTest::addColumn<QSize>("luma");
    QTest::addColumn<QSize>("chroma");

    QTest::newRow("multiples of 8") << QSize(640, 360) << QSize(640, 360) << QSize(320, 180);
    QTest::newRow("642") << QSize(642, 360) << QSize(644, 360) << QSize(324, 180);
    QTest::newRow("odd") << QSize(641, 361) << QSize(644, 361) << QSize(320, 180);
    QTest::newRow("odd half") << QSize(646, 359) << QSize(648, 359) << QSize(324, 179);
    QTest::newRow("one pixel") << QSize(1, 1) << QSize(4, 1) << QSize(0, 0);
}

void GLPainterTest::yuvTextures_areRoundedUpToFour()
{
    QFETCH(QSize, frame);
    QFETCH(QSize, luma);
    QFETCH(QSize, chroma);
    struct
    {
        void (BareGLPainter::*init)(QSize const&);
        QVector<GLenum> formats;
    } const layouts[] = {
        {&BareGLPainter::initYuv420PTextureInfo, {GL_LUMINANCE, GL_LUMINANCE, GL_LUMINANCE}},
        {&BareGLPainter::initNV12TextureInfo, {GL_LUMINANCE, GL_LUMINANCE_ALPHA}}};
    for (auto const& layout : layouts) {
        GlScene scene;
        BareGLPainter painter(scene.context());
        (painter.*layout.init)(frame);
        QCOMPARE(painter.mYuv, true);
        QCOMPARE(painter.mTextureCount, layout.formats.size());
        for (int plane = 0; plane < painter.mTextureCount; ++plane) {
            auto const i = size_t(plane);
            QCOMPARE(painter.mTextureInternalFormats[i], GLint(layout.formats[plane]));
            QCOMPARE(painter.mTextureFormats[i], layout.formats[plane]);
            QCOMPARE(painter.mTextureTypes[i], GLenum(GL_UNSIGNED_BYTE));
            QCOMPARE(QSize(painter.mTextureWidths[i], painter.mTextureHeights[i]),
                plane == 0 ? luma : chroma);
        }
    }
}

void GLPainterTest::colorMatrix_followsColorSpace_data()
{
    QTest::addColumn<int>("colorSpace");
    QTest::addColumn<Rows>("expected");

    QTest::newRow("JPEG") << int(Format::YCbCr_JPEG) << Jpeg;
    QTest::newRow("BT.709") << int(Format::YCbCr_BT709) << Bt709;
    QTest::newRow("xvYCC 709") << int(Format::YCbCr_xvYCC709) << Bt709;
    QTest::newRow("BT.601") << int(Format::YCbCr_BT601) << Bt601;
    QTest::newRow("xvYCC 601") << int(Format::YCbCr_xvYCC601) << Bt601;
    QTest::newRow("undefined") << int(Format::YCbCr_Undefined) << Bt601;
    QTest::newRow("unknown") << 7 << Bt601;
}

void GLPainterTest::colorMatrix_followsColorSpace()
{
    QFETCH(int, colorSpace);
    QFETCH(Rows, expected);
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.mColorSpace = Format::YCbCrColorSpace(colorSpace);
    painter.mYuv = true;
    painter.updateColors();
    for (size_t i = 0; i < expected.size(); ++i)
        QVERIFY2(rows(painter.mColorMatrix)[i] == expected[i], qPrintable(QString::number(i)));
    // The matrix is a new one each time.
    painter.updateColors();
    QVERIFY(rows(painter.mColorMatrix) == expected);
}

void GLPainterTest::colorMatrix_isIdentityForRgb()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.mColorMatrix.fill(2);
    painter.mColorSpace = Format::YCbCr_JPEG;
    painter.updateColors();
    QVERIFY(rows(painter.mColorMatrix) == Identity);
}

void GLPainterTest::stop_releasesFrameOnly()
{
    MemoryBuffer::Log log;
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.mTextureCount = 1;
    painter.mFrame = QVideoFrame(
        new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, QVideoFrame::Format_RGB32);
    glrecorder::start();
    painter.stop();
    QCOMPARE(glrecorder::stop(), GlCalls());
    QVERIFY(log.released);
    QVERIFY(!painter.mFrame.isValid());
    QCOMPARE(painter.mTextureCount, 1);
}

void GLPainterTest::paintWithoutFrame_fillsTarget()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.setBackgroundColor(Qt::green);
    glrecorder::start();
    QCOMPARE(painter.paint({2, 2, 2, 2}, &scene.painter(), {0, 0, 4, 4}), Surface::NoError);
    QCOMPARE(glrecorder::stop(), GlCalls());
    QCOMPARE(scene.canvas().pixelColor(2, 2), QColor(Qt::green));
    QCOMPARE(scene.canvas().pixelColor(1, 2), QColor(Qt::magenta));
}

void GLPainterTest::paintPixmap_drawsIt()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    QImage image(2, 1, QImage::Format_RGB32);
    image.fill(Qt::red);
    image.setPixelColor(1, 0, Qt::blue);
    for (QVariant const& handle : {QVariant(QPixmap::fromImage(image)), QVariant(image)}) {
        painter.mFrame = handleFrame(Buffer::QPixmapHandle, handle);
        QCOMPARE(painter.paint({2, 2, 4, 4}, &scene.painter(), {1, 0, 1, 1}), Surface::NoError);
        QCOMPARE(scene.canvas().pixelColor(2, 2), QColor(Qt::blue));
        QCOMPARE(scene.canvas().pixelColor(5, 5), QColor(Qt::blue));
        QCOMPARE(scene.canvas().pixelColor(6, 5), QColor(Qt::magenta));
        scene.painter().fillRect(0, 0, 8, 8, Qt::magenta);
    }
    painter.mFrame = handleFrame(Buffer::QPixmapHandle, QStringLiteral("none"));
    QCOMPARE(painter.paint({2, 2, 4, 4}, &scene.painter(), {1, 0, 1, 1}), Surface::NoError);
    QCOMPARE(scene.canvas().pixelColor(2, 2), QColor(Qt::magenta));
}

void GLPainterTest::paintOtherFrame_isIncorrectFormat()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    for (auto handle : {Buffer::NoHandle, Buffer::GLTextureHandle, Buffer::UserHandle}) {
        painter.mFrame = handleFrame(handle, 1);
        QCOMPARE(painter.paint({0, 0, 8, 8}, &scene.painter(), {0, 0, 4, 4}),
            Surface::IncorrectFormatError);
        QCOMPARE(scene.canvas().pixelColor(2, 2), QColor(Qt::magenta));
    }
}

void GLPainterTest::viewportDestroyed_forgetsContext()
{
    GlScene scene;
    BareGLPainter painter(scene.context());
    painter.viewportDestroyed();
    QVERIFY(!painter.mContext);
}

QVORLIN_OPENGL_TEST_MAIN(GLPainterTest)
#include "tst_glpainter.moc"
