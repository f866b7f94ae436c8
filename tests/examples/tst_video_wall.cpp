#include <csignal>

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

#include "childprogram.h"
#include "messagecheck.h"
#include "streamplace.h"

namespace {

constexpr QRgb Background = qRgb(13, 17, 23);
// Where on a wall of two by two there is nothing but the picture.
constexpr QRect PictureParts[] = {
    {0, 40, 638, 150}, {642, 40, 638, 150}, {0, 402, 638, 150}, {642, 402, 638, 150}};
constexpr char const* Sizes[] = {"640x360", "256x256", "128x72", "256x144"};

} // namespace

class TestVideoWall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wrongUsage_exitsWith2();
    void fourStreamsOfDifferentSizes_oneMissing_areShownAndReported();
    void signal_endsRunAndWritesOutputs_data();
    void signal_endsRunAndWritesOutputs();
    void unwritableOutput_exitsWith1();

private:
    QString path(char const* file) const { return mFolder.filePath(QString::fromLatin1(file)); }

    StreamPlace mPlace;
    QTemporaryDir mFolder;
};

void TestVideoWall::wrongUsage_exitsWith2()
{
    ChildProgram wall(
        QStringLiteral("video-wall"), {QStringLiteral("--count"), QStringLiteral("0")});
    QCOMPARE(wall.exitStatus(), 2);
    QVERIFY(
        wall.errors().endsWith("video-wall: bad value '0' for --count N; see video-wall --help\n"));
    QCOMPARE(wall.output(), QByteArray());
}

void TestVideoWall::fourStreamsOfDifferentSizes_oneMissing_areShownAndReported()
{
    std::vector<std::unique_ptr<ChildProgram>> publishers;
    for (int i = 0; i < 4; ++i) {
        if (i == 2)
            continue; // the one that is missing
        publishers.push_back(std::make_unique<ChildProgram>(QStringLiteral("shm-publish"),
            QStringList{QStringLiteral("--name"), QStringLiteral("cam-%1").arg(i + 1),
                QStringLiteral("--size"), QLatin1String(Sizes[i])}));
    }
    ChildProgram wall(QStringLiteral("video-wall"),
        {QStringLiteral("--prefix"), QStringLiteral("cam"), QStringLiteral("--seconds"),
            QStringLiteral("2.5"), QStringLiteral("--screenshot"), path("wall.png"),
            QStringLiteral("--report"), path("wall.json")});
    QCOMPARE(wall.exitStatus(), 0);

    QJsonObject const report = readJson(path("wall.json"));
    QVERIFY(!report[QLatin1String("renderer")].toString().isEmpty());
    QVERIFY(report[QLatin1String("seconds")].toDouble() >= 2.4);
    QJsonArray const streams = report[QLatin1String("streams")].toArray();
    QCOMPARE(streams.size(), 4);
    QImage const picture(path("wall.png"));
    QCOMPARE(picture.size(), QSize(1280, 720));
    for (int i = 0; i < 4; ++i) {
        QJsonObject const entry = streams[i].toObject();
        QJsonObject const stream = entry[QLatin1String("stream")].toObject();
        QCOMPARE(stream[QLatin1String("name")].toString(), QStringLiteral("cam-%1").arg(i + 1));
        double const rate = entry[QLatin1String("displayRate")].toDouble(-1);
        double const background = shareOf(picture, PictureParts[i], Background);
        if (i == 2) {
            QCOMPARE(rate, 0.0);
            QVERIFY(stream[QLatin1String("width")].isNull());
            QVERIFY2(background > 0.95 && background < 1, qPrintable(QString::number(background)));
        } else {
            QVERIFY2(rate > 5 && rate < 27, qPrintable(QString::number(rate)));
            QCOMPARE(QStringLiteral("%1x%2")
                         .arg(stream[QLatin1String("width")].toInt())
                         .arg(stream[QLatin1String("height")].toInt()),
                QLatin1String(Sizes[i]));
            // The square one leaves room beside it.
            QVERIFY2(background < (i == 1 ? 0.6 : 0.01), qPrintable(QString::number(background)));
        }
    }
}

void TestVideoWall::signal_endsRunAndWritesOutputs_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestVideoWall::signal_endsRunAndWritesOutputs()
{
    QFETCH(int, signal);
    QFile::remove(path("wall.json"));
    // The first line of the log says that it has come so far; before, a signal would kill it.
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qt.qpa.gl=true"));
    ChildProgram wall(QStringLiteral("video-wall"),
        {QStringLiteral("--count"), QStringLiteral("1"), QStringLiteral("--report"),
            path("wall.json"), QStringLiteral("--vstd"), QStringLiteral("-v"),
            QStringLiteral("debug")},
        environment);
    QVERIFY(QTest::qWaitFor([&wall] { return !wall.output().isEmpty(); }, 20000));
    wall.sendSignal(signal);
    QCOMPARE(wall.exitStatus(), 0);
    QVERIFY(readJson(path("wall.json")).contains(QLatin1String("streams")));
}

void TestVideoWall::unwritableOutput_exitsWith1()
{
    ChildProgram wall(QStringLiteral("video-wall"),
        {QStringLiteral("--count"), QStringLiteral("1"), QStringLiteral("--seconds"),
            QStringLiteral("0.1"), QStringLiteral("--report"), QStringLiteral("/dev/full"),
            QStringLiteral("--screenshot"), path("one.png")});
    QCOMPARE(wall.exitStatus(), 1);
    QVERIFY(wall.errors().endsWith(
        "video-wall: can't write the report to /dev/full: No space left on device\n"));
    QVERIFY(!QImage(path("one.png")).isNull());
}

QVORLIN_TEST_MAIN(QCoreApplication, TestVideoWall)
#include "tst_video_wall.moc"
