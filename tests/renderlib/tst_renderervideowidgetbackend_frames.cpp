#include "renderlib/customrenderervideowidgetbackend.h"

#include <QDebug>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPaintEvent>
#include <QTest>
#include <QVideoSurfaceFormat>

#include "fakepainters.h"
#include "opengltest.h"
#include "plainwidget.h"
#include "testframes.h"

using renderlib::CustomRendererVideoWidgetBackend;

namespace {

QColor const BorderColour(10, 200, 30);

/** A backend that is given frames and whose painter takes what it is told to take. */
struct Fixture
{
    Fixture()
    {
        fakePainters() = FakePainters();
        backend.resizeEvent(nullptr);
        paint();
    }

    void paint()
    {
        QPaintEvent event(widget.rect());
        backend.paintEvent(&event);
    }

    /** Has the backend take the widget for smaller than it is: (0, 0, 100, 50). */
    void leaveBorder()
    {
        QSize const size = widget.size();
        widget.resize(100, 50);
        backend.resizeEvent(nullptr);
        widget.resize(size);
    }

    /** The same, after a frame that could not be shown. */
    void failWithBorder()
    {
        backend.setBackgroundColor(BorderColour);
        fakePainters().startError = QAbstractVideoSurface::ResourceError;
        expectMessage(QtWarningMsg, QStringLiteral("Painter failed to start surface, error :  4"));
        backend.updateFrame(colourFrame(Qt::red, 1));
        leaveBorder();
    }

    /** The colour at this place, from the upper left corner, of what the last paint left. */
    QColor pixel(int x, int y) const
    {
        uchar rgba[4] = {};
        QOpenGLContext::currentContext()->functions()->glReadPixels(
            x, widget.height() - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        return {rgba[0], rgba[1], rgba[2]};
    }

    int count(char const* call) const
    {
        return fakePainters().calls.count(QString::fromLatin1(call));
    }

    PlainWidget widget;
    CustomRendererVideoWidgetBackend backend{&widget};
};

void expectFormatChange()
{
    expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
}

void expectStartFailure(int error)
{
    expectMessage(
        QtWarningMsg, QStringLiteral("Painter failed to start surface, error :  %1").arg(error));
}

QString text(QVideoFrame const& frame)
{
    QString result;
    QDebug(&result) << "The format of video frame is not supported" << frame;
    return result.trimmed();
}

} // namespace

class TestRendererVideoWidgetBackendFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstFrame_startsWithItsFormat_data();
    void firstFrame_startsWithItsFormat();
    void everyFrame_hasTheFullRangeOfValues();
    void viewport_choosesTheSource_data();
    void viewport_choosesTheSource();
    void viewport_whilePlaying_countsFromTheNextStart();
    void mirrored_whilePlaying_countsFromTheNextStart();

    void emptyFrame_stopped_isNoError();
    void emptyFrame_afterAnError_isNoError();
    void framesBetweenPaints_areDroppedWithoutAnError();
    void repeatedFrame_isNotPaintedAnew();
    void startFails_isReported();
    void unsupportedPixelFormat_isReportedAndStaysStarted();
    void unsupportedFormat_isReported();
    void frameFails_isReportedAndTheNextStartsAnew();
    void formatChange_isReportedAndTheNextStartsAnew();
    void paintFails_isKeptUntilTheNextFrame();
    void errorInThePaint_isTheLastError();

    void afterAnError_theBorderIsFilled();
    void afterAnError_translucentWidgetIsLeftAlone();
    void withoutAnError_theBorderIsLeftAlone();
};

void TestRendererVideoWidgetBackendFrames::firstFrame_startsWithItsFormat_data()
{
    QTest::addColumn<QVideoFrame>("frame");
    QTest::newRow("RGB") << colourFrame(Qt::red, 1, QSize(20, 30));
    QTest::newRow("YUV") << plainFrame(QVideoFrame::Format_YUV420P, QSize(64, 2));
}

