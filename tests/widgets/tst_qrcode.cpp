#include "widgets/qrcode.h"

#include <atomic>
#include <thread>
#include <vector>

#include <QGuiApplication>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "messagecheck.h"

namespace {

constexpr QRErrorCorrLevel Levels[] = {
    QRErrorCorrLow, QRErrorCorrMedium, QRErrorCorrQuartile, QRErrorCorrHigh};
constexpr char const* LevelNames[] = {"low", "medium", "quartile", "high"};

/** How many bytes the versions hold at each level, from the standard for QR codes. */
struct Capacity
{
    int version;
    int bytes[4];
};
constexpr Capacity Capacities[] = {{0, {2953, 2331, 1663, 1273}}, {1, {17, 14, 11, 7}},
    {5, {106, 84, 60, 44}}, {10, {271, 213, 151, 119}}, {40, {2953, 2331, 1663, 1273}}};

/** Every value of a byte, again and again. */
QByteArray bytes(int count)
{
    QByteArray result(count, 0);
    for (int i = 0; i < count; ++i)
        result[i] = char(i * 7 + 128);
    return result;
}

QPixmap blackOnWhite(QByteArray const& data, int version, QRErrorCorrLevel level)
{
    return createQRCode(data, version, level, Qt::white, Qt::black, 4, 16);
}

/** What an independent reader finds in the picture. */
QByteArray decoded(QPixmap const& picture)
{
    QTemporaryDir folder;
    QString const file = folder.filePath(QStringLiteral("code.png"));
    if (!picture.save(file))
        return "the picture could not be saved";
    QProcess reader;
    reader.start(QStringLiteral("zbarimg"),
        {QStringLiteral("--quiet"), QStringLiteral("--nodbus"), QStringLiteral("--oneshot"),
            QStringLiteral("--raw"), QStringLiteral("-Sdisable"), QStringLiteral("-Sqrcode.enable"),
            QStringLiteral("-Sbinary"), file});
    if (!reader.waitForFinished() || reader.exitCode() != 0)
        return "zbarimg failed: " + reader.errorString().toUtf8() + reader.readAllStandardError();
    return reader.readAllStandardOutput();
}

int modulesOf(QPixmap const& blackOnWhite)
{
    return (blackOnWhite.width() - 2 * 16) / 4;
}

/** The level that the code states of itself, which decoders use but don't tell. */
QRErrorCorrLevel statedLevel(QPixmap const& blackOnWhite)
{
    QImage const image = blackOnWhite.toImage();
    auto const isDark = [&](int x, int y) {
        return image.pixelColor(16 + 4 * x, 16 + 4 * y) == QColor(Qt::black);
    };
    // Two bits in the ninth row, of which the first is stored inverted: M, L, H, Q.
    constexpr QRErrorCorrLevel levels[] = {
        QRErrorCorrMedium, QRErrorCorrLow, QRErrorCorrHigh, QRErrorCorrQuartile};
    return levels[2 * !isDark(0, 8) + isDark(1, 8)];
}

QImage plain(QSize const& size, QColor const& colour)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

/** A code painted on grey. */
QImage drawn(QPoint const& topLeft, QByteArray const& data)
{
    QImage image = plain(QSize(150, 150), Qt::gray);
    QPainter painter(&image);
    if (!drawQRCode(painter, topLeft, data, 0, QRErrorCorrLow, Qt::white, Qt::black, 4, 8))
        return QImage();
    return image;
}

} // namespace

