#include "widgets/imagewidget.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>

#include "messagecheck.h"
#include "testimage.h"

using TimerInfo = QAbstractEventDispatcher::TimerInfo;

namespace {

/** Counts the paints, and the presses that arrive as a parent. */
class EventCounter : public QObject
{
public:
    explicit EventCounter(QObject* watched) { watched->installEventFilter(this); }

    int paints = 0;
    int presses = 0;
    int timerEvents = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint;
        presses += event->type() == QEvent::MouseButtonPress;
        timerEvents += event->type() == QEvent::Timer;
        return QObject::eventFilter(watched, event);
    }
};

QImage grab(QWidget& widget)
{
    return widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

QImage plain(QSize const& size, QColor const& colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

/** @p image scaled into @p target of a picture that is @p bgColor elsewhere. */
QImage picture(QSize const& size, QColor const& bgColor, QImage const& image, QRect const& target)
{
    QImage result = plain(size, bgColor);
    QPainter(&result).drawImage(target, image);
    return result;
}

QImage spinnerPicture(QSize const& size, QColor const& bgColor, QPoint const& centre, int step)
{
    static constexpr int radii[8] = {1, 1, 1, 2, 2, 3, 3, 4};
    // cos(k × 33.75°) × 20 and sin(k × 33.75°) × 20 without their fractions.
    static constexpr QPoint offsets[10] = {{20, 0}, {16, 11}, {7, 18}, {-3, 19}, {-14, 14},
        {-19, 3}, {-18, -7}, {-11, -16}, {0, -20}, {11, -16}};
    QImage result = plain(size, bgColor);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::gray));
    painter.setBrush(QBrush(Qt::gray));
    for (int i = 0; i < 8; ++i) {
        painter.setOpacity(0.2 + i * 0.8 / 7);
        QPoint const dot = centre + offsets[(step + i) % 10];
        int const radius = radii[i];
        painter.drawEllipse(QRect(dot.x() - radius, dot.y() - radius, 2 * radius, 2 * radius));
    }
    return result;
}

QList<TimerInfo> timersOf(QObject& object)
{
    return QAbstractEventDispatcher::instance()->registeredTimers(&object);
}

int spinnerTimer(ImageWidget& widget)
{
    QList<TimerInfo> const timers = timersOf(widget);
    return timers.isEmpty() ? 0 : timers.first().timerId;
}

void sendTimerEvent(QObject& object, int id)
{
    QTimerEvent event(id);
    QCoreApplication::sendEvent(&object, &event);
}

/** Whether @p actual is @p wanted; leaves both as files when it isn't. */
bool same(QImage const& actual, QImage const& wanted)
{
    if (actual == wanted)
        return true;
    QString const name = QStringLiteral("tst_imagewidget_%1_%2.png")
                             .arg(QString::fromLatin1(QTest::currentTestFunction()));
    actual.save(name.arg(QStringLiteral("actual")));
    wanted.save(name.arg(QStringLiteral("wanted")));
    return false;
}

} // namespace

class TestImageWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_isFramelessAndOpaque();
    void construct_hasDefaults();
    void metaObject_hasSlotsSignalAndProperties_data();
    void metaObject_hasSlotsSignalAndProperties();
    void properties_readAndWrite();

    void withoutImage_isFilledWithBgColor();
    void layout_placesImageAndBars_data();
    void layout_placesImageAndBars();
    void nullImage_emptiesWidget();
    void translucentImage_isShownOverBlack();
    void resize_laysOutAnew();
    void setBgColor_recoloursBars();
    void setKeepAspectRatio_laysOutAnew();
    void setters_repaintOnlyOnChange();
    void paint_staysInsideTheDirtyRegion();

    void updateImage_dropsRepeats_data();
    void updateImage_dropsRepeats();
    void repeat_leavesBusyState();
    void acceptedImage_endsBusyState();
    void acceptedImage_repaintsRepeatDoesNot();

    void busy_paintsSpinner();
    void busy_turnsAndWraps();
    void busy_turnsByItself();
    void busy_runsOneCoarseTimer();
    void busy_ignoresForeignTimers();
    void busyAgain_startsFromTheFirstStep();
    void busyTwice_changesNothing();
    void busy_followsContentsRectAndResize();
    void notBusy_showsTheImageAgain();
    void getImageWhileBusy_isBlackOfWidgetSize();

    void click_reachesWidgetAndParent();
};

