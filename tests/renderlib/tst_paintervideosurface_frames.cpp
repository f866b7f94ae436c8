#include "renderlib/custompaintervideosurface.h"

#include <QPainter>
#include <QSignalSpy>
#include <QTest>

#include "fakepainters.h"
#include "messagecheck.h"
#include "testframes.h"

using renderlib::CustomPainterVideoSurface;

namespace {

QVideoSurfaceFormat const Format(QSize(64, 36), QVideoFrame::Format_RGB32);

/** A started surface, the calls taken, and something to paint on. */
struct Fixture
{
    explicit Fixture(QVideoSurfaceFormat const& format = Format)
    {
        fakePainters() = FakePainters();
        surface.start(format);
        fakePainters().takeCalls();
    }

    /** Presents and lets it count as painted. */
    bool present(QVideoFrame const& frame)
    {
        bool const result = surface.present(frame);
        surface.setReady(true);
        return result;
    }

    void paint(QRectF const& source = QRectF(0, 0, 1, 1))
    {
        QPainter painter(&image);
        surface.paint(&painter, QRectF(1, 2, 3, 4), source);
    }

    int framesGiven() const { return fakePainters().calls.count(QStringLiteral("generic frame")); }
    int emptyFramesGiven() const
    {
        return fakePainters().calls.count(QStringLiteral("generic empty frame"));
    }

    QImage image{16, 16, QImage::Format_RGB32};
    CustomPainterVideoSurface surface;
    QSignalSpy frameChanges{&surface, &CustomPainterVideoSurface::frameChanged};
};

} // namespace

class TestPainterVideoSurfaceFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void present_notStarted_isAStoppedError();
    void present_givesTheFrameToThePainter();
    void present_beforeThePaint_isRefusedWithoutAnError();
    void present_painted_isAcceptedAgain();
    void present_anotherFormat_stops_data();
    void present_anotherFormat_stops();
    void present_secondEmptyFrame_isIgnored();
    void present_emptyFrameAfterAPicture_isGivenAgain();
    void present_emptyFrameAfterARestart_isGivenAgain();
    void present_sameStartTime_isAcceptedAndDropped();
    void present_anotherStartTime_isNoRepeat();
    void present_unknownStartTime_isNeverARepeat();
    void present_sameStartTimeAfterAnEmptyFrame_isShown();
    void present_sameStartTimeAfterARestart_isShown();
    void present_painterFails_stops();

    void paint_inactive_fillsTheTarget();
    void paint_passesTheTarget();
    void paint_updatesColoursOnceAfterEachStart();
    void paint_mapsTheSourceOntoTheViewport_data();
    void paint_mapsTheSourceOntoTheViewport();
    void paint_painterFails_stops();
    void paint_doesNotAskForTheNextFrame();
};

void TestPainterVideoSurfaceFrames::present_notStarted_isAStoppedError()
{
    fakePainters() = FakePainters();
    CustomPainterVideoSurface surface;
    QVERIFY(!surface.present(colourFrame(Qt::red)));
    QCOMPARE(surface.error(), QAbstractVideoSurface::StoppedError);
    QVERIFY(fakePainters().calls.isEmpty());
}

void TestPainterVideoSurfaceFrames::present_givesTheFrameToThePainter()
{
    Fixture f;
    QVideoFrame const frame = colourFrame(Qt::red, 1);
    QVERIFY(f.surface.present(frame));
    QCOMPARE(fakePainters().calls, QStringList(QStringLiteral("generic frame")));
    QCOMPARE(fakePainters().frame, frame);
    QCOMPARE(f.frameChanges.size(), 1);
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
}

void TestPainterVideoSurfaceFrames::present_beforeThePaint_isRefusedWithoutAnError()
{
    Fixture f;
    QVERIFY(f.surface.present(colourFrame(Qt::red, 1)));
    QVERIFY(!f.surface.present(colourFrame(Qt::blue, 2)));
    // Not even another format or the same frame counts now.
    QVERIFY(!f.surface.present(colourFrame(Qt::red, 1)));
    QVERIFY(!f.surface.present(colourFrame(Qt::blue, 2, QSize(8, 8))));
    QVERIFY(!f.surface.present(QVideoFrame()));
    QCOMPARE(f.framesGiven(), 1);
    QCOMPARE(f.frameChanges.size(), 1);
    QVERIFY(f.surface.isActive());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
}