class TestQRCode : public QObject
{
    Q_OBJECT
private slots:
    void levels_are0To3();
    void version1With4PixelsAndMarginOf8_is100PixelsWide();
    void pixmap_isTheDrawing();
    void margin_isBackground();
    void colours_areTheGivenOnes();
    void unknownLevel_encodesLow_data();
    void unknownLevel_encodesLow();
    void fullCode_isReadAgain_data() { addCapacities(); }
    void fullCode_isReadAgain();
    void oneByteMore_fails_data() { addCapacities(); }
    void oneByteMore_fails();
    void noVersion_isTheSmallestThatFits();
    void everyByteValue_isReadAgain_data();
    void everyByteValue_isReadAgain();
    void emptyData_fails();
    void unknownVersion_fails_data();
    void unknownVersion_fails();
    void translucentBackground_isKept();
    void translucentForeground_liesOverTheBackground();
    void hugePixmap_isNull();
    void painterTransformOpacityAndClip_hold();
    void painterForm_isReadAgain();
    void painterForm_withPenOfNoWidth_paintsOnlyTheBackground();
    void drawing_worksInSeveralThreads();

private:
    static void addCapacities();
};

void TestQRCode::levels_are0To3()
{
    QCOMPARE(int(QRErrorCorrLow), 0);
    QCOMPARE(int(QRErrorCorrMedium), 1);
    QCOMPARE(int(QRErrorCorrQuartile), 2);
    QCOMPARE(int(QRErrorCorrHigh), 3);
    QCOMPARE(sizeof(QRErrorCorrLevel), sizeof(int));
}

void TestQRCode::version1With4PixelsAndMarginOf8_is100PixelsWide()
{
    QPixmap const code = createQRCode("qvorlin", 1, QRErrorCorrLow, Qt::white, Qt::black, 4, 8);
    QCOMPARE(code.size(), QSize(100, 100));
}

void TestQRCode::pixmap_isTheDrawing()
{
    QPoint const topLeft(30, 20);
    QImage const picture = drawn(topLeft, "qvorlin");
    QImage wanted = plain(picture.size(), Qt::gray);
    QPainter(&wanted).drawPixmap(
        topLeft, createQRCode("qvorlin", 0, QRErrorCorrLow, Qt::white, Qt::black, 4, 8));
    QCOMPARE(picture, wanted);
}

void TestQRCode::margin_isBackground()
{
    QImage const image =
        createQRCode("qvorlin", 0, QRErrorCorrLow, Qt::white, Qt::black, 4, 8).toImage();
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 100; ++x) {
            if (!QRect(8, 8, 84, 84).contains(x, y))
                QCOMPARE(image.pixelColor(x, y), QColor(Qt::white));
        }
    }
    // The corners of three finder patterns.
    for (QPoint const& corner : {QPoint(8, 8), QPoint(91, 8), QPoint(8, 91)})
        QCOMPARE(image.pixelColor(corner), QColor(Qt::black));
}

void TestQRCode::colours_areTheGivenOnes()
{
    QColor const paper(1, 20, 200);
    QColor const ink(250, 230, 7);
    QImage const image = createQRCode("qvorlin", 0, QRErrorCorrLow, paper, ink, 3, 5).toImage();
    QVector<QRgb> found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (!found.contains(image.pixel(x, y)))
                found.append(image.pixel(x, y));
        }
    }
    QCOMPARE(found, (QVector<QRgb>{paper.rgb(), ink.rgb()}));
}

void TestQRCode::unknownLevel_encodesLow_data()
{
    QTest::addColumn<int>("level");
    for (int const level : {7, -1, 4})
        QTest::addRow("%d", level) << level;
}

void TestQRCode::unknownLevel_encodesLow()
{
    QFETCH(int, level);
    QImage const image = blackOnWhite("qvorlin", 3, QRErrorCorrLevel(level)).toImage();
    QCOMPARE(image, blackOnWhite("qvorlin", 3, QRErrorCorrLow).toImage());
    QVERIFY(image != blackOnWhite("qvorlin", 3, QRErrorCorrHigh).toImage());
}

void TestQRCode::addCapacities()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("capacity");
    for (Capacity const& capacity : Capacities) {
        for (int const level : Levels) {
            QTest::addRow("version %d, %s", capacity.version, LevelNames[level])
                << capacity.version << level << capacity.bytes[level];
        }
    }
}

