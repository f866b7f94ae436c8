#include "gallerywindow.h"

#include <memory>

#include <QDir>
#include <QLabel>
#include <QScreen>
#include <QTest>
#include <QTouchDevice>

#include "buttoncard.h"
#include "codecard.h"
#include "codeview.h"
#include "galleryheader.h"
#include "galleryoptions.h"
#include "imagecard.h"
#include "imageglcard.h"
#include "labelledmeter.h"
#include "metercard.h"
#include "opengltest.h"
#include "storecard.h"
#include "streamplace.h"
#include "teststream.h"
#include "videocard.h"
#include "videoview.h"
#include "widgets/imageglwidget.h"
#include "widgets/imagewidget.h"
#include "widgets/statebutton.h"

namespace {

constexpr int Patience = 20000; // ms
constexpr int LongPressMs = 1300;
constexpr int MinTouchPixels = 44;
constexpr short HalfScale = 16384;

/** The window of the stream named after the test. */
struct Fixture
{
    QString name = QString::fromLatin1(QTest::currentTestFunction());
    std::unique_ptr<GalleryWindow> window;
    std::unique_ptr<TestStream> stream;
    QTimer publisher;
    int grey = 60;

    explicit Fixture(
        QSize const& size = QSize(1280, 720), GalleryOptions options = GalleryOptions())
    {
        options.stream = name;
        window = std::make_unique<GalleryWindow>(options);
        window->resize(size);
        QObject::connect(&publisher, &QTimer::timeout, window.get(), [this] {
            stream->publish(grey);
            stream->publishSound(HalfScale);
        });
        window->show();
        window->start();
    }

    bool publish()
    {
        stream = std::make_unique<TestStream>(name.toUtf8(), QSize(128, 72), 2);
        publisher.start(40);
        return stream->isOpen();
    }

    void vanish()
    {
        publisher.stop();
        stream.reset();
    }

    template<class T>
    T& get() const
    {
        return *window->findChild<T*>();
    }

    /** The greenness of what all three show. */
    bool showsEverywhere(int expected) const
    {
        QImage const picture = window->picture();
        bool all = !picture.isNull();
        for (QWidget const* view : views()) {
            QPoint const middle = view->mapTo(window.get(), view->rect().center());
            all = all && qAbs(qGreen(picture.pixel(middle)) - expected) < 4;
        }
        return all;
    }

    QVector<QWidget const*> views() const
    {
        return {&get<VideoCard>().view(), &get<ImageCard>().view(), &get<ImageGLCard>().view()};
    }

    Fixture(Fixture const&) = delete;
};

/** How many of the pixels of @p area of @p picture are of the colour of lit strokes. */
int litPixels(QImage const& picture, QRect const& area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += picture.pixelColor(x, y) == AudioMeterPainter::bandColors[0];
    }
    return count;
}

} // namespace

class TestGalleryWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void layout_leavesNothingOutAndNothingTooSmall_data();
    void layout_leavesNothingOutAndNothingTooSmall();
    void longTexts_areCutAndMoveNothing();
    void stream_isShownByAllWidgets();
    void picture_isWhatTheScreenShows();
    void streamThatGoes_isWaitedForAndBackAgain();
    void sound_movesAllMeters();
    void tapAndHold_changeEachWidget();
    void touch_tapsAndHolds();
    void code_followsTheTime();
    void store_showsWhatOthersWrite();
    void resize_keepsAllInProportion();

private:
    StreamPlace mPlace;
};

void TestGalleryWindow::layout_leavesNothingOutAndNothingTooSmall_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("1280 x 720") << QSize(1280, 720);
    QTest::newRow("1366 x 768") << QSize(1366, 768);
    QTest::newRow("1920 x 1080") << QSize(1920, 1080);
}

