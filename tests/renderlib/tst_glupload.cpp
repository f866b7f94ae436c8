#include "glrecorder.h"
#include "glscene.h"
#include "opengltest.h"
#include "painterframes.h"
#include "renderlib/customvideosurfaceglslpainter.h"

using Buffer = QAbstractVideoBuffer;
using Frame = QVideoFrame;
using Surface = QAbstractVideoSurface;

namespace {

/** A painter in a context, started with the format of the frames to come. */
struct Bench
{
    GlScene scene;
    renderlib::CustomVideoSurfaceGlslPainter painter{scene.context()};
    QVector<double> names;

    explicit Bench(QVideoSurfaceFormat const& format) { start(format); }
    ~Bench() { painter.stop(); }

    void start(QVideoSurfaceFormat const& format)
    {
        glrecorder::start();
        QCOMPARE(painter.start(format), Surface::NoError);
        for (GlCall const& call : only(glrecorder::stop(), {"glGenTextures"}))
            names = call.values;
    }

    GlCalls upload(QVideoFrame const& frame, Surface::Error error = Surface::NoError)
    {
        glrecorder::start();
        Surface::Error const result = painter.setCurrentFrame(frame);
        GlCalls const calls = glrecorder::stop();
        return result == error ? calls : GlCalls{glCall("error", result)};
    }

    GlCalls allocation(int plane, GLenum format, QSize const& size) const
    {
        return {glCall("glBindTexture", GL_TEXTURE_2D, names.value(plane)),
            glCall("glTexImage2D", GL_TEXTURE_2D, 0, format, size.width(), size.height(), 0, format,
                GL_UNSIGNED_BYTE),
            glCall("glGetError"),
            glCall("glTexParameterf", GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR),
            glCall("glTexParameterf", GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR),
            glCall("glTexParameterf", GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE),
            glCall("glTexParameterf", GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE)};
    }

    GlCalls update(int plane, GLenum format, QSize const& size) const
    {
        return {glCall("glBindTexture", GL_TEXTURE_2D, names.value(plane)),
            glCall("glTexSubImage2D", GL_TEXTURE_2D, 0, 0, 0, size.width(), size.height(), format,
                GL_UNSIGNED_BYTE)};
    }
};

QVideoFrame rgbFrame(QSize const& size)
{
    return QVideoFrame(QImage(size, QImage::Format_RGB32));
}

/** The planes that an upload passed on. */
QVector<void const*> uploaded(GlCalls const& calls)
{
    QVector<void const*> planes;
    for (GlCall const& call : only(calls, {"glTexImage2D", "glTexSubImage2D"}))
        planes.append(call.pointer);
    return planes;
}

} // namespace

class GLUploadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstYuv420Frame_allocatesTextures();
    void oddYuv420Frame_roundsChromaDown();
    void firstNv12Frame_allocatesTextures();
    void firstRgbFrame_allocatesTexture();
    void secondFrame_updatesInPlace();
    void frameAfterRestart_allocatesAgain();
    void planes_areThoseOfTheFrame();
    void frame_isMappedReadOnlyAndUnmapped();
    void invalidFrame_uploadsNothing();
    void frameAfterInvalidOne_updatesInPlace();
    void textureFrame_isBoundWithItsParameters();
    void allocationError_warnsAndCarriesOn();
    void unmappableFrame_isIncorrectFormat();
    void unmappablePixmapFrame_isNoError();
    void upload_makesContextCurrent();
};

void GLUploadTest::firstYuv420Frame_allocatesTextures()
{
    QSize const size(642, 360);
    Bench bench(surfaceFormat(Frame::Format_YUV420P, size));
    QCOMPARE(bench.names.size(), 3);
    QCOMPARE(bench.upload(yuv420Frame(size)), bench.allocation(0, GL_LUMINANCE, {644, 360}) +
                                                  bench.allocation(1, GL_LUMINANCE, {324, 180}) +
                                                  bench.allocation(2, GL_LUMINANCE, {324, 180}));
}

