#include <cmath>
#include <limits>

#include <QApplication>
#include <QTest>

#include "messagecheck.h"
#include "strokerecorder.h"

namespace {

constexpr float Infinity = std::numeric_limits<float>::infinity();

} // namespace

/** The strokes of one bar: where, in which order and colour. */
class TestAudioMeterStrokes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stroke_isAShadowAndARectangle();
    void strokes_growToTheRight();
    void strokes_growUpwards();
    void strokeWidthAndSpacing_makeTheStep();
    void lastStroke_beginsAtTheLength();
    void lastStroke_mayGoBeyondTheLength();
    void emptyBar_isOneStroke();
    void negativeLength_drawsNothing();
    void stepOfNothing_drawsOneStroke_data();
    void stepOfNothing_drawsOneStroke();
    void bands_beginBeyond70And85Percent();
    void bands_areRoundedUp();
    void bands_advanceOncePerStroke();
    void silence_lightsNothing();
    void levelAboveTheTop_lightsEverything();
    void level_lightsStrokesBelowIt();
    void level_isRoundedDown();
    void minus18_isPosition69();
    void firstYellowStroke_isLitAboveItsThreshold();
    void firstRedStroke_isLitAboveItsThreshold();
    void halfOfStrokeSpacing_isTruncated();
    void oddLevels_areDrawn();
};

void TestAudioMeterStrokes::stroke_isAShadowAndARectangle()
{
    Meter meter;
    meter.painter.setStrokeWidth(7);
    QVector<Fill> const wanted = {{QRect(11, 21, 7, 6), Black}, {QRect(10, 20, 7, 6), UnlitGreen}};
    QCOMPARE(meter.paintBar(QRect(10, 20, 9, 6), Silence), wanted);
}

void TestAudioMeterStrokes::strokes_growToTheRight()
{
    Meter meter;
    QVector<Fill> const wanted = {{QRect(11, 21, 1, 6), Black}, {QRect(10, 20, 1, 6), UnlitGreen},
        {QRect(15, 21, 1, 6), Black}, {QRect(14, 20, 1, 6), UnlitGreen},
        {QRect(19, 21, 1, 6), Black}, {QRect(18, 20, 1, 6), UnlitOther}};
    QCOMPARE(meter.paintBar(QRect(10, 20, 10, 6), Silence), wanted);
}

void TestAudioMeterStrokes::strokes_growUpwards()
{
    Meter meter;
    meter.painter.setOrientation(Qt::Vertical);
    meter.painter.setStrokeWidth(2);
    QVector<Fill> const wanted = {{QRect(11, 29, 6, 2), Black}, {QRect(10, 28, 6, 2), UnlitGreen},
        {QRect(11, 24, 6, 2), Black}, {QRect(10, 23, 6, 2), UnlitGreen},
        {QRect(11, 19, 6, 2), Black}, {QRect(10, 18, 6, 2), UnlitOther}};
    QCOMPARE(meter.paintBar(QRect(10, 20, 6, 10), Silence), wanted);
}

void TestAudioMeterStrokes::strokeWidthAndSpacing_makeTheStep()
{
    Meter meter;
    meter.painter.setStrokeWidth(4);
    meter.painter.setStrokeSpacing(6);
    QVector<Fill> const strokes = meter.strokes(35, Silence);
    QCOMPARE(strokes.size(), 4);
    for (int i = 0; i < strokes.size(); ++i)
        QCOMPARE(strokes[i].rect, QRect(10 * i, 0, 4, 5));
}

void TestAudioMeterStrokes::lastStroke_beginsAtTheLength()
{
    Meter meter;
    QCOMPARE(meter.strokes(99, Silence).last().rect.left(), 96);
    QCOMPARE(meter.strokes(100, Silence).last().rect.left(), 100);
    QCOMPARE(meter.strokes(101, Silence).last().rect.left(), 100);
}

void TestAudioMeterStrokes::lastStroke_mayGoBeyondTheLength()
{
    Meter meter;
    meter.painter.setStrokeWidth(30);
    QCOMPARE(meter.strokes(40, Silence).last().rect, QRect(33, 0, 30, 5));
}

