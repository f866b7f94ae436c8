#include "viewer.h"

#include <algorithm>
#include <memory>

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include "application/qvorlinapplication.h"
#include "messagecheck.h"
#include "options.h"
#include "streamplace.h"
#include "teststream.h"
#include "utils/audioplayer.h"

Q_DECLARE_METATYPE(Renderer)

namespace {

constexpr int InactivityMs = 700;

QVorlinApplication& application()
{
    return *static_cast<QVorlinApplication*>(qApp);
}

/** A viewer on the screen of a stream of light grey frames without sound. */
struct Fixture
{
    QTemporaryDir folder;
    Renderer renderer;
    std::unique_ptr<Viewer> viewer;
    TestStream stream{QTest::currentTestFunction()};
    QTimer publisher;

    explicit Fixture(bool audio = true)
        : Fixture(audio, usualOptions())
    {}

    Fixture(bool audio, Options options)
    {
        options.stream = QString::fromLatin1(QTest::currentTestFunction());
        options.audio = audio;
        renderer = options.renderer;
        options.screenshots = folder.filePath(QStringLiteral("new/shots"));
        viewer = Viewer::make(options);
        QObject::connect(&publisher, &QTimer::timeout, &publisher, [this] { stream.publish(200); });
        publisher.start(40);
    }
    ~Fixture()
    {
        application().setInactivityTimeout(0);
        viewer->stop();
    }
    Fixture(Fixture const&) = delete;

    static Options usualOptions()
    {
        QFETCH(Renderer, renderer);
        Options result;
        result.renderer = renderer;
        return result;
    }

    static Options kioskOptions()
    {
        Options result;
        result.kiosk = true;
        return result;
    }

    bool show()
    {
        QSignalSpy showing(viewer.get(), &Viewer::showing);
        viewer->start();
        return QTest::qWaitFor([&] { return !showing.isEmpty(); });
    }

    QWidget* window() const
    {
        QWidgetList const widgets = QApplication::topLevelWidgets();
        auto const found = std::find_if(widgets.begin(), widgets.end(), [](QWidget* widget) {
            return widget->windowTitle() == QLatin1String(QTest::currentTestFunction());
        });
        return found == widgets.end() ? nullptr : *found;
    }

    void press(Qt::Key key) const { QTest::keyClick(window(), key); }

    // The button of a kiosk on a display of 1920 x 1080.
    static constexpr QRect ButtonPlace{1514, 964, 86, 86};

    QImage button() const { return viewer->picture().copy(ButtonPlace); }

    void tap() const
    {
        QTest::mouseClick(window()->windowHandle(), Qt::LeftButton, {}, ButtonPlace.center());
    }

    QStringList screenshots() const
    {
        return QDir(folder.filePath(QStringLiteral("new/shots"))).entryList(QDir::Files);
    }

    /** The line with the figures. */
    QImage line() const
    {
        QImage const picture = viewer->picture();
        return renderer == Renderer::OpenGL
                   ? picture.copy(0, 0, picture.width(), 51)
                   : picture.copy(0, picture.height() - 50, picture.width(), 50);
    }

    /** How much of the name's writing is as bright as it is while nobody is away. */
    int brightness() const
    {
        QImage const name = line().copy(0, 0, 300, 51);
        int result = 0;
        for (int y = 0; y < name.height(); ++y) {
            for (int x = 0; x < name.width(); ++x)
                result += qGreen(name.pixel(x, y)) > 220;
        }
        return result;
    }
};

} // namespace

