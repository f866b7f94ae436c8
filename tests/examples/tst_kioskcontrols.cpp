#include "kioskcontrols.h"

#include <QPainter>
#include <QPixmap>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QTouchDevice>

#include "greyframe.h"
#include "opengltest.h"
#include "streamaddress.h"
#include "videowindow.h"
#include "widgets/qrcode.h"

namespace {

constexpr Quarters Greys = {100, 100, 100, 100};
constexpr int QuietModules = 4;
QString const Address = QStringLiteral("stream:camera%201");

/** A kiosk that shows a grey frame. */
struct Fixture
{
    VideoWindow window{QStringLiteral("camera 1")};
    KioskControls controls;
    qint64 timestamp = 0;

    explicit Fixture(QString const& address = Address)
        : controls(window, address)
    {}

    bool show(QSize const& size = QSize(640, 360))
    {
        window.resize(size);
        window.show();
        return QTest::qWaitFor([this] { return !window.renderer().isEmpty(); }) &&
               window.size() == size && showFrame();
    }

    bool showFrame()
    {
        QSignalSpy const painted(&window, &VideoView::framePainted);
        QVideoFrame const frame = greyFrame(++timestamp, Greys);
        return QTest::qWaitFor([&] {
            window.showFrame(frame);
            QCoreApplication::processEvents();
            return !painted.isEmpty();
        });
    }

    QPoint button() const { return controls.button().geometry().center(); }

    void pressMouse() { QTest::mousePress(window.windowHandle(), Qt::LeftButton, {}, button()); }
    void releaseMouse()
    {
        QTest::mouseRelease(window.windowHandle(), Qt::LeftButton, {}, button());
    }

    QImage picture(QWidget const& overlay) { return window.picture().copy(overlay.geometry()); }

    /** How much of its place an overlay covers. */
    double coverage(QWidget const& overlay);
};

/** How much of @p image is no longer the frame's grey. */
double covered(QImage const& image)
{
    int pixels = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            pixels += qAbs(qGreen(image.pixel(x, y)) - Greys[0]) > 8;
    }
    return double(pixels) / (image.width() * image.height());
}

double Fixture::coverage(QWidget const& overlay)
{
    return covered(picture(overlay));
}

bool isRing(QRgb pixel)
{
    return qBlue(pixel) > 200 && qRed(pixel) < 140;
}

/** How much of the button's ring has closed, by the directions in which it is seen. */
double ringShare(QImage const& button)
{
    constexpr int Directions = 36;
    int closed = 0;
    for (int i = 0; i < Directions; ++i) {
        QLineF way = QLineF::fromPolar(button.width() / 2.0, i * 360.0 / Directions + 5);
        way.translate(button.width() / 2.0, button.height() / 2.0);
        bool seen = false;
        for (double part = 0.85; part < 0.96; part += 0.01)
            seen |= isRing(button.pixel(way.pointAt(part).toPoint()));
        closed += seen;
    }
    return double(closed) / Directions;
}

} // namespace

class TestKioskControls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void window_fillsTheScreen();
    void keyF_doesNotLeaveTheScreen();
    void clockText_hasTwoDigitsEach_data();
    void clockText_hasTwoDigitsEach();
    void clock_showsTheTimeOfDay();
    void clock_goesOnWhileNoFramesCome();
    void code_isThatOfTheAddress();
    void longAddress_isStillACode();
    void tooSmallForTheCode_leavesItOut();
    void tap_isToldOnce_data() { addPointers(); }
    void tap_isToldOnce();
    void hold_hidesTheDetailsAndShowsThemAgain_data() { addPointers(); }
    void hold_hidesTheDetailsAndShowsThemAgain();
    void hold_takesASecond();
    void hold_closesTheRing();
    void fingerMovedAway_isNeitherTapNorHold();
    void pressElsewhere_isNothing();
    void otherMouseButton_isNothing();
    void quickTaps_allCount();
    void symbols_differ();
    void dimmed_allStandBack();
    void overlays_fitIntoAnySize_data();
    void overlays_fitIntoAnySize();
    void painter_isLeftAsItWas();

