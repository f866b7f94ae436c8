#include <memory>

#include <dlfcn.h>

#include <QFile>
#include <QOpenGLShaderProgram>

#include "glrecorder.h"
#include "glscene.h"
#include "opengltest.h"
#include "painterframes.h"
#include "renderlib/customvideosurfaceglslpainter.h"

using Buffer = QAbstractVideoBuffer;
using Format = QVideoSurfaceFormat;
using Frame = QVideoFrame;
using Painter = renderlib::CustomVideoSurfaceGlslPainter;
using Surface = QAbstractVideoSurface;

namespace {

// The shaders are an interface of their own: what they compute is seen in every pixel. So their
// texts are written down here once more, line by line.

QByteArray lines(std::initializer_list<char const*> texts)
{
    QByteArray result;
    for (char const* text : texts)
        result += QByteArray(text) + '\n';
    return result;
}

QByteArray vertexShader()
{
    return lines({"attribute highp vec4 vertexCoordArray;",
        "attribute highp vec2 textureCoordArray;", "uniform highp mat4 positionMatrix;",
        "varying highp vec2 textureCoord;", "void main(void)", "{",
        "   gl_Position = vertexCoordArray;", "   textureCoord = textureCoordArray;", "}"});
}

QByteArray rgbShader(QByteArray const& order, bool alpha)
{
    QByteArray const sample =
        "    highp vec4 color = vec4(texture2D(texRgb, textureCoord.st)." + order + ", 1.0);";
    QByteArray const begin =
        lines({"uniform sampler2D texRgb;", "uniform mediump mat4 colorMatrix;",
            "varying highp vec2 textureCoord;", "void main(void)", "{", sample.constData()});
    if (!alpha)
        return begin + lines({"    gl_FragColor = colorMatrix * color;", "}"});
    return begin +
           lines({"    color = colorMatrix * color;",
               "    gl_FragColor = vec4(color.rgb, texture2D(texRgb, textureCoord.st).a);", "}"});
}

QByteArray yuvShader(QByteArray const& samplers, QByteArray const& v)
{
    return samplers +
           lines({"uniform mediump mat4 colorMatrix;", "varying highp vec2 textureCoord;",
               "void main(void)", "{", "    highp vec4 color = vec4(",
               "    texture2D(texY, textureCoord.st).r,", "    texture2D(texU, textureCoord.st).r,",
               ("    texture2D(" + v + ",").constData(), "    1.0);",
               "    gl_FragColor = colorMatrix * color;", "}"});
}

QByteArray threePlaneShader()
{
    return yuvShader("uniform sampler2D texY;\nuniform sampler2D texU;\nuniform sampler2D texV;\n",
        "texV, textureCoord.st).r");
}

QByteArray nv12Shader()
{
    return yuvShader(
        "uniform sampler2D texY;\nuniform sampler2D texU;\n", "texU, textureCoord.st).a");
}

/** What a call that records nothing else leaves: the calls of Qt's shader program. */
QVector<QByteArray> const OwnCalls{"glPixelStorei", "glGenTextures", "glDeleteTextures",
    "glBindTexture", "glTexImage2D", "glActiveTexture"};

template<typename Function>
GlCalls recorded(Function&& function)
{
    glrecorder::start();
    function();
    return glrecorder::stop();
}

QOpenGLShaderProgram* programIn(GlScene& scene)
{
    auto const programs =
        scene.context()->findChildren<QOpenGLShaderProgram*>(QString(), Qt::FindDirectChildrenOnly);
    return programs.size() == 1 ? programs.first() : nullptr;
}

} // namespace

class GlslPainterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newPainter_hasDefaults();
    void eachFormat_isListedTwice();
    void program_isChildOfContext();
    void start_compilesShaderTexts_data();
    void start_compilesShaderTexts();
    void shaderInOrder_isKept();
    void start_preparesTextures_data();
    void start_preparesTextures();
    void startWithOtherFormat_isUnsupported_data();
    void startWithOtherFormat_isUnsupported();
    void startWithPixmaps_makesNothing();
    void start_makesContextCurrent();
    void stop_deletesTexturesAndShaders();
    void stop_keepsTextureOfFrame();
    void stopTwice_deletesNothingMore();
    void stop_makesContextCurrent();
    void stopAfterViewportDestroyed_makesNoCall();
    void restart_withOtherFormat();
    void deletedPainter_leavesNothingInContext();
    void contextDeletedFirst_isSurvived();
};