class TestViewer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void volumeKeys_changeTheVolume_data() { addRenderers(); }
    void volumeKeys_changeTheVolume();
    void volumeAndMute_areNoted_data() { addRenderers(); }
    void volumeAndMute_areNoted();
    void keyS_mutes_data() { addRenderers(); }
    void keyS_mutes();
    void reopened_keepsTheVolume_data() { addRenderers(); }
    void reopened_keepsTheVolume();
    void withoutAudio_theKeysDoNothing_data() { addRenderers(); }
    void withoutAudio_theKeysDoNothing();
    void keyPrint_savesAScreenshot_data() { addRenderers(); }
    void keyPrint_savesAScreenshot();
    void inactivity_dimsUntilTheNextInput_data() { addRenderers(); }
    void inactivity_dimsUntilTheNextInput();
    void tapInAKiosk_mutes();
    void tapInAKioskWithoutAudio_doesNothing();
    void kiosk_isDimmedWhole();
    void streamWithoutSound_isShownAndReportedWithout_data() { addRenderers(); }
    void streamWithoutSound_isShownAndReportedWithout();

private:
    static void addRenderers()
    {
        QTest::addColumn<Renderer>("renderer");
        QTest::newRow("gl") << Renderer::OpenGL;
        QTest::newRow("image") << Renderer::Images;
    }

    StreamPlace mPlace;
};

void TestViewer::volumeKeys_changeTheVolume()
{
    Fixture f;
    QVERIFY(f.show());
    auto percent = [] {
        return qRound(AudioPlayer::getInstance()->volume() * 100);
    };
    QCOMPARE(percent(), 100);
    f.press(Qt::Key_Plus);
    QCOMPARE(percent(), 100);
    f.press(Qt::Key_Minus);
    QCOMPARE(percent(), 90);
    f.press(Qt::Key_Down);
    QCOMPARE(percent(), 80);
    f.press(Qt::Key_Up);
    f.press(Qt::Key_Plus);
    QCOMPARE(percent(), 100);
    for (int i = 0; i < 12; ++i)
        f.press(Qt::Key_Down);
    QCOMPARE(percent(), 0);
    f.press(Qt::Key_Plus);
    QCOMPARE(percent(), 10);
}

void TestViewer::volumeAndMute_areNoted()
{
    Fixture f;
    QVERIFY(f.show());
    QFETCH(Renderer, renderer);
    if (renderer == Renderer::Images) {
        auto noted = [&f](char const* note) {
            QList<QLabel*> const labels = f.window()->findChildren<QLabel*>();
            return std::any_of(labels.begin(), labels.end(),
                [note](QLabel const* label) { return label->text() == QLatin1String(note); });
        };
        f.press(Qt::Key_Minus);
        QVERIFY(noted("volume 90 %"));
        f.press(Qt::Key_S);
        QVERIFY(noted("muted"));
        f.press(Qt::Key_S);
        QVERIFY(noted("volume 90 %"));
        return;
    }
    // Beside the name; the figures at the right change by themselves.
    auto notes = [&f] {
        return f.line().copy(0, 0, 700, 51);
    };
    QImage const plain = notes();
    f.press(Qt::Key_Minus);
    QImage const volume = notes();
    QVERIFY(volume != plain);
    f.press(Qt::Key_S);
    QImage const muted = notes();
    QVERIFY(muted != plain && muted != volume);
    f.press(Qt::Key_S);
    QCOMPARE(notes(), volume);
    f.press(Qt::Key_Plus);
    QCOMPARE(notes(), plain);
}

void TestViewer::keyS_mutes()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(!AudioPlayer::getInstance()->isMute());
    f.press(Qt::Key_S);
    QVERIFY(AudioPlayer::getInstance()->isMute());
    f.press(Qt::Key_S);
    QVERIFY(!AudioPlayer::getInstance()->isMute());
}

void TestViewer::reopened_keepsTheVolume()
{
    Fixture f;
    QVERIFY(f.show());
    f.press(Qt::Key_Minus);
    f.press(Qt::Key_S);
    QSignalSpy showing(f.viewer.get(), &Viewer::showing);
    f.viewer->reopen();
    QCOMPARE(qRound(AudioPlayer::getInstance()->volume() * 100), 90);
    QVERIFY(AudioPlayer::getInstance()->isMute());
    QTRY_COMPARE(showing.size(), 1);
}

void TestViewer::withoutAudio_theKeysDoNothing()
{
    Fixture f(false);
    QVERIFY(f.show());
    for (Qt::Key const key :
        {Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Up, Qt::Key_Down, Qt::Key_S, Qt::Key_X})
        f.press(key);
    QVERIFY(f.viewer->audioReport().isNull());
}

