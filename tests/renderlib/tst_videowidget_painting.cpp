#include "renderlib/customvideowidget.h"

#include <thread>

#include <QBoxLayout>
#include <QDebug>
#include <QPaintEngine>
#include <QPainter>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include "opengltest.h"
#include "planarbuffer.h"
#include "testframes.h"
#include "videoscene.h"

namespace {

/** Left half red, right half blue. */
QVideoFrame halvesFrame(qint64 startTime, QSize const& size = QSize(64, 36))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::red);
    QPainter(&image).fillRect(
        size.width() / 2, 0, size.width() - size.width() / 2, size.height(), Qt::blue);
    return imageFrame(image, startTime);
}

void expectFormatChange()
{
    expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
}

void expectGenericPainter()
{
    if (QOpenGLContext::openGLModuleType() != QOpenGLContext::LibGLES) {
        expectMessage(QtWarningMsg,
            QStringLiteral("CustomVideoSurfaceGenericPainter: OpenGL context not a LibGLES: %1")
                .arg(QOpenGLContext::openGLModuleType()));
    }
}

QColor onScreen(QWidget const& widget, int x, int y)
{
    QPoint const place = widget.mapToGlobal(QPoint(x, y));
    return widget.screen()->grabWindow(0, place.x(), place.y(), 1, 1).toImage().pixelColor(0, 0);
}

} // namespace

class TestVideoWidgetPainting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shown_withoutFrames_paintsNothing();
    void frame_isPaintedAndShown();
    void frame_inFullRangeYuv_isConverted();
    void frames_betweenTwoRepaints_onlyTheFirstIsShown();
    void repeatedFrame_isNotPaintedAgain();
    void emptyFrame_clearsThePicture();
    void frameBeforeTheFirstPaint_isPaintedWithQPainter();
    void frameOfAnotherThread_isShownThroughAQueuedCall();

    void formatChange_isReportedAndTheNextFrameIsShown();
    void yuyvFrame_isUnsupported();
    void unsupportedFrame_isNamedInTheWarning();
    void frameAfterAnError_isShown();

    void mirrored_whilePlaying_changesNothingUntilTheRestart();
    void viewport_showsTheRightHalf();
    void aspectRatio_isKeptWithBars();
    void backgroundColor_isThatOfTheNextPaint();
    void sizeHint_isThatOfTheVideo();
    void resize_paintsAtTheNewSize();
};

void TestVideoWidgetPainting::shown_withoutFrames_paintsNothing()
{
    VideoScene s;
    QVERIFY(s.show());
    QCOMPARE(contextOf(s.widget)->isOpenGLES(), isOpenGLESRun());
    QVERIFY(s.widget.paintEngine());
    QCOMPARE(s.widget.paintEngine()->type(), QPaintEngine::OpenGL2);
    s.widget.update();
    letRepaint();
    QCOMPARE(s.probe.paints, 0);
    QCOMPARE(s.widget.renderError(), renderlib::RenderNoError);
}

void TestVideoWidgetPainting::frame_isPaintedAndShown()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(halvesFrame(1, QSize(160, 90))));
    QCOMPARE(s.probe.picture.size(), QSize(160, 90));
    QCOMPARE(s.at(2, 2), QColor(Qt::red));
    QCOMPARE(s.at(77, 87), QColor(Qt::red));
    QCOMPARE(s.at(82, 2), QColor(Qt::blue));
    QTRY_COMPARE(onScreen(s.widget, 40, 45), QColor(Qt::red));
    QCOMPARE(onScreen(s.widget, 120, 45), QColor(Qt::blue));
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetPainting::frame_inFullRangeYuv_isConverted()
{
    VideoScene s;
    QVERIFY(s.show());
    QSize const size(64, 36);
    QVERIFY(s.present(planarFrame(new PlanarBuffer(size, 76, 85, 255), size, 1)));
    QVERIFY2(s.middle().red() > 248 && s.middle().green() < 8 && s.middle().blue() < 8,
        qPrintable(s.middle().name()));
    // Black and white at the ends of the range.
    QVERIFY(s.present(planarFrame(new PlanarBuffer(size, 255, 128, 128), size, 2)));
    QVERIFY(s.middle().lightness() > 248);
    QVERIFY(s.present(planarFrame(new PlanarBuffer(size, 16, 128, 128), size, 3)));
    QVERIFY(s.middle().lightness() > 12 && s.middle().lightness() < 20);
}

