#include "renderlib/customrenderervideowidgetbackend.h"

#include <QOpenGLContext>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QSignalSpy>
#include <QTest>
#include <QVideoSurfaceFormat>

#include "contextfaults.h"
#include "fakepainters.h"
#include "opengltest.h"
#include "plainwidget.h"
#include "testframes.h"

using renderlib::CustomRendererVideoWidgetBackend;
using renderlib::CustomVideoWidgetBackend;
using renderlib::CustomVideoWidgetControlInterface;

namespace {

/** A backend whose events come from the test. */
struct Fixture
{
    Fixture()
    {
        fakePainters() = FakePainters();
        contextFaults() = ContextFaults();
        backend.resizeEvent(nullptr);
    }

    void paint(QRegion const& region = QRect(0, 0, 160, 90))
    {
        QPaintEvent event(region);
        backend.paintEvent(&event);
    }

    /** Has the backend paint with shaders from now on. */
    void pickUpContext() { paint(); }

    QOpenGLContext* context() const
    {
        return widget.windowHandle()->findChild<QOpenGLContext*>(
            QString(), Qt::FindDirectChildrenOnly);
    }

    PlainWidget widget;
    CustomRendererVideoWidgetBackend backend{&widget};
};

QString const CreationFailed =
    QStringLiteral("CustomRendererVideoWidgetBackend: Failed to create OpenGL context");

} // namespace

class TestRendererVideoWidgetBackend : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_hasDefaults();
    void metaObject_hasTwoSlots();
    void controlInterface_isFoundByItsName();
    void plainWidget_withoutWindow_paintsNothing();

    void firstPaint_createsTheContextAndDrawsNothing();
    void createContext_isTriedTwice();
    void createContext_fails_isRetriedByTheNextPaint();
    void contextWithoutShaders_paintsWithQPainter();
    void frameBeforeTheFirstPaint_isPaintedWithQPainter();
    void contextPickedUp_paintsWithShaders();
    void paint_sizesThePaintDevice();
    void paint_showsFrameAndOverlaysAtOnce();
    void paint_anotherPlace_drawsNothing();
    void hideAndShow_keepsThePainter();

    void frameChanged_repaintsTheWidget();
    void setAspectRatioMode_repaintsTheWidget();
    void formatChanged_repaintsTheWidget();
    void settings_repaintNothing();
    void settings_areKept();
    void sizeHint_isThatOfTheFormat();

    void destroy_neverPainted_needsNoContext();
    void destroy_playing_endsThePainterFirst();
};

void TestRendererVideoWidgetBackend::construct_hasDefaults()
{
    Fixture f;
    QCOMPARE(f.backend.parent(), nullptr);
    QCOMPARE(f.backend.error(), renderlib::RenderNoError);
    QCOMPARE(f.backend.backgroundColor(), QColor(Qt::black));
    QCOMPARE(f.backend.aspectRatioMode(), Qt::KeepAspectRatio);
    QCOMPARE(f.backend.viewport(), QRectF(0, 0, 0, 0));
    QCOMPARE(f.backend.mirrored(), false);
    QCOMPARE(f.backend.paintEngine(), nullptr);
    QVERIFY(f.backend.sizeHint().isEmpty());
    QCOMPARE(f.context(), nullptr);
}

