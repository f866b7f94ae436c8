#include "videoview.h"

#include <QSignalSpy>
#include <QTest>

#include "greyframe.h"
#include "opengltest.h"

namespace {

constexpr Quarters Greys = {40, 100, 160, 220};
constexpr QRgb Background = qRgb(13, 17, 23);

/** A view on the screen, with what it tells. */
struct Fixture
{
    VideoView view{QStringLiteral("camera")};
    QSignalSpy painted{&view, &VideoView::framePainted};
    QSignalSpy repeated{&view, &VideoView::frameRepeated};

    bool show()
    {
        view.resize(640, 360);
        view.show();
        // The renderer is known from the first picture on.
        return QTest::qWaitFor([this] { return !view.renderer().isEmpty(); });
    }

    /** Gives the frame of @p timestamp again until it is painted, as a pump does. */
    bool showFrame(
        qint64 timestamp, Quarters const& greys = Greys, QSize const& size = QSize(128, 72))
    {
        QVideoFrame const frame = greyFrame(timestamp, greys, size);
        return QTest::qWaitFor([&] {
            view.showFrame(frame);
            QCoreApplication::processEvents();
            return !painted.isEmpty() && painted.last().first().toLongLong() == timestamp;
        });
    }

    /** The background, as long as the wheel is there and nothing of a frame. */
    bool isWaiting()
    {
        QImage const picture = view.picture();
        QImage const middle = picture.copy(220, 100, 200, 200);
        return (picture.pixel(20, 300) | 0xff000000) == Background &&
               middle != picture.copy(0, 100, 200, 200);
    }
};

} // namespace

class TestVideoView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirst_waits();
    void frame_isToldWhenPainted();
    void frame_isPaintedWithTheLineAboveIt();
    void frameBeforeTheLastIsPainted_isDropped();
    void repeatedFrame_isTold();
    void otherSize_isShownAtOnce();
    void mirroring_takesEffectWhenTheSurfaceRestarts();
    void viewport_takesEffectOfARepeatedFrame();
    void wait_takesThePictureAwayUntilANewFrame();
    void aspectMode_fillsTheView();
    void resize_takesTheLineAlong();
    void picture_waitsForTheWindow();
    void pictureOfAHiddenView_isNull();
};

void TestVideoView::atFirst_waits()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.isWaiting());
    QCOMPARE(f.painted.size(), 0);
}

void TestVideoView::frame_isToldWhenPainted()
{
    Fixture f;
    QVERIFY(f.show());
    QTRY_VERIFY((f.view.showFrame(greyFrame(5, Greys)), f.view.repaint(), f.painted.size() == 1));
    QCOMPARE(f.painted.first().first().toLongLong(), 5);
    // Painting it once more is nothing new.
    f.view.repaint();
    QCOMPARE(f.painted.size(), 1);
}

void TestVideoView::frame_isPaintedWithTheLineAboveIt()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    QImage const picture = f.view.picture();
    QCOMPARE(picture.size(), QSize(640, 360));
    QVERIFY(alike(quartersOf(picture), Greys));
    QVERIFY(qGreen(picture.pixel(200, 10)) < 40);
    QVERIFY(qGreen(picture.pixel(200, 50)) >= 38);
}

void TestVideoView::frameBeforeTheLastIsPainted_isDropped()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    f.view.showFrame(greyFrame(6, Greys));
    f.view.showFrame(greyFrame(7, {0, 0, 0, 0}));
    f.view.repaint();
    QCOMPARE(f.painted.last().first().toLongLong(), 6);
    QVERIFY(alike(quartersOf(f.view.picture()), Greys));
    // It is as good as new when it comes again.
    QVERIFY(f.showFrame(7, {0, 0, 0, 0}));
}

void TestVideoView::repeatedFrame_isTold()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    f.repeated.clear();
    f.view.showFrame(greyFrame(5, Greys));
    f.view.showFrame(greyFrame(5, Greys));
    QCOMPARE(f.repeated.size(), 2);
    f.view.repaint();
    QCOMPARE(f.painted.size(), 1);
}

void TestVideoView::otherSize_isShownAtOnce()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    f.view.showFrame(greyFrame(6, {220, 160, 100, 40}, QSize(256, 144)));
    f.view.repaint();
    QCOMPARE(f.painted.last().first().toLongLong(), 6);
    QVERIFY(alike(quartersOf(f.view.picture()), {220, 160, 100, 40}));
}

void TestVideoView::mirroring_takesEffectWhenTheSurfaceRestarts()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    f.view.setMirrored(true);
    QVERIFY(f.showFrame(6));
    QVERIFY(alike(quartersOf(f.view.picture()), Greys));
    f.view.restartSurface();
    QVERIFY(f.showFrame(7));
    QVERIFY(alike(quartersOf(f.view.picture()), {100, 40, 220, 160}));
}

void TestVideoView::viewport_takesEffectOfARepeatedFrame()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    f.view.setViewport(QRectF(0.5, 0, 0.5, 0.5));
    f.view.restartSurface();
    f.view.showFrame(greyFrame(5, Greys));
    f.view.repaint();
    QVERIFY(alike(quartersOf(f.view.picture()), {100, 100, 100, 100}));
    QCOMPARE(f.painted.size(), 1);
}

void TestVideoView::wait_takesThePictureAwayUntilANewFrame()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.showFrame(5));
    QVERIFY(!f.isWaiting());
    f.view.wait();
    QTRY_VERIFY(f.isWaiting());
    // The old frame once more is no sign of life.
    f.view.showFrame(greyFrame(5, Greys));
    QVERIFY(f.isWaiting());
    QVERIFY(f.showFrame(6));
    QVERIFY(alike(quartersOf(f.view.picture()), Greys));
}

void TestVideoView::aspectMode_fillsTheView()
{
    Fixture f;
    QVERIFY(f.show());
    f.view.resize(640, 640);
    QVERIFY(f.showFrame(5, {200, 200, 200, 200}));
    auto lowerEdge = [&] {
        return qGreen(f.view.picture().pixel(320, 630));
    };
    QTRY_VERIFY(lowerEdge() < 30);
    f.view.setAspectRatioMode(Qt::IgnoreAspectRatio);
    QTRY_VERIFY(lowerEdge() > 190);
}

void TestVideoView::resize_takesTheLineAlong()
{
    Fixture f;
    QVERIFY(f.show());
    f.view.resize(1000, 600);
    QTRY_COMPARE(f.view.picture().size(), QSize(1000, 600));
    QCOMPARE(f.view.overlay().size(), QSize(1000, 600));
}

void TestVideoView::picture_waitsForTheWindow()
{
    Fixture f;
    f.view.resize(640, 360);
    f.view.show();
    QVERIFY(f.isWaiting());
}

void TestVideoView::pictureOfAHiddenView_isNull()
{
    VideoView view(QStringLiteral("camera"));
    QVERIFY(view.picture().isNull());
    QVERIFY(view.renderer().isEmpty());
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoView)
#include "tst_videoview.moc"