void GLUploadTest::oddYuv420Frame_roundsChromaDown()
{
    QSize const size(641, 361);
    Bench bench(surfaceFormat(Frame::Format_YUV420P, size));
    QCOMPARE(bench.upload(yuv420Frame(size)), bench.allocation(0, GL_LUMINANCE, {644, 361}) +
                                                  bench.allocation(1, GL_LUMINANCE, {320, 180}) +
                                                  bench.allocation(2, GL_LUMINANCE, {320, 180}));
}

void GLUploadTest::firstNv12Frame_allocatesTextures()
{
    QSize const size(642, 361);
    Bench bench(surfaceFormat(Frame::Format_NV12, size));
    QCOMPARE(bench.names.size(), 2);
    QCOMPARE(
        bench.upload(nv12Frame(size)), bench.allocation(0, GL_LUMINANCE, {644, 361}) +
                                           bench.allocation(1, GL_LUMINANCE_ALPHA, {324, 180}));
}

void GLUploadTest::firstRgbFrame_allocatesTexture()
{
    QSize const size(31, 17);
    for (auto format : {Frame::Format_RGB32, Frame::Format_ARGB32}) {
        Bench bench(surfaceFormat(format, size));
        QCOMPARE(bench.names.size(), 1);
        QCOMPARE(bench.upload(rgbFrame(size)), bench.allocation(0, GL_RGBA, size));
    }
}

void GLUploadTest::secondFrame_updatesInPlace()
{
    QSize const size(642, 360);
    {
        Bench bench(surfaceFormat(Frame::Format_YUV420P, size));
        bench.upload(yuv420Frame(size));
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(
                bench.upload(yuv420Frame(size)), bench.update(0, GL_LUMINANCE, {644, 360}) +
                                                     bench.update(1, GL_LUMINANCE, {324, 180}) +
                                                     bench.update(2, GL_LUMINANCE, {324, 180}));
        }
    }
    {
        Bench bench(surfaceFormat(Frame::Format_NV12, size));
        bench.upload(nv12Frame(size));
        QCOMPARE(
            bench.upload(nv12Frame(size)), bench.update(0, GL_LUMINANCE, {644, 360}) +
                                               bench.update(1, GL_LUMINANCE_ALPHA, {324, 180}));
    }
    Bench bench(surfaceFormat(Frame::Format_RGB32, size));
    bench.upload(rgbFrame(size));
    QCOMPARE(bench.upload(rgbFrame(size)), bench.update(0, GL_RGBA, size));
}

void GLUploadTest::frameAfterRestart_allocatesAgain()
{
    Bench bench(surfaceFormat(Frame::Format_RGB32, {8, 8}));
    bench.upload(rgbFrame({8, 8}));
    bench.upload(rgbFrame({8, 8}));
    bench.painter.stop();
    bench.start(surfaceFormat(Frame::Format_RGB32, {16, 4}));
    QCOMPARE(bench.upload(rgbFrame({16, 4})), bench.allocation(0, GL_RGBA, {16, 4}));
}

void GLUploadTest::planes_areThoseOfTheFrame()
{
    QVideoFrame frame = yuv420Frame({642, 360});
    Bench bench(surfaceFormat(Frame::Format_YUV420P, frame.size()));
    // Mapped here as well, so that the planes keep their places.
    QVERIFY(frame.map(Buffer::ReadOnly));
    QVector<void const*> const planes{frame.bits(0), frame.bits(1), frame.bits(2)};
    QCOMPARE(uploaded(bench.upload(frame)), planes);
    QCOMPARE(uploaded(bench.upload(frame)), planes);
    frame.unmap();
}

void GLUploadTest::frame_isMappedReadOnlyAndUnmapped()
{
    MemoryBuffer::Log log;
    Bench bench(surfaceFormat(Frame::Format_RGB32));
    bench.upload({new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, Frame::Format_RGB32});
    QCOMPARE(log.mode, Buffer::ReadOnly);
    QCOMPARE(log.mapCount, 1);
    QCOMPARE(log.unmapCount, 1);
    QVERIFY(!log.released);
    bench.painter.stop();
    QVERIFY(log.released);
}

