#include "renderlib/customvideowidget.h"

#include <QMetaProperty>
#include <QOpenGLContext>
#include <QSignalSpy>
#include <QTest>
#include <QVideoFrame>
#include <QWindow>

#include "objectlayout.h"
#include "opengltest.h"
#include "renderlib/customsubwidget.h"
#include "renderlib/customvideowidgetbackend.h"
#include "renderlib/customvideowidgetprivate.h"
#include "testframes.h"

using renderlib::CustomSubWidget;
using renderlib::CustomVideoWidget;
using renderlib::CustomVideoWidgetBackend;
using renderlib::CustomVideoWidgetControlInterface;
using renderlib::CustomVideoWidgetPrivate;

namespace {

/** Notes what it is told, and has an answer to everything. */
class NotingBackend : public CustomVideoWidgetBackend
{
public:
    QColor backgroundColor() const override { return Qt::red; }
    void setBackgroundColor(QColor const& color) override { note("background", color.name()); }
    Qt::AspectRatioMode aspectRatioMode() const override { return Qt::IgnoreAspectRatio; }
    void setAspectRatioMode(Qt::AspectRatioMode mode) override
    {
        note("aspect ratio", QString::number(mode));
    }
    QRectF viewport() const override { return {1, 2, 3, 4}; }
    void setViewport(QRectF const& rect) override { note("viewport", QString::number(rect.x())); }
    bool mirrored() const override { return true; }
    void setMirrored(bool mirrored) override { note("mirrored", QString::number(mirrored)); }
    renderlib::RenderError updateFrame(QVideoFrame const& frame) override
    {
        note("frame", QString::number(frame.startTime()));
        return error;
    }
    QPaintEngine* paintEngine() const override { return nullptr; }
    void addCustomSubWidget(CustomSubWidget* subWidget) override
    {
        note("overlay", subWidget ? QStringLiteral("there") : QStringLiteral("null"));
    }
    QSize sizeHint() const override { return {5, 6}; }
    void showEvent() override { note("show"); }
    void hideEvent(QHideEvent* /*event*/) override { note("hide"); }
    void resizeEvent(QResizeEvent* /*event*/) override { note("resize"); }
    void moveEvent(QMoveEvent* /*event*/) override { note("move"); }
    void paintEvent(QPaintEvent* /*event*/) override { note("paint"); }

    QStringList notes;
    renderlib::RenderError error = renderlib::RenderNoError;

private:
    void note(char const* call, QString const& value = QString())
    {
        notes.append((QString::fromLatin1(call) + QLatin1Char(' ') + value).trimmed());
    }
};

void expectNoControl(int times)
{
    for (int i = 0; i < times; ++i)
        expectMessage(QtWarningMsg, QStringLiteral("Render current control has not been set"));
}

} // namespace

class TestVideoWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_hasDefaults();
    void construct_createsAnOpenGLWindow();
    void metaObject_hasPropertiesSignalAndSlots();
    void properties_areWritten();
    void sizeHint_withoutVideo_isThatOfAWidget();
    void renderError_hasTheNumbersOfTheSurface();
    void emptyFrame_stopped_emitsNothing();
    void paintEngine_neverPainted_isNull();
    void subWidget_isSetUpToBePaintedOnly();
    void virtualFunctions_standInOrder();

    void private_forwardsToTheBackend();
    void private_forwardsEvents();
    void private_emitsErrorsOnly();
    void private_withoutControl_givesDefaultsAndWarns();
    void private_withoutBackend_warnsAndDoesNothing();
    void private_showEvent_bringsTheRendererBack();
    void renderError_withoutBackend_isNoError();
};

void TestVideoWidget::construct_hasDefaults()
{
    QWidget parent;
    CustomVideoWidget widget(&parent);
    QCOMPARE(widget.parentWidget(), &parent);
    QCOMPARE(CustomVideoWidget().parentWidget(), nullptr);
    QCOMPARE(widget.aspectRatioMode(), Qt::KeepAspectRatio);
    QCOMPARE(widget.backgroundColor(), QColor(Qt::black));
    QCOMPARE(widget.viewport(), QRectF());
    QCOMPARE(widget.mirrored(), false);
    QCOMPARE(widget.renderError(), renderlib::RenderNoError);
}

