// The encoder is the test's own here: libqrencode's functions are defined in this program.

#include "widgets/qrcode.h"

#include <climits>
#include <functional>
#include <vector>

#include <QGuiApplication>
#include <QPainter>
#include <QTest>

#include <qrencode.h>

#include "fillrecorder.h"
#include "messagecheck.h"

namespace {

struct EncoderCall
{
    QByteArray data;
    int version;
    int level;
};

/** What the encoder answers with, and what it was called for. */
struct Encoder
{
    /** Answers with a symbol of these modules, @p symbolWidth a side; none: it fails. */
    void answer(std::vector<unsigned char> symbolModules, int symbolWidth)
    {
        calls.clear();
        freed.clear();
        modules = std::move(symbolModules);
        symbol = {1, symbolWidth, modules.data()};
    }

    std::vector<unsigned char> modules;
    QRcode symbol{};
    QVector<EncoderCall> calls;
    QVector<QRcode*> freed;
} encoder;

QColor const Paper(250, 240, 230);
QColor const Ink(10, 20, 30);
QByteArray const SomeData("data");

struct PaintDevice : RecordingDevice
{
    QVector<Fill> whatIsFilledBy(std::function<void(QPainter&)> const& draw)
    {
        QPainter painter(this);
        draw(painter);
        painter.end();
        return fills();
    }
};

/** The rectangles filled by a drawing with the default arguments of these tests. */
QVector<Fill> draw(QPoint const& topLeft, int moduleSize, int margin)
{
    return PaintDevice().whatIsFilledBy([&](QPainter& painter) {
        QVERIFY(drawQRCode(
            painter, topLeft, SomeData, 0, QRErrorCorrLow, Paper, Ink, moduleSize, margin));
    });
}

/** What is filled by drawings that must fail. */
QVector<Fill> drawInVain(int version)
{
    return PaintDevice().whatIsFilledBy([&](QPainter& painter) {
        QVERIFY(
            !drawQRCode(painter, QPoint(), SomeData, version, QRErrorCorrLow, Paper, Ink, 4, 8));
        QVERIFY(!drawQRCode(painter, QPoint(), SomeData, version, QRErrorCorrLow, 8));
    });
}

/** Each function once, with the same arguments where it has them. @return which succeeded */
QVector<bool> callEach(QByteArray const& data, int version, QRErrorCorrLevel level)
{
    QImage image(10, 10, QImage::Format_RGB32);
    QPainter painter(&image);
    return {!createQRCode(data, version, level, Paper, Ink, 1, 0).isNull(),
        drawQRCode(painter, QPoint(), data, version, level, Paper, Ink, 1, 0),
        drawQRCode(painter, QPoint(), data, version, level, 0)};
}

} // namespace

extern "C" Q_DECL_EXPORT QRcode* QRcode_encodeData(
    int size, unsigned char const* data, int version, QRecLevel level)
{
    encoder.calls.append({QByteArray(reinterpret_cast<char const*>(data), size), version, level});
    return encoder.modules.empty() ? nullptr : &encoder.symbol;
}

extern "C" Q_DECL_EXPORT void QRcode_free(QRcode* symbol)
{
    encoder.freed.append(symbol);
}

class TestQRCodeCalls : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void data_isEncodedAsItIs();
    void version_isPassedOn_data();
    void version_isPassedOn();
    void level_isTheEncoders_data();
    void level_isTheEncoders();
    void symbol_isFreedOnce();
    void emptyPicture_freesTheSymbol();
    void failedEncoding_failsEachFunction();
    void failedEncoding_paintsNothing();
    void symbolOfALargerVersion_isAFailure();
    void symbolOfALargerVersion_isFreed();
    void symbolOfTheVersionOrSmaller_isPainted();
    void background_isFilledFirst();
    void darkModules_areFilledRowByRow();
    void module_isDarkByItsLowestBitAlone();
    void neighbouringModules_areFilledOneByOne();
    void topLeft_movesEverything();
    void moduleOfNoSize_paintsOnlyTheBackground();
    void noMargin_isNone();
    void painterForm_takesPenAndBackground();
    void painterForm_roundsThePen();
    void painterForm_withPenOfNoWidth_paintsOnlyTheBackground();
    void painterForm_takesOnlyTheColourOfTheBackground();
    void painterBrush_isNotUsed();
    void painter_isLeftAsFound();
};