private:
    static void addPointers()
    {
        QTest::addColumn<bool>("touch");
        QTest::newRow("mouse") << false;
        QTest::newRow("finger") << true;
    }

    void press(Fixture& f)
    {
        QFETCH(bool, touch);
        if (touch)
            QTest::touchEvent(f.window.windowHandle(), mTouchScreen)
                .press(0, f.button(), &f.window);
        else
            f.pressMouse();
    }

    void release(Fixture& f)
    {
        QFETCH(bool, touch);
        if (touch)
            QTest::touchEvent(f.window.windowHandle(), mTouchScreen)
                .release(0, f.button(), &f.window);
        else
            f.releaseMouse();
    }

    QTouchDevice* const mTouchScreen = QTest::createTouchDevice();
};

void TestKioskControls::window_fillsTheScreen()
{
    Fixture f;
    f.window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.window));
    QVERIFY(f.window.isFullScreen());
    QTRY_COMPARE(f.window.geometry(), f.window.screen()->geometry());
    // Only one of its kind is there.
    QCOMPARE(QGuiApplication::topLevelWindows(), QWindowList{f.window.windowHandle()});
}

void TestKioskControls::keyF_doesNotLeaveTheScreen()
{
    Fixture f;
    f.window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&f.window));
    QTest::keyClick(&f.window, 'f');
    QVERIFY(f.window.isFullScreen());
    // Other keys do what they do in any window.
    QTest::keyClick(&f.window, 'm');
    QVERIFY(f.window.mirrored());
}

void TestKioskControls::clockText_hasTwoDigitsEach_data()
{
    QTest::addColumn<QTime>("time");
    QTest::newRow("00:00:00") << QTime(0, 0);
    QTest::newRow("07:05:09") << QTime(7, 5, 9, 999);
    QTest::newRow("23:59:59") << QTime(23, 59, 59);
}

void TestKioskControls::clockText_hasTwoDigitsEach()
{
    QFETCH(QTime, time);
    QCOMPARE(ClockOverlay::text(time), QString::fromLatin1(QTest::currentDataTag()));
}