void TestRendererVideoWidgetBackend::metaObject_hasTwoSlots()
{
    QMetaObject const& meta = CustomRendererVideoWidgetBackend::staticMetaObject;
    QCOMPARE(meta.superClass(), &CustomVideoWidgetBackend::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QVERIFY(meta.indexOfSlot("frameChanged()") >= meta.methodOffset());
    QVERIFY(meta.indexOfSlot("formatChanged(QVideoSurfaceFormat)") >= meta.methodOffset());
}

void TestRendererVideoWidgetBackend::controlInterface_isFoundByItsName()
{
    Fixture f;
    QObject* const object = &f.backend;
    CustomVideoWidgetControlInterface* const control = &f.backend;
    QCOMPARE(qobject_cast<CustomVideoWidgetControlInterface*>(object), control);
    QCOMPARE(object->qt_metacast("CustomVideoWidgetControlInterface"), static_cast<void*>(control));
    QCOMPARE(object->qt_metacast("SomeOtherInterface"), nullptr);
}

void TestRendererVideoWidgetBackend::plainWidget_withoutWindow_paintsNothing()
{
    QWidget parent;
    QWidget child(&parent);
    CustomRendererVideoWidgetBackend backend(&child);
    QPaintEvent event(QRect(0, 0, 10, 10));
    backend.paintEvent(&event);
    QCOMPARE(backend.paintEngine(), nullptr);
    QCOMPARE(backend.error(), renderlib::RenderNoError);
}

void TestRendererVideoWidgetBackend::firstPaint_createsTheContextAndDrawsNothing()
{
    Fixture f;
    f.paint();
    QWindow* const window = f.widget.windowHandle();
    QVERIFY(f.context());
    QCOMPARE(contextFaults().creationParent.data(), window);
    QCOMPARE(f.context()->screen(), window->screen());
    QCOMPARE(f.context()->isOpenGLES(), isOpenGLESRun());
    QCOMPARE(f.context()->surface(), window);
    QVERIFY(f.backend.paintEngine());
    QCOMPARE(f.backend.paintEngine()->type(), QPaintEngine::OpenGL2);
    QCOMPARE(contextFaults().swaps, 0);
    QVERIFY(fakePainters().calls.isEmpty());

    // The context is kept.
    f.paint();
    QCOMPARE(contextFaults().creations, 2);
    QCOMPARE(contextFaults().swaps, 0);
}

void TestRendererVideoWidgetBackend::createContext_isTriedTwice()
{
    Fixture f;
    contextFaults().failingCreations = 1;
    f.paint();
    QCOMPARE(contextFaults().creations, 2);
    QVERIFY(f.backend.paintEngine());
}

void TestRendererVideoWidgetBackend::createContext_fails_isRetriedByTheNextPaint()
{
    Fixture f;
    contextFaults().failingCreations = 4;
    expectMessage(QtWarningMsg, CreationFailed);
    f.paint();
    expectMessage(QtWarningMsg, CreationFailed);
    f.paint();
    QCOMPARE(f.backend.paintEngine(), nullptr);
    // What failed isn't kept.
    QCOMPARE(f.context(), nullptr);
    QCOMPARE(f.backend.error(), renderlib::RenderNoError);

    f.paint();
    QVERIFY(f.backend.paintEngine());
    QCOMPARE(contextFaults().creations, 6);
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::red)), renderlib::RenderNoError);
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("glsl created"));
}

void TestRendererVideoWidgetBackend::contextWithoutShaders_paintsWithQPainter()
{
    Fixture f;
    contextFaults().withoutShaderPrograms = true;
    f.pickUpContext();
    f.backend.updateFrame(colourFrame(Qt::red));
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("generic created"));
}

void TestRendererVideoWidgetBackend::frameBeforeTheFirstPaint_isPaintedWithQPainter()
{
    Fixture f;
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::red)), renderlib::RenderNoError);
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("generic created"));
    f.paint();
    QCOMPARE(contextFaults().swaps, 1);
}

void TestRendererVideoWidgetBackend::contextPickedUp_paintsWithShaders()
{
    Fixture f;
    f.pickUpContext();
    QCOMPARE(f.backend.updateFrame(colourFrame(Qt::red)), renderlib::RenderNoError);
    QCOMPARE(fakePainters().takeCalls().first(), QStringLiteral("glsl created"));
    QCOMPARE(fakePainters().context, f.context());
    f.paint();
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("glsl colours"), QStringLiteral("glsl paint")}));
    QCOMPARE(fakePainters().target, QRectF(0, 0, 160, 90));
    QCOMPARE(fakePainters().source, QRectF(0, 0, 64, 36));
}

void TestRendererVideoWidgetBackend::paint_sizesThePaintDevice()
{
    Fixture f;
    f.pickUpContext();
    f.backend.updateFrame(colourFrame(Qt::red));
    f.paint();
    QCOMPARE(fakePainters().deviceSize, QSize(160, 90));
    f.widget.resize(33, 44);
    f.backend.resizeEvent(nullptr);
    f.paint();
    QCOMPARE(fakePainters().deviceSize, QSize(33, 44));
    QCOMPARE(fakePainters().target, QRectF(0, 0, 33, 44));
}

void TestRendererVideoWidgetBackend::paint_showsFrameAndOverlaysAtOnce()
{
    Fixture f;
    f.pickUpContext();
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.paint();
    QCOMPARE(contextFaults().swaps, 1);
    // A repaint without a new frame shows the old one again.
    f.paint();
    QCOMPARE(contextFaults().swaps, 2);
    QCOMPARE(fakePainters().calls.count(QStringLiteral("glsl paint")), 2);
    QCOMPARE(fakePainters().calls.count(QStringLiteral("glsl frame")), 1);
}

void TestRendererVideoWidgetBackend::paint_anotherPlace_drawsNothing()
{
    Fixture f;
    f.pickUpContext();
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.paint(QRect(160, 0, 20, 20));
    QCOMPARE(contextFaults().swaps, 0);
    f.paint(QRect(159, 89, 20, 20));
    QCOMPARE(contextFaults().swaps, 1);
}

void TestRendererVideoWidgetBackend::hideAndShow_keepsThePainter()
{
    Fixture f;
    f.pickUpContext();
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.paint();
    fakePainters().takeCalls();
    QHideEvent event;
    f.backend.hideEvent(&event);
    f.backend.showEvent();
    f.paint();
    f.backend.updateFrame(colourFrame(Qt::red, 2));
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("glsl paint"), QStringLiteral("glsl frame")}));
}