void TestQRCodeCalls::init()
{
    encoder.answer({1}, 1);
}

void TestQRCodeCalls::data_isEncodedAsItIs()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes.append(char(i));
    callEach(bytes, 0, QRErrorCorrLow);
    QCOMPARE(encoder.calls.size(), 3);
    for (EncoderCall const& call : encoder.calls)
        QCOMPARE(call.data, bytes);
}

void TestQRCodeCalls::version_isPassedOn_data()
{
    QTest::addColumn<int>("version");
    for (int const version : {0, 1, 27, 40, 41, -1, INT_MAX, INT_MIN})
        QTest::addRow("%d", version) << version;
}

void TestQRCodeCalls::version_isPassedOn()
{
    QFETCH(int, version);
    callEach(SomeData, version, QRErrorCorrLow);
    QCOMPARE(encoder.calls.size(), 3);
    for (EncoderCall const& call : encoder.calls)
        QCOMPARE(call.version, version);
}

void TestQRCodeCalls::level_isTheEncoders_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("encoders");
    QTest::newRow("low") << int(QRErrorCorrLow) << int(QR_ECLEVEL_L);
    QTest::newRow("medium") << int(QRErrorCorrMedium) << int(QR_ECLEVEL_M);
    QTest::newRow("quartile") << int(QRErrorCorrQuartile) << int(QR_ECLEVEL_Q);
    QTest::newRow("high") << int(QRErrorCorrHigh) << int(QR_ECLEVEL_H);
    for (int const other : {4, 7, -1, INT_MAX, INT_MIN})
        QTest::addRow("%d", other) << other << int(QR_ECLEVEL_L);
}

void TestQRCodeCalls::level_isTheEncoders()
{
    QFETCH(int, level);
    QFETCH(int, encoders);
    callEach(SomeData, 0, QRErrorCorrLevel(level));
    QCOMPARE(encoder.calls.size(), 3);
    for (EncoderCall const& call : encoder.calls)
        QCOMPARE(call.level, encoders);
}

void TestQRCodeCalls::symbol_isFreedOnce()
{
    QCOMPARE(callEach(SomeData, 0, QRErrorCorrLow), QVector<bool>(3, true));
    QCOMPARE(encoder.freed, QVector<QRcode*>(3, &encoder.symbol));
}

void TestQRCodeCalls::emptyPicture_freesTheSymbol()
{
    // Nor does Qt warn of a painter that has nothing to paint on.
    QVERIFY(createQRCode(SomeData, 0, QRErrorCorrLow, Paper, Ink, 0, 0).isNull());
    QCOMPARE(encoder.freed, QVector<QRcode*>{&encoder.symbol});
}

void TestQRCodeCalls::failedEncoding_failsEachFunction()
{
    encoder.answer({}, 0);
    QCOMPARE(callEach(SomeData, 0, QRErrorCorrLow), QVector<bool>(3, false));
    QCOMPARE(encoder.calls.size(), 3);
    QCOMPARE(encoder.freed, QVector<QRcode*>());
}

void TestQRCodeCalls::failedEncoding_paintsNothing()
{
    encoder.answer({}, 0);
    QCOMPARE(drawInVain(0), QVector<Fill>());
}

void TestQRCodeCalls::symbolOfALargerVersion_isAFailure()
{
    encoder.answer(std::vector<unsigned char>(25 * 25, 1), 25);
    QCOMPARE(callEach(SomeData, 1, QRErrorCorrLow), QVector<bool>(3, false));
    QCOMPARE(drawInVain(1), QVector<Fill>());
}

void TestQRCodeCalls::symbolOfALargerVersion_isFreed()
{
    encoder.answer(std::vector<unsigned char>(25 * 25, 1), 25);
    callEach(SomeData, 1, QRErrorCorrLow);
    QCOMPARE(encoder.freed, QVector<QRcode*>(3, &encoder.symbol));
}

