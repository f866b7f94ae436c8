#include <QOpenGLPaintDevice>
#include <QPixmap>

#include "opengltest.h"
#include "painterframes.h"
#include "paintrecord.h"

using Buffer = QAbstractVideoBuffer;
using Frame = QVideoFrame;
using Surface = QAbstractVideoSurface;

namespace {

constexpr QSize Size(8, 8);
constexpr QRectF All(0, 0, 8, 8);

QImage filled(QColor const& color, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(Size, format);
    image.fill(color);
    return image;
}

/** A texture of one colour, its first byte red to OpenGL. */
GLuint makeTexture(QOpenGLFunctions& gl, uchar first, uchar second, uchar third, uchar alpha)
{
    GLuint texture = 0;
    uchar const pixel[] = {first, second, third, alpha};
    gl.glGenTextures(1, &texture);
    gl.glBindTexture(GL_TEXTURE_2D, texture);
    gl.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    return texture;
}

GlCall clearAll()
{
    return glCall("glClear", GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
}

QVector<QByteArray> const TextureCalls{"glActiveTexture", "glBindTexture"};

} // namespace

class GlslPaintTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noFrame_fillsTargetWithPainter();
    void callsOfPaint_comeInOrder();
    void keptAspect_setsClearColor();
    void ignoredAspect_leavesClearColor();
    void tests_areEnabledAgain_data();
    void tests_areEnabledAgain();
    void oneTexture_isOnFirstUnit();
    void severalTextures_areOnTheirUnits_data();
    void severalTextures_areOnTheirUnits();
    void colorMatrix_isGivenToShader();
    void attributeArrays_stayEnabled();
    void memoryFrame_isPaintedUpright();
    void translucentFrame_keepsItsAlpha();
    void yuvFrame_becomesRgb_data();
    void yuvFrame_becomesRgb();
    void textureFrame_isOpaqueAndSwapped();
    void pixmapFrame_isPainted();
    void openGLPainter_getsItsStateBack();
};

void GlslPaintTest::noFrame_fillsTargetWithPainter()
{
    PaintRecord record;
    record.painter.setBackgroundColor(Qt::yellow);
    for (bool started : {false, true}) {
        if (started)
            QCOMPARE(record.painter.start(surfaceFormat(Frame::Format_RGB32)), Surface::NoError);
        record.scene.painter().fillRect(All, Qt::magenta);
        record.paint({2, 2, 2, 2}, All);
        QCOMPARE(record.error, Surface::NoError);
        QCOMPARE(record.calls, GlCalls());
        QCOMPARE(record.scene.canvas().pixelColor(3, 3), QColor(Qt::yellow));
        QCOMPARE(record.scene.canvas().pixelColor(4, 4), QColor(Qt::magenta));
    }
}

void GlslPaintTest::callsOfPaint_comeInOrder()
{
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
    record.paint(All, All);
    QCOMPARE(record.error, Surface::NoError);

    GlCalls const calls =
        without(record.calls, {"glGetAttribLocation", "glGetUniformLocation", "glGetProgramiv"});
    QVector<QByteArray> names;
    for (GlCall const& call : calls)
        names.append(call.name);
    QVector<QByteArray> const expected{"glIsEnabled", "glIsEnabled", "glClearColor", "glClear",
        "glViewport", "glUseProgram", "glEnableVertexAttribArray", "glEnableVertexAttribArray",
        "glVertexAttribPointer", "glVertexAttribPointer", "glActiveTexture", "glBindTexture",
        "glUniform1i", "glUniformMatrix4fv", "glDrawArrays", "glUseProgram"};
    QCOMPARE(names, expected);
    QCOMPARE(calls[0], glCall("glIsEnabled", GL_STENCIL_TEST));
    QCOMPARE(calls[1], glCall("glIsEnabled", GL_SCISSOR_TEST));
    QCOMPARE(calls[14], glCall("glDrawArrays", GL_TRIANGLE_STRIP, 0, 4));
    QCOMPARE(calls[15], glCall("glUseProgram", 0));
    // Two floats for each vertex, tightly packed.
    for (GlCall const& call : only(calls, {"glVertexAttribPointer"})) {
        QVector<double> const layout{2, GL_FLOAT, GL_FALSE, 0};
        QCOMPARE(call.arguments.mid(1), layout);
    }
}

void GlslPaintTest::keptAspect_setsClearColor()
{
    for (auto mode : {Qt::KeepAspectRatio, Qt::KeepAspectRatioByExpanding}) {
        PaintRecord record;
        record.painter.setAspectRatioMode(mode);
        QColor const color(51, 102, 153, 204);
        record.painter.setBackgroundColor(color);
        record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
        record.paint(All, All);
        QCOMPARE(only(record.calls, {"glClear", "glClearColor"}),
            (GlCalls{glCall("glClearColor", float(color.redF()), float(color.greenF()),
                         float(color.blueF()), float(color.alphaF())),
                clearAll()}));
    }
}