void TestQRCode::fullCode_isReadAgain()
{
    QFETCH(int, version);
    QFETCH(int, level);
    QFETCH(int, capacity);
    QPixmap const code = blackOnWhite(bytes(capacity), version, QRErrorCorrLevel(level));
    QCOMPARE(modulesOf(code), 17 + 4 * (version > 0 ? version : 40));
    QCOMPARE(int(statedLevel(code)), level);
    QCOMPARE(decoded(code), bytes(capacity));
}

void TestQRCode::oneByteMore_fails()
{
    QFETCH(int, version);
    QFETCH(int, level);
    QFETCH(int, capacity);
    QByteArray const data = bytes(capacity + 1);
    auto const errorCorrection = QRErrorCorrLevel(level);
    QVERIFY(blackOnWhite(data, version, errorCorrection).isNull());

    QImage image = plain(QSize(50, 50), Qt::gray);
    QImage const before = image;
    QPainter painter(&image);
    painter.setPen(QPen(Qt::black, 1));
    QVERIFY(
        !drawQRCode(painter, QPoint(), data, version, errorCorrection, Qt::white, Qt::black, 1, 4));
    QVERIFY(!drawQRCode(painter, QPoint(), data, version, errorCorrection, 4));
    painter.end();
    QCOMPARE(image, before);
}

void TestQRCode::noVersion_isTheSmallestThatFits()
{
    QCOMPARE(modulesOf(blackOnWhite(bytes(17), 0, QRErrorCorrLow)), 21);
    QCOMPARE(modulesOf(blackOnWhite(bytes(18), 0, QRErrorCorrLow)), 25);
    QCOMPARE(modulesOf(blackOnWhite(bytes(7), 0, QRErrorCorrHigh)), 21);
    QCOMPARE(modulesOf(blackOnWhite(bytes(8), 0, QRErrorCorrHigh)), 25);
}

void TestQRCode::everyByteValue_isReadAgain_data()
{
    QTest::addColumn<int>("level");
    for (int const level : Levels)
        QTest::newRow(LevelNames[level]) << level;
}

void TestQRCode::everyByteValue_isReadAgain()
{
    QFETCH(int, level);
    QByteArray data;
    for (int i = 0; i < 256; ++i)
        data.append(char(i));
    QPixmap const code = blackOnWhite(data, 0, QRErrorCorrLevel(level));
    QCOMPARE(int(statedLevel(code)), level);
    QCOMPARE(decoded(code), data);
}

void TestQRCode::emptyData_fails()
{
    QVERIFY(blackOnWhite(QByteArray(), 0, QRErrorCorrLow).isNull());
    QVERIFY(blackOnWhite("", 1, QRErrorCorrLow).isNull());
    QVERIFY(drawn(QPoint(), QByteArray()).isNull());
}

void TestQRCode::unknownVersion_fails_data()
{
    QTest::addColumn<int>("version");
    for (int const version : {-1, 41, 1000})
        QTest::addRow("%d", version) << version;
}

void TestQRCode::unknownVersion_fails()
{
    QFETCH(int, version);
    QVERIFY(blackOnWhite("qvorlin", version, QRErrorCorrLow).isNull());
}

void TestQRCode::translucentBackground_isKept()
{
    for (int const alpha : {0, 127}) {
        QColor const paper(255, 255, 255, alpha);
        QImage const image =
            createQRCode("qvorlin", 0, QRErrorCorrLow, paper, Qt::black, 4, 8).toImage();
        QCOMPARE(image.pixelColor(0, 0).alpha(), alpha);
        QCOMPARE(image.pixelColor(99, 99).alpha(), alpha);
        QCOMPARE(image.pixelColor(8, 8), QColor(Qt::black));
    }
}

