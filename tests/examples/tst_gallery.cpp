#include <csignal>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "childprogram.h"
#include "messagecheck.h"
#include "streamplace.h"

namespace {

constexpr QRgb Lit = qRgb(0, 255, 0); // strokes of a meter
// Where in a window of 1280 × 720 there are only meters, and only the video.
constexpr QRect Meters(16, 530, 420, 174);
constexpr QRect Video(30, 150, 530, 280);

} // namespace

class TestGallery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wrongUsage_exitsWith2();
    void helpAndVersion_needNoDisplay_data();
    void helpAndVersion_needNoDisplay();
    void publishedStream_isShownAndReported();
    void publisherThatIsReplaced_isShownAgain();
    void signal_endsRunAndWritesOutputs_data();
    void signal_endsRunAndWritesOutputs();
    void unwritableOutput_exitsWith1();

private:
    QString path(char const* file) const { return mFolder.filePath(QString::fromLatin1(file)); }

    /** Arguments for a run of the stream that writes everything. */
    QStringList showing(char const* seconds) const
    {
        return {QStringLiteral("--stream"), QStringLiteral("test camera"),
            QStringLiteral("--seconds"), QString::fromLatin1(seconds),
            QStringLiteral("--screenshot"), path("gallery.png"), QStringLiteral("--report"),
            path("gallery.json")};
    }

    QString const mGallery = QStringLiteral("gallery");
    QString const mPublisher = QStringLiteral("shm-publish");
    QStringList const mPublishing{QStringLiteral("--name"), QStringLiteral("test camera"),
        QStringLiteral("--size"), QStringLiteral("320x180")};
    StreamPlace mPlace;
    QTemporaryDir mFolder;
};

void TestGallery::wrongUsage_exitsWith2()
{
    ChildProgram gallery(mGallery, {QStringLiteral("--key=")});
    QCOMPARE(gallery.exitStatus(), 2);
    QVERIFY(gallery.errors().endsWith("gallery: bad value '' for --key KEY; see gallery --help\n"));
    QCOMPARE(gallery.output(), QByteArray());
}

void TestGallery::helpAndVersion_needNoDisplay_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::newRow("--help") << QByteArray("Usage: ");
    QTest::newRow("--version") << QByteArray("gallery 0.1.0\n");
}

void TestGallery::helpAndVersion_needNoDisplay()
{
    QFETCH(QByteArray, begin);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    ChildProgram gallery(mGallery, {QString::fromLatin1(QTest::currentDataTag())}, environment);
    QCOMPARE(gallery.exitStatus(), 0);
    QVERIFY(gallery.output().startsWith(begin));
}

void TestGallery::publishedStream_isShownAndReported()
{
    ChildProgram publisher(mPublisher, mPublishing);
    ChildProgram gallery(mGallery, showing("4"));
    QCOMPARE(gallery.exitStatus(), 0);

    QJsonObject const report = readJson(path("gallery.json"));
    QVERIFY(!report[QLatin1String("renderer")].toString().isEmpty());
    QVERIFY(report[QLatin1String("displayRate")].toDouble() > 5);
    QCOMPARE(report[QLatin1String("stream")].toObject()[QLatin1String("width")].toInt(), 320);
    QJsonObject const images = report[QLatin1String("images")].toObject();
    for (char const* rate : {"updateRate", "renderRate", "displayRate"}) {
        double const value = images[QLatin1String(rate)].toDouble();
        QVERIFY2(value > 5 && value < 40, qPrintable(QString::number(value)));
    }
    QImage const picture(path("gallery.png"));
    QCOMPARE(picture.size(), QSize(1280, 720));
    QVERIFY(shareOf(picture, Meters, Lit) > 0.01);
    QVERIFY(shareOf(picture, Video, Lit) > 0.005);
    // Bars in seven colours.
    QVERIFY(shareOf(picture, Video, qRgb(13, 17, 23)) < 0.2);
}

void TestGallery::publisherThatIsReplaced_isShownAgain()
{
    auto publisher = std::make_unique<ChildProgram>(mPublisher, mPublishing);
    ChildProgram gallery(mGallery, showing("8"));
    QTest::qWait(2000);
    publisher->kill();
    QTest::qWait(2000);
    publisher = std::make_unique<ChildProgram>(mPublisher, mPublishing);
    QCOMPARE(gallery.exitStatus(), 0);
    QJsonObject const frames = readJson(path("gallery.json"))[QLatin1String("frames")].toObject();
    QVERIFY(frames[QLatin1String("shown")].toInt() > 10);
    QVERIFY(readJson(path("gallery.json"))[QLatin1String("longestPauseMs")].toDouble() > 1900);
    QVERIFY(shareOf(QImage(path("gallery.png")), Meters, Lit) > 0.01);
}

void TestGallery::signal_endsRunAndWritesOutputs_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestGallery::signal_endsRunAndWritesOutputs()
{
    QFETCH(int, signal);
    QFile::remove(path("gallery.json"));
    // The first line of the log says that it has come so far; before, a signal would kill it.
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("qt.qpa.gl=true"));
    ChildProgram gallery(mGallery,
        showing("1000") +
            QStringList{QStringLiteral("--vstd"), QStringLiteral("-v"), QStringLiteral("debug")},
        environment);
    QVERIFY(QTest::qWaitFor([&gallery] { return !gallery.output().isEmpty(); }, 20000));
    gallery.sendSignal(signal);
    QCOMPARE(gallery.exitStatus(), 0);
    QVERIFY(readJson(path("gallery.json")).contains(QLatin1String("stream")));
    QCOMPARE(QImage(path("gallery.png")).size(), QSize(1280, 720));
}

void TestGallery::unwritableOutput_exitsWith1()
{
    ChildProgram gallery(mGallery, {QStringLiteral("--seconds"), QStringLiteral("0.1"),
                                       QStringLiteral("--report"), QStringLiteral("/dev/full")});
    QCOMPARE(gallery.exitStatus(), 1);
    QVERIFY(gallery.errors().endsWith(
        "gallery: can't write the report to /dev/full: No space left on device\n"));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestGallery)
#include "tst_gallery.moc"