void TestRendererVideoWidgetBackendFrames::firstFrame_startsWithItsFormat()
{
    QFETCH(QVideoFrame, frame);
    Fixture f;
    fakePainters().supported = {frame.pixelFormat()};
    QCOMPARE(f.backend.updateFrame(frame), renderlib::RenderNoError);
    QVideoSurfaceFormat const format = fakePainters().format;
    QCOMPARE(format.frameSize(), frame.size());
    QCOMPARE(format.pixelFormat(), frame.pixelFormat());
    QCOMPARE(format.handleType(), frame.handleType());
    QCOMPARE(format.viewport(), QRect(QPoint(0, 0), frame.size()));
    QVERIFY(!format.property("mirrored").toBool());
    QCOMPARE(fakePainters().frame, frame);
}

void TestRendererVideoWidgetBackendFrames::everyFrame_hasTheFullRangeOfValues()
{
    Fixture f;
    f.backend.updateFrame(colourFrame(Qt::red));
    QCOMPARE(fakePainters().format.yCbCrColorSpace(), QVideoSurfaceFormat::YCbCr_JPEG);
}

void TestRendererVideoWidgetBackendFrames::viewport_choosesTheSource_data()
{
    QTest::addColumn<QRectF>("viewport");
    QTest::addColumn<QRect>("pixels");
    QRect const whole(0, 0, 1920, 1080);
    QTest::newRow("none") << QRectF() << whole;
    QTest::newRow("no width") << QRectF(0.5, 0.5, 0, 0.5) << whole;
    QTest::newRow("no height") << QRectF(100, 100, 640, 0) << whole;
    QTest::newRow("negative width") << QRectF(0.5, 0.5, -0.5, 0.5) << whole;
    QTest::newRow("negative height") << QRectF(0.5, 0.5, 0.5, -0.5) << whole;
    QTest::newRow("right half") << QRectF(0.5, 0, 0.5, 1) << QRect(960, 0, 960, 1080);
    QTest::newRow("everything") << QRectF(0, 0, 1, 1) << whole;
    QTest::newRow("parts are cut off")
        << QRectF(0.3335, 0.3335, 0.3339, 0.3339) << QRect(640, 360, 641, 360);
    QTest::newRow("negative part") << QRectF(-0.0008, 0, 1, 1) << QRect(-1, 0, 1920, 1080);
    QTest::newRow("pixels") << QRectF(100, 50, 640.4, 480.6) << QRect(100, 50, 640, 481);
    QTest::newRow("pixels are rounded")
        << QRectF(100.5, 49.4, 640.5, 480.49) << QRect(101, 49, 641, 480);
    QTest::newRow("wider than 1") << QRectF(0, 0, 1.5, 1) << QRect(0, 0, 2, 1);
    QTest::newRow("higher than 1") << QRectF(0.6, 0, 1, 1.4) << QRect(1, 0, 1, 1);
}

void TestRendererVideoWidgetBackendFrames::viewport_choosesTheSource()
{
    QFETCH(QRectF, viewport);
    QFETCH(QRect, pixels);
    Fixture f;
    f.backend.setViewport(viewport);
    f.backend.updateFrame(colourFrame(Qt::red, 1, QSize(1920, 1080)));
    QCOMPARE(fakePainters().format.viewport(), pixels);
    f.paint();
    QCOMPARE(fakePainters().source, QRectF(pixels));
}

void TestRendererVideoWidgetBackendFrames::viewport_whilePlaying_countsFromTheNextStart()
{
    Fixture f;
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.backend.setViewport(QRectF(0, 0, 0.5, 0.5));
    f.paint();
    QCOMPARE(fakePainters().source, QRectF(0, 0, 64, 36));

    expectFormatChange();
    f.backend.updateFrame(colourFrame(Qt::red, 2, QSize(10, 10)));
    f.backend.updateFrame(colourFrame(Qt::red, 2, QSize(10, 10)));
    f.paint();
    QCOMPARE(fakePainters().source, QRectF(0, 0, 5, 5));
}

