#include "wallwindow.h"

#include <memory>
#include <vector>

#include <QTest>
#include <QTimer>
#include <QVector>

#include "greyframe.h"
#include "opengltest.h"
#include "streamplace.h"
#include "teststream.h"

namespace {

QStringList names(int count)
{
    QStringList result;
    for (int i = 1; i <= count; ++i)
        result.append(
            QStringLiteral("%1 %2").arg(QLatin1String(QTest::currentTestFunction())).arg(i));
    return result;
}

constexpr QSize Sizes[] = {{128, 72}, {256, 128}, {128, 128}, {384, 72}};

/** Publishes the streams named, each in another size and grey. */
class Streams
{
public:
    void add(QString const& name)
    {
        size_t const index = mStreams.size();
        mStreams.push_back(std::make_unique<TestStream>(name.toUtf8(), Sizes[index % 4]));
        QObject::connect(&mTimer, &QTimer::timeout, &mTimer,
            [this, index] { mStreams[index]->publish(grey(index)); });
        mTimer.start(50);
    }

    static int grey(size_t index) { return 60 + 40 * int(index); }

private:
    std::vector<std::unique_ptr<TestStream>> mStreams;
    QTimer mTimer;
};

bool allShown(WallWindow const& wall)
{
    QVector<StreamReport> const reports = wall.report();
    return std::all_of(reports.begin(), reports.end(),
        [](StreamReport const& report) { return report.frames.shown >= 3; });
}

} // namespace

class TestWallWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void streams_areShownInAGrid();
    void missingStream_isWaitedForWhileOthersGoOn();
    void oneStream_fillsTheWindow();
    void fiveStreams_leaveAGap();

private:
    StreamPlace mPlace;
};

void TestWallWindow::streams_areShownInAGrid()
{
    Streams streams;
    WallWindow wall(names(4), 60, 1);
    for (QString const& name : names(4))
        streams.add(name);
    wall.resize(800, 450);
    wall.show();
    wall.start();
    QTRY_VERIFY_WITH_TIMEOUT(allShown(wall), 20000);
    wall.stop();
    QCOMPARE(wall.picture().size(), QSize(800, 450));
    QVERIFY(alike(quartersOf(wall.picture()), {60, 100, 140, 180}));
    QVERIFY(!wall.renderer().isEmpty());
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(wall.report()[i].name, names(4)[i]);
        QCOMPARE(wall.report()[i].stream.size, Sizes[i]);
        QVERIFY(wall.report()[i].frames.displayRate > 0);
    }
}

void TestWallWindow::missingStream_isWaitedForWhileOthersGoOn()
{
    Streams streams;
    WallWindow wall(names(2), 60, 1);
    streams.add(names(2)[0]);
    wall.resize(800, 450);
    wall.show();
    wall.start();
    QTRY_VERIFY(wall.report()[0].frames.shown >= 3);
    QVERIFY(!wall.report()[1].stream.present);
    QCOMPARE(wall.report()[1].frames.shown, 0);
    QImage const picture = wall.picture();
    QCOMPARE(qGreen(picture.pixel(410, 400)), 17);
    QVERIFY(qAbs(qGreen(picture.pixel(200, 225)) - 60) < 4);

    streams.add(names(2)[1]);
    QTRY_VERIFY_WITH_TIMEOUT(allShown(wall), 20000);
    QVERIFY(qAbs(qGreen(wall.picture().pixel(600, 225)) - 100) < 4);
}

void TestWallWindow::oneStream_fillsTheWindow()
{
    Streams streams;
    WallWindow wall(names(1), 60, 1);
    streams.add(names(1)[0]);
    wall.resize(640, 360);
    wall.show();
    wall.start();
    QTRY_VERIFY(allShown(wall));
    QVERIFY(alike(quartersOf(wall.picture()), {60, 60, 60, 60}));
}

void TestWallWindow::fiveStreams_leaveAGap()
{
    WallWindow wall(names(5), 60, 1);
    wall.resize(900, 600);
    wall.show();
    QVERIFY(QTest::qWaitForWindowExposed(&wall));
    // Three columns and two lines, the last place being free.
    QImage const picture = wall.picture();
    QCOMPARE(qGreen(picture.pixel(750, 500)), 54);
    QCOMPARE(qGreen(picture.pixel(450, 580)), 17);
}

QVORLIN_OPENGL_TEST_MAIN(TestWallWindow)
#include "tst_wallwindow.moc"
