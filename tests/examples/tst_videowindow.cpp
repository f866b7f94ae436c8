#include "videowindow.h"

#include <QSignalSpy>
#include <QTest>

#include "greyframe.h"
#include "opengltest.h"

namespace {

constexpr Quarters Greys = {40, 100, 160, 220};

/** A window that shows frames of four greys. */
struct Fixture
{
    VideoWindow window{QStringLiteral("camera")};
    qint64 timestamp = 0;

    bool show()
    {
        window.resize(640, 360);
        window.show();
        return QTest::qWaitFor([this] { return !window.renderer().isEmpty(); });
    }

    void press(char key) { QTest::keyClick(&window, key); }

    /** What is seen of the frame that comes next. */
    Quarters nextFrame()
    {
        QSignalSpy const painted(&window, &VideoView::framePainted);
        QVideoFrame const frame = greyFrame(++timestamp, Greys);
        bool const shown = QTest::qWaitFor([&] {
            window.showFrame(frame);
            QCoreApplication::processEvents();
            return !painted.isEmpty();
        });
        return shown ? quartersOf(window.picture()) : Quarters{};
    }

    QImage line() { return window.picture().copy(0, 0, 640, 28); }
};

} // namespace

class TestVideoWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void window_isNamedAfterTheStream();
    void keyM_mirrors();
    void keyA_changesTheAspectMode();
    void keyV_showsTheQuarters();
    void keyF_fillsTheScreen();
    void keys_areNotedOnTheLine();
    void noteOfTheSound_isWrittenBesideTheOthers();
    void meter_isThereWhileThereIsSound();
    void meter_fitsANarrowWindow();
    void dimmed_lineAndMeterStandBack();
    void otherKey_changesNothing();
};

void TestVideoWindow::window_isNamedAfterTheStream()
{
    VideoWindow const window(QStringLiteral("camera"));
    QCOMPARE(window.windowTitle(), QStringLiteral("camera"));
    QVERIFY(window.isWindow());
}

void TestVideoWindow::keyM_mirrors()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(alike(f.nextFrame(), Greys));
    f.press('m');
    QVERIFY(alike(f.nextFrame(), {100, 40, 220, 160}));
    f.press('m');
    QVERIFY(alike(f.nextFrame(), Greys));
}

void TestVideoWindow::keyA_changesTheAspectMode()
{
    Fixture f;
    QCOMPARE(f.window.aspectRatioMode(), Qt::KeepAspectRatio);
    f.press('a');
    QCOMPARE(f.window.aspectRatioMode(), Qt::KeepAspectRatioByExpanding);
    f.press('a');
    QCOMPARE(f.window.aspectRatioMode(), Qt::IgnoreAspectRatio);
    f.press('a');
    QCOMPARE(f.window.aspectRatioMode(), Qt::KeepAspectRatio);
}

void TestVideoWindow::keyV_showsTheQuarters()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(alike(f.nextFrame(), Greys));
    for (int const grey : Greys) {
        f.press('v');
        QVERIFY(alike(f.nextFrame(), {grey, grey, grey, grey}));
    }
    f.press('v');
    QVERIFY(alike(f.nextFrame(), Greys));
}

void TestVideoWindow::keyF_fillsTheScreen()
{
    Fixture f;
    QVERIFY(f.show());
    f.press('f');
    QVERIFY(f.window.isFullScreen());
    // It goes on showing there.
    QVERIFY(alike(f.nextFrame(), Greys));
    f.press('f');
    QVERIFY(!f.window.isFullScreen());
    QVERIFY(alike(f.nextFrame(), Greys));
}

void TestVideoWindow::keys_areNotedOnTheLine()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(alike(f.nextFrame(), Greys));
    QImage const plain = f.line();
    for (char const key : {'m', 'a', 'v'}) {
        QImage const before = f.line();
        f.press(key);
        QVERIFY2(f.line() != before, &key);
    }
    // Back to where it began.
    for (char const key : {'m', 'a', 'a', 'v', 'v', 'v', 'v'})
        f.press(key);
    QVERIFY(alike(f.nextFrame(), Greys));
    QCOMPARE(f.line(), plain);
}

void TestVideoWindow::noteOfTheSound_isWrittenBesideTheOthers()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(alike(f.nextFrame(), Greys));
    QImage const plain = f.line();
    f.window.noteSound(QStringLiteral("muted"));
    QImage const muted = f.line();
    QVERIFY(muted != plain);
    f.press('a');
    QVERIFY(f.line() != muted);
    f.window.noteSound(QString());
    f.press('a');
    f.press('a');
    QCOMPARE(f.line(), plain);
}

void TestVideoWindow::meter_isThereWhileThereIsSound()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(alike(f.nextFrame(), {40, 100, 160, 220}));
    QImage const without = f.window.picture();
    f.window.meter().setSoundChannels(2);
    QImage const silent = f.window.picture();
    QVERIFY(silent != without);
    // Over the lower edge alone.
    QCOMPARE(silent.copy(0, 0, 640, 260), without.copy(0, 0, 640, 260));
    QRect const bars = f.window.meter().geometry();
    QVERIFY(QRect(0, 260, 640, 100).contains(bars));
    QCOMPARE(silent.pixel(bars.topLeft()) & 0xffffff, 0x606060u);
    f.window.meter().updateAudioLevels({AudioLevel{-30, -20}, AudioLevel{-30, -20}});
    QCOMPARE(f.window.picture().pixel(bars.topLeft()) & 0xffffff, 0x00ff00u);
    f.window.meter().setSoundChannels(0);
    QCOMPARE(f.window.picture(), without);
}

void TestVideoWindow::meter_fitsANarrowWindow()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.meter().setSoundChannels(1);
    f.window.resize(320, 180);
    QTRY_VERIFY(QRect(0, 0, 320, 180).contains(f.window.meter().geometry()));
    QVERIFY(f.window.meter().width() > 150);
}

void TestVideoWindow::dimmed_lineAndMeterStandBack()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(alike(f.nextFrame(), Greys));
    f.window.meter().setSoundChannels(2);
    f.window.meter().updateAudioLevels({AudioLevel{0, 0}, AudioLevel{0, 0}});
    QPoint const stroke = f.window.meter().geometry().topLeft();
    auto line = [&f] {
        return qGreen(f.window.picture().pixel(600, 10));
    };
    auto bar = [&f, stroke] {
        return qGreen(f.window.picture().pixel(stroke));
    };
    int const dark = line();
    QVERIFY(dark < 50);
    QCOMPARE(bar(), 255);
    f.window.setDimmed(true);
    // A quarter of them is left over a frame of 100 and 160.
    QTRY_VERIFY(line() > 70);
    QTRY_VERIFY(bar() < 200);
    f.window.setDimmed(false);
    QTRY_COMPARE(line(), dark);
    QTRY_COMPARE(bar(), 255);
}

void TestVideoWindow::otherKey_changesNothing()
{
    Fixture f;
    QVERIFY(f.show());
    f.press('x');
    QVERIFY(!f.window.mirrored());
    QCOMPARE(f.window.aspectRatioMode(), Qt::KeepAspectRatio);
    QVERIFY(!f.window.isFullScreen());
    QVERIFY(alike(f.nextFrame(), Greys));
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWindow)
#include "tst_videowindow.moc"