void TestViewer::keyPrint_savesAScreenshot()
{
    Fixture f;
    QVERIFY(f.show());
    f.press(Qt::Key_Print);
    QCOMPARE(f.screenshots().size(), 1);
    QRegularExpression const name(
        QStringLiteral("^tst_examples_viewer-\\d{4}\\.\\d\\d\\.\\d\\d-\\d\\d:\\d\\d:\\d\\d\\.\\d{3}"
                       "\\.png$"));
    QVERIFY2(name.match(f.screenshots().first()).hasMatch(), qPrintable(f.screenshots().first()));
    QImage const shot(f.folder.filePath(QStringLiteral("new/shots/")) + f.screenshots().first());
    QCOMPARE(shot.size(), f.window()->size());
    QVERIFY(qAbs(qGreen(shot.pixel(shot.width() / 2, shot.height() / 2)) - 200) < 4);
}

void TestViewer::inactivity_dimsUntilTheNextInput()
{
    Fixture f;
    QVERIFY(f.show());
    // So that the name lies on what is dark.
    QVERIFY(f.brightness() > 0);
    f.viewer->heed(application(), InactivityMs / 1000.0);
    QSignalSpy away(&application(), &QVorlinApplication::inactivityTimeout);
    QTRY_COMPARE(away.size(), 1);
    QTRY_COMPARE(f.brightness(), 0);
    // The first key is only a sign of life.
    f.press(Qt::Key_Minus);
    QCOMPARE(AudioPlayer::getInstance()->volume(), 1.0);
    QTRY_VERIFY(f.brightness() > 0);
    f.press(Qt::Key_Minus);
    QCOMPARE(qRound(AudioPlayer::getInstance()->volume() * 100), 90);
    QTRY_COMPARE(away.size(), 2);
    QTRY_COMPARE(f.brightness(), 0);
    QTest::mouseMove(f.window()->windowHandle(), QPoint(100, 100));
    QTest::mouseMove(f.window()->windowHandle(), QPoint(120, 120));
    QTRY_VERIFY(f.brightness() > 0);
}

void TestViewer::tapInAKiosk_mutes()
{
    Fixture f(true, Fixture::kioskOptions());
    QVERIFY(f.show());
    QVERIFY(f.window()->isFullScreen());
    QImage const sound = f.button();
    f.tap();
    QVERIFY(AudioPlayer::getInstance()->isMute());
    QVERIFY(f.button() != sound);
    f.tap();
    QVERIFY(!AudioPlayer::getInstance()->isMute());
    QCOMPARE(f.button(), sound);
    // The key has the same effect on the button.
    f.press(Qt::Key_S);
    QVERIFY(f.button() != sound);
}

void TestViewer::tapInAKioskWithoutAudio_doesNothing()
{
    Fixture f(false, Fixture::kioskOptions());
    QVERIFY(f.show());
    QImage const before = f.button();
    f.tap();
    QCOMPARE(f.button(), before);
    QVERIFY(f.viewer->audioReport().isNull());
}

void TestViewer::kiosk_isDimmedWhole()
{
    Fixture f(true, Fixture::kioskOptions());
    QVERIFY(f.show());
    QImage const before = f.button();
    f.viewer->setDimmed(true);
    QTRY_COMPARE(f.brightness(), 0);
    QVERIFY(f.button() != before);
    f.viewer->setDimmed(false);
    QTRY_VERIFY(f.brightness() > 0);
    QTRY_COMPARE(f.button(), before);
}

void TestViewer::streamWithoutSound_isShownAndReportedWithout()
{
    Fixture f;
    QVERIFY(f.show());
    QTRY_VERIFY(f.viewer->report().frames.shown >= 10);
    QVERIFY(f.viewer->audioReport().isNull());
}

QVORLIN_TEST_MAIN(QVorlinApplication, TestViewer)
#include "tst_viewer.moc"