void TestPainterVideoSurfaceFrames::present_painted_isAcceptedAgain()
{
    Fixture f;
    QVERIFY(f.surface.present(colourFrame(Qt::red, 1)));
    f.surface.setReady(true);
    QVERIFY(f.surface.present(colourFrame(Qt::blue, 2)));
    QCOMPARE(f.framesGiven(), 2);
    QCOMPARE(f.frameChanges.size(), 2);
}

void TestPainterVideoSurfaceFrames::present_anotherFormat_stops_data()
{
    QTest::addColumn<QVideoFrame>("frame");
    QTest::newRow("width") << colourFrame(Qt::red, 1, QSize(65, 36));
    QTest::newRow("height") << colourFrame(Qt::red, 1, QSize(64, 35));
    QTest::newRow("pixel format") << plainFrame(QVideoFrame::Format_ARGB32);
}

void TestPainterVideoSurfaceFrames::present_anotherFormat_stops()
{
    QFETCH(QVideoFrame, frame);
    Fixture f;
    expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
    QVERIFY(!f.surface.present(frame));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::IncorrectFormatError);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(fakePainters().calls, QStringList(QStringLiteral("generic stop")));
    QCOMPARE(f.frameChanges.size(), 0);
}

void TestPainterVideoSurfaceFrames::present_secondEmptyFrame_isIgnored()
{
    Fixture f;
    QVERIFY(f.present(colourFrame(Qt::red, 1)));
    QVERIFY(f.present(QVideoFrame()));
    QCOMPARE(f.emptyFramesGiven(), 1);
    QCOMPARE(f.frameChanges.size(), 2);
    QVERIFY(f.present(QVideoFrame()));
    QVERIFY(f.present(QVideoFrame()));
    QCOMPARE(f.emptyFramesGiven(), 1);
    QCOMPARE(f.frameChanges.size(), 2);
}

void TestPainterVideoSurfaceFrames::present_emptyFrameAfterAPicture_isGivenAgain()
{
    Fixture f;
    QVERIFY(f.present(QVideoFrame()));
    QVERIFY(f.present(colourFrame(Qt::red, 1)));
    QVERIFY(f.present(QVideoFrame()));
    QCOMPARE(f.emptyFramesGiven(), 2);
}

void TestPainterVideoSurfaceFrames::present_emptyFrameAfterARestart_isGivenAgain()
{
    Fixture f;
    QVERIFY(f.present(QVideoFrame()));
    f.surface.stop();
    QVERIFY(f.surface.start(Format));
    QVERIFY(f.present(QVideoFrame()));
    QCOMPARE(f.emptyFramesGiven(), 2);
}

void TestPainterVideoSurfaceFrames::present_sameStartTime_isAcceptedAndDropped()
{
    Fixture f;
    QVERIFY(f.present(colourFrame(Qt::red, 5)));
    QVERIFY(f.surface.present(colourFrame(Qt::blue, 5)));
    QCOMPARE(f.framesGiven(), 1);
    QCOMPARE(f.frameChanges.size(), 1);
    // A repeat leaves room for the frame after it.
    QVERIFY(f.surface.present(colourFrame(Qt::green, 6)));
    QCOMPARE(f.framesGiven(), 2);
}

void TestPainterVideoSurfaceFrames::present_anotherStartTime_isNoRepeat()
{
    Fixture f;
    for (qint64 time : {5, 6, 5, 0})
        QVERIFY(f.present(colourFrame(Qt::red, time)));
    QCOMPARE(f.framesGiven(), 4);
}

void TestPainterVideoSurfaceFrames::present_unknownStartTime_isNeverARepeat()
{
    Fixture f;
    for (int i = 0; i < 3; ++i)
        QVERIFY(f.present(colourFrame(Qt::red, -1)));
    QCOMPARE(f.framesGiven(), 3);
    QCOMPARE(f.frameChanges.size(), 3);
}

void TestPainterVideoSurfaceFrames::present_sameStartTimeAfterAnEmptyFrame_isShown()
{
    Fixture f;
    QVERIFY(f.present(colourFrame(Qt::red, 5)));
    QVERIFY(f.present(QVideoFrame()));
    QVERIFY(f.present(colourFrame(Qt::red, 5)));
    QCOMPARE(f.framesGiven(), 2);
}

void TestPainterVideoSurfaceFrames::present_sameStartTimeAfterARestart_isShown()
{
    Fixture f;
    QVERIFY(f.present(colourFrame(Qt::red, 5)));
    QVERIFY(f.surface.start(Format));
    QVERIFY(f.surface.present(colourFrame(Qt::red, 5)));
    QCOMPARE(f.framesGiven(), 2);
}

