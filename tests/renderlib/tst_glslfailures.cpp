#include <QOpenGLShaderProgram>
#include <QPixmap>

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

/** What is made to fail, and the message about it. */
struct Failure
{
    void (*provoke)();
    char const* message;
};

Failure const Failures[] = {
    {[] { glrecorder::failCompile(GL_VERTEX_SHADER, "0:3 no highp"); },
        "CustomVideoSurfaceGlslPainter: Vertex shader compile error 0:3 no highp"},
    {[] { glrecorder::failCompile(GL_FRAGMENT_SHADER, "0:5 100% busy"); },
        "CustomVideoSurfaceGlslPainter: Shader compile error 0:5 100% busy"},
    {[] { glrecorder::failLink("too many %s"); },
        "CustomVideoSurfaceGlslPainter: Shader link error too many %s"},
};

QStringList messages;

void keepMessage(QtMsgType type, QMessageLogContext const&, QString const& text)
{
    if (type == QtWarningMsg)
        messages.append(text);
}

/** Starts @p painter while @p failure lasts; @return the painter's own warnings, not Qt's. */
QStringList startFailing(Painter& painter, Format const& format, Failure const& failure)
{
    failure.provoke();
    messages.clear();
    QtMessageHandler const before = qInstallMessageHandler(keepMessage);
    Surface::Error const error = painter.start(format);
    qInstallMessageHandler(before);
    glrecorder::mend();
    if (error != Surface::ResourceError)
        return {QStringLiteral("error %1").arg(error)};
    return messages.filter(QStringLiteral("CustomVideoSurfaceGlslPainter"));
}

Format const Formats[] = {surfaceFormat(Frame::Format_RGB32), surfaceFormat(Frame::Format_ARGB32),
    surfaceFormat(Frame::Format_YUV420P), surfaceFormat(Frame::Format_NV12),
    surfaceFormat(Frame::Format_RGB32, {4, 4}, Buffer::GLTextureHandle)};

} // namespace

class GlslFailuresTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedStart_warnsAndIsResourceError();
    void failedStart_leavesProgramEmpty();
    void failedStart_makesNoTextures();
    void stopAfterFailedStart_deletesNothing();
    void startAfterFailedStart_works();
    void unsupportedStart_isQuiet();
    void paintOtherHandle_isIncorrectFormat();
};

void GlslFailuresTest::failedStart_warnsAndIsResourceError()
{
    GlScene scene;
    Painter painter(scene.context());
    for (Failure const& failure : Failures) {
        for (Format const& format : Formats) {
            QCOMPARE(startFailing(painter, format, failure),
                QStringList(QString::fromLatin1(failure.message)));
        }
    }
}

void GlslFailuresTest::failedStart_leavesProgramEmpty()
{
    GlScene scene;
    Painter painter(scene.context());
    auto const* program = scene.context()->findChild<QOpenGLShaderProgram*>();
    for (Failure const& failure : Failures) {
        startFailing(painter, Formats[0], failure);
        QVERIFY2(program->shaders().isEmpty(), failure.message);
    }
}

void GlslFailuresTest::failedStart_makesNoTextures()
{
    GlScene scene;
    Painter painter(scene.context());
    for (Failure const& failure : Failures) {
        glrecorder::start();
        startFailing(painter, surfaceFormat(Frame::Format_YUV420P), failure);
        QCOMPARE(only(glrecorder::stop(), {"glGenTextures"}), GlCalls());
    }
}

void GlslFailuresTest::stopAfterFailedStart_deletesNothing()
{
    GlScene scene;
    Painter painter(scene.context());
    for (Failure const& failure : Failures) {
        // Its names may be given to others once they are deleted.
        QCOMPARE(painter.start(surfaceFormat(Frame::Format_YUV420P)), Surface::NoError);
        painter.stop();
        startFailing(painter, surfaceFormat(Frame::Format_YUV420P), failure);
        glrecorder::start();
        painter.stop();
        QCOMPARE(glrecorder::stop(), GlCalls{glCall("glDeleteTextures", 0)});
    }
}

void GlslFailuresTest::startAfterFailedStart_works()
{
    GlScene scene;
    Painter painter(scene.context());
    for (Failure const& failure : Failures) {
        for (bool stopBetween : {false, true}) {
            startFailing(painter, Formats[0], failure);
            if (stopBetween)
                painter.stop();
            QCOMPARE(painter.start(surfaceFormat(Frame::Format_RGB32, {8, 8})), Surface::NoError);
            QImage image(8, 8, QImage::Format_RGB32);
            image.fill(QColor(10, 20, 30));
            glrecorder::start();
            painter.setCurrentFrame(image);
            QCOMPARE(only(glrecorder::stop(), {"glTexImage2D"}).size(), 1);
            painter.updateColors();
            QCOMPARE(painter.paint({0, 0, 8, 8}, &scene.painter(), {0, 0, 8, 8}), Surface::NoError);
            QCOMPARE(scene.picture().pixelColor(4, 4), QColor(10, 20, 30));
            painter.stop();
        }
    }
}

void GlslFailuresTest::unsupportedStart_isQuiet()
{
    // A warning would fail the program.
    GlScene scene;
    Painter painter(scene.context());
    QCOMPARE(painter.start(surfaceFormat(Frame::Format_YUYV)), Surface::UnsupportedFormatError);
    glrecorder::start();
    painter.stop();
    QCOMPARE(glrecorder::stop(), GlCalls{glCall("glDeleteTextures", 0)});
}

void GlslFailuresTest::paintOtherHandle_isIncorrectFormat()
{
    GlScene scene;
    Painter painter(scene.context());
    QCOMPARE(painter.start(surfaceFormat(Frame::Format_RGB32, {4, 4}, Buffer::QPixmapHandle)),
        Surface::NoError);
    painter.setCurrentFrame(handleFrame(Buffer::UserHandle, 1));
    glrecorder::start();
    QCOMPARE(
        painter.paint({0, 0, 8, 8}, &scene.painter(), {0, 0, 4, 4}), Surface::IncorrectFormatError);
    QCOMPARE(glrecorder::stop(), GlCalls());
}

QVORLIN_OPENGL_TEST_MAIN(GlslFailuresTest)
#include "tst_glslfailures.moc"