void TestQRCodeCalls::symbolOfTheVersionOrSmaller_isPainted()
{
    encoder.answer(std::vector<unsigned char>(25 * 25, 1), 25);
    for (int const version : {0, 2, 3, 40})
        QCOMPARE(callEach(SomeData, version, QRErrorCorrLow), QVector<bool>(3, true));
}

void TestQRCodeCalls::background_isFilledFirst()
{
    encoder.answer({1, 1, 1, 1}, 2);
    QCOMPARE(draw(QPoint(0, 0), 4, 8).first(), (Fill{QRect(0, 0, 24, 24), Paper}));
}

void TestQRCodeCalls::darkModules_areFilledRowByRow()
{
    encoder.answer({0, 1, 0, /**/ 1, 0, 1, /**/ 0, 0, 1}, 3);
    QVector<Fill> const wanted = {{QRect(0, 0, 22, 22), Paper}, {QRect(9, 5, 4, 4), Ink},
        {QRect(5, 9, 4, 4), Ink}, {QRect(13, 9, 4, 4), Ink}, {QRect(13, 13, 4, 4), Ink}};
    QCOMPARE(draw(QPoint(0, 0), 4, 5), wanted);
}

void TestQRCodeCalls::module_isDarkByItsLowestBitAlone()
{
    encoder.answer({0xFE, 0x02, 0x80, /**/ 0x03, 0xFF, 0x81, /**/ 0x00, 0x01, 0x10}, 3);
    QVector<Fill> const wanted = {{QRect(0, 0, 3, 3), Paper}, {QRect(0, 1, 1, 1), Ink},
        {QRect(1, 1, 1, 1), Ink}, {QRect(2, 1, 1, 1), Ink}, {QRect(1, 2, 1, 1), Ink}};
    QCOMPARE(draw(QPoint(0, 0), 1, 0), wanted);
}

void TestQRCodeCalls::neighbouringModules_areFilledOneByOne()
{
    encoder.answer(std::vector<unsigned char>(9, 1), 3);
    QCOMPARE(draw(QPoint(0, 0), 2, 0).size(), 1 + 9);
}

void TestQRCodeCalls::topLeft_movesEverything()
{
    encoder.answer({0, 1, 1, 0}, 2);
    QVector<Fill> const wanted = {
        {QRect(-7, 30, 12, 12), Paper}, {QRect(-1, 33, 3, 3), Ink}, {QRect(-4, 36, 3, 3), Ink}};
    QCOMPARE(draw(QPoint(-7, 30), 3, 3), wanted);
}

void TestQRCodeCalls::moduleOfNoSize_paintsOnlyTheBackground()
{
    encoder.answer({1, 1, 1, 1}, 2);
    QCOMPARE(draw(QPoint(1, 2), 0, 8), (QVector<Fill>{{QRect(1, 2, 16, 16), Paper}}));
}

void TestQRCodeCalls::noMargin_isNone()
{
    QVector<Fill> const wanted = {{QRect(0, 0, 9, 9), Paper}, {QRect(0, 0, 9, 9), Ink}};
    QCOMPARE(draw(QPoint(0, 0), 9, 0), wanted);
}

void TestQRCodeCalls::painterForm_takesPenAndBackground()
{
    encoder.answer({1, 0, 0, 1}, 2);
    QVector<Fill> const fills = PaintDevice().whatIsFilledBy([](QPainter& painter) {
        painter.setPen(QPen(Ink, 6));
        painter.setBackground(Paper);
        QVERIFY(drawQRCode(painter, QPoint(100, 200), SomeData, 0, QRErrorCorrLow, 10));
    });
    QVector<Fill> const wanted = {{QRect(100, 200, 32, 32), Paper}, {QRect(110, 210, 6, 6), Ink},
        {QRect(116, 216, 6, 6), Ink}};
    QCOMPARE(fills, wanted);
}

void TestQRCodeCalls::painterForm_roundsThePen()
{
    for (qreal const width : {2.75, 3.25}) {
        QVector<Fill> const fills = PaintDevice().whatIsFilledBy([&](QPainter& painter) {
            painter.setPen(QPen(Ink, width));
            QVERIFY(drawQRCode(painter, QPoint(), SomeData, 0, QRErrorCorrLow, 0));
        });
        QCOMPARE(fills.last(), (Fill{QRect(0, 0, 3, 3), Ink}));
    }
}