void TestImageWidget::construct_isFramelessAndOpaque()
{
    ImageWidget const widget;
    QVERIFY(widget.windowFlags() & Qt::FramelessWindowHint);
    QVERIFY(widget.testAttribute(Qt::WA_OpaquePaintEvent));
    QCOMPARE(widget.parent(), nullptr);

    QWidget parent;
    auto const* child = new ImageWidget(&parent);
    QCOMPARE(child->parent(), &parent);
}

void TestImageWidget::construct_hasDefaults()
{
    ImageWidget const widget;
    QCOMPARE(widget.property("bgColor").value<QColor>(), QColor(0, 0, 0, 255));
    QCOMPARE(widget.property("keepAspectRatio").toBool(), true);
    QVERIFY(widget.property("image").value<QImage>().isNull());
    QVERIFY(widget.getImage().isNull());
}

void TestImageWidget::metaObject_hasSlotsSignalAndProperties_data()
{
    QTest::addColumn<bool>("isSignal");
    QTest::newRow("clicked()") << true;
    QTest::newRow("updateImage(QImage)") << false;
    QTest::newRow("setBgColor(QColor)") << false;
    QTest::newRow("setKeepAspectRatio(bool)") << false;
}

void TestImageWidget::metaObject_hasSlotsSignalAndProperties()
{
    QFETCH(bool, isSignal);
    QMetaObject const& meta = ImageWidget::staticMetaObject;
    QMetaMethod const method = meta.method(meta.indexOfMethod(QTest::currentDataTag()));
    QVERIFY(method.isValid());
    QCOMPARE(method.methodType(), isSignal ? QMetaMethod::Signal : QMetaMethod::Slot);
    QCOMPARE(method.access(), QMetaMethod::Public);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 3);
}

void TestImageWidget::properties_readAndWrite()
{
    ImageWidget widget;
    QVERIFY(widget.setProperty("bgColor", QColor(1, 2, 3)));
    QCOMPARE(widget.property("bgColor").value<QColor>(), QColor(1, 2, 3));
    QVERIFY(widget.setProperty("keepAspectRatio", false));
    QCOMPARE(widget.property("keepAspectRatio").toBool(), false);
    QImage const image = testImage(QSize(4, 4));
    widget.updateImage(image);
    QCOMPARE(widget.property("image").value<QImage>(), image);
    QCOMPARE(widget.getImage(), image);
}

void TestImageWidget::withoutImage_isFilledWithBgColor()
{
    ImageWidget widget;
    widget.resize(60, 40);
    QCOMPARE(grab(widget), plain(QSize(60, 40), Qt::black));
    widget.setBgColor(Qt::cyan);
    QCOMPARE(grab(widget), plain(QSize(60, 40), Qt::cyan));
}

void TestImageWidget::layout_placesImageAndBars_data()
{
    QTest::addColumn<QSize>("imageSize");
    QTest::addColumn<QSize>("widgetSize");
    QTest::addColumn<bool>("keepAspectRatio");
    QTest::addColumn<QRect>("target");

    auto row = [](char const* name, QSize const& image, QSize const& widget, QRect const& target,
                   bool keep = true) {
        QTest::newRow(name) << image << widget << keep << target;
    };
    row("wide image, square widget", {1920, 1080}, {800, 800}, {0, 175, 800, 450});
    row("tall image, square widget", {1080, 1920}, {800, 800}, {175, 0, 450, 800});
    row("same shape", {320, 180}, {640, 360}, {0, 0, 640, 360});
    row("same size", {320, 180}, {320, 180}, {0, 0, 320, 180});
    row("odd spare height", {200, 100}, {100, 101}, {0, 25, 100, 50});
    row("odd spare width", {100, 200}, {101, 100}, {25, 0, 50, 100});
    row("height rounded up", {400, 300}, {102, 100}, {0, 11, 102, 77});
    row("width rounded up", {300, 400}, {100, 102}, {11, 0, 77, 102});
    row("one spare line", {100, 99}, {100, 100}, {0, 0, 100, 99});
    row("image thinner than a pixel", {1000, 1}, {100, 100}, {});
    row("stretched", {1920, 1080}, {300, 300}, {0, 0, 300, 300}, false);
    row("stretched thin", {1000, 1}, {100, 100}, {0, 0, 100, 100}, false);
}