void GlslPainterTest::newPainter_hasDefaults()
{
    GlScene scene;
    std::unique_ptr<Painter> painter;
    GlCalls const calls = recorded([&] { painter = std::make_unique<Painter>(scene.context()); });
    QCOMPARE(calls, GlCalls());
    QCOMPARE(painter->backgroundColor(), QColor(Qt::black));
    QCOMPARE(painter->aspectRatioMode(), Qt::KeepAspectRatio);
    QVERIFY(programIn(scene));
    QVERIFY(programIn(scene)->shaders().isEmpty());
}

void GlslPainterTest::eachFormat_isListedTwice()
{
    GlScene scene;
    Painter const painter(scene.context());
    QList<Frame::PixelFormat> const memory{
        Frame::Format_RGB32, Frame::Format_ARGB32, Frame::Format_YUV420P, Frame::Format_NV12};
    QList<Frame::PixelFormat> const handles{Frame::Format_RGB32, Frame::Format_ARGB32};
    QCOMPARE(painter.supportedPixelFormats(Buffer::NoHandle), memory + memory);
    QCOMPARE(painter.supportedPixelFormats(Buffer::GLTextureHandle), handles + handles);
    QCOMPARE(painter.supportedPixelFormats(Buffer::QPixmapHandle), handles + handles);
    QVERIFY(painter.supportedPixelFormats(Buffer::UserHandle).isEmpty());
    QVERIFY(painter.isFormatSupported(surfaceFormat(Frame::Format_NV12)));
    QVERIFY(!painter.isFormatSupported(surfaceFormat(Frame::Format_YUYV)));
}

void GlslPainterTest::program_isChildOfContext()
{
    GlScene scene;
    {
        Painter painter(scene.context());
        QOpenGLShaderProgram* const program = programIn(scene);
        QVERIFY(program);
        QCOMPARE(painter.start(surfaceFormat(Frame::Format_RGB32)), Surface::NoError);
        QVERIFY(program->isLinked());
        painter.stop();
        QCOMPARE(programIn(scene), program);
    }
    QVERIFY(!programIn(scene));
}

void GlslPainterTest::start_compilesShaderTexts_data()
{
    QTest::addColumn<Format>("format");
    QTest::addColumn<QByteArray>("fragmentShader");

    QByteArray const opaque = rgbShader("bgr", false);
    QSize const size(4, 4);
    QTest::newRow("RGB32") << surfaceFormat(Frame::Format_RGB32) << opaque;
    QTest::newRow("ARGB32") << surfaceFormat(Frame::Format_ARGB32) << rgbShader("bgr", true);
    QTest::newRow("YUV420P") << surfaceFormat(Frame::Format_YUV420P) << threePlaneShader();
    QTest::newRow("NV12") << surfaceFormat(Frame::Format_NV12) << nv12Shader();
    QTest::newRow("RGB32 texture")
        << surfaceFormat(Frame::Format_RGB32, size, Buffer::GLTextureHandle) << opaque;
    QTest::newRow("ARGB32 texture")
        << surfaceFormat(Frame::Format_ARGB32, size, Buffer::GLTextureHandle) << opaque;
}

void GlslPainterTest::start_compilesShaderTexts()
{
    QFETCH(Format, format);
    QFETCH(QByteArray, fragmentShader);
    GlScene scene;
    Painter painter(scene.context());
    QCOMPARE(painter.start(format), Surface::NoError);

    auto const shaders = programIn(scene)->shaders();
    QCOMPARE(shaders.size(), 2);
    QCOMPARE(shaders[0]->shaderType(), QOpenGLShader::Vertex);
    QCOMPARE(shaders[1]->shaderType(), QOpenGLShader::Fragment);
    // Qt puts a line in front that defines the precision words.
    QByteArray const line = "#line 1\n";
    QVERIFY2(shaders[0]->sourceCode().endsWith(line + vertexShader()),
        shaders[0]->sourceCode().constData());
    QVERIFY2(shaders[1]->sourceCode().endsWith(line + fragmentShader),
        shaders[1]->sourceCode().constData());
    painter.stop();
}

void GlslPainterTest::shaderInOrder_isKept()
{
    // No format selects it, so that only the library itself shows it.
    Dl_info info;
    QVERIFY(
        dladdr(dlsym(RTLD_DEFAULT, "_ZN9renderlib29CustomVideoSurfaceGlslPainter4stopEv"), &info));
    QFile library(QFile::decodeName(info.dli_fname));
    QVERIFY2(library.open(QIODevice::ReadOnly), info.dli_fname);
    QVERIFY(library.readAll().contains(rgbShader("rgb", true)));
}