void TestKioskControls::clock_showsTheTimeOfDay()
{
    renderlib::CustomVideoWidget widget;
    ClockOverlay clock(&widget);
    clock.resize(ClockOverlay::sizeForHeight(60));
    auto paint = [&clock] {
        QImage image(clock.size(), QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter painter(&image);
        clock.paint(&painter);
        return image;
    };
    auto untilSecondIs = [](int second) {
        return QTest::qWaitFor([second] { return QTime::currentTime().second() == second; });
    };
    int const second = (QTime::currentTime().second() + 1) % 60;
    QVERIFY(untilSecondIs(second));
    QImage const before = paint();
    // Within a second the face stays, unless the machine was too slow for that.
    QImage const same = paint();
    QVERIFY(same == before || QTime::currentTime().second() != second);
    QVERIFY(untilSecondIs((second + 1) % 60));
    QVERIFY(paint() != before);
}

void TestKioskControls::clock_goesOnWhileNoFramesCome()
{
    Fixture f;
    QVERIFY(f.show());
    int paints = 0;
    connect(&f.window.overlay(), &StreamOverlay::painted, this, [&paints] { ++paints; });
    QTRY_VERIFY(paints >= 2);
    QImage const face = f.picture(f.controls.clock());
    QTRY_VERIFY(f.picture(f.controls.clock()) != face);
}

void TestKioskControls::code_isThatOfTheAddress()
{
    Fixture f;
    QVERIFY(f.show());
    QByteArray const data = Address.toUtf8();
    int const modules = createQRCode(data, 0, QRErrorCorrMedium, {}, {}, 1, 0).width();
    QImage const card = f.picture(f.controls.card());
    int const moduleSize = card.width() / (modules + 2 * QuietModules);
    QVERIFY(moduleSize >= 2);
    int const quiet = QuietModules * moduleSize;
    QImage const code = card.copy(quiet, quiet, modules * moduleSize, modules * moduleSize)
                            .convertToFormat(QImage::Format_RGB32);
    QImage const wanted =
        createQRCode(data, 0, QRErrorCorrMedium, Qt::white, Qt::black, moduleSize, 0)
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    QCOMPARE(code, wanted);
    // The quiet zone, but for the round corners.
    for (int i = quiet; i < card.width() - quiet; ++i) {
        for (int j = 1; j < quiet; ++j) {
            QCOMPARE(card.pixel(i, j) & 0xffffff, 0xffffffu);
            QCOMPARE(card.pixel(j, i) & 0xffffff, 0xffffffu);
            QCOMPARE(card.pixel(card.width() - 1 - j, i) & 0xffffff, 0xffffffu);
        }
    }
}

void TestKioskControls::longAddress_isStillACode()
{
    Fixture f(QString(MaxAddressBytes, QLatin1Char('x')));
    QVERIFY(f.show(QSize(1280, 720)));
    QVERIFY(f.coverage(f.controls.card()) > 0.9);
}

void TestKioskControls::tooSmallForTheCode_leavesItOut()
{
    Fixture f(QString(MaxAddressBytes, QLatin1Char('x')));
    QVERIFY(f.show(QSize(320, 180)));
    // Nothing but the grey between line and row.
    QCOMPARE(covered(f.window.picture().copy(0, 40, 320, 90)), 0.0);
}

void TestKioskControls::tap_isToldOnce()
{
    Fixture f;
    QVERIFY(f.show());
    QSignalSpy const tapped(&f.controls, &KioskControls::tapped);
    press(f);
    QVERIFY(f.controls.button().isPressed());
    QCOMPARE(tapped.size(), 0);
    release(f);
    QCOMPARE(tapped.size(), 1);
    QVERIFY(!f.controls.button().isPressed());
    QTest::qWait(HoldButton::HoldMs + 200);
    QVERIFY(f.controls.areDetailsShown());
    QCOMPARE(tapped.size(), 1);
}

void TestKioskControls::hold_hidesTheDetailsAndShowsThemAgain()
{
    Fixture f;
    QVERIFY(f.show());
    QSignalSpy const tapped(&f.controls, &KioskControls::tapped);
    auto line = [&f] {
        return covered(f.window.picture().copy(0, 0, 640, 25));
    };
    QVERIFY(line() > 0.9);
    QVERIFY(f.coverage(f.controls.card()) > 0.9);

    press(f);
    QTRY_VERIFY(!f.controls.areDetailsShown());
    release(f);
    QTRY_COMPARE(f.coverage(f.controls.card()), 0.0);
    QTRY_COMPARE(line(), 0.0);
    QVERIFY(f.coverage(f.controls.clock()) > 0.9);
    QVERIFY(f.coverage(f.controls.button()) > 0.6);

    press(f);
    QTRY_VERIFY(f.controls.areDetailsShown());
    release(f);
    QTRY_VERIFY(f.coverage(f.controls.card()) > 0.9);
    QTRY_VERIFY(line() > 0.9);
    QCOMPARE(tapped.size(), 0);
}

void TestKioskControls::hold_takesASecond()
{
    Fixture f;
    QVERIFY(f.show());
    QElapsedTimer time;
    time.start();
    f.pressMouse();
    QTRY_VERIFY(!f.controls.areDetailsShown());
    QVERIFY2(time.elapsed() >= 1000, qPrintable(QString::number(time.elapsed())));
    // It counts once, however long it is held.
    QTest::qWait(HoldButton::HoldMs + 200);
    QVERIFY(!f.controls.areDetailsShown());
    f.releaseMouse();
}

void TestKioskControls::hold_closesTheRing()
{
    Fixture f;
    QVERIFY(f.show());
    HoldButton const& button = f.controls.button();
    QImage const idle = f.picture(button);
    QCOMPARE(ringShare(idle), 0.0);
    QCOMPARE(button.progress(), 0.0);
    f.pressMouse();
    QVERIFY(f.picture(button) != idle);
    double before = 0;
    int steps = 0;
    while (button.isPressed()) {
        double const begin = button.progress();
        double const share = ringShare(f.picture(button));
        double const end = button.progress();
        QCoreApplication::processEvents();
        if (!button.isPressed())
            break;
        QVERIFY2(share >= begin - 0.1 && share <= end + 0.1, qPrintable(QString::number(share)));
        QVERIFY(share >= before);
        steps += share > before;
        before = share;
    }
    // More than one that a slow machine paints.
    QVERIFY(steps >= 2);
    QCOMPARE(f.picture(button), idle);
    f.releaseMouse();
}

void TestKioskControls::fingerMovedAway_isNeitherTapNorHold()
{
    Fixture f;
    QVERIFY(f.show());
    QSignalSpy const tapped(&f.controls, &KioskControls::tapped);
    HoldButton const& button = f.controls.button();
    f.pressMouse();
    // A little is no matter.
    QTest::mouseMove(f.window.windowHandle(), f.button() + QPoint(button.width() / 4, 0));
    QVERIFY(button.isPressed());
    QTest::mouseMove(f.window.windowHandle(), f.button() + QPoint(button.width(), 0));
    QTRY_VERIFY(!button.isPressed());
    QTest::mouseMove(f.window.windowHandle(), f.button());
    f.releaseMouse();
    QTest::qWait(HoldButton::HoldMs + 200);
    QCOMPARE(tapped.size(), 0);
    QVERIFY(f.controls.areDetailsShown());
}

void TestKioskControls::pressElsewhere_isNothing()
{
    Fixture f;
    QVERIFY(f.show());
    QSignalSpy const tapped(&f.controls, &KioskControls::tapped);
    QTest::mousePress(f.window.windowHandle(), Qt::LeftButton, {}, QPoint(100, 100));
    QVERIFY(!f.controls.button().isPressed());
    QTest::mouseRelease(f.window.windowHandle(), Qt::LeftButton, {}, f.button());
    QCOMPARE(tapped.size(), 0);
}

void TestKioskControls::otherMouseButton_isNothing()
{
    Fixture f;
    QVERIFY(f.show());
    QTest::mousePress(f.window.windowHandle(), Qt::RightButton, {}, f.button());
    QVERIFY(!f.controls.button().isPressed());
    QTest::mouseRelease(f.window.windowHandle(), Qt::RightButton, {}, f.button());
}

void TestKioskControls::quickTaps_allCount()
{
    Fixture f;
    QVERIFY(f.show());
    QSignalSpy const tapped(&f.controls, &KioskControls::tapped);
    for (int i = 0; i < 4; ++i) {
        f.pressMouse();
        f.releaseMouse();
    }
    QCOMPARE(tapped.size(), 4);
}

void TestKioskControls::symbols_differ()
{
    Fixture f;
    QVERIFY(f.show());
    QVector<QImage> faces;
    for (auto const symbol :
        {HoldButton::Symbol::Details, HoldButton::Symbol::Sound, HoldButton::Symbol::Muted}) {
        f.controls.setSymbol(symbol);
        QImage const face = f.picture(f.controls.button());
        QVERIFY(!faces.contains(face));
        faces.append(face);
    }
}

void TestKioskControls::dimmed_allStandBack()
{
    Fixture f;
    QVERIFY(f.show());
    // White and dark over the frame's grey of 100.
    auto card = [&f] {
        return qGreen(f.picture(f.controls.card()).pixel(8, 8));
    };
    auto clock = [&f] {
        return qGreen(f.picture(f.controls.clock()).pixel(20, 4));
    };
    auto button = [&f] {
        return qGreen(f.picture(f.controls.button()).pixel(f.controls.button().width() / 2, 4));
    };
    QCOMPARE(card(), 255);
    QVERIFY(clock() < 50);
    QVERIFY(button() < 60);
    f.controls.setDimmed(true);
    QTRY_VERIFY(card() < 160);
    QTRY_VERIFY(clock() > 70);
    QTRY_VERIFY(button() > 70);
    f.controls.setDimmed(false);
    QTRY_COMPARE(card(), 255);
}

void TestKioskControls::overlays_fitIntoAnySize_data()
{
    QTest::addColumn<QSize>("size");
    for (QSize const& size : {QSize(320, 180), QSize(640, 480), QSize(720, 576), QSize(1280, 720),
             QSize(1080, 1920), QSize(1920, 1080), QSize(3840, 2160)})
        QTest::addRow("%dx%d", size.width(), size.height()) << size;
}

void TestKioskControls::overlays_fitIntoAnySize()
{
    QFETCH(QSize, size);
    Fixture f;
    f.window.meter().setSoundChannels(2);
    QVERIFY(f.show(size));
    double const scale = qMax(0.5, qMin(size.width() / 1280.0, size.height() / 720.0));
    QRect const clock = f.controls.clock().geometry();
    QRect const button = f.controls.button().geometry();
    QRect const card = f.controls.card().geometry();
    QRect const meter = f.window.meter().geometry();
    QRect const line(0, 0, size.width(), qRound((size.width() / scale < 800 ? 30 : 52) * scale));
    QVERIFY(qAbs(clock.height() - 57 * scale) <= 1);
    QVERIFY(qAbs(meter.height() - 21 * scale) <= 2);

    QVector<QRect> const places{clock, button, card, meter, line};
    for (int i = 0; i < places.size(); ++i) {
        QVERIFY(QRect(QPoint(), size).contains(places[i]));
        for (int j = 0; j < i; ++j)
            QVERIFY(!places[i].intersects(places[j]));
    }
    QImage const picture = f.window.picture();
    QCOMPARE(picture.size(), size);
    QVERIFY(covered(picture.copy(clock)) > 0.9);
    QVERIFY(covered(picture.copy(button)) > 0.6);
    QVERIFY(covered(picture.copy(card)) > 0.9);
    QVERIFY(covered(picture.copy(meter)) > 0.5);
    QVERIFY(covered(picture.copy(line.adjusted(0, 0, 0, -1))) > 0.9);
    // All the rest is the picture.
    QCOMPARE(covered(picture.copy(size.width() / 2, size.height() / 2, 8, 8)), 0.0);
}

void TestKioskControls::painter_isLeftAsItWas()
{
    renderlib::CustomVideoWidget widget;
    ClockOverlay clock(&widget);
    clock.resize(200, 60);
    QrCard card(Address, &widget);
    card.fitInto(QRect(0, 0, 200, 200), 12);
    HoldButton button(&widget);
    button.resize(60, 60);
    for (renderlib::CustomSubWidget* overlay :
        QVector<renderlib::CustomSubWidget*>{&clock, &card, &button}) {
        QImage image(200, 200, QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter painter(&image);
        painter.setOpacity(0.5);
        QPen const pen = painter.pen();
        QBrush const brush = painter.brush();
        overlay->paint(&painter);
        QCOMPARE(painter.opacity(), 0.5);
        QCOMPARE(painter.pen(), pen);
        QCOMPARE(painter.brush(), brush);
        QVERIFY(!painter.testRenderHint(QPainter::Antialiasing));
    }
}

QVORLIN_OPENGL_TEST_MAIN(TestKioskControls)
#include "tst_kioskcontrols.moc"