void TestImageWidget::layout_placesImageAndBars()
{
    QFETCH(QSize, imageSize);
    QFETCH(QSize, widgetSize);
    QFETCH(bool, keepAspectRatio);
    QFETCH(QRect, target);

    QImage const image = testImage(imageSize);
    ImageWidget widget;
    widget.resize(widgetSize);
    widget.setBgColor(Qt::magenta);
    widget.setKeepAspectRatio(keepAspectRatio);
    widget.updateImage(image);
    QVERIFY(same(grab(widget), picture(widgetSize, Qt::magenta, image, target)));
}

void TestImageWidget::nullImage_emptiesWidget()
{
    ImageWidget widget;
    widget.resize(80, 40);
    widget.setBgColor(Qt::cyan);
    widget.updateImage(testImage(QSize(20, 20), QStringLiteral("cam"), QStringLiteral("5")));
    QVERIFY(grab(widget) != plain(QSize(80, 40), Qt::cyan));

    widget.updateImage(QImage());
    QVERIFY(widget.getImage().isNull());
    QCOMPARE(grab(widget), plain(QSize(80, 40), Qt::cyan));
}

void TestImageWidget::translucentImage_isShownOverBlack()
{
    QImage translucent(40, 40, QImage::Format_ARGB32);
    translucent.fill(QColor(0, 255, 0, 128));
    ImageWidget widget;
    widget.resize(40, 40);
    widget.updateImage(plain(QSize(40, 40), Qt::red));
    grab(widget);
    widget.updateImage(translucent);
    QCOMPARE(grab(widget), picture(QSize(40, 40), Qt::black, translucent, QRect(0, 0, 40, 40)));
}

void TestImageWidget::resize_laysOutAnew()
{
    QImage const image = testImage(QSize(160, 90));
    ImageWidget widget;
    widget.resize(160, 160);
    widget.updateImage(image);
    QVERIFY(same(grab(widget), picture({160, 160}, Qt::black, image, QRect(0, 35, 160, 90))));
    widget.resize(320, 90);
    QVERIFY(same(grab(widget), picture({320, 90}, Qt::black, image, QRect(80, 0, 160, 90))));
}

void TestImageWidget::setBgColor_recoloursBars()
{
    QImage const image = testImage(QSize(160, 90));
    ImageWidget widget;
    widget.resize(160, 160);
    widget.updateImage(image);
    grab(widget);
    widget.setBgColor(Qt::white);
    QVERIFY(same(grab(widget), picture({160, 160}, Qt::white, image, QRect(0, 35, 160, 90))));
}

void TestImageWidget::setKeepAspectRatio_laysOutAnew()
{
    QImage const image = testImage(QSize(160, 90));
    ImageWidget widget;
    widget.resize(160, 160);
    widget.updateImage(image);
    grab(widget);
    widget.setKeepAspectRatio(false);
    QVERIFY(same(grab(widget), picture({160, 160}, Qt::black, image, QRect(0, 0, 160, 160))));
    widget.setKeepAspectRatio(true);
    QVERIFY(same(grab(widget), picture({160, 160}, Qt::black, image, QRect(0, 35, 160, 90))));
}

void TestImageWidget::setters_repaintOnlyOnChange()
{
    ImageWidget widget;
    widget.resize(100, 100);
    EventCounter counter(&widget);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    QCoreApplication::processEvents();

    auto paintsAfter = [&](auto const& change) {
        counter.paints = 0;
        change();
        QCoreApplication::processEvents();
        return counter.paints;
    };
    QCOMPARE(paintsAfter([&] { widget.setBgColor(Qt::black); }), 0);
    QCOMPARE(paintsAfter([&] { widget.setBgColor(Qt::red); }), 1);
    QCOMPARE(paintsAfter([&] { widget.setKeepAspectRatio(true); }), 0);
    QCOMPARE(paintsAfter([&] { widget.setKeepAspectRatio(false); }), 1);
    QCOMPARE(paintsAfter([&] { widget.setBusy(false); }), 0);
    QCOMPARE(paintsAfter([&] { widget.setBusy(true); }), 1);
}

void TestImageWidget::paint_staysInsideTheDirtyRegion()
{
    ImageWidget widget;
    widget.resize(100, 100);
    widget.updateImage(testImage(QSize(10, 10)));
    QRect const dirty(10, 20, 30, 40);
    QImage target = plain(QSize(100, 100), Qt::magenta);
    widget.render(&target, dirty.topLeft(), dirty);

    QImage wanted = plain(QSize(100, 100), Qt::magenta);
    QImage const whole =
        picture(QSize(100, 100), Qt::black, testImage(QSize(10, 10)), QRect(0, 0, 100, 100));
    QPainter(&wanted).drawImage(dirty.topLeft(), whole, dirty);
    QVERIFY(same(target, wanted));
}