void TestVideoWidgetPainting::frames_betweenTwoRepaints_onlyTheFirstIsShown()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::green, 1)));
    letRepaint();
    int const before = s.probe.paints;
    s.widget.updateFrame(colourFrame(Qt::red, 2));
    s.widget.updateFrame(colourFrame(Qt::blue, 3));
    s.widget.updateFrame(colourFrame(Qt::white, 4));
    QTRY_COMPARE(s.probe.paints, before + 1);
    letRepaint();
    QCOMPARE(s.probe.paints, before + 1);
    QCOMPARE(s.middle(), QColor(Qt::red));
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetPainting::repeatedFrame_isNotPaintedAgain()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    letRepaint();
    int const before = s.probe.paints;
    s.widget.updateFrame(colourFrame(Qt::blue, 1));
    letRepaint();
    QCOMPARE(s.probe.paints, before);
    QVERIFY(s.present(colourFrame(Qt::blue, -1)));
    QVERIFY(s.present(colourFrame(Qt::white, -1)));
    QCOMPARE(s.middle(), QColor(Qt::white));
}

void TestVideoWidgetPainting::emptyFrame_clearsThePicture()
{
    VideoScene s;
    s.widget.setBackgroundColor(QColor(10, 20, 30));
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    QVERIFY(s.present(QVideoFrame()));
    QCOMPARE(s.middle(), QColor(10, 20, 30));
    letRepaint();
    int const before = s.probe.paints;
    s.widget.updateFrame(QVideoFrame());
    letRepaint();
    QCOMPARE(s.probe.paints, before);
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetPainting::frameBeforeTheFirstPaint_isPaintedWithQPainter()
{
    VideoScene s;
    expectGenericPainter();
    s.widget.updateFrame(halvesFrame(1));
    QVERIFY(s.show());
    QTRY_VERIFY(s.probe.paints > 0);
    QCOMPARE(s.at(40, 45), QColor(Qt::red));
    QCOMPARE(s.at(120, 45), QColor(Qt::blue));
    QVERIFY(s.present(colourFrame(Qt::green, 2)));
    QCOMPARE(s.middle(), QColor(Qt::green));
}

void TestVideoWidgetPainting::frameOfAnotherThread_isShownThroughAQueuedCall()
{
    VideoScene s;
    QVERIFY(s.show());
    std::thread([&] {
        QMetaObject::invokeMethod(&s.widget, "updateFrame", Qt::QueuedConnection,
            Q_ARG(QVideoFrame, colourFrame(Qt::green, 1)));
    }).join();
    QTRY_VERIFY(s.probe.paints > 0);
    QCOMPARE(s.middle(), QColor(Qt::green));
}

void TestVideoWidgetPainting::formatChange_isReportedAndTheNextFrameIsShown()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    expectFormatChange();
    s.widget.updateFrame(colourFrame(Qt::blue, 2, QSize(32, 18)));
    QCOMPARE(s.errors.size(), 1);
    QCOMPARE(s.errors.first().first().value<renderlib::RenderError>(),
        renderlib::RenderIncorrectFormatError);
    QCOMPARE(s.widget.renderError(), renderlib::RenderIncorrectFormatError);
    QVERIFY(s.present(colourFrame(Qt::green, 3, QSize(32, 18))));
    QCOMPARE(s.middle(), QColor(Qt::green));

    expectFormatChange();
    QVideoFrame const yuv =
        planarFrame(new PlanarBuffer(QSize(32, 18), 255, 128, 128), QSize(32, 18), 4);
    s.widget.updateFrame(yuv);
    QVERIFY(s.present(yuv));
    QVERIFY(s.middle().lightness() > 248);
    QCOMPARE(s.errors.size(), 2);
    QCOMPARE(s.widget.renderError(), renderlib::RenderNoError);
}

void TestVideoWidgetPainting::yuyvFrame_isUnsupported()
{
    VideoScene s;
    QVERIFY(s.show());
    expectMessage(QtWarningMsg, QStringLiteral("Painter failed to start surface, error :  1"));
    s.widget.updateFrame(plainFrame(QVideoFrame::Format_YUYV));
    QCOMPARE(s.widget.renderError(), renderlib::RenderUnsupportedFormatError);
    QCOMPARE(s.errors.size(), 1);
    QCOMPARE(s.errors.first().first().value<renderlib::RenderError>(),
        renderlib::RenderUnsupportedFormatError);
}

void TestVideoWidgetPainting::unsupportedFrame_isNamedInTheWarning()
{
    if (QOpenGLContext::openGLModuleType() == QOpenGLContext::LibGLES)
        QSKIP("the painter of this Qt refuses the frame already when it starts");
    VideoScene s;
    QVideoFrame const frame = imageFrame(QImage(QSize(64, 36), QImage::Format_RGB888));
    QString text;
    QDebug(&text) << "The format of video frame is not supported" << frame;
    expectGenericPainter();
    expectMessage(QtWarningMsg, text.trimmed());
    s.widget.updateFrame(frame);
    QCOMPARE(s.widget.renderError(), renderlib::RenderUnsupportedFormatError);
    QCOMPARE(s.errors.size(), 1);
}

