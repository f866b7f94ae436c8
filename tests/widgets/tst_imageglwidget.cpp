#include "widgets/imageglwidget.h"

#include <functional>
#include <memory>
#include <utility>

#include <QApplication>
#include <QOpenGLContext>
#include <QScreen>
#include <QSurfaceFormat>
#include <QTest>

#include "messagecheck.h"
#include "testimage.h"

namespace {
QVector<std::pair<double, double>> constructedCounters;
}

// These take the place of the library's own: here every tick counts as one.
OpsRateCounter::OpsRateCounter(double alpha, double initialRate)
    : mAlpha(alpha)
    , mRate(0)
{
    constructedCounters.append({alpha, initialRate});
}

void OpsRateCounter::tick()
{
    mRate += 1;
}

namespace {

struct Ticks
{
    double update;
    double render;
    double display;

    bool operator==(Ticks const& other) const
    {
        return update == other.update && render == other.render && display == other.display;
    }
};

char* toString(Ticks const& ticks)
{
    return qstrdup(qPrintable(QStringLiteral("%1 updates, %2 paints, %3 new")
                                  .arg(ticks.update)
                                  .arg(ticks.render)
                                  .arg(ticks.display)));
}

/** Gives the protected handlers a way in and counts what must never be called. */
class OpenImageGLWidget : public ImageGLWidget
{
public:
    using ImageGLWidget::ImageGLWidget;

    Ticks ticks() const { return {updateRate(), renderRate(), displayRate()}; }

    int resizeGLCalls = 0;

protected:
    void resizeGL(int width, int height) override
    {
        ++resizeGLCalls;
        ImageGLWidget::resizeGL(width, height);
    }
};

/** A window with one widget, in a context of the wanted kind. */
class Window
{
public:
    explicit Window(QSurfaceFormat::RenderableType type, QSize const& size = QSize(200, 200))
        : mDefaultFormat(QSurfaceFormat::defaultFormat())
    {
        QSurfaceFormat format;
        format.setRenderableType(type);
        if (type == QSurfaceFormat::OpenGLES)
            format.setVersion(2, 0);
        QSurfaceFormat::setDefaultFormat(format);
        mTop = std::make_unique<QWidget>();
        mTop->resize(400, 400);
        widget = new OpenImageGLWidget(mTop.get());
        widget->resize(size);
        widget->setBgColor(Qt::magenta);
    }
    ~Window() { QSurfaceFormat::setDefaultFormat(mDefaultFormat); }
    Q_DISABLE_COPY(Window)

    bool show()
    {
        mTop->show();
        return QTest::qWaitForWindowExposed(mTop.get()) &&
               QTest::qWaitFor([this] { return widget->renderRate() > 0; });
    }

    /** Waits for the paint that @p change asks for. */
    bool paintAfter(std::function<void()> const& change)
    {
        double const before = widget->renderRate();
        change();
        return QTest::qWaitFor([&] { return widget->renderRate() > before; });
    }

    QImage onScreen() const
    {
        QImage const image = mTop->screen()->grabWindow(mTop->winId()).toImage();
        return image.copy(widget->geometry()).convertToFormat(QImage::Format_RGB32);
    }

    OpenImageGLWidget* widget = nullptr;

private:
    QSurfaceFormat mDefaultFormat;
    std::unique_ptr<QWidget> mTop;
};

QImage picture(QSize const& size, QImage const& image, QRect const& target)
{
    QImage result(size, QImage::Format_RGB32);
    result.fill(Qt::magenta);
    QPainter(&result).drawImage(target, image);
    return result;
}

/** The same but for pixels next to an edge of @p wanted, where rounding may differ. */
bool same(QImage const& actual, QImage const& wanted)
{
    int wrong = actual.size() == wanted.size() ? 0 : 1;
    for (int y = 1; y < wanted.height() - 1 && wrong == 0; ++y) {
        for (int x = 1; x < wanted.width() - 1; ++x) {
            QRgb const colour = wanted.pixel(x, y);
            bool const edge = colour != wanted.pixel(x - 1, y) ||
                              colour != wanted.pixel(x + 1, y) ||
                              colour != wanted.pixel(x, y - 1) || colour != wanted.pixel(x, y + 1);
            wrong += !edge && colour != actual.pixel(x, y);
        }
    }
    if (wrong == 0)
        return true;
    QString const name = QStringLiteral("tst_imageglwidget_%1_%2.png")
                             .arg(QString::fromLatin1(QTest::currentTestFunction()));
    actual.save(name.arg(QStringLiteral("actual")));
    wanted.save(name.arg(QStringLiteral("wanted")));
    return false;
}

/** Compares pixels ten apart. */
bool sameOnGrid(QImage const& actual, QImage const& wanted)
{
    for (int y = 5; y < wanted.height(); y += 10) {
        for (int x = 5; x < wanted.width(); x += 10) {
            if (actual.pixel(x, y) != wanted.pixel(x, y))
                return false;
        }
    }
    return actual.size() == wanted.size();
}

QImage grab(ImageGLWidget& widget)
{
    return widget.grabFramebuffer().convertToFormat(QImage::Format_RGB32);
}

QImage timedImage(char const* pts, QColor const& topLeft = Qt::red)
{
    return testImage(QSize(16, 16), QString(), QString::fromLatin1(pts), topLeft);
}

void addContextRows()
{
    QTest::addColumn<int>("contextType");
    QTest::newRow("desktop OpenGL") << int(QSurfaceFormat::OpenGL);
    QTest::newRow("OpenGL ES") << int(QSurfaceFormat::OpenGLES);
}

QSurfaceFormat::RenderableType contextType()
{
    QFETCH_GLOBAL(int, contextType);
    return QSurfaceFormat::RenderableType(contextType);
}

} // namespace

class TestImageGLWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every test runs once in each kind of context.
    void initTestCase_data() { addContextRows(); }

    void construct_isFramelessAndOpaque();
    void construct_hasDefaults();
    void metaObject_hasSlotsAndProperties();
    void context_isOfTheWantedKind();

    void withoutImage_isFilledWithBgColor();
    void layout_placesImageAndBars_data();
    void layout_placesImageAndBars();
    void nullImage_emptiesWidget();
    void translucentImage_isShownOverBlack();
    void setters_repaintOnlyOnChange();
    void resizedAfterShow_showsTheWholePicture_data();
    void resizedAfterShow_showsTheWholePicture();
    void resize_schedulesRepaintOnly();
    void widgetGrab_showsThePicture();

    void updateImage_dropsRepeats_data();
    void updateImage_dropsRepeats();
    void updateImage_countsAcceptedImages();
    void paint_countsNewImagesOnce();
    void paintWithoutPts_countsEveryPaintAsNew();
    void paintAfterLosingPts_countsOnceThenEveryPaint();
};

void TestImageGLWidget::construct_isFramelessAndOpaque()
{
    Window const window(contextType());
    QVERIFY(ImageGLWidget().windowFlags() & Qt::FramelessWindowHint);
    QVERIFY(window.widget->testAttribute(Qt::WA_OpaquePaintEvent));
    QVERIFY(window.widget->parent());
}

void TestImageGLWidget::construct_hasDefaults()
{
    constructedCounters.clear();
    ImageGLWidget const widget;
    QCOMPARE(widget.property("bgColor").value<QColor>(), QColor(0, 0, 0, 255));
    QCOMPARE(widget.property("keepAspectRatio").toBool(), true);
    QVERIFY(widget.property("image").value<QImage>().isNull());
    QVector<std::pair<double, double>> const wanted(3, {0.1, 1.0});
    QVERIFY(constructedCounters == wanted);
}

void TestImageGLWidget::metaObject_hasSlotsAndProperties()
{
    QMetaObject const& meta = ImageGLWidget::staticMetaObject;
    for (char const* slot :
        {"updateImage(QImage)", "setBgColor(QColor)", "setKeepAspectRatio(bool)"})
        QVERIFY2(meta.indexOfSlot(slot) >= meta.methodOffset(), slot);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 3);

    ImageGLWidget widget;
    QVERIFY(widget.setProperty("bgColor", QColor(1, 2, 3)));
    QCOMPARE(widget.property("bgColor").value<QColor>(), QColor(1, 2, 3));
    QVERIFY(widget.setProperty("keepAspectRatio", false));
    QCOMPARE(widget.property("keepAspectRatio").toBool(), false);
    QVERIFY(widget.setProperty("image", timedImage("7")));
    QCOMPARE(widget.property("image").value<QImage>(), timedImage("7"));
    QCOMPARE(widget.updateRate(), 1.0);
}

void TestImageGLWidget::context_isOfTheWantedKind()
{
    Window window(contextType());
    QVERIFY(window.show());
    QVERIFY(window.widget->isValid());
    QCOMPARE(window.widget->context()->isOpenGLES(), contextType() == QSurfaceFormat::OpenGLES);
}

void TestImageGLWidget::withoutImage_isFilledWithBgColor()
{
    Window window(contextType());
    QVERIFY(window.show());
    QCOMPARE(grab(*window.widget), picture(QSize(200, 200), QImage(), QRect()));
    QTRY_COMPARE(window.onScreen(), grab(*window.widget));
}