void TestAudioMeterStrokes::emptyBar_isOneStroke()
{
    Meter meter;
    QCOMPARE(meter.strokes(0, Silence).size(), 1);
}

void TestAudioMeterStrokes::negativeLength_drawsNothing()
{
    Meter meter;
    QCOMPARE(meter.paintBar(QRect(0, 0, -1, 5), 0).size(), 0);
    QVERIFY(!meter.paintBar(QRect(0, 0, 5, -1), 0).isEmpty());
    meter.painter.setOrientation(Qt::Vertical);
    QCOMPARE(meter.paintBar(QRect(0, 0, 5, -1), 0).size(), 0);
    QVERIFY(!meter.paintBar(QRect(0, 0, -1, 5), 0).isEmpty());
}

void TestAudioMeterStrokes::stepOfNothing_drawsOneStroke_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("spacing");
    QTest::newRow("neither width nor gap") << 0 << 0;
    QTest::newRow("gap takes the width back") << 5 << -5;
    QTest::newRow("gap takes back more") << 5 << -6;
}

void TestAudioMeterStrokes::stepOfNothing_drawsOneStroke()
{
    QFETCH(int, width);
    QFETCH(int, spacing);
    Meter meter;
    meter.painter.setStrokeWidth(width);
    meter.painter.setStrokeSpacing(spacing);
    QVector<Fill> const wanted = {
        {QRect(1, 1, width, 5), Black}, {QRect(0, 0, width, 5), UnlitGreen}};
    QCOMPARE(meter.paintBar(QRect(0, 0, 100, 5), Silence), wanted);
}

void TestAudioMeterStrokes::bands_beginBeyond70And85Percent()
{
    DenseMeter meter;
    QVector<Fill> const strokes = meter.strokes(100, 1);
    QCOMPARE(firstOf(strokes, Green), 0);
    QCOMPARE(firstOf(strokes, Yellow), 71);
    QCOMPARE(firstOf(strokes, Red), 86);
    QCOMPARE(countOf(strokes, Green), 71);
    QCOMPARE(countOf(strokes, Yellow), 15);
    QCOMPARE(countOf(strokes, Red), 15);
}

void TestAudioMeterStrokes::bands_areRoundedUp()
{
    // 7/10 and 17/20 of 101 are 70.7 and 85.85.
    DenseMeter meter;
    QVector<Fill> const strokes = meter.strokes(101, 1);
    QCOMPARE(firstOf(strokes, Yellow), 72);
    QCOMPARE(firstOf(strokes, Red), 87);
}

void TestAudioMeterStrokes::bands_advanceOncePerStroke()
{
    Meter meter;
    meter.painter.setStrokeWidth(45);
    meter.painter.setStrokeSpacing(45);
    QVector<Fill> strokes = meter.strokes(180, 1);
    QCOMPARE(strokes.size(), 3);
    QCOMPARE(strokes[1].colour, Green);
    // Far into the red band, but the first one behind the green.
    QCOMPARE(strokes[2].colour, Yellow);
    QCOMPARE(meter.strokes(90, 1).last().colour, Yellow);
}

void TestAudioMeterStrokes::silence_lightsNothing()
{
    DenseMeter meter;
    QVector<Fill> const strokes = meter.strokes(100, Silence);
    QCOMPARE(countOf(strokes, UnlitGreen), 71);
    QCOMPARE(countOf(strokes, UnlitOther), 30);
    QCOMPARE(firstOf(strokes, UnlitOther), 71);
}

void TestAudioMeterStrokes::levelAboveTheTop_lightsEverything()
{
    for (float const db : {0.5F, 6.0F, 1000.0F}) {
        DenseMeter meter;
        QVector<Fill> const strokes = meter.strokes(100, db);
        QCOMPARE(strokes.size(), 101);
        // Up to half a decibel, the one at the very top wants more than a whole pixel.
        QCOMPARE(litCount(strokes), db < 0.6F ? 100 : 101);
        Meter usual;
        QCOMPARE(litCount(usual.strokes(100, db)), 26);
    }
}