void TestVideoWidget::construct_createsAnOpenGLWindow()
{
    CustomVideoWidget widget;
    QVERIFY(widget.testAttribute(Qt::WA_PaintOnScreen));
    QVERIFY(widget.testAttribute(Qt::WA_OpaquePaintEvent));
    QVERIFY(widget.testAttribute(Qt::WA_NativeWindow));
    QVERIFY(!widget.testAttribute(Qt::WA_DontCreateNativeAncestors));
    QVERIFY(widget.windowHandle());
    QCOMPARE(widget.windowHandle()->surfaceType(), QSurface::OpenGLSurface);
    QVERIFY(widget.windowHandle()->handle());
    QVERIFY(widget.windowHandle()->findChildren<QOpenGLContext*>().isEmpty());
}

void TestVideoWidget::metaObject_hasPropertiesSignalAndSlots()
{
    QMetaObject const& meta = CustomVideoWidget::staticMetaObject;
    QCOMPARE(meta.className(), "renderlib::CustomVideoWidget");
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 2);
    QMetaProperty const mode = meta.property(meta.indexOfProperty("aspectRatioMode"));
    QCOMPARE(mode.typeName(), "Qt::AspectRatioMode");
    QVERIFY(mode.isReadable() && mode.isWritable());
    QMetaProperty const color = meta.property(meta.indexOfProperty("backgroundColor"));
    QCOMPARE(color.typeName(), "QColor");
    QVERIFY(color.isReadable() && color.isWritable());

    QVERIFY(meta.indexOfSignal("renderErrorOccurred(renderlib::RenderError)") > 0);
    for (char const* slot :
        {"setAspectRatioMode(Qt::AspectRatioMode)", "setBackgroundColor(QColor)",
            "setViewport(QRectF)", "setMirrored(bool)", "updateFrame(QVideoFrame)"})
        QVERIFY2(meta.indexOfSlot(slot) >= meta.methodOffset(), slot);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 6);
}

void TestVideoWidget::properties_areWritten()
{
    CustomVideoWidget widget;
    QVERIFY(widget.setProperty("backgroundColor", QColor(Qt::green)));
    QCOMPARE(widget.backgroundColor(), QColor(Qt::green));
    QCOMPARE(widget.property("backgroundColor"), QVariant(QColor(Qt::green)));
    QVERIFY(widget.setProperty("aspectRatioMode", Qt::IgnoreAspectRatio));
    QCOMPARE(widget.aspectRatioMode(), Qt::IgnoreAspectRatio);
    QCOMPARE(widget.property("aspectRatioMode").toInt(), int(Qt::IgnoreAspectRatio));
    widget.setViewport(QRectF(1, 2, 3, 4));
    QCOMPARE(widget.viewport(), QRectF(1, 2, 3, 4));
    widget.setMirrored(true);
    QCOMPARE(widget.mirrored(), true);
}

void TestVideoWidget::sizeHint_withoutVideo_isThatOfAWidget()
{
    CustomVideoWidget widget;
    QCOMPARE(widget.sizeHint(), QWidget().sizeHint());
}

void TestVideoWidget::renderError_hasTheNumbersOfTheSurface()
{
    QCOMPARE(int(renderlib::RenderNoError), int(QAbstractVideoSurface::NoError));
    QCOMPARE(int(renderlib::RenderUnsupportedFormatError),
        int(QAbstractVideoSurface::UnsupportedFormatError));
    QCOMPARE(int(renderlib::RenderIncorrectFormatError),
        int(QAbstractVideoSurface::IncorrectFormatError));
    QCOMPARE(int(renderlib::RenderStoppedError), int(QAbstractVideoSurface::StoppedError));
    QCOMPARE(int(renderlib::RenderResourceError), int(QAbstractVideoSurface::ResourceError));
}

void TestVideoWidget::emptyFrame_stopped_emitsNothing()
{
    CustomVideoWidget widget;
    QSignalSpy errors(&widget, &CustomVideoWidget::renderErrorOccurred);
    widget.updateFrame(QVideoFrame());
    QCOMPARE(errors.size(), 0);
    QCOMPARE(widget.renderError(), renderlib::RenderNoError);
}