void TestImageGLWidget::layout_placesImageAndBars_data()
{
    QTest::addColumn<QSize>("imageSize");
    QTest::addColumn<QSize>("widgetSize");
    QTest::addColumn<bool>("keepAspectRatio");
    QTest::addColumn<QRect>("target");

    auto row = [](char const* name, QSize const& image, QSize const& widget, QRect const& target,
                   bool keep = true) {
        QTest::newRow(name) << image << widget << keep << target;
    };
    row("wide image", {320, 180}, {160, 160}, {0, 35, 160, 90});
    row("tall image", {180, 320}, {160, 160}, {35, 0, 90, 160});
    row("same shape", {320, 180}, {160, 90}, {0, 0, 160, 90});
    row("odd spare height", {200, 100}, {100, 101}, {0, 25, 100, 50});
    row("odd spare width", {100, 200}, {101, 100}, {25, 0, 50, 100});
    row("image thinner than a pixel", {1000, 1}, {100, 100}, {});
    row("stretched", {320, 180}, {150, 150}, {0, 0, 150, 150}, false);
}

void TestImageGLWidget::layout_placesImageAndBars()
{
    QFETCH(QSize, imageSize);
    QFETCH(QSize, widgetSize);
    QFETCH(bool, keepAspectRatio);
    QFETCH(QRect, target);

    QImage const image = testImage(imageSize);
    Window window(contextType(), widgetSize);
    window.widget->setKeepAspectRatio(keepAspectRatio);
    window.widget->updateImage(image);
    QVERIFY(window.show());
    QVERIFY(same(grab(*window.widget), picture(widgetSize, image, target)));
    QTRY_VERIFY(same(window.onScreen(), picture(widgetSize, image, target)));
}

void TestImageGLWidget::nullImage_emptiesWidget()
{
    Window window(contextType());
    window.widget->updateImage(timedImage("5"));
    QVERIFY(window.show());
    QVERIFY(window.paintAfter([&] { window.widget->updateImage(QImage()); }));
    QCOMPARE(grab(*window.widget), picture(QSize(200, 200), QImage(), QRect()));
}

void TestImageGLWidget::translucentImage_isShownOverBlack()
{
    QImage translucent(20, 20, QImage::Format_ARGB32);
    translucent.fill(QColor(0, 255, 0, 51));
    Window window(contextType());
    window.widget->updateImage(timedImage("5"));
    QVERIFY(window.show());
    QVERIFY(window.paintAfter([&] { window.widget->updateImage(translucent); }));
    QRgb const shown = grab(*window.widget).pixel(50, 50);
    QCOMPARE(qRed(shown), 0);
    QCOMPARE(qBlue(shown), 0);
    QVERIFY(qAbs(qGreen(shown) - 51) <= 1);
}

void TestImageGLWidget::setters_repaintOnlyOnChange()
{
    Window window(contextType());
    QVERIFY(window.show());
    QCoreApplication::processEvents();
    auto paintsAfter = [&](auto const& change) {
        double const before = window.widget->renderRate();
        change();
        QCoreApplication::processEvents();
        return window.widget->renderRate() - before;
    };
    QCOMPARE(paintsAfter([&] { window.widget->setBgColor(Qt::magenta); }), 0.0);
    QCOMPARE(paintsAfter([&] { window.widget->setBgColor(Qt::red); }), 1.0);
    QCOMPARE(paintsAfter([&] { window.widget->setKeepAspectRatio(true); }), 0.0);
    QCOMPARE(paintsAfter([&] { window.widget->setKeepAspectRatio(false); }), 1.0);
}

void TestImageGLWidget::resizedAfterShow_showsTheWholePicture_data()
{
    QTest::addColumn<QSize>("newSize");
    QTest::addColumn<QRect>("target");
    QTest::newRow("larger") << QSize(300, 400) << QRect(0, 50, 300, 300);
    QTest::newRow("smaller") << QSize(80, 40) << QRect(20, 0, 40, 40);
}

void TestImageGLWidget::resizedAfterShow_showsTheWholePicture()
{
    QFETCH(QSize, newSize);
    QFETCH(QRect, target);
    Window window(contextType());
    QImage const image = testImage(QSize(60, 60));
    window.widget->updateImage(image);
    QVERIFY(window.show());
    QVERIFY(window.paintAfter([&] { window.widget->resize(newSize); }));

    // The picture is stretched from the first size, which leaves soft edges.
    QImage const wanted = picture(newSize, image, target);
    QTRY_VERIFY(sameOnGrid(window.onScreen(), wanted));
}