void TestQRCodeCalls::painterForm_withPenOfNoWidth_paintsOnlyTheBackground()
{
    encoder.answer({1, 1, 1, 1}, 2);
    QVector<Fill> const fills = PaintDevice().whatIsFilledBy([](QPainter& painter) {
        painter.setPen(QPen(Ink, 0));
        painter.setBackground(Paper);
        QVERIFY(drawQRCode(painter, QPoint(3, 4), SomeData, 0, QRErrorCorrLow, 8));
    });
    QCOMPARE(fills, (QVector<Fill>{{QRect(3, 4, 16, 16), Paper}}));
}

void TestQRCodeCalls::painterForm_takesOnlyTheColourOfTheBackground()
{
    QVector<Fill> const fills = PaintDevice().whatIsFilledBy([](QPainter& painter) {
        painter.setPen(QPen(QBrush(Ink, Qt::Dense4Pattern), 4, Qt::DotLine));
        painter.setBackground(QBrush(Paper, Qt::CrossPattern));
        QVERIFY(drawQRCode(painter, QPoint(), SomeData, 0, QRErrorCorrLow, 1));
    });
    QVector<Fill> const wanted = {{QRect(0, 0, 6, 6), Paper}, {QRect(1, 1, 4, 4), Ink}};
    QCOMPARE(fills, wanted);
}

void TestQRCodeCalls::painterBrush_isNotUsed()
{
    for (QBrush const& brush : {QBrush(Qt::red, Qt::DiagCrossPattern), QBrush(Qt::NoBrush)}) {
        QVector<Fill> const fills = PaintDevice().whatIsFilledBy([&](QPainter& painter) {
            painter.setBrush(brush);
            painter.setPen(QPen(Qt::green, 5));
            QVERIFY(drawQRCode(painter, QPoint(), SomeData, 0, QRErrorCorrLow, Paper, Ink, 4, 1));
        });
        QVector<Fill> const wanted = {{QRect(0, 0, 6, 6), Paper}, {QRect(1, 1, 4, 4), Ink}};
        QCOMPARE(fills, wanted);
    }
}

void TestQRCodeCalls::painter_isLeftAsFound()
{
    QPen const pen(QBrush(Qt::red), 3, Qt::DashLine);
    QBrush const brush(Qt::green, Qt::Dense3Pattern);
    QBrush const background(Qt::blue, Qt::VerPattern);
    QTransform const transform = QTransform::fromTranslate(3, 5).rotate(30);
    QRegion const clip(1, 2, 30, 40);
    auto const check = [&](QPaintDevice& device) {
        QPainter painter(&device);
        painter.setPen(pen);
        painter.setBrush(brush);
        painter.setBrushOrigin(7, 8);
        painter.setBackground(background);
        painter.setBackgroundMode(Qt::OpaqueMode);
        painter.setClipRegion(clip);
        painter.setTransform(transform);
        painter.setOpacity(0.5);
        painter.setCompositionMode(QPainter::CompositionMode_SourceAtop);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        QPainter::RenderHints const hints = painter.renderHints();
        QVERIFY(drawQRCode(painter, QPoint(), SomeData, 0, QRErrorCorrLow, Paper, Ink, 4, 1));
        QVERIFY(drawQRCode(painter, QPoint(), SomeData, 0, QRErrorCorrLow, 1));
        QCOMPARE(painter.pen(), pen);
        QCOMPARE(painter.brush(), brush);
        QCOMPARE(painter.brushOrigin(), QPoint(7, 8));
        QCOMPARE(painter.background(), background);
        QCOMPARE(painter.backgroundMode(), Qt::OpaqueMode);
        QCOMPARE(painter.transform(), transform);
        QCOMPARE(painter.opacity(), 0.5);
        QCOMPARE(painter.compositionMode(), QPainter::CompositionMode_SourceAtop);
        QCOMPARE(painter.renderHints(), hints);
        painter.resetTransform();
        QCOMPARE(painter.clipRegion(), clip);
    };
    QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    check(image);
    PaintDevice device;
    check(device);
}

QVORLIN_TEST_MAIN(QGuiApplication, TestQRCodeCalls)

#include "tst_qrcodecalls.moc"