void TestVideoWidget::paintEngine_neverPainted_isNull()
{
    CustomVideoWidget widget;
    QCOMPARE(widget.paintEngine(), nullptr);
}

void TestVideoWidget::subWidget_isSetUpToBePaintedOnly()
{
    class Overlay : public CustomSubWidget
    {
    public:
        using CustomSubWidget::CustomSubWidget;
        void paint(QPainter* /*painter*/) override {}
    };
    CustomVideoWidget widget;
    Overlay overlay(&widget);
    QCOMPARE(overlay.parentWidget(), nullptr);
    QVERIFY(overlay.testAttribute(Qt::WA_DontShowOnScreen));
    QVERIFY(overlay.testAttribute(Qt::WA_Resized));
    QVERIFY(!overlay.testAttribute(Qt::WA_NativeWindow));
    QCOMPARE(overlay.paintEngine(), nullptr);
    QCOMPARE(sizeof(CustomSubWidget), sizeof(QWidget));
}

void TestVideoWidget::virtualFunctions_standInOrder()
{
    // The destructor takes the first two places.
    using Control = CustomVideoWidgetControlInterface;
    QCOMPARE(virtualSlot(&Control::backgroundColor), size_t(2));
    QCOMPARE(virtualSlot(&Control::setBackgroundColor), size_t(3));
    QCOMPARE(virtualSlot(&Control::aspectRatioMode), size_t(4));
    QCOMPARE(virtualSlot(&Control::setAspectRatioMode), size_t(5));
    QCOMPARE(virtualSlot(&Control::viewport), size_t(6));
    QCOMPARE(virtualSlot(&Control::setViewport), size_t(7));
    QCOMPARE(virtualSlot(&Control::mirrored), size_t(8));
    QCOMPARE(virtualSlot(&Control::setMirrored), size_t(9));
    QCOMPARE(virtualSlot(&Control::updateFrame), size_t(10));
    QCOMPARE(virtualSlot(&Control::paintEngine), size_t(11));
    QCOMPARE(virtualSlot(&Control::addCustomSubWidget), size_t(12));

    using Backend = CustomVideoWidgetBackend;
    size_t const first = virtualSlot(&Backend::sizeHint);
    QCOMPARE(virtualSlot(&Backend::showEvent), first + 1);
    QCOMPARE(virtualSlot(&Backend::hideEvent), first + 2);
    QCOMPARE(virtualSlot(&Backend::resizeEvent), first + 3);
    QCOMPARE(virtualSlot(&Backend::moveEvent), first + 4);
    QCOMPARE(virtualSlot(&Backend::paintEvent), first + 5);
}

void TestVideoWidget::private_forwardsToTheBackend()
{
    CustomVideoWidget widget;
    NotingBackend backend;
    CustomVideoWidgetPrivate inside(&widget);
    inside.use(&backend, &backend);
    QCOMPARE(inside.backgroundColor(), QColor(Qt::red));
    QCOMPARE(inside.aspectRatioMode(), Qt::IgnoreAspectRatio);
    QCOMPARE(inside.viewport(), QRectF(1, 2, 3, 4));
    QCOMPARE(inside.mirrored(), true);
    QCOMPARE(inside.sizeHint(), QSize(5, 6));

    inside.setBackgroundColor(Qt::blue);
    inside.setAspectRatioMode(Qt::KeepAspectRatioByExpanding);
    inside.setViewport(QRectF(7, 0, 1, 1));
    inside.setMirrored(true);
    inside.updateFrame(colourFrame(Qt::red, 8));
    inside.addCustomSubWidget(nullptr);
    QCOMPARE(backend.notes,
        (QStringList{QStringLiteral("background #0000ff"), QStringLiteral("aspect ratio 2"),
            QStringLiteral("viewport 7"), QStringLiteral("mirrored 1"), QStringLiteral("frame 8"),
            QStringLiteral("overlay null")}));
}

void TestVideoWidget::private_forwardsEvents()
{
    CustomVideoWidget widget;
    NotingBackend backend;
    CustomVideoWidgetPrivate inside(&widget);
    inside.use(&backend, &backend);
    inside.hideEvent(nullptr);
    inside.resizeEvent(nullptr);
    inside.moveEvent(nullptr);
    inside.paintEvent(nullptr);
    QCOMPARE(backend.notes, (QStringList{QStringLiteral("hide"), QStringLiteral("resize"),
                                QStringLiteral("move"), QStringLiteral("paint")}));
}

