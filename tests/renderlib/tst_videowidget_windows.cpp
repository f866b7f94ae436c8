#include "renderlib/customvideowidget.h"

#include <memory>

#include <QPointer>
#include <QTest>
#include <QVideoFrame>
#include <QWindow>

#include "opengltest.h"
#include "testframes.h"
#include "videoscene.h"

using renderlib::CustomVideoWidget;

namespace {

/** A window of 300 × 200 with a video widget in it that shows a red frame. */
struct ChildScene
{
    ChildScene() { window.resize(300, 200); }

    bool play()
    {
        widget->setGeometry(20, 20, 160, 90);
        return showVideo(*widget) && present(colourFrame(Qt::red, 1));
    }
    bool present(QVideoFrame const& frame) { return ::present(*widget, probe, frame); }
    QColor middle() const { return probe.picture.pixelColor(80, 45); }

    QWidget window;
    QPointer<CustomVideoWidget> widget = new CustomVideoWidget(&window);
    Probe probe{widget};
};

/** A video widget whose native window the test can take away. */
class WindowlessWidget : public CustomVideoWidget
{
public:
    void loseWindow() { QWidget::destroy(); }
};

/** The same, playing. */
struct WindowlessScene
{
    bool play()
    {
        widget->resize(160, 90);
        return showVideo(*widget) && ::present(*widget, *probe, colourFrame(Qt::red, 1));
    }

    std::unique_ptr<WindowlessWidget> widget = std::make_unique<WindowlessWidget>();
    std::unique_ptr<Probe> probe = std::make_unique<Probe>(widget.get());
};

} // namespace

class TestVideoWidgetWindows : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void child_isPaintedInItsOwnWindow();
    void severalWidgets_playSideBySide();
    void severalWidgets_oneGoes_othersPlayOn();

    void hideAndShow_showsThePictureAgain();
    void hidden_takesOneFrame();
    void anotherParent_playsOn();
    void becomesAWindow_playsOn();
    void otherWindowFlags_playsOn();
    void windowRecreated_playsOn();
    void windowGone_takesFramesAllTheSame();
    void windowGone_startsAllTheSame();
    void windowGone_withoutVideo_startsLater();
    void windowGone_anotherContextCurrent_takesFrames();

    void parentDestroyed_destroysTheWidget();
    void destroyed_hidden();
    void destroyed_neverShown();
    void destroyed_windowGone();
    void destroyed_stopped();
    void destroyed_anotherContextCurrent();
};

void TestVideoWidgetWindows::child_isPaintedInItsOwnWindow()
{
    ChildScene s;
    QVERIFY(s.play());
    QCOMPARE(s.probe.picture.size(), QSize(160, 90));
    QCOMPARE(s.middle(), QColor(Qt::red));
    QVERIFY(s.widget->windowHandle() != s.window.windowHandle());
    QCOMPARE(s.widget->windowHandle()->parent(), s.window.windowHandle());
}

void TestVideoWidgetWindows::severalWidgets_playSideBySide()
{
    QWidget window;
    window.resize(600, 100);
    QColor const colours[] = {Qt::red, Qt::green, Qt::blue};
    CustomVideoWidget* widgets[3];
    std::unique_ptr<Probe> probes[3];
    for (int i = 0; i < 3; ++i) {
        widgets[i] = new CustomVideoWidget(&window);
        widgets[i]->setGeometry(200 * i, 0, 190, 100);
        probes[i] = std::make_unique<Probe>(widgets[i]);
    }
    for (CustomVideoWidget* widget : widgets)
        QVERIFY(showVideo(*widget));
    for (int round = 0; round < 5; ++round) {
        for (int i = 0; i < 3; ++i)
            widgets[i]->updateFrame(colourFrame(colours[(i + round) % 3], round));
        for (int i = 0; i < 3; ++i) {
            QTRY_VERIFY(probes[i]->paints > round);
            // A window that comes up may have had the former picture painted once more.
            QTRY_COMPARE(probes[i]->picture.pixelColor(95, 50), colours[(i + round) % 3]);
            QCOMPARE(probes[i]->context, contextOf(*widgets[i]));
        }
    }
}

void TestVideoWidgetWindows::severalWidgets_oneGoes_othersPlayOn()
{
    ChildScene s;
    auto other = std::make_unique<VideoScene>();
    QVERIFY(s.play());
    QVERIFY(other->show());
    QVERIFY(other->present(colourFrame(Qt::blue, 1)));
    QVERIFY(s.present(colourFrame(Qt::green, 2)));
    other.reset();
    QVERIFY(s.present(colourFrame(Qt::white, 3)));
    QCOMPARE(s.middle(), QColor(Qt::white));
}