void TestRendererVideoWidgetBackendFrames::mirrored_whilePlaying_countsFromTheNextStart()
{
    Fixture f;
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.paint();
    fakePainters().takeCalls();
    f.backend.setMirrored(true);
    f.backend.updateFrame(colourFrame(Qt::red, 2));
    f.paint();
    QCOMPARE(f.count("glsl start"), 0);

    expectFormatChange();
    f.backend.updateFrame(colourFrame(Qt::red, 3, QSize(10, 10)));
    f.backend.updateFrame(colourFrame(Qt::red, 3, QSize(10, 10)));
    QCOMPARE(fakePainters().format.property("mirrored"), QVariant(true));
}

void TestRendererVideoWidgetBackendFrames::emptyFrame_stopped_isNoError()
{
    Fixture f;
    QCOMPARE(f.backend.updateFrame(QVideoFrame()), renderlib::RenderNoError);
    QVERIFY(fakePainters().calls.isEmpty());
}

void TestRendererVideoWidgetBackendFrames::emptyFrame_afterAnError_isNoError()
{
    Fixture f;
    fakePainters().startError = QAbstractVideoSurface::ResourceError;
    expectStartFailure(4);
    f.backend.updateFrame(colourFrame(Qt::red));
    QCOMPARE(f.backend.error(), renderlib::RenderResourceError);
    QCOMPARE(f.backend.updateFrame(QVideoFrame()), renderlib::RenderNoError);
    QCOMPARE(f.backend.error(), renderlib::RenderNoError);
}

void TestRendererVideoWidgetBackendFrames::framesBetweenPaints_areDroppedWithoutAnError()
{
    Fixture f;
    QVideoFrame const first = colourFrame(Qt::red, 1);
    QCOMPARE(f.backend.updateFrame(first), renderlib::RenderNoError);
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::blue, 2)), renderlib::RenderNoError);
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::green, 3)), renderlib::RenderNoError);
    QCOMPARE(fakePainters().frame, first);
    f.paint();
    QVideoFrame const last = colourFrame(Qt::green, 4);
    QCOMPARE(f.backend.updateFrame(last), renderlib::RenderNoError);
    QCOMPARE(fakePainters().frame, last);
    QCOMPARE(f.count("glsl frame"), 2);
}

void TestRendererVideoWidgetBackendFrames::repeatedFrame_isNotPaintedAnew()
{
    Fixture f;
    QVideoFrame const frame = colourFrame(Qt::red, 1);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(f.backend.updateFrame(frame), renderlib::RenderNoError);
        f.paint();
    }
    QCOMPARE(f.count("glsl frame"), 1);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(f.backend.updateFrame(QVideoFrame()), renderlib::RenderNoError);
        f.paint();
    }
    QCOMPARE(f.count("glsl empty frame"), 1);
}

void TestRendererVideoWidgetBackendFrames::startFails_isReported()
{
    Fixture f;
    fakePainters().startError = QAbstractVideoSurface::UnsupportedFormatError;
    expectStartFailure(1);
    QCOMPARE(f.backend.updateFrame(plainFrame(QVideoFrame::Format_YUYV)),
        renderlib::RenderUnsupportedFormatError);
    QCOMPARE(f.backend.error(), renderlib::RenderUnsupportedFormatError);
    QCOMPARE(f.count("glsl frame"), 0);
}

void TestRendererVideoWidgetBackendFrames::unsupportedPixelFormat_isReportedAndStaysStarted()
{
    Fixture f;
    QVideoFrame const frame = plainFrame(QVideoFrame::Format_YUYV);
    expectMessage(QtWarningMsg, text(frame));
    QCOMPARE(f.backend.updateFrame(frame), renderlib::RenderUnsupportedFormatError);
    QCOMPARE(f.backend.error(), renderlib::RenderUnsupportedFormatError);
    QCOMPARE(f.count("glsl frame"), 0);
    QCOMPARE(f.count("glsl stop"), 0);
    QCOMPARE(fakePainters().askedHandleType, QAbstractVideoBuffer::NoHandle);

    // The next one is simply presented.
    QCOMPARE(f.backend.updateFrame(frame), renderlib::RenderNoError);
    QCOMPARE(f.count("glsl start"), 1);
    QCOMPARE(f.count("glsl frame"), 1);
}