void TestVideoWidget::private_emitsErrorsOnly()
{
    CustomVideoWidget widget;
    QSignalSpy errors(&widget, &CustomVideoWidget::renderErrorOccurred);
    NotingBackend backend;
    CustomVideoWidgetPrivate inside(&widget);
    inside.use(&backend, &backend);
    inside.updateFrame(colourFrame(Qt::red));
    QCOMPARE(errors.size(), 0);
    for (int error = renderlib::RenderUnsupportedFormatError;
         error <= renderlib::RenderResourceError; ++error) {
        backend.error = renderlib::RenderError(error);
        inside.updateFrame(colourFrame(Qt::red));
        QCOMPARE(errors.size(), error);
        QCOMPARE(errors.last().first().value<renderlib::RenderError>(), backend.error);
    }
}

void TestVideoWidget::private_withoutControl_givesDefaultsAndWarns()
{
    CustomVideoWidget widget;
    QSignalSpy errors(&widget, &CustomVideoWidget::renderErrorOccurred);
    NotingBackend backend;
    CustomVideoWidgetPrivate inside(&widget);
    inside.use(nullptr, &backend);
    expectNoControl(10);
    QCOMPARE(inside.backgroundColor(), QColor(Qt::black));
    QCOMPARE(inside.aspectRatioMode(), Qt::KeepAspectRatio);
    QCOMPARE(inside.viewport(), QRectF(0, 0, 0, 0));
    QCOMPARE(inside.mirrored(), false);
    QCOMPARE(inside.sizeHint(), QSize(-1, -1));
    inside.setBackgroundColor(Qt::red);
    inside.setAspectRatioMode(Qt::IgnoreAspectRatio);
    inside.setViewport(QRectF(1, 1, 1, 1));
    inside.setMirrored(true);
    inside.updateFrame(colourFrame(Qt::red));
    QVERIFY(backend.notes.isEmpty());
    QCOMPARE(errors.size(), 0);
}

void TestVideoWidget::private_withoutBackend_warnsAndDoesNothing()
{
    CustomVideoWidget widget;
    NotingBackend control;
    CustomVideoWidgetPrivate inside(&widget);
    inside.use(&control, nullptr);
    for (int i = 0; i < 4; ++i)
        expectMessage(QtWarningMsg, QStringLiteral("Render current backend has not been set"));
    inside.hideEvent(nullptr);
    inside.resizeEvent(nullptr);
    inside.moveEvent(nullptr);
    inside.paintEvent(nullptr);
    inside.addCustomSubWidget(nullptr);
    QCOMPARE(inside.paintEngine(), nullptr);
    QCOMPARE(inside.sizeHint(), QSize(-1, -1));
    QVERIFY(control.notes.isEmpty());
}

void TestVideoWidget::private_showEvent_bringsTheRendererBack()
{
    CustomVideoWidget widget;
    NotingBackend backend;
    CustomVideoWidgetPrivate inside(&widget);
    inside.setViewport(QRectF(0, 0, 7, 7));
    inside.use(&backend, &backend);
    inside.showEvent();
    QVERIFY(backend.notes.isEmpty());
    QCOMPARE(inside.viewport(), QRectF(0, 0, 7, 7));
    inside.use(nullptr, nullptr);
    inside.showEvent();
    QCOMPARE(inside.viewport(), QRectF(0, 0, 7, 7));
}

void TestVideoWidget::renderError_withoutBackend_isNoError()
{
    CustomVideoWidget widget;
    CustomVideoWidgetPrivate inside(&widget);
    expectMessage(QtWarningMsg, QStringLiteral("Unsupported surface format"));
    inside.updateFrame(QVideoFrame(1, QSize(0, 1), 1, QVideoFrame::Format_RGB32));
    QCOMPARE(inside.renderError(), renderlib::RenderUnsupportedFormatError);
    inside.use(nullptr, nullptr);
    QCOMPARE(inside.renderError(), renderlib::RenderNoError);
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWidget)

#include "tst_videowidget.moc"