void TestVideoWidgetPainting::frameAfterAnError_isShown()
{
    VideoScene s;
    QVERIFY(s.show());
    auto* unreadable = new PlanarBuffer(QSize(64, 36), 1);
    unreadable->refuseMap = true;
    expectMessage(QtWarningMsg,
        QStringLiteral("Painter failed to set current frame, surface will be stopped, error :  2"));
    s.widget.updateFrame(planarFrame(unreadable, QSize(64, 36), 1));
    QCOMPARE(s.widget.renderError(), renderlib::RenderIncorrectFormatError);
    QCOMPARE(s.errors.size(), 1);
    letRepaint();
    QCOMPARE(s.probe.paints, 0);
    QVERIFY(s.present(colourFrame(Qt::green, 2)));
    QCOMPARE(s.middle(), QColor(Qt::green));
    QCOMPARE(s.widget.renderError(), renderlib::RenderNoError);
}

void TestVideoWidgetPainting::mirrored_whilePlaying_changesNothingUntilTheRestart()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(halvesFrame(1)));
    s.widget.setMirrored(true);
    QVERIFY(s.present(halvesFrame(2)));
    QCOMPARE(s.at(40, 45), QColor(Qt::red));

    expectFormatChange();
    s.widget.updateFrame(halvesFrame(3, QSize(32, 18)));
    QVERIFY(s.present(halvesFrame(4, QSize(32, 18))));
    QCOMPARE(s.at(40, 45), QColor(Qt::blue));
    QCOMPARE(s.at(120, 45), QColor(Qt::red));
}

void TestVideoWidgetPainting::viewport_showsTheRightHalf()
{
    VideoScene s;
    s.widget.setViewport(QRectF(0.5, 0, 0.5, 1));
    QVERIFY(s.show());
    QVERIFY(s.present(halvesFrame(1)));
    // One column may mix with its neighbour.
    QCOMPARE(s.at(4, 45), QColor(Qt::blue));
    QCOMPARE(s.at(155, 45), QColor(Qt::blue));
}

void TestVideoWidgetPainting::aspectRatio_isKeptWithBars()
{
    VideoScene s(QSize(160, 160));
    s.widget.setBackgroundColor(QColor(10, 20, 30));
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    QCOMPARE(s.at(80, 10), QColor(10, 20, 30));
    QCOMPARE(s.at(80, 150), QColor(10, 20, 30));
    QCOMPARE(s.at(2, 80), QColor(Qt::red));
    QCOMPARE(s.at(157, 80), QColor(Qt::red));

    // Shown at once, with the same frame.
    int const before = s.probe.paints;
    s.widget.setAspectRatioMode(Qt::IgnoreAspectRatio);
    QTRY_VERIFY(s.probe.paints > before);
    QCOMPARE(s.at(80, 10), QColor(Qt::red));
    QCOMPARE(s.at(80, 150), QColor(Qt::red));
}

void TestVideoWidgetPainting::backgroundColor_isThatOfTheNextPaint()
{
    VideoScene s(QSize(160, 160));
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    QCOMPARE(s.at(80, 10), QColor(Qt::black));
    s.widget.setBackgroundColor(Qt::cyan);
    QVERIFY(s.present(colourFrame(Qt::red, 2)));
    QCOMPARE(s.at(80, 10), QColor(Qt::cyan));
}

void TestVideoWidgetPainting::sizeHint_isThatOfTheVideo()
{
    QWidget window;
    auto* layout = new QHBoxLayout(&window);
    renderlib::CustomVideoWidget widget;
    widget.setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    widget.setMinimumSize(10, 10);
    layout->addWidget(&widget, 0, Qt::AlignCenter);
    window.resize(400, 300);
    QVERIFY(showVideo(widget));
    widget.updateFrame(colourFrame(Qt::red, 1, QSize(200, 100)));
    QCOMPARE(widget.sizeHint(), QSize(200, 100));
    // The layout hears of it.
    QTRY_COMPARE(widget.size(), QSize(200, 100));
}

void TestVideoWidgetPainting::resize_paintsAtTheNewSize()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(halvesFrame(1)));
    int const before = s.probe.paints;
    s.widget.resize(320, 180);
    QTRY_VERIFY(s.probe.paints > before && s.probe.picture.size() == QSize(320, 180));
    QVERIFY(s.present(halvesFrame(2)));
    QCOMPARE(s.at(150, 10), QColor(Qt::red));
    QCOMPARE(s.at(310, 170), QColor(Qt::blue));
    s.widget.resize(80, 45);
    QTRY_COMPARE(s.probe.picture.size(), QSize(80, 45));
    QVERIFY(s.present(halvesFrame(3)));
    QCOMPARE(s.at(75, 40), QColor(Qt::blue));
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWidgetPainting)

#include "tst_videowidget_painting.moc"