void TestVideoWidgetWindows::hideAndShow_showsThePictureAgain()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    QOpenGLContext* const context = contextOf(s.widget);
    s.widget.hide();
    letRepaint();
    int const before = s.probe.paints;
    QVERIFY(s.show());
    QTRY_VERIFY(s.probe.paints > before);
    QCOMPARE(s.middle(), QColor(Qt::red));
    QCOMPARE(contextOf(s.widget), context);
    QVERIFY(s.present(colourFrame(Qt::blue, 2)));
    QCOMPARE(s.middle(), QColor(Qt::blue));
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetWindows::hidden_takesOneFrame()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    s.widget.hide();
    letRepaint();
    int const before = s.probe.paints;
    s.widget.updateFrame(colourFrame(Qt::green, 2));
    s.widget.updateFrame(colourFrame(Qt::blue, 3));
    letRepaint();
    QCOMPARE(s.probe.paints, before);
    QVERIFY(s.show());
    QTRY_VERIFY(s.probe.paints > before);
    QCOMPARE(s.middle(), QColor(Qt::green));
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetWindows::anotherParent_playsOn()
{
    ChildScene s;
    QVERIFY(s.play());
    QOpenGLContext* const context = contextOf(*s.widget);
    QWidget other;
    other.resize(200, 200);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    int const before = s.probe.paints;
    s.widget->setParent(&other);
    s.widget->show();
    // The frame is still there; nothing had to start anew.
    QTRY_VERIFY(s.probe.paints > before);
    QCOMPARE(s.middle(), QColor(Qt::red));
    QVERIFY(s.present(colourFrame(Qt::green, 2)));
    QCOMPARE(s.middle(), QColor(Qt::green));
    QCOMPARE(contextOf(*s.widget), context);

    s.widget->setParent(&s.window);
    s.widget->show();
    QVERIFY(s.present(colourFrame(Qt::blue, 3)));
    QCOMPARE(s.middle(), QColor(Qt::blue));
}

void TestVideoWidgetWindows::becomesAWindow_playsOn()
{
    ChildScene s;
    QVERIFY(s.play());
    s.widget->setParent(nullptr);
    std::unique_ptr<CustomVideoWidget> const owner(s.widget);
    QVERIFY(showVideo(*s.widget));
    QVERIFY(s.present(colourFrame(Qt::green, 2)));
    QCOMPARE(s.middle(), QColor(Qt::green));
}

void TestVideoWidgetWindows::otherWindowFlags_playsOn()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    s.widget.setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::green, 2)));
    QCOMPARE(s.middle(), QColor(Qt::green));
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetWindows::windowRecreated_playsOn()
{
    WindowlessScene s;
    QVERIFY(s.play());
    QPointer<QOpenGLContext> const context = contextOf(*s.widget);
    QPointer<QWindow> const window = s.widget->windowHandle();
    s.widget->hide();
    s.widget->loseWindow();
    QVERIFY(!window);
    QVERIFY(context);
    int const before = s.probe->paints;
    QVERIFY(showVideo(*s.widget));
    // Neither the textures nor the programs went with the window.
    QTRY_VERIFY(s.probe->paints > before);
    QCOMPARE(s.probe->picture.pixelColor(80, 45), QColor(Qt::red));
    QCOMPARE(contextOf(*s.widget), context.data());
    QVERIFY(::present(*s.widget, *s.probe, colourFrame(Qt::green, 2)));
    QCOMPARE(s.probe->picture.pixelColor(80, 45), QColor(Qt::green));
}

void TestVideoWidgetWindows::windowGone_takesFramesAllTheSame()
{
    WindowlessScene s;
    QVERIFY(s.play());
    s.widget->hide();
    s.widget->loseWindow();
    s.widget->updateFrame(colourFrame(Qt::green, 2));
    QCOMPARE(s.widget->renderError(), renderlib::RenderNoError);
    int const before = s.probe->paints;
    QVERIFY(showVideo(*s.widget));
    QTRY_VERIFY(s.probe->paints > before);
    QCOMPARE(s.probe->picture.pixelColor(80, 45), QColor(Qt::green));
}