void GLUploadTest::invalidFrame_uploadsNothing()
{
    MemoryBuffer::Log log;
    Bench bench(surfaceFormat(Frame::Format_RGB32));
    bench.upload({new MemoryBuffer(QByteArray(64, '\0'), 16, &log), {4, 4}, Frame::Format_RGB32});
    QCOMPARE(bench.upload(QVideoFrame()), GlCalls());
    QVERIFY(log.released);
}

void GLUploadTest::frameAfterInvalidOne_updatesInPlace()
{
    Bench bench(surfaceFormat(Frame::Format_RGB32));
    bench.upload(rgbFrame({4, 4}));
    bench.upload(QVideoFrame());
    QCOMPARE(bench.upload(rgbFrame({4, 4})), bench.update(0, GL_RGBA, {4, 4}));
}

void GLUploadTest::textureFrame_isBoundWithItsParameters()
{
    for (auto format : {Frame::Format_RGB32, Frame::Format_ARGB32}) {
        Bench bench(surfaceFormat(format, {4, 4}, Buffer::GLTextureHandle));
        QVERIFY(bench.names.isEmpty());
        GLuint texture = 0;
        bench.scene.gl().glGenTextures(1, &texture);
        GlCalls const expected{glCall("glBindTexture", GL_TEXTURE_2D, texture),
            glCall("glTexParameteri", GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR),
            glCall("glTexParameteri", GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR),
            glCall("glTexParameteri", GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE),
            glCall("glTexParameteri", GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE)};
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(bench.upload(handleFrame(Buffer::GLTextureHandle, texture, {4, 4}, format)),
                expected);
        }
        bench.painter.stop();
        QVERIFY(bench.scene.gl().glIsTexture(texture));
        bench.scene.gl().glDeleteTextures(1, &texture);
    }
}

void GLUploadTest::allocationError_warnsAndCarriesOn()
{
    QSize const size(8, 8);
    Bench bench(surfaceFormat(Frame::Format_YUV420P, size));
    for (int plane = 0; plane < 3; ++plane) {
        expectMessage(
            QtWarningMsg, QStringLiteral("glTexImage2D() error :  1285 texture number :  %1 "
                                         "frame pixel format :  Format_YUV420P")
                              .arg(plane));
    }
    glrecorder::failTextureAllocation(GL_OUT_OF_MEMORY);
    GlCalls const calls = bench.upload(yuv420Frame(size));
    glrecorder::mend();
    QCOMPARE(calls, bench.allocation(0, GL_LUMINANCE, {8, 8}) +
                        bench.allocation(1, GL_LUMINANCE, {4, 4}) +
                        bench.allocation(2, GL_LUMINANCE, {4, 4}));
    // The textures count as allocated all the same.
    QCOMPARE(only(bench.upload(yuv420Frame(size)), {"glTexImage2D"}), GlCalls());
}

void GLUploadTest::unmappableFrame_isIncorrectFormat()
{
    Bench bench(surfaceFormat(Frame::Format_RGB32));
    QVideoFrame const frame = handleFrame(Buffer::NoHandle, QVariant());
    QCOMPARE(bench.upload(frame, Surface::IncorrectFormatError), GlCalls());
    // Nothing has been allocated by that.
    QCOMPARE(bench.upload(rgbFrame({4, 4})), bench.allocation(0, GL_RGBA, {4, 4}));
}

void GLUploadTest::unmappablePixmapFrame_isNoError()
{
    Bench bench(surfaceFormat(Frame::Format_RGB32, {4, 4}, Buffer::QPixmapHandle));
    QCOMPARE(bench.upload(handleFrame(Buffer::QPixmapHandle, QVariant())), GlCalls());
}

void GLUploadTest::upload_makesContextCurrent()
{
    Bench bench(surfaceFormat(Frame::Format_RGB32));
    GlScene other;
    QCOMPARE(QOpenGLContext::currentContext(), other.context());
    bench.upload(rgbFrame({4, 4}));
    QCOMPARE(QOpenGLContext::currentContext(), bench.scene.context());
}

QVORLIN_OPENGL_TEST_MAIN(GLUploadTest)
#include "tst_glupload.moc"