void TestImageWidget::updateImage_dropsRepeats_data()
{
    QTest::addColumn<QString>("shownStream");
    QTest::addColumn<QString>("shownPts");
    QTest::addColumn<QString>("stream");
    QTest::addColumn<QString>("pts");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("accepted");

    QSize const size(16, 16);
    QString const cam = QStringLiteral("cam");
    QString const five = QStringLiteral("5");
    QString const zero = QStringLiteral("0");
    QString const none;
    QTest::newRow("same stream and time") << cam << five << cam << five << size << false;
    QTest::newRow("later") << cam << five << cam << QStringLiteral("6") << size << true;
    QTest::newRow("other stream") << cam << five << QStringLiteral("cam2") << five << size << true;
    QTest::newRow("other size") << cam << five << cam << five << QSize(16, 18) << true;
    QTest::newRow("time 0") << cam << zero << cam << zero << size << true;
    QTest::newRow("no stream") << none << five << none << five << size << true;
    QTest::newRow("no time") << cam << none << cam << none << size << true;
    QTest::newRow("neither") << none << none << none << none << size << true;
    QTest::newRow("time of two spellings")
        << cam << five << cam << QStringLiteral("05") << size << true;
}

void TestImageWidget::updateImage_dropsRepeats()
{
    QFETCH(QString, shownStream);
    QFETCH(QString, shownPts);
    QFETCH(QString, stream);
    QFETCH(QString, pts);
    QFETCH(QSize, size);
    QFETCH(bool, accepted);

    QImage const shown = testImage(QSize(16, 16), shownStream, shownPts);
    QImage const next = testImage(size, stream, pts, Qt::white);
    ImageWidget widget;
    widget.updateImage(shown);
    widget.updateImage(next);
    QCOMPARE(widget.getImage(), accepted ? next : shown);
}

void TestImageWidget::repeat_leavesBusyState()
{
    QImage const image = testImage(QSize(16, 16), QStringLiteral("cam"), QStringLiteral("5"));
    ImageWidget widget;
    widget.updateImage(image);
    widget.setBusy(true);
    widget.updateImage(image);
    QVERIFY(!timersOf(widget).isEmpty());
}

void TestImageWidget::acceptedImage_endsBusyState()
{
    ImageWidget widget;
    widget.setBusy(true);
    widget.updateImage(testImage(QSize(16, 16)));
    QVERIFY(timersOf(widget).isEmpty());

    widget.setBusy(true);
    widget.updateImage(QImage());
    QVERIFY(timersOf(widget).isEmpty());
}

void TestImageWidget::acceptedImage_repaintsRepeatDoesNot()
{
    ImageWidget widget;
    widget.resize(100, 100);
    EventCounter counter(&widget);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    QCoreApplication::processEvents();

    counter.paints = 0;
    QImage const image = testImage(QSize(16, 16), QStringLiteral("cam"), QStringLiteral("5"));
    widget.updateImage(image);
    QCoreApplication::processEvents();
    QCOMPARE(counter.paints, 1);
    widget.updateImage(image);
    QCoreApplication::processEvents();
    QCOMPARE(counter.paints, 1);
}

void TestImageWidget::busy_paintsSpinner()
{
    ImageWidget widget;
    widget.resize(101, 80);
    widget.setBgColor(Qt::darkBlue);
    widget.updateImage(testImage(QSize(16, 16)));
    widget.setBusy(true);
    QVERIFY(same(grab(widget), spinnerPicture({101, 80}, Qt::darkBlue, QPoint(50, 39), 0)));
}

void TestImageWidget::busy_turnsAndWraps()
{
    ImageWidget widget;
    widget.resize(64, 64);
    widget.setBusy(true);
    int const id = spinnerTimer(widget);
    for (int step = 0; step <= 11; ++step) {
        QVERIFY2(same(grab(widget), spinnerPicture({64, 64}, Qt::black, QPoint(31, 31), step % 10)),
            qPrintable(QStringLiteral("step %1").arg(step)));
        QTimerEvent event(id);
        event.ignore();
        QCoreApplication::sendEvent(&widget, &event);
        QVERIFY(event.isAccepted());
    }
}