void TestAudioMeterStrokes::level_lightsStrokesBelowIt()
{
    DenseMeter meter;
    QCOMPARE(litCount(meter.strokes(100, -60)), 0);
    QCOMPARE(litCount(meter.strokes(100, -30)), 50);
    QCOMPARE(litCount(meter.strokes(100, 0)), 100);
    // The gap's half makes a stroke light up a pixel early.
    Meter usual;
    QCOMPARE(litCount(usual.strokes(100, -60)), 1);
    QCOMPARE(litCount(usual.strokes(100, 0)), 26);
}

void TestAudioMeterStrokes::level_isRoundedDown()
{
    // 29.5 dB below the top are 50.8 pixels above the bottom.
    DenseMeter meter;
    QCOMPARE(litCount(meter.strokes(100, -29.5F)), 50);
    // 0.5 dB below the bottom, a negative position.
    meter.painter.setStrokeSpacing(2);
    QCOMPARE(litCount(meter.strokes(100, -60.5F)), 0);
    QCOMPARE(litCount(meter.strokes(100, -60)), 1);
}

void TestAudioMeterStrokes::minus18_isPosition69()
{
    // In single precision -18 / 60 lies just below -0.3, and the position just below 70.
    DenseMeter meter;
    QVector<Fill> const strokes = meter.strokes(100, -18);
    QCOMPARE(litCount(strokes), 69);
    QCOMPARE(strokes[68].colour, Green);
    QCOMPARE(strokes[69].colour, UnlitGreen);
    QCOMPARE(strokes[71].colour, UnlitOther);
}

void TestAudioMeterStrokes::firstYellowStroke_isLitAboveItsThreshold()
{
    DenseMeter meter;
    QVector<Fill> const strokes = meter.strokes(100, std::nextafter(-18.0F, 0.0F));
    QCOMPARE(strokes[70].colour, UnlitGreen);
    QCOMPARE(strokes[71].colour, Yellow);
    QCOMPARE(strokes[72].colour, UnlitOther);
    QCOMPARE(meter.strokes(100, -18)[71].colour, UnlitOther);
}

void TestAudioMeterStrokes::firstRedStroke_isLitAboveItsThreshold()
{
    DenseMeter meter;
    QVector<Fill> const strokes = meter.strokes(100, std::nextafter(-9.0F, 0.0F));
    QCOMPARE(strokes[84].colour, Yellow);
    QCOMPARE(strokes[85].colour, UnlitOther);
    QCOMPARE(strokes[86].colour, Red);
    QCOMPARE(strokes[87].colour, UnlitOther);
    QCOMPARE(meter.strokes(100, -9)[86].colour, UnlitOther);
}

void TestAudioMeterStrokes::halfOfStrokeSpacing_isTruncated()
{
    // The level is at 50 of 100.
    struct Row
    {
        int width;
        int spacing;
        int lastLit;
    };
    for (Row const& row : {Row{1, 0, 49}, Row{0, 1, 49}, Row{-1, 2, 50}, Row{-2, 3, 50},
             Row{-3, 4, 51}, Row{2, -1, 49}, Row{3, -2, 48}, Row{4, -3, 48}, Row{5, -4, 47}}) {
        Meter meter;
        meter.painter.setStrokeWidth(row.width);
        meter.painter.setStrokeSpacing(row.spacing);
        QVector<Fill> const strokes = meter.strokes(100, -30);
        QCOMPARE(strokes.size(), 101);
        QCOMPARE(strokes[row.lastLit].colour, Green);
        QCOMPARE(strokes[row.lastLit + 1].colour, UnlitGreen);
    }
}

void TestAudioMeterStrokes::oddLevels_areDrawn()
{
    Meter meter;
    QCOMPARE(litCount(meter.strokes(100, -Infinity)), 0);
    QCOMPARE(litCount(meter.strokes(100, Infinity)), 26);
    QCOMPARE(litCount(meter.strokes(100, std::numeric_limits<float>::quiet_NaN())), 0);
}

QVORLIN_TEST_MAIN(QApplication, TestAudioMeterStrokes)

#include "tst_audiometerstrokes.moc"