void TestGalleryWindow::layout_leavesNothingOutAndNothingTooSmall()
{
    QFETCH(QSize, size);
    Fixture f(size);
    f.name = QStringLiteral("layout");
    QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
    QList<Card*> const cards = f.window->findChildren<Card*>();
    QCOMPARE(cards.size(), 7);
    for (Card const* card : cards) {
        QVERIFY(f.window->rect().contains(card->geometry()));
        for (Card const* other : cards)
            QVERIFY(card == other || !card->geometry().intersects(other->geometry()));
    }
    QList<QWidget*> const widgets = f.window->findChildren<QWidget*>();
    for (QWidget const* widget : widgets) {
        QString const what = QString::fromLatin1(widget->metaObject()->className()) +
                             widget->property("text").toString();
        QVERIFY2(widget->isVisible() && !widget->size().isEmpty(), qPrintable(what));
        QVERIFY2(widget->parentWidget()->rect().contains(widget->geometry()), qPrintable(what));
        if (auto const* label = qobject_cast<QLabel const*>(widget)) {
            int const needed = label->fontMetrics().horizontalAdvance(label->text());
            QVERIFY2(label->width() >= needed, qPrintable(what));
        }
        if (qobject_cast<StateButton const*>(widget)) {
            QVERIFY2(widget->width() >= MinTouchPixels && widget->height() >= MinTouchPixels,
                qPrintable(what));
            QVERIFY2(widget->width() >= widget->sizeHint().width(), qPrintable(what));
        }
    }
}

void TestGalleryWindow::longTexts_areCutAndMoveNothing()
{
    GalleryOptions options;
    options.address = QString(300, QLatin1Char('w'));
    options.keys = QStringList{QString(60, QLatin1Char('k'))};
    Fixture f(QSize(1280, 720), options);
    QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
    CodeCard const& card = f.get<CodeCard>();
    auto* button = card.findChild<StateButton*>();
    QRect const place = button->geometry();
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(card.state(), options.address);
    QTest::qWait(100);
    QCOMPARE(button->geometry(), place);
    for (Card const* shown : f.window->findChildren<Card*>()) {
        for (QWidget const* widget : shown->findChildren<QWidget*>())
            QVERIFY(widget->parentWidget()->rect().contains(widget->geometry()));
    }
}

void TestGalleryWindow::stream_isShownByAllWidgets()
{
    Fixture f;
    QVERIFY(f.publish());
    for (int const grey : {60, 180}) {
        f.grey = grey;
        QTRY_VERIFY_WITH_TIMEOUT(f.showsEverywhere(grey), Patience);
    }
    QCOMPARE(f.get<ImageCard>().view().getImage().text(QStringLiteral("shmname")), f.name);
    ImageGLWidget const& images = f.get<ImageGLCard>().view();
    QTRY_VERIFY(images.updateRate() > 2 && images.displayRate() > 2 && images.renderRate() > 2);

    QStringList values;
    QTRY_COMPARE((values = f.get<GalleryHeader>().values()).first(), QStringLiteral("128 × 72"));
    QTRY_COMPARE(f.get<GalleryHeader>().values().at(2), QStringLiteral("2 × 48 kHz"));
    QJsonObject const report = f.window->report();
    QVERIFY(!report[QLatin1String("renderer")].toString().isEmpty());
    QVERIFY(report[QLatin1String("images")].toObject()[QLatin1String("updateRate")].toDouble() > 2);
}

void TestGalleryWindow::picture_isWhatTheScreenShows()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_VERIFY_WITH_TIMEOUT(f.showsEverywhere(60), Patience);
    f.window->stop();
    f.vanish();
    QTest::qWait(100); // what is under way comes to the screen
    QImage const picture = f.window->picture().convertToFormat(QImage::Format_RGB32);
    QImage const screen = f.window->screen()
                              ->grabWindow(f.window->winId())
                              .toImage()
                              .convertToFormat(QImage::Format_RGB32);
    QCOMPARE(screen.size(), picture.size());
    int different = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            different += picture.pixel(x, y) != screen.pixel(x, y);
    }
    QVERIFY2(different < picture.width() * picture.height() / 1000,
        qPrintable(QString::number(different)));
}