void TestRendererVideoWidgetBackend::frameChanged_repaintsTheWidget()
{
    Fixture f;
    f.pickUpContext();
    f.backend.updateFrame(colourFrame(Qt::red, 1));
    f.paint();
    QVERIFY(f.widget.showAndWait());
    f.backend.updateFrame(colourFrame(Qt::red, 2));
    QTRY_COMPARE(f.widget.paints, 1);
    // A dropped frame asks for nothing.
    f.backend.updateFrame(colourFrame(Qt::red, 3));
    QTest::qWait(50);
    QCOMPARE(f.widget.paints, 1);
}

void TestRendererVideoWidgetBackend::setAspectRatioMode_repaintsTheWidget()
{
    Fixture f;
    QVERIFY(f.widget.showAndWait());
    f.backend.setAspectRatioMode(Qt::IgnoreAspectRatio);
    QCOMPARE(f.backend.aspectRatioMode(), Qt::IgnoreAspectRatio);
    QTRY_COMPARE(f.widget.paints, 1);
}

void TestRendererVideoWidgetBackend::formatChanged_repaintsTheWidget()
{
    Fixture f;
    QVERIFY(f.widget.showAndWait());
    QVERIFY(QMetaObject::invokeMethod(
        &f.backend, "formatChanged", Q_ARG(QVideoSurfaceFormat, QVideoSurfaceFormat())));
    QTRY_COMPARE(f.widget.paints, 1);
    QVERIFY(QMetaObject::invokeMethod(&f.backend, "frameChanged"));
    QTRY_COMPARE(f.widget.paints, 2);
}

void TestRendererVideoWidgetBackend::settings_repaintNothing()
{
    Fixture f;
    QVERIFY(f.widget.showAndWait());
    f.backend.setViewport(QRectF(0, 0, 0.5, 0.5));
    f.backend.setMirrored(true);
    f.backend.setBackgroundColor(Qt::red);
    f.backend.moveEvent(nullptr);
    f.backend.showEvent();
    QTest::qWait(50);
    QCOMPARE(f.widget.paints, 0);
}

void TestRendererVideoWidgetBackend::settings_areKept()
{
    Fixture f;
    f.backend.setViewport(QRectF(1, 2, 3, 4));
    f.backend.setMirrored(true);
    f.backend.setBackgroundColor(Qt::red);
    QCOMPARE(f.backend.viewport(), QRectF(1, 2, 3, 4));
    QCOMPARE(f.backend.mirrored(), true);
    QCOMPARE(f.backend.backgroundColor(), QColor(Qt::red));
    // The painter's own background.
    f.backend.updateFrame(colourFrame(Qt::blue));
    QCOMPARE(fakePainters().backgroundColor, QColor(Qt::red));
}

void TestRendererVideoWidgetBackend::sizeHint_isThatOfTheFormat()
{
    Fixture f;
    f.backend.updateFrame(colourFrame(Qt::red, 1, QSize(320, 180)));
    QCOMPARE(f.backend.sizeHint(), QSize(320, 180));
    f.paint();
    expectMessage(QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
    f.backend.updateFrame(colourFrame(Qt::red, 2, QSize(64, 64)));
    QVERIFY(f.backend.sizeHint().isEmpty());
    f.backend.setViewport(QRectF(0, 0, 10, 20));
    f.backend.updateFrame(colourFrame(Qt::red, 2, QSize(64, 64)));
    QCOMPARE(f.backend.sizeHint(), QSize(10, 20));
}

void TestRendererVideoWidgetBackend::destroy_neverPainted_needsNoContext()
{
    fakePainters() = FakePainters();
    {
        QWidget widget;
        CustomRendererVideoWidgetBackend unused(&widget);
        CustomRendererVideoWidgetBackend playing(&widget);
        playing.updateFrame(colourFrame(Qt::red));
        fakePainters().takeCalls();
    }
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("generic stop"), QStringLiteral("generic deleted")}));
}

void TestRendererVideoWidgetBackend::destroy_playing_endsThePainterFirst()
{
    PlainWidget widget;
    {
        fakePainters() = FakePainters();
        CustomRendererVideoWidgetBackend backend(&widget);
        QPaintEvent event(widget.rect());
        backend.paintEvent(&event);
        backend.updateFrame(colourFrame(Qt::red));
        fakePainters().takeCalls();
    }
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("glsl stop"), QStringLiteral("glsl viewport destroyed"),
            QStringLiteral("glsl deleted")}));
    QVERIFY(widget.windowHandle()->findChildren<QOpenGLContext*>().isEmpty());
    QVERIFY(!QOpenGLContext::currentContext());
}

QVORLIN_OPENGL_TEST_MAIN(TestRendererVideoWidgetBackend)

#include "tst_renderervideowidgetbackend.moc"
