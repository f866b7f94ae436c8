#include "viewerwindow.h"

#include <QApplication>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>

#include "framestatistics.h"
#include "messagecheck.h"
#include "streamstates.h"
#include "streamview.h"
#include "widgets/audiometerwidget.h"

namespace {

QImage frame(qint64 timestamp, QSize const& size = QSize(64, 36))
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::red);
    image.setText(QStringLiteral("shmname"), QStringLiteral("camera"));
    image.setText(QStringLiteral("pts"), QString::number(timestamp));
    return image;
}

/** The window on the screen, with what it counts and tells. */
struct Fixture
{
    FrameStatistics statistics{wallClock()};
    ViewerWindow window{QStringLiteral("camera"), statistics};
    QSignalSpy showing{&window, &ViewerWindow::showing};
    QSignalSpy waiting{&window, &ViewerWindow::waiting};
    QSignalSpy sizes{&window, &ViewerWindow::imageSizeWanted};

    bool show()
    {
        window.resize(640, 480);
        window.show();
        return QTest::qWaitForWindowExposed(&window);
    }

    StreamView* view() const { return window.findChild<StreamView*>(); }

    QStringList texts() const
    {
        QStringList result;
        for (QLabel const* label : window.findChildren<QLabel*>())
            result.append(label->text());
        return result;
    }

    bool waitForShown(int count) const
    {
        return QTest::qWaitFor([&] { return statistics.figures().shown == count; });
    }

    /** Whether the spinner is there: the picture that was shown is hidden then. */
    bool busy() const { return view()->getImage().text(QStringLiteral("pts")).isEmpty(); }
};

} // namespace

class TestViewerWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirst_waitsAndNamesTheStream();
    void firstImage_isShownAndTold();
    void repeatedImage_isCountedButNotShownAgain();
    void repeatedImageOfAnotherSize_isShown();
    void streamGone_showsTheSpinnerUntilTheNextFrame();
    void goneBeforeItsStateIsTold_showsTheSpinner();
    void stateOfTheStream_isWrittenBelow();
    void displayRate_isMeasured();
    void sound_hasMetersAndAFigure();
    void note_isWrittenBelow();
    void dimmed_standsBackButForThePicture();
    void imageSize_fitsTheView();
    void longName_doesNotWidenTheWindow();
    void markupInTheName_isNotFollowed();
};

void TestViewerWindow::atFirst_waitsAndNamesTheStream()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.busy());
    QVERIFY(f.texts().contains(QStringLiteral("camera")));
    QCOMPARE(f.window.windowTitle(), QStringLiteral("camera"));
    QCOMPARE(f.showing.size(), 0);
    QCOMPARE(f.waiting.size(), 0);
}

void TestViewerWindow::firstImage_isShownAndTold()
{
    Fixture f;
    QVERIFY(f.show());
    qint64 const timestamp = wallClock();
    f.window.showImage(frame(timestamp));
    QVERIFY(f.waitForShown(1));
    QCOMPARE(f.showing.size(), 1);
    QVERIFY(!f.busy());
    QVERIFY(*f.statistics.figures().latencyP50Ms < (wallClock() - timestamp) / 1000.0 + 0.1);
    f.window.showImage(frame(timestamp + 1));
    QVERIFY(f.waitForShown(2));
    QCOMPARE(f.showing.size(), 1);
}

void TestViewerWindow::repeatedImage_isCountedButNotShownAgain()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.showImage(frame(5));
    QVERIFY(f.waitForShown(1));
    f.window.showImage(frame(5));
    f.window.showImage(frame(5));
    QCoreApplication::processEvents();
    QCOMPARE(f.statistics.figures().repeated, 2);
    QCOMPARE(f.statistics.figures().shown, 1);
}

void TestViewerWindow::repeatedImageOfAnotherSize_isShown()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.showImage(frame(5));
    QVERIFY(f.waitForShown(1));
    f.window.showImage(frame(5, QSize(32, 18)));
    QCOMPARE(f.view()->getImage().size(), QSize(32, 18));
    QCOMPARE(f.statistics.figures().repeated, 1);
}

void TestViewerWindow::streamGone_showsTheSpinnerUntilTheNextFrame()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.setState(streamState(true));
    f.window.showImage(frame(5));
    QVERIFY(f.waitForShown(1));

    f.window.setState(streamState(false));
    QCOMPARE(f.waiting.size(), 1);
    QVERIFY(f.busy());
    // The old frame once more is no sign of life.
    f.window.showImage(frame(5));
    QVERIFY(f.busy());

    f.window.setState(streamState(true));
    f.window.showImage(frame(6));
    QVERIFY(f.waitForShown(2));
    QVERIFY(!f.busy());
    QCOMPARE(f.showing.size(), 2);
}

void TestViewerWindow::goneBeforeItsStateIsTold_showsTheSpinner()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.showImage(frame(wallClock()));
    QVERIFY(f.waitForShown(1));
    f.window.setState(StreamState());
    QVERIFY(f.busy());
    QCOMPARE(f.waiting.size(), 1);
}