void TestVideoWidgetWindows::windowGone_startsAllTheSame()
{
    WindowlessScene s;
    QVERIFY(s.play());
    expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
    s.widget->updateFrame(colourFrame(Qt::green, 2, QSize(8, 8)));
    s.widget->hide();
    s.widget->loseWindow();
    s.widget->updateFrame(colourFrame(Qt::green, 3, QSize(8, 8)));
    QCOMPARE(s.widget->renderError(), renderlib::RenderNoError);
    int const before = s.probe->paints;
    QVERIFY(showVideo(*s.widget));
    QTRY_VERIFY(s.probe->paints > before);
    QCOMPARE(s.probe->picture.pixelColor(80, 45), QColor(Qt::green));
}

void TestVideoWidgetWindows::windowGone_withoutVideo_startsLater()
{
    WindowlessScene s;
    s.widget->resize(160, 90);
    QVERIFY(showVideo(*s.widget));
    s.widget->hide();
    s.widget->loseWindow();
    QVERIFY(showVideo(*s.widget));
    QVERIFY(::present(*s.widget, *s.probe, colourFrame(Qt::green, 1)));
    QCOMPARE(s.probe->picture.pixelColor(80, 45), QColor(Qt::green));
}

void TestVideoWidgetWindows::windowGone_anotherContextCurrent_takesFrames()
{
    WindowlessScene s;
    QVERIFY(s.play());
    VideoScene other;
    QVERIFY(other.show());
    QVERIFY(other.present(colourFrame(Qt::blue, 1)));
    QOpenGLContext* const context = contextOf(*s.widget);
    QVERIFY(QOpenGLContext::currentContext() != context);
    s.widget->hide();
    s.widget->loseWindow();
    // Qt only takes the window from the context that is current.
    QCOMPARE(context->surface(), nullptr);
    s.widget->updateFrame(colourFrame(Qt::green, 2));
    int const before = s.probe->paints;
    QVERIFY(showVideo(*s.widget));
    QTRY_VERIFY(s.probe->paints > before);
    QCOMPARE(s.probe->picture.pixelColor(80, 45), QColor(Qt::green));
}

void TestVideoWidgetWindows::parentDestroyed_destroysTheWidget()
{
    auto window = std::make_unique<QWidget>();
    window->resize(300, 200);
    QPointer<CustomVideoWidget> const widget = new CustomVideoWidget(window.get());
    widget->resize(100, 100);
    Probe probe(widget);
    QVERIFY(showVideo(*widget));
    QVERIFY(present(*widget, probe, colourFrame(Qt::red, 1)));
    QPointer<QOpenGLContext> const context = contextOf(*widget);
    window.reset();
    QVERIFY(!widget);
    QVERIFY(!context);
}

void TestVideoWidgetWindows::destroyed_hidden()
{
    QPointer<QOpenGLContext> context;
    {
        VideoScene s;
        QVERIFY(s.show());
        QVERIFY(s.present(colourFrame(Qt::red, 1)));
        context = contextOf(s.widget);
        s.widget.hide();
    }
    QVERIFY(!context);
}

void TestVideoWidgetWindows::destroyed_neverShown()
{
    CustomVideoWidget window;
    QWidget parent;
    new CustomVideoWidget(&parent);
}

void TestVideoWidgetWindows::destroyed_windowGone()
{
    WindowlessScene s;
    QVERIFY(s.play());
    QPointer<QOpenGLContext> const context = contextOf(*s.widget);
    s.widget->hide();
    s.widget->loseWindow();
    QVERIFY(context);
    s.widget.reset();
    QVERIFY(!context);
}

void TestVideoWidgetWindows::destroyed_stopped()
{
    QPointer<QOpenGLContext> context;
    {
        VideoScene s;
        QVERIFY(s.show());
        QVERIFY(s.present(colourFrame(Qt::red, 1)));
        context = contextOf(s.widget);
        expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
        s.widget.updateFrame(colourFrame(Qt::red, 2, QSize(8, 8)));
    }
    QVERIFY(!context);
}

void TestVideoWidgetWindows::destroyed_anotherContextCurrent()
{
    ChildScene s;
    QVERIFY(s.play());
    {
        VideoScene other;
        QVERIFY(other.show());
        QVERIFY(other.present(colourFrame(Qt::blue, 1)));
        QVERIFY(s.present(colourFrame(Qt::green, 2)));
        QCOMPARE(QOpenGLContext::currentContext(), contextOf(*s.widget));
    }
    QVERIFY(s.present(colourFrame(Qt::white, 3)));
    QCOMPARE(s.middle(), QColor(Qt::white));
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWidgetWindows)

#include "tst_videowidget_windows.moc"