void GlslPainterTest::start_preparesTextures_data()
{
    QTest::addColumn<Format>("format");
    QTest::addColumn<GlCalls>("expected");

    GlCall const alignment = glCall("glPixelStorei", GL_UNPACK_ALIGNMENT, 1);
    QTest::newRow("RGB32") << surfaceFormat(Frame::Format_RGB32)
                           << GlCalls{glCall("glGenTextures", 1)};
    QTest::newRow("ARGB32") << surfaceFormat(Frame::Format_ARGB32)
                            << GlCalls{glCall("glGenTextures", 1)};
    QTest::newRow("YUV420P") << surfaceFormat(Frame::Format_YUV420P)
                             << GlCalls{alignment, glCall("glGenTextures", 3)};
    QTest::newRow("NV12") << surfaceFormat(Frame::Format_NV12)
                          << GlCalls{alignment, glCall("glGenTextures", 2)};
    QTest::newRow("texture") << surfaceFormat(Frame::Format_RGB32, {4, 4}, Buffer::GLTextureHandle)
                             << GlCalls();
}

void GlslPainterTest::start_preparesTextures()
{
    QFETCH(Format, format);
    GlScene scene;
    Painter painter(scene.context());
    Surface::Error error = Surface::ResourceError;
    GlCalls const calls = recorded([&] { error = painter.start(format); });
    QCOMPARE(error, Surface::NoError);
    QTEST(only(calls, OwnCalls), "expected");
    painter.stop();
}

void GlslPainterTest::startWithOtherFormat_isUnsupported_data()
{
    QTest::addColumn<Format>("format");

    QSize const size(4, 4);
    QTest::newRow("RGB24") << surfaceFormat(Frame::Format_RGB24);
    QTest::newRow("YV12") << surfaceFormat(Frame::Format_YV12);
    QTest::newRow("NV21") << surfaceFormat(Frame::Format_NV21);
    QTest::newRow("invalid") << surfaceFormat(Frame::Format_Invalid);
    QTest::newRow("YUV texture") << surfaceFormat(
        Frame::Format_YUV420P, size, Buffer::GLTextureHandle);
    QTest::newRow("EGL image") << surfaceFormat(Frame::Format_RGB32, size, Buffer::EGLImageHandle);
    QTest::newRow("user's handle") << surfaceFormat(Frame::Format_RGB32, size, Buffer::UserHandle);
}

void GlslPainterTest::startWithOtherFormat_isUnsupported()
{
    QFETCH(Format, format);
    GlScene scene;
    Painter painter(scene.context());
    Surface::Error error = Surface::NoError;
    GlCalls const calls = recorded([&] { error = painter.start(format); });
    QCOMPARE(error, Surface::UnsupportedFormatError);
    QCOMPARE(calls, GlCalls());
    QVERIFY(programIn(scene)->shaders().isEmpty());
}

void GlslPainterTest::startWithPixmaps_makesNothing()
{
    GlScene scene;
    Painter painter(scene.context());
    for (auto format : {Frame::Format_RGB32, Frame::Format_YUYV, Frame::Format_Invalid}) {
        Surface::Error error = Surface::ResourceError;
        GlCalls const calls = recorded([&] {
            error = painter.start(surfaceFormat(format, {4, 4}, Buffer::QPixmapHandle));
        });
        QCOMPARE(error, Surface::NoError);
        QCOMPARE(calls, GlCalls());
        QVERIFY(programIn(scene)->shaders().isEmpty());
    }
    QCOMPARE(recorded([&] { painter.stop(); }), GlCalls{glCall("glDeleteTextures", 0)});
}

void GlslPainterTest::start_makesContextCurrent()
{
    GlScene scene;
    Painter painter(scene.context());
    for (auto handle : {Buffer::NoHandle, Buffer::QPixmapHandle, Buffer::UserHandle}) {
        GlScene other;
        QCOMPARE(QOpenGLContext::currentContext(), other.context());
        painter.start(surfaceFormat(Frame::Format_RGB32, {4, 4}, handle));
        QCOMPARE(QOpenGLContext::currentContext(), scene.context());
        painter.stop();
    }
}