void TestGalleryWindow::streamThatGoes_isWaitedForAndBackAgain()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_VERIFY_WITH_TIMEOUT(f.showsEverywhere(60), Patience);
    f.vanish();
    // A busy image widget has a black image of its own size.
    ImageWidget const& view = f.get<ImageCard>().view();
    QTRY_COMPARE_WITH_TIMEOUT(view.getImage().size(), view.size(), Patience);
    QCOMPARE(qGreen(view.getImage().pixel(0, 0)), 0);
    QTRY_COMPARE(f.get<GalleryHeader>().values().first(), QStringLiteral("–"));
    QCOMPARE(f.get<GalleryHeader>().values().at(2), QStringLiteral("–"));
    QImage const picture = f.window->picture();
    QPoint const corner = f.get<ImageGLCard>().view().mapTo(f.window.get(), QPoint(150, 150));
    QCOMPARE(qGreen(picture.pixel(corner)), 17);

    f.grey = 120;
    QVERIFY(f.publish());
    QTRY_VERIFY_WITH_TIMEOUT(f.showsEverywhere(120), Patience);
}

void TestGalleryWindow::sound_movesAllMeters()
{
    Fixture f;
    auto lit = [&f](QWidget const& widget) {
        return litPixels(
            f.window->picture(), QRect(widget.mapTo(f.window.get(), QPoint()), widget.size()));
    };
    QVector<LabelledMeter*> const& meters = f.get<MeterCard>().meters();
    QCOMPARE(meters.size(), 4);
    VideoView const& video = f.get<VideoCard>().view();
    for (LabelledMeter const* meter : meters)
        QCOMPARE(lit(*meter), 0);
    QCOMPARE(lit(video), 0);

    QVERIFY(f.publish());
    for (LabelledMeter const* meter : meters)
        QTRY_VERIFY(lit(*meter) > 500);
    QTRY_VERIFY(lit(video) > 500);

    f.vanish();
    for (LabelledMeter const* meter : meters)
        QTRY_COMPARE(lit(*meter), 0);
    QTRY_COMPARE(lit(video), 0);
}

void TestGalleryWindow::tapAndHold_changeEachWidget()
{
    Fixture f;
    QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
    struct Settings
    {
        bool mirrored, zoomed, imageKeeps, glKeeps;
        QColor glColour;
        AudioMeterMode mode;
        int strokes, modules;
        QByteArray code;
    };
    auto settings = [&f] {
        AudioMeterWidget const& meter = f.get<MeterCard>().meters().first()->meter();
        CodeView const& code = f.get<CodeCard>().code();
        VideoView const& video = f.get<VideoCard>().view();
        QObject const& gl = f.get<ImageGLCard>().view();
        return Settings{video.mirrored(), !video.viewport().isNull(),
            f.get<ImageCard>().view().property("keepAspectRatio").toBool(),
            gl.property("keepAspectRatio").toBool(), gl.property("bgColor").value<QColor>(),
            meter.mode(), meter.strokeWidth(), code.modules(), code.data()};
    };
    QList<StateButton*> const buttons = f.window->findChildren<StateButton*>();
    QCOMPARE(buttons.size(), 6);
    Settings const before = settings();
    for (StateButton* button : buttons)
        QTest::mouseClick(button, Qt::LeftButton);
    Settings const tapped = settings();
    QCOMPARE(tapped.mirrored, !before.mirrored);
    QCOMPARE(tapped.zoomed, before.zoomed);
    QCOMPARE(tapped.imageKeeps, !before.imageKeeps);
    QCOMPARE(tapped.glKeeps, !before.glKeeps);
    QCOMPARE(tapped.glColour, before.glColour);
    QCOMPARE(tapped.mode, Rms);
    QCOMPARE(tapped.strokes, before.strokes);
    QCOMPARE(tapped.code, "stream:" + f.name.toUtf8());
    QCOMPARE(f.get<ButtonCard>().counts(), QVector<int>({1, 0, 1}));
    QCOMPARE(f.get<VideoCard>().state(), QStringLiteral("whole picture, mirrored"));

    for (StateButton* button : buttons)
        QTest::mousePress(button, Qt::LeftButton);
    QTest::qWait(LongPressMs);
    Settings const held = settings();
    QCOMPARE(held.mirrored, tapped.mirrored);
    QCOMPARE(held.zoomed, !tapped.zoomed);
    QCOMPARE(held.imageKeeps, tapped.imageKeeps);
    QVERIFY(held.glColour != tapped.glColour);
    QCOMPARE(held.mode, tapped.mode);
    QVERIFY(held.strokes != tapped.strokes);
    QCOMPARE(held.code, tapped.code);
    QVERIFY(held.modules > tapped.modules);
    QCOMPARE(f.get<ImageCard>().state(), QStringLiteral("stretched, busy"));
    for (StateButton* button : buttons)
        QTest::mouseRelease(button, Qt::LeftButton);
    QCOMPARE(f.get<ButtonCard>().counts(), QVector<int>({1, 1, 2}));
}