void TestQRCode::translucentForeground_liesOverTheBackground()
{
    QColor const ink(255, 0, 0, 127);
    QImage const image = createQRCode("qvorlin", 0, QRErrorCorrLow, Qt::blue, ink, 4, 8).toImage();
    QColor const corner = image.pixelColor(8, 8);
    QVERIFY(qAbs(corner.red() - 127) <= 1 && qAbs(corner.blue() - 128) <= 1);
    QCOMPARE(corner.alpha(), 255);
}

void TestQRCode::hugePixmap_isNull()
{
    QPixmap const code =
        createQRCode("qvorlin", 1, QRErrorCorrLow, Qt::white, Qt::black, 50 * 1000 * 1000, 0);
    QVERIFY(code.isNull());
}

void TestQRCode::painterTransformOpacityAndClip_hold()
{
    QImage image = plain(QSize(200, 200), Qt::blue);
    QPainter painter(&image);
    painter.setClipRect(0, 0, 200, 100);
    painter.setOpacity(0.5);
    painter.scale(2, 2);
    QVERIFY(
        drawQRCode(painter, QPoint(0, 0), "qvorlin", 1, QRErrorCorrLow, Qt::red, Qt::red, 4, 8));
    painter.end();
    QColor const margin = image.pixelColor(199, 99);
    QVERIFY(qAbs(margin.red() - 128) <= 1 && qAbs(margin.blue() - 127) <= 1);
    // The finder pattern's corner is filled twice.
    QVERIFY(qAbs(image.pixelColor(16, 16).red() - 191) <= 1);
    QVERIFY(qAbs(image.pixelColor(15, 15).red() - 128) <= 1);
    QCOMPARE(image.pixelColor(0, 100), QColor(Qt::blue));
}

void TestQRCode::painterForm_isReadAgain()
{
    QPixmap picture(200, 200);
    picture.fill(Qt::gray);
    QPainter painter(&picture);
    painter.setPen(QPen(Qt::darkBlue, 4));
    painter.setBackground(Qt::yellow);
    painter.setBrush(QBrush(Qt::red, Qt::CrossPattern));
    QVERIFY(drawQRCode(painter, QPoint(40, 30), "painter", 1, QRErrorCorrQuartile, 16));
    painter.end();
    QImage const image = picture.toImage();
    QCOMPARE(image.pixelColor(40, 30), QColor(Qt::yellow));
    QCOMPARE(image.pixelColor(56, 46), QColor(Qt::darkBlue));
    QCOMPARE(image.pixelColor(155, 145), QColor(Qt::yellow));
    QCOMPARE(image.pixelColor(156, 146), QColor(Qt::gray));
    QCOMPARE(decoded(picture), QByteArray("painter"));
}

void TestQRCode::painterForm_withPenOfNoWidth_paintsOnlyTheBackground()
{
    QImage image = plain(QSize(40, 40), Qt::gray);
    QPainter painter(&image);
    painter.setPen(QPen(Qt::black, 0));
    painter.setBackground(Qt::yellow);
    QVERIFY(drawQRCode(painter, QPoint(5, 6), "qvorlin", 1, QRErrorCorrLow, 8));
    painter.end();
    QImage wanted = plain(QSize(40, 40), Qt::gray);
    QPainter(&wanted).fillRect(5, 6, 16, 16, Qt::yellow);
    QCOMPARE(image, wanted);
}

void TestQRCode::drawing_worksInSeveralThreads()
{
    constexpr int count = 4;
    QImage wanted[count];
    for (int i = 0; i < count; ++i)
        wanted[i] = drawn(QPoint(), "thread " + QByteArray::number(i));
    std::atomic<int> same(0);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([i, &same, &wanted] {
            for (int round = 0; round < 20; ++round)
                same += drawn(QPoint(), "thread " + QByteArray::number(i)) == wanted[i];
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(same.load(), 20 * count);
}

QVORLIN_TEST_MAIN(QGuiApplication, TestQRCode)

#include "tst_qrcode.moc"