void GlslPainterTest::stop_deletesTexturesAndShaders()
{
    struct
    {
        Frame::PixelFormat format;
        int count;
    } const rows[] = {{Frame::Format_RGB32, 1}, {Frame::Format_ARGB32, 1}, {Frame::Format_NV12, 2},
        {Frame::Format_YUV420P, 3}};
    for (auto const& row : rows) {
        GlScene scene;
        Painter painter(scene.context());
        GlCalls const started = recorded([&] { painter.start(surfaceFormat(row.format)); });
        GlCalls const stopped = recorded([&] { painter.stop(); });
        GlCalls const deleted = only(stopped, {"glDeleteTextures"});
        QCOMPARE(deleted, GlCalls{glCall("glDeleteTextures", row.count)});
        QCOMPARE(deleted[0].values, only(started, {"glGenTextures"})[0].values);
        QCOMPARE(only(stopped, {"glDetachShader"}).size(), 2);
        QVERIFY(programIn(scene)->shaders().isEmpty());
    }
}

void GlslPainterTest::stop_keepsTextureOfFrame()
{
    GlScene scene;
    Painter painter(scene.context());
    painter.start(surfaceFormat(Frame::Format_RGB32, {4, 4}, Buffer::GLTextureHandle));
    GLuint texture = 0;
    scene.gl().glGenTextures(1, &texture);
    painter.setCurrentFrame(handleFrame(Buffer::GLTextureHandle, texture));
    QCOMPARE(only(recorded([&] { painter.stop(); }), {"glDeleteTextures"}), GlCalls());
    // Nor does a later one, or one after another start, take it for the painter's own.
    QCOMPARE(recorded([&] { painter.stop(); }), GlCalls{glCall("glDeleteTextures", 0)});
    painter.start(surfaceFormat(Frame::Format_RGB32));
    for (GlCall const& call : only(recorded([&] { painter.stop(); }), {"glDeleteTextures"}))
        QVERIFY(!call.values.contains(texture));
    QVERIFY(scene.gl().glIsTexture(texture));
    scene.gl().glDeleteTextures(1, &texture);
}

void GlslPainterTest::stopTwice_deletesNothingMore()
{
    GlScene scene;
    Painter painter(scene.context());
    painter.start(surfaceFormat(Frame::Format_YUV420P));
    painter.stop();
    QCOMPARE(recorded([&] { painter.stop(); }), GlCalls{glCall("glDeleteTextures", 0)});
}

void GlslPainterTest::stop_makesContextCurrent()
{
    GlScene scene;
    Painter painter(scene.context());
    painter.start(surfaceFormat(Frame::Format_RGB32));
    GlScene other;
    painter.stop();
    QCOMPARE(QOpenGLContext::currentContext(), scene.context());
}

void GlslPainterTest::stopAfterViewportDestroyed_makesNoCall()
{
    MemoryBuffer::Log log;
    GlScene scene;
    Painter painter(scene.context());
    painter.start(surfaceFormat(Frame::Format_RGB32));
    painter.setCurrentFrame(
        {new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, Frame::Format_RGB32});
    GlScene other;
    QCOMPARE(recorded([&] {
        painter.viewportDestroyed();
        painter.stop();
    }),
        GlCalls());
    QCOMPARE(QOpenGLContext::currentContext(), other.context());
    QVERIFY(log.released);
}

void GlslPainterTest::restart_withOtherFormat()
{
    GlScene scene;
    Painter painter(scene.context());
    for (auto format : {Frame::Format_RGB32, Frame::Format_YUV420P, Frame::Format_NV12,
             Frame::Format_ARGB32, Frame::Format_RGB32}) {
        QCOMPARE(painter.start(surfaceFormat(format)), Surface::NoError);
        QCOMPARE(programIn(scene)->shaders().size(), 2);
        QVERIFY(programIn(scene)->isLinked());
        painter.stop();
    }
}

void GlslPainterTest::deletedPainter_leavesNothingInContext()
{
    GlScene scene;
    {
        Painter painter(scene.context());
        painter.start(surfaceFormat(Frame::Format_RGB32));
        painter.stop();
    }
    QVERIFY(scene.context()->findChildren<QObject*>().isEmpty());
}

void GlslPainterTest::contextDeletedFirst_isSurvived()
{
    auto scene = std::make_unique<GlScene>();
    Painter painter(scene->context());
    painter.start(surfaceFormat(Frame::Format_RGB32));
    painter.viewportDestroyed();
    scene.reset();
    QCOMPARE(recorded([&] { painter.stop(); }), GlCalls());
}

QVORLIN_OPENGL_TEST_MAIN(GlslPainterTest)
#include "tst_glslpainter.moc"