void TestGalleryWindow::touch_tapsAndHolds()
{
    Fixture f;
    QVERIFY(QTest::qWaitForWindowExposed(f.window.get()));
    ButtonCard const& card = f.get<ButtonCard>();
    auto* button = card.findChild<StateButton*>();
    QTouchDevice* const device = QTest::createTouchDevice(); // Qt's, to the end of the process
    QWindow* const window = f.window->windowHandle();
    QPoint const finger = button->mapTo(f.window.get(), button->rect().center());
    QTest::touchEvent(window, device).press(1, finger, window);
    QTest::touchEvent(window, device).release(1, finger, window);
    QTRY_COMPARE(card.counts(), QVector<int>({1, 0, 1}));
    QTest::touchEvent(window, device).press(1, finger, window);
    QTRY_COMPARE(card.counts(), QVector<int>({1, 1, 1}));
    QCOMPARE(card.state(), QStringLiteral("held"));
    QTest::touchEvent(window, device).release(1, finger, window);
    QTRY_COMPARE(card.counts(), QVector<int>({1, 1, 2}));
}

void TestGalleryWindow::code_followsTheTime()
{
    Fixture f;
    CodeView const& code = f.get<CodeCard>().code();
    QByteArray const before = code.data();
    QCOMPARE(before.size(), 19);
    QTRY_VERIFY(code.data() != before);
    QCOMPARE(f.get<CodeCard>().state().toUtf8(), code.data());
    QCOMPARE(code.modules(), 25);
}

void TestGalleryWindow::store_showsWhatOthersWrite()
{
    Fixture f;
    StoreCard const& store = f.get<StoreCard>();
    QCOMPARE(store.values().count(QStringLiteral("–")), 4);
    QDir const folder(QString::fromLocal8Bit(qgetenv("SYSINFO_PROFILE")));
    QVERIFY(folder.mkpath(QStringLiteral("system")));
    QFile file(folder.filePath(QStringLiteral("system/name")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("box 7\n");
    file.close();
    QTRY_COMPARE(store.values().first(), QStringLiteral("box 7"));
    QCOMPARE(store.state(), QStringLiteral("1 of 4 keys are there"));
    QVERIFY(file.remove());
    QTRY_COMPARE(store.values().first(), QStringLiteral("–"));
}

void TestGalleryWindow::resize_keepsAllInProportion()
{
    Fixture f;
    QVERIFY(f.publish());
    QTRY_VERIFY_WITH_TIMEOUT(f.showsEverywhere(60), Patience);
    QSize const button = f.get<StateButton>().size();
    f.window->resize(1920, 1080);
    QTRY_COMPARE(f.get<StateButton>().height(), button.height() * 3 / 2);
    QTRY_VERIFY_WITH_TIMEOUT(f.showsEverywhere(60), Patience);
}

int main(int argc, char* argv[])
{
    // A store of the test's own, which has to be known before the first value is read.
    QTemporaryDir store;
    qputenv("SYSINFO_PROFILE", store.path().toLocal8Bit());
    selectOpenGL();
    QApplication app(argc, argv);
    TestGalleryWindow test;
    return runCheckingMessages(&test, argc, argv);
}
#include "tst_gallerywindow.moc"