void GlslPaintTest::ignoredAspect_leavesClearColor()
{
    PaintRecord record;
    record.painter.setAspectRatioMode(Qt::IgnoreAspectRatio);
    record.painter.setBackgroundColor(Qt::red);
    record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
    record.scene.gl().glClearColor(0, 0, 1, 1);
    record.paint({0, 0, 4, 8}, All);
    QCOMPARE(only(record.calls, {"glClear", "glClearColor"}), GlCalls{clearAll()});
    QCOMPARE(record.scene.picture().pixelColor(2, 4), QColor(Qt::white));
    QCOMPARE(record.scene.picture().pixelColor(6, 4), QColor(Qt::blue));
}

void GlslPaintTest::tests_areEnabledAgain_data()
{
    QTest::addColumn<bool>("stencil");
    QTest::addColumn<bool>("scissor");

    QTest::newRow("none") << false << false;
    QTest::newRow("stencil") << true << false;
    QTest::newRow("scissor") << false << true;
    QTest::newRow("both") << true << true;
}

void GlslPaintTest::tests_areEnabledAgain()
{
    QFETCH(bool, stencil);
    QFETCH(bool, scissor);
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
    GlCalls expected{clearAll()};
    if (stencil) {
        record.scene.gl().glEnable(GL_STENCIL_TEST);
        expected.append(glCall("glEnable", GL_STENCIL_TEST));
    }
    if (scissor) {
        record.scene.gl().glEnable(GL_SCISSOR_TEST);
        expected.append(glCall("glEnable", GL_SCISSOR_TEST));
    }
    expected.append(glCall("glViewport", 0, 0, 8, 8));
    record.paint(All, All);
    QCOMPARE(only(record.calls, {"glClear", "glEnable", "glDisable", "glViewport"}), expected);
}

void GlslPaintTest::oneTexture_isOnFirstUnit()
{
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
    record.scene.gl().glActiveTexture(GL_TEXTURE3);
    record.paint(All, All);
    QCOMPARE(record.textures.size(), 1);
    QCOMPARE(only(record.calls, TextureCalls),
        (GlCalls{glCall("glActiveTexture", GL_TEXTURE0),
            glCall("glBindTexture", GL_TEXTURE_2D, record.textures[0])}));
    QCOMPARE(record.uniform("texRgb"), QVector<double>{0});
}

void GlslPaintTest::severalTextures_areOnTheirUnits_data()
{
    QTest::addColumn<QVideoFrame>("frame");
    QTest::addColumn<QVector<QByteArray>>("samplers");
    QTest::addColumn<int>("activeUnit");

    QTest::newRow("three, leave the first unit active")
        << yuv420Frame(Size) << QVector<QByteArray>{"texY", "texU", "texV"} << GL_TEXTURE0;
    QTest::newRow("two, leave the third unit active")
        << nv12Frame(Size) << QVector<QByteArray>{"texY", "texU"} << GL_TEXTURE2;
}

void GlslPaintTest::severalTextures_areOnTheirUnits()
{
    QFETCH(QVideoFrame, frame);
    QFETCH(QVector<QByteArray>, samplers);
    QFETCH(int, activeUnit);
    PaintRecord record;
    record.show(surfaceFormat(frame.pixelFormat(), Size), frame);
    record.paint(All, All);
    QCOMPARE(record.textures.size(), samplers.size());
    GlCalls expected;
    for (int unit = 0; unit < samplers.size(); ++unit) {
        expected << glCall("glActiveTexture", GL_TEXTURE0 + unit)
                 << glCall("glBindTexture", GL_TEXTURE_2D, record.textures[unit]);
        QCOMPARE(record.uniform(samplers[unit]), QVector<double>{double(unit)});
    }
    expected << glCall("glActiveTexture", activeUnit);
    QCOMPARE(only(record.calls, TextureCalls), expected);

    GLint active = 0;
    record.scene.gl().glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    QCOMPARE(active, activeUnit);
}

void GlslPaintTest::colorMatrix_isGivenToShader()
{
    PaintRecord record;
    QVideoSurfaceFormat format = surfaceFormat(Frame::Format_YUV420P, Size);
    format.setYCbCrColorSpace(QVideoSurfaceFormat::YCbCr_JPEG);
    record.show(format, yuv420Frame(Size));
    record.paint(All, All);
    // Column by column.
    QVector<double> const jpeg{1, 1, 1, 0, 0, double(-0.344f), double(1.772f), 0, double(1.402f),
        double(-0.714f), 0, 0, double(-0.701f), double(0.529f), double(-0.886f), 1};
    QCOMPARE(record.uniform("colorMatrix"), jpeg);
    GlCalls const set = only(record.calls, {"glUniformMatrix4fv"});
    QCOMPARE(set.last().arguments.mid(1), (QVector<double>{1, GL_FALSE}));
}