void TestRendererVideoWidgetBackendFrames::unsupportedFormat_isReported()
{
    Fixture f;
    fakePainters().supported = {QVideoFrame::Format_ARGB32};
    QVideoFrame const frame = colourFrame(Qt::red);
    expectMessage(QtWarningMsg, text(frame));
    QCOMPARE(f.backend.updateFrame(frame), renderlib::RenderUnsupportedFormatError);
}

void TestRendererVideoWidgetBackendFrames::frameFails_isReportedAndTheNextStartsAnew()
{
    Fixture f;
    QString const failure =
        QStringLiteral("Painter failed to set current frame, surface will be stopped, error :  2");
    fakePainters().frameError = QAbstractVideoSurface::IncorrectFormatError;
    expectMessage(QtWarningMsg, failure);
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::red, 1)), renderlib::RenderIncorrectFormatError);
    fakePainters().frameError = QAbstractVideoSurface::NoError;
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::red, 1)), renderlib::RenderNoError);
    QCOMPARE(f.count("glsl created"), 1);
    QCOMPARE(f.count("glsl start"), 2);
}

void TestRendererVideoWidgetBackendFrames::formatChange_isReportedAndTheNextStartsAnew()
{
    Fixture f;
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.paint();
    expectFormatChange();
    QVideoFrame const other = colourFrame(Qt::red, 2, QSize(10, 10));
    QCOMPARE(f.backend.updateFrame(other), renderlib::RenderIncorrectFormatError);
    QCOMPARE(f.backend.error(), renderlib::RenderIncorrectFormatError);
    QCOMPARE(f.backend.updateFrame(other), renderlib::RenderNoError);
    QCOMPARE(fakePainters().frame, other);
    QCOMPARE(f.backend.sizeHint(), QSize(10, 10));
}

void TestRendererVideoWidgetBackendFrames::paintFails_isKeptUntilTheNextFrame()
{
    Fixture f;
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    fakePainters().paintError = QAbstractVideoSurface::ResourceError;
    expectMessage(
        QtWarningMsg, QStringLiteral("Painter error, surface will be stopped, error :  4"));
    f.paint();
    QCOMPARE(f.backend.error(), renderlib::RenderResourceError);
    f.paint();
    QCOMPARE(f.backend.error(), renderlib::RenderResourceError);
    fakePainters().paintError = QAbstractVideoSurface::NoError;
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::red, 1)), renderlib::RenderNoError);
    f.paint();
    QCOMPARE(f.backend.error(), renderlib::RenderNoError);
}

void TestRendererVideoWidgetBackendFrames::errorInThePaint_isTheLastError()
{
    Fixture f;
    QVideoFrame const frame = plainFrame(QVideoFrame::Format_YUYV);
    expectMessage(QtWarningMsg, text(frame));
    f.backend.updateFrame(frame);
    QCOMPARE(f.backend.error(), renderlib::RenderUnsupportedFormatError);
    // The surface itself has none.
    f.paint();
    QCOMPARE(f.backend.error(), renderlib::RenderNoError);
}

void TestRendererVideoWidgetBackendFrames::afterAnError_theBorderIsFilled()
{
    Fixture f;
    f.failWithBorder();
    f.paint();
    QCOMPARE(f.pixel(110, 10), BorderColour);
    QCOMPARE(f.pixel(10, 60), BorderColour);
    QVERIFY(f.pixel(10, 10) != BorderColour);
    QVERIFY(f.pixel(99, 49) != BorderColour);
}

void TestRendererVideoWidgetBackendFrames::afterAnError_translucentWidgetIsLeftAlone()
{
    Fixture f;
    f.widget.setAttribute(Qt::WA_OpaquePaintEvent, false);
    f.failWithBorder();
    f.paint();
    QVERIFY(f.pixel(110, 10) != BorderColour);
}

void TestRendererVideoWidgetBackendFrames::withoutAnError_theBorderIsLeftAlone()
{
    Fixture f;
    f.backend.setBackgroundColor(BorderColour);
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.leaveBorder();
    f.paint();
    QVERIFY(f.pixel(110, 10) != BorderColour);
}

QVORLIN_OPENGL_TEST_MAIN(TestRendererVideoWidgetBackendFrames)

#include "tst_renderervideowidgetbackend_frames.moc"