void TestViewerWindow::stateOfTheStream_isWrittenBelow()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(!f.texts().contains(QStringLiteral("1920 × 1080")));
    f.window.setState(streamState(true));
    QVERIFY(f.texts().contains(QStringLiteral("1920 × 1080")));
    QVERIFY(f.texts().contains(QStringLiteral("25 fps")));
    f.window.setState(streamState(true, QSize(640, 360), 1e6 / 33367));
    QVERIFY(f.texts().contains(QStringLiteral("640 × 360")));
    QVERIFY(f.texts().contains(QStringLiteral("29.97 fps")));
    f.window.setState(streamState(false));
    QCOMPARE(f.texts().count(QStringLiteral("–")), 3);
}

void TestViewerWindow::displayRate_isMeasured()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.setState(streamState(true));
    auto rate = [&f] {
        // The other one is that of the stream.
        QString const text = f.texts().filter(QStringLiteral(" fps")).value(1);
        return text.isEmpty() ? -1 : text.section(QLatin1Char(' '), 0, 0).toDouble();
    };
    qint64 timestamp = 1;
    QTimer painter;
    QObject::connect(
        &painter, &QTimer::timeout, &f.window, [&] { f.window.showImage(frame(timestamp++)); });
    painter.start(50);
    QTRY_VERIFY_WITH_TIMEOUT(rate() > 5 && rate() < 21, 10000);
    painter.stop();
    QTRY_COMPARE_WITH_TIMEOUT(rate(), 0.0, 10000);
}

void TestViewerWindow::sound_hasMetersAndAFigure()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.setState(streamState(true));
    auto* meter = f.window.findChild<AudioMeterWidget*>();
    QVERIFY(!meter->isVisible());
    f.window.setChannels(2);
    QVERIFY(meter->isVisible());
    QCOMPARE(meter->channels(), 2);
    QImage const silent = meter->grab().toImage();
    f.window.showLevels({AudioLevel{-30, -20}, AudioLevel{-30, -20}});
    QVERIFY(meter->grab().toImage() != silent);
    f.window.setAudioVideoOffset(-12);
    QVERIFY(f.texts().contains(QStringLiteral("−12 ms")));
    f.window.setChannels(1);
    QCOMPARE(meter->channels(), 1);
    f.window.setChannels(0);
    QVERIFY(!meter->isVisible());
}

void TestViewerWindow::note_isWrittenBelow()
{
    Fixture f;
    f.window.setNote(QStringLiteral("muted"));
    QVERIFY(f.texts().contains(QStringLiteral("muted")));
}

void TestViewerWindow::dimmed_standsBackButForThePicture()
{
    Fixture f;
    QVERIFY(f.show());
    f.window.showImage(frame(5));
    QVERIFY(f.waitForShown(1));
    QRect const below(0, f.view()->height(), 640, 480 - f.view()->height());
    auto brightest = [&f, below] {
        QImage const part = f.window.grab().toImage().copy(below);
        int result = 0;
        for (int y = 0; y < part.height(); ++y) {
            for (int x = 0; x < part.width(); ++x)
                result = qMax(result, qGreen(part.pixel(x, y)));
        }
        return result;
    };
    QVERIFY(brightest() > 200);
    f.window.setDimmed(true);
    QVERIFY2(brightest() < 100, qPrintable(QString::number(brightest())));
    QCOMPARE(f.window.grab().toImage().pixel(320, 200), qRgb(255, 0, 0));
    f.window.setDimmed(false);
    QVERIFY(brightest() > 200);
}

void TestViewerWindow::imageSize_fitsTheView()
{
    Fixture f;
    QVERIFY(f.show());
    QVERIFY(f.sizes.isEmpty());
    f.window.setState(streamState(true, QSize(1000, 1000)));
    int const height = f.view()->height();
    QVERIFY(height < 640);
    QCOMPARE(f.sizes.last().first().toSize(), QSize(height, height));
    f.window.resize(800, 900);
    QTRY_COMPARE(f.sizes.last().first().toSize(), QSize(800, 800));
    f.window.setState(streamState(true, QSize(1600, 800)));
    QCOMPARE(f.sizes.last().first().toSize(), QSize(800, 400));
    // A line of pixels stays one.
    f.window.setState(streamState(true, QSize(100000, 1)));
    QCOMPARE(f.sizes.last().first().toSize(), QSize(800, 1));
}

void TestViewerWindow::longName_doesNotWidenTheWindow()
{
    FrameStatistics statistics(wallClock());
    ViewerWindow const window(QString(1000, QLatin1Char('W')), statistics);
    QVERIFY(window.minimumSizeHint().width() < 1000);
}

void TestViewerWindow::markupInTheName_isNotFollowed()
{
    FrameStatistics statistics(wallClock());
    ViewerWindow const window(QStringLiteral("<b>x</b>"), statistics);
    for (QLabel const* label : window.findChildren<QLabel*>())
        QCOMPARE(label->textFormat(), Qt::PlainText);
}

QVORLIN_TEST_MAIN(QApplication, TestViewerWindow)
#include "tst_viewerwindow.moc"