void GlslPaintTest::attributeArrays_stayEnabled()
{
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
    record.paint(All, All);
    QCOMPARE(only(record.calls, {"glDisableVertexAttribArray"}), GlCalls());
    for (GlCall const& call : only(record.calls, {"glEnableVertexAttribArray"})) {
        GLint enabled = 0;
        record.scene.gl().glGetVertexAttribiv(
            GLuint(call.arguments[0]), GL_VERTEX_ATTRIB_ARRAY_ENABLED, &enabled);
        QCOMPARE(enabled, GL_TRUE);
    }
}

void GlslPaintTest::memoryFrame_isPaintedUpright()
{
    QImage image = filled(QColor(200, 100, 50));
    for (int x = 0; x < 8; ++x)
        image.setPixelColor(x, 0, QColor(10, 20, 30));
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size), image);
    record.paint(All, All);
    QCOMPARE(record.scene.picture().pixelColor(4, 0), QColor(10, 20, 30));
    QCOMPARE(record.scene.picture().pixelColor(4, 7), QColor(200, 100, 50));
}

void GlslPaintTest::translucentFrame_keepsItsAlpha()
{
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_ARGB32, Size),
        filled(QColor(200, 100, 50, 128), QImage::Format_ARGB32));
    record.paint(All, All);
    uchar pixel[4];
    record.scene.gl().glReadPixels(4, 4, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    QCOMPARE(QColor(pixel[0], pixel[1], pixel[2], pixel[3]), QColor(200, 100, 50, 128));
}

void GlslPaintTest::yuvFrame_becomesRgb_data()
{
    QTest::addColumn<QVideoFrame>("frame");

    QTest::newRow("YUV420P") << yuv420Frame(Size, 81, 90, 240);
    QTest::newRow("NV12") << nv12Frame(Size, 81, 90, 240);
}

void GlslPaintTest::yuvFrame_becomesRgb()
{
    QFETCH(QVideoFrame, frame);
    PaintRecord record;
    record.show(surfaceFormat(frame.pixelFormat(), Size), frame);
    record.paint(All, All);
    // These are red in BT.601.
    QColor const color = record.scene.picture().pixelColor(4, 4);
    QVERIFY2(
        color.red() >= 252 && color.green() <= 2 && color.blue() <= 2, qPrintable(color.name()));
}

void GlslPaintTest::textureFrame_isOpaqueAndSwapped()
{
    for (auto format : {Frame::Format_RGB32, Frame::Format_ARGB32}) {
        PaintRecord record;
        GLuint texture = makeTexture(record.scene.gl(), 50, 100, 200, 0);
        record.show(surfaceFormat(format, Size, Buffer::GLTextureHandle),
            handleFrame(Buffer::GLTextureHandle, texture, Size, format));
        record.paint(All, All);
        uchar pixel[4];
        record.scene.gl().glReadPixels(4, 4, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        QCOMPARE(QColor(pixel[0], pixel[1], pixel[2], pixel[3]), QColor(200, 100, 50, 255));
        QCOMPARE(only(record.calls, TextureCalls),
            (GlCalls{glCall("glActiveTexture", GL_TEXTURE0),
                glCall("glBindTexture", GL_TEXTURE_2D, texture)}));
        record.painter.stop();
        record.scene.gl().glDeleteTextures(1, &texture);
    }
}

void GlslPaintTest::pixmapFrame_isPainted()
{
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size, Buffer::QPixmapHandle),
        handleFrame(Buffer::QPixmapHandle, QPixmap::fromImage(filled(Qt::cyan)), Size));
    record.paint({1, 1, 2, 2}, All);
    QCOMPARE(record.error, Surface::NoError);
    QCOMPARE(record.calls, GlCalls());
    QCOMPARE(record.scene.canvas().pixelColor(2, 2), QColor(Qt::cyan));
    QCOMPARE(record.scene.canvas().pixelColor(3, 3), QColor(Qt::magenta));
}

void GlslPaintTest::openGLPainter_getsItsStateBack()
{
    PaintRecord record;
    record.show(surfaceFormat(Frame::Format_RGB32, Size), filled(Qt::white));
    QOpenGLPaintDevice device(Size);
    QPainter painter(&device);
    painter.fillRect(All, Qt::red);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(record.painter.paint(All, &painter, All), Surface::NoError);
        painter.fillRect(QRectF(0, 0, 4, 4), Qt::green);
        painter.fillRect(QRectF(4, 4, 4, 4), Qt::blue);
    }
    painter.end();
    QImage const picture = record.scene.picture();
    QCOMPARE(picture.pixelColor(2, 2), QColor(Qt::green));
    QCOMPARE(picture.pixelColor(6, 6), QColor(Qt::blue));
    QCOMPARE(picture.pixelColor(6, 2), QColor(Qt::white));
}

QVORLIN_OPENGL_TEST_MAIN(GlslPaintTest)
#include "tst_glslpaint.moc"