void TestImageGLWidget::resize_schedulesRepaintOnly()
{
    Window window(contextType());
    QVERIFY(window.show());
    QCoreApplication::processEvents();
    double const paints = window.widget->renderRate();
    window.widget->resize(100, 150);
    QCOMPARE(window.widget->renderRate(), paints);
    QTRY_VERIFY(window.widget->renderRate() > paints);
    QCOMPARE(window.widget->resizeGLCalls, 0);
}

void TestImageGLWidget::widgetGrab_showsThePicture()
{
    QImage const image = testImage(QSize(60, 60));
    Window window(contextType());
    window.widget->updateImage(image);
    QVERIFY(window.show());
    QImage const grabbed = window.widget->grab().toImage().convertToFormat(QImage::Format_RGB32);
    QVERIFY(same(grabbed, picture(QSize(200, 200), image, QRect(0, 0, 200, 200))));
}

void TestImageGLWidget::updateImage_dropsRepeats_data()
{
    QTest::addColumn<QImage>("shown");
    QTest::addColumn<QImage>("next");
    QTest::addColumn<bool>("accepted");

    QImage const plain = timedImage("");
    QTest::newRow("same time") << timedImage("5") << timedImage("5", Qt::white) << false;
    QTest::newRow("same time 0") << timedImage("0") << timedImage("0", Qt::white) << false;
    QTest::newRow("same time, other stream and size")
        << timedImage("5") << testImage(QSize(8, 8), QStringLiteral("cam"), QStringLiteral("5"))
        << false;
    QTest::newRow("later") << timedImage("5") << timedImage("6") << true;
    QTest::newRow("no times") << plain << plain << true;
    QTest::newRow("time gone") << timedImage("5") << plain << true;
    QTest::newRow("first time") << plain << timedImage("5") << true;
    QTest::newRow("first image") << QImage() << timedImage("5") << true;
    QTest::newRow("emptied") << timedImage("5") << QImage() << true;
    QTest::newRow("emptied without time") << plain << QImage() << true;
    QTest::newRow("empty stays empty") << QImage() << QImage() << false;
}

void TestImageGLWidget::updateImage_dropsRepeats()
{
    QFETCH(QImage, shown);
    QFETCH(QImage, next);
    QFETCH(bool, accepted);
    OpenImageGLWidget widget;
    widget.updateImage(shown);
    double const before = widget.updateRate();
    widget.updateImage(next);
    QCOMPARE(widget.updateRate() - before, accepted ? 1.0 : 0.0);
    QCOMPARE(widget.property("image").value<QImage>(), accepted ? next : shown);
}

void TestImageGLWidget::updateImage_countsAcceptedImages()
{
    OpenImageGLWidget widget;
    for (char const* pts : {"1", "1", "2", "3", "3"})
        widget.updateImage(timedImage(pts));
    QCOMPARE(widget.ticks(), (Ticks{3, 0, 0}));
}

void TestImageGLWidget::paint_countsNewImagesOnce()
{
    Window window(contextType());
    auto* widget = window.widget;
    widget->updateImage(timedImage("5"));
    QVERIFY(window.show());
    QCOMPARE(widget->ticks().display, 1.0);
    QVERIFY(window.paintAfter([&] { widget->update(); }));
    QCOMPARE(widget->ticks().display, 1.0);
    QVERIFY(window.paintAfter([&] { widget->updateImage(timedImage("6")); }));
    QCOMPARE(widget->ticks().display, 2.0);
    QVERIFY(widget->ticks().render >= 3.0);
    QCOMPARE(widget->ticks().update, 2.0);
}

void TestImageGLWidget::paintWithoutPts_countsEveryPaintAsNew()
{
    Window window(contextType());
    auto* widget = window.widget;
    widget->updateImage(timedImage(""));
    QVERIFY(window.show());
    QVERIFY(window.paintAfter([&] { widget->update(); }));
    QVERIFY(window.paintAfter([&] { widget->updateImage(timedImage("")); }));
    QVERIFY(widget->ticks().render >= 3.0);
    QCOMPARE(widget->ticks().display, widget->ticks().render);
    QCOMPARE(widget->ticks().update, 2.0);
}

void TestImageGLWidget::paintAfterLosingPts_countsOnceThenEveryPaint()
{
    Window window(contextType());
    auto* widget = window.widget;
    widget->updateImage(timedImage("5"));
    QVERIFY(window.show());
    Ticks const before = widget->ticks();
    QVERIFY(window.paintAfter([&] { widget->updateImage(QImage()); }));
    QVERIFY(window.paintAfter([&] { widget->update(); }));
    Ticks const after = widget->ticks();
    QCOMPARE(after.display - before.display, after.render - before.render);
    QCOMPARE(after.update - before.update, 1.0);
}

QVORLIN_TEST_MAIN(QApplication, TestImageGLWidget)
#include "tst_imageglwidget.moc"