void TestPainterVideoSurfaceFrames::present_painterFails_stops()
{
    Fixture f;
    fakePainters().frameError = QAbstractVideoSurface::IncorrectFormatError;
    expectMessage(QtWarningMsg,
        QStringLiteral("Painter failed to set current frame, surface will be stopped, error :  2"));
    QVERIFY(!f.surface.present(colourFrame(Qt::red, 1)));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::IncorrectFormatError);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("generic frame"), QStringLiteral("generic stop")}));
    QCOMPARE(f.frameChanges.size(), 0);
}

void TestPainterVideoSurfaceFrames::paint_inactive_fillsTheTarget()
{
    Fixture f;
    f.surface.stop();
    fakePainters().takeCalls();
    f.surface.setBackgroundColor(Qt::cyan);
    fakePainters().takeCalls();
    f.image.fill(Qt::white);
    f.paint();
    QVERIFY(fakePainters().calls.isEmpty());
    QCOMPARE(f.image.pixelColor(1, 2), QColor(Qt::cyan));
    QCOMPARE(f.image.pixelColor(3, 5), QColor(Qt::cyan));
    QCOMPARE(f.image.pixelColor(0, 2), QColor(Qt::white));
    QCOMPARE(f.image.pixelColor(4, 5), QColor(Qt::white));
    QCOMPARE(f.image.pixelColor(3, 6), QColor(Qt::white));
}

void TestPainterVideoSurfaceFrames::paint_passesTheTarget()
{
    Fixture f;
    f.paint();
    QCOMPARE(fakePainters().target, QRectF(1, 2, 3, 4));
}

void TestPainterVideoSurfaceFrames::paint_updatesColoursOnceAfterEachStart()
{
    Fixture f;
    QString const colours = QStringLiteral("generic colours");
    QString const paint = QStringLiteral("generic paint");
    f.paint();
    f.paint();
    QCOMPARE(fakePainters().takeCalls(), (QStringList{colours, paint, paint}));
    f.surface.start(Format);
    fakePainters().takeCalls();
    f.paint();
    f.paint();
    QCOMPARE(fakePainters().takeCalls(), (QStringList{colours, paint, paint}));
}

void TestPainterVideoSurfaceFrames::paint_mapsTheSourceOntoTheViewport_data()
{
    QTest::addColumn<QRect>("viewport");
    QTest::addColumn<QRectF>("source");
    QTest::addColumn<QRectF>("pixels");
    QRect const whole(0, 0, 1920, 1080);
    QTest::newRow("whole") << whole << QRectF(0, 0, 1, 1) << QRectF(0, 0, 1920, 1080);
    QTest::newRow("middle") << whole << QRectF(0.25, 0.25, 0.5, 0.5) << QRectF(480, 270, 960, 540);
    QTest::newRow("viewport") << QRect(960, 10, 960, 100) << QRectF(0, 0, 1, 1)
                              << QRectF(960, 10, 960, 100);
    QTest::newRow("part of the viewport")
        << QRect(960, 10, 960, 100) << QRectF(0.5, 0.25, 0.5, 0.75) << QRectF(1440, 35, 480, 75);
    QTest::newRow("nothing") << whole << QRectF() << QRectF(0, 0, 0, 0);
}

void TestPainterVideoSurfaceFrames::paint_mapsTheSourceOntoTheViewport()
{
    QFETCH(QRect, viewport);
    QFETCH(QRectF, source);
    QFETCH(QRectF, pixels);
    QVideoSurfaceFormat format(QSize(1920, 1080), QVideoFrame::Format_RGB32);
    format.setViewport(viewport);
    Fixture f(format);
    f.paint(source);
    QCOMPARE(fakePainters().source, pixels);
}

void TestPainterVideoSurfaceFrames::paint_painterFails_stops()
{
    Fixture f;
    f.present(colourFrame(Qt::red, 1));
    f.paint();
    fakePainters().takeCalls();
    fakePainters().paintError = QAbstractVideoSurface::IncorrectFormatError;
    expectMessage(
        QtWarningMsg, QStringLiteral("Painter error, surface will be stopped, error :  2"));
    f.paint();
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::IncorrectFormatError);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("generic paint"), QStringLiteral("generic stop")}));
}

void TestPainterVideoSurfaceFrames::paint_doesNotAskForTheNextFrame()
{
    Fixture f;
    QVERIFY(f.surface.present(colourFrame(Qt::red, 1)));
    f.paint();
    QVERIFY(!f.surface.present(colourFrame(Qt::blue, 2)));
}

QVORLIN_TEST_MAIN(QGuiApplication, TestPainterVideoSurfaceFrames)

#include "tst_paintervideosurface_frames.moc"