void TestImageWidget::busy_turnsByItself()
{
    ImageWidget widget;
    widget.resize(64, 64);
    EventCounter counter(&widget);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    widget.setBusy(true);
    QCoreApplication::processEvents();
    counter.paints = 0;
    counter.timerEvents = 0;
    QTRY_VERIFY(counter.timerEvents >= 3);
    QTRY_VERIFY(counter.paints >= 3);
}

void TestImageWidget::busy_runsOneCoarseTimer()
{
    ImageWidget widget;
    QVERIFY(timersOf(widget).isEmpty());
    widget.setBusy(true);
    QList<TimerInfo> const timers = timersOf(widget);
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers[0].interval, 40);
    QCOMPARE(timers[0].timerType, Qt::CoarseTimer);
    widget.setBusy(false);
    QVERIFY(timersOf(widget).isEmpty());
}

void TestImageWidget::busy_ignoresForeignTimers()
{
    ImageWidget widget;
    widget.resize(64, 64);
    widget.setBusy(true);
    sendTimerEvent(widget, spinnerTimer(widget) + 1);
    QVERIFY(same(grab(widget), spinnerPicture({64, 64}, Qt::black, QPoint(31, 31), 0)));
}

void TestImageWidget::busyAgain_startsFromTheFirstStep()
{
    ImageWidget widget;
    widget.resize(64, 64);
    widget.setBusy(true);
    sendTimerEvent(widget, spinnerTimer(widget));
    widget.setBusy(false);
    widget.setBusy(true);
    QVERIFY(same(grab(widget), spinnerPicture({64, 64}, Qt::black, QPoint(31, 31), 0)));
}

void TestImageWidget::busyTwice_changesNothing()
{
    ImageWidget widget;
    widget.resize(64, 64);
    widget.setBusy(true);
    int const id = spinnerTimer(widget);
    sendTimerEvent(widget, id);
    widget.setBusy(true);
    QCOMPARE(timersOf(widget).size(), 1);
    QCOMPARE(timersOf(widget)[0].timerId, id);
    QVERIFY(same(grab(widget), spinnerPicture({64, 64}, Qt::black, QPoint(31, 31), 1)));
}

void TestImageWidget::busy_followsContentsRectAndResize()
{
    ImageWidget widget;
    widget.setContentsMargins(20, 0, 0, 10);
    widget.resize(100, 80);
    widget.setBusy(true);
    QVERIFY(same(grab(widget), spinnerPicture({100, 80}, Qt::black, QPoint(59, 34), 0)));
    widget.resize(140, 100);
    QVERIFY(same(grab(widget), spinnerPicture({140, 100}, Qt::black, QPoint(79, 44), 0)));
}

void TestImageWidget::notBusy_showsTheImageAgain()
{
    QImage const image = testImage(QSize(40, 40));
    ImageWidget widget;
    widget.resize(40, 40);
    widget.updateImage(image);
    widget.setBusy(true);
    grab(widget);
    widget.setBusy(false);
    QCOMPARE(grab(widget), image);
    QCOMPARE(widget.getImage(), image);
}

void TestImageWidget::getImageWhileBusy_isBlackOfWidgetSize()
{
    ImageWidget widget;
    widget.resize(33, 22);
    widget.updateImage(testImage(QSize(40, 40)));
    widget.setBusy(true);
    QImage const image = widget.getImage();
    QCOMPARE(image.format(), QImage::Format_ARGB32);
    QCOMPARE(image, plain(QSize(33, 22), Qt::black).convertToFormat(QImage::Format_ARGB32));
    QCOMPARE(widget.property("image").value<QImage>(), image);
}

void TestImageWidget::click_reachesWidgetAndParent()
{
    QWidget parent;
    parent.resize(100, 100);
    auto* widget = new ImageWidget(&parent);
    widget->resize(50, 50);
    EventCounter counter(&parent);
    QSignalSpy clicked(widget, &ImageWidget::clicked);
    parent.show();
    QVERIFY(QTest::qWaitForWindowExposed(&parent));

    QTest::mouseClick(widget, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
    QCOMPARE(clicked.size(), 1);
    QCOMPARE(counter.presses, 1);
}

QVORLIN_TEST_MAIN(QApplication, TestImageWidget)
#include "tst_imagewidget.moc"
