#include <QApplication>
#include <QRandomGenerator>
#include <QTest>

#include "allocationcounter.h"
#include "messagecheck.h"
#include "meterreference.h"
#include "picturecheck.h"
#include "strokerecorder.h"

namespace {

AudioLevels const LoudAndSilent = {{0, 0}, {Silence, Silence}};

} // namespace

/** The bars of a meter, and how levels get there. */
class TestAudioMeterPainter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constants_areAsDocumented();
    void construct_hasDefaults();
    void mode_isAnInt();
    void bars_lieOneAboveTheOther();
    void bars_standSideBySide();
    void bars_shareWhatDivisionLeaves();
    void bars_arePaintedInOrder();
    void withoutChannels_nothingIsDrawn();
    void pictures_areThoseOfTheReference();
    void painting_allocatesNothing_data();
    void painting_allocatesNothing();
    void newMeter_isSilent();
    void mode_choosesTheFigure_data();
    void mode_choosesTheFigure();
    void newMode_waitsForTheNextMeasurement();
    void fewerMeasuredChannels_areRepeated();
    void monoMeasurement_lightsBothBars();
    void moreMeasuredChannels_areLeftOut();
    void emptyMeasurement_silencesAllBars();
    void sameChannels_keepLevels();
    void otherChannels_silenceAllBars_data();
    void otherChannels_silenceAllBars();
    void measurementWithoutChannels_isTaken();
};

void TestAudioMeterPainter::constants_areAsDocumented()
{
    QCOMPARE(AudioMeterPainter::SILENCE_VALUE, -100.0F);
    float const thresholds[] = {-60, -18, -9, 0};
    QColor const lit[] = {Green, Yellow, Red};
    QColor const unlit[] = {UnlitGreen, UnlitOther, UnlitOther};
    QVERIFY(std::equal(std::begin(thresholds), std::end(thresholds),
        std::begin(AudioMeterPainter::dbThreshold), std::end(AudioMeterPainter::dbThreshold)));
    QVERIFY(std::equal(std::begin(lit), std::end(lit), std::begin(AudioMeterPainter::bandColors),
        std::end(AudioMeterPainter::bandColors)));
    QVERIFY(std::equal(std::begin(unlit), std::end(unlit),
        std::begin(AudioMeterPainter::bandColorsPassive),
        std::end(AudioMeterPainter::bandColorsPassive)));
}

void TestAudioMeterPainter::construct_hasDefaults()
{
    Meter const meter;
    QCOMPARE(meter.painter.channels(), 2);
    QCOMPARE(meter.painter.orientation(), Qt::Horizontal);
    QCOMPARE(meter.painter.spacing(), 2);
    QCOMPARE(meter.painter.strokeWidth(), 1);
    QCOMPARE(meter.painter.strokeSpacing(), 3);
    QCOMPARE(meter.painter.mode(), Peak);
}

void TestAudioMeterPainter::mode_isAnInt()
{
    static_assert(sizeof(AudioMeterMode) == sizeof(int) && int(Rms) == 0 && int(Peak) == 1);
    int const type = QMetaType::type("AudioMeterMode");
    QCOMPARE(type, qMetaTypeId<AudioMeterMode>());
    QCOMPARE(QMetaType::sizeOf(type), int(sizeof(int)));
    QVERIFY(QMetaType::typeFlags(type) & QMetaType::IsEnumeration);
}

void TestAudioMeterPainter::bars_lieOneAboveTheOther()
{
    PlainMeter meter(QSize(30, 50));
    meter.painter.setChannels(3);
    QVector<QRect> const wanted = {{0, 0, 1000, 15}, {0, 17, 1000, 15}, {0, 34, 1000, 15}};
    QCOMPARE(meter.places(), wanted);
}

void TestAudioMeterPainter::bars_standSideBySide()
{
    PlainMeter meter(QSize(50, 30));
    meter.painter.setOrientation(Qt::Vertical);
    meter.painter.setChannels(3);
    QVector<QRect> const wanted = {{0, -970, 15, 1000}, {17, -970, 15, 1000}, {34, -970, 15, 1000}};
    QCOMPARE(meter.places(), wanted);
}

void TestAudioMeterPainter::bars_shareWhatDivisionLeaves()
{
    // Four bars and three gaps of 5 in 50 pixels: 8 each, and the gaps get the rest.
    PlainMeter meter(QSize(30, 50));
    meter.painter.setChannels(4);
    meter.painter.setSpacing(5);
    QVector<QRect> const wanted = {
        {0, 0, 1000, 8}, {0, 13, 1000, 8}, {0, 27, 1000, 8}, {0, 41, 1000, 8}};
    QCOMPARE(meter.places(), wanted);

    // Rounded toward zero also where the gaps alone are too large.
    PlainMeter crowded(QSize(30, 6));
    crowded.painter.setChannels(5);
    QCOMPARE(crowded.places()[4], QRect(0, 6, 1000, 0));
}

void TestAudioMeterPainter::bars_arePaintedInOrder()
{
    Meter meter(QSize(8, 10));
    QVector<Fill> wanted;
    for (int const y : {0, 6}) {
        for (int const x : {0, 4, 8}) {
            wanted.append({QRect(x + 1, y + 1, 1, 4), Black});
            wanted.append({QRect(x, y, 1, 4), x == 8 ? UnlitOther : UnlitGreen});
        }
    }
    QCOMPARE(meter.paint(), wanted);
}

void TestAudioMeterPainter::withoutChannels_nothingIsDrawn()
{
    Meter meter;
    meter.painter.setChannels(0);
    QCOMPARE(meter.painter.channels(), 0);
    QCOMPARE(meter.paint().size(), 0);
}

void TestAudioMeterPainter::pictures_areThoseOfTheReference()
{
    QRandomGenerator random(1);
    for (int i = 0; i < 500; ++i) {
        QSize const size(random.bounded(1, 130), random.bounded(1, 130));
        MeterSettings const settings = randomSettings(random, size);
        QImage picture(size, QImage::Format_RGBA8888);
        picture.fill(Qt::magenta);
        QImage const wanted = meterReference(picture, settings);

        Meter meter(size);
        applySettings(settings, meter.painter);
        QPainter painter(&picture);
        meter.painter.paint(painter);
        painter.end();
        QString const difference = pictureDifference(picture, wanted, 0);
        QVERIFY2(difference.isEmpty(), qPrintable(QString::number(i) + difference));
    }
}

void TestAudioMeterPainter::painting_allocatesNothing_data()
{
    QTest::addColumn<Qt::Orientation>("orientation");
    QTest::addColumn<int>("channels");
    QTest::newRow("horizontal, 2 channels") << Qt::Horizontal << 2;
    QTest::newRow("horizontal, 8 channels") << Qt::Horizontal << 8;
    QTest::newRow("vertical, 2 channels") << Qt::Vertical << 2;
}

void TestAudioMeterPainter::painting_allocatesNothing()
{
    QFETCH(Qt::Orientation, orientation);
    QFETCH(int, channels);
    Meter meter(QSize(200, 200));
    meter.painter.setOrientation(orientation);
    meter.painter.setChannels(channels);
    meter.painter.updateAudioLevels({{-20, -5}, {-30, -12}});
    QImage image(200, 200, QImage::Format_RGB32);
    QPainter painter(&image);
    meter.painter.paint(painter);

    AllocationCounter const allocations;
    for (int i = 0; i < 10; ++i)
        meter.painter.paint(painter);
    QCOMPARE(allocations.count(), 0);
    // It does count.
    QByteArray const bytes(100, 'x');
    QCOMPARE(allocations.count(), 1);
}

void TestAudioMeterPainter::newMeter_isSilent()
{
    DenseMeter meter;
    QCOMPARE(litCount(Meter::strokesOf(meter.paint())), 0);
}

void TestAudioMeterPainter::mode_choosesTheFigure_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("lit");
    QTest::newRow("rms") << 0 << 25;
    QTest::newRow("peak") << 1 << 50;
    QTest::newRow("any other is peak") << 2 << 50;
    QTest::newRow("a negative one, too") << -1 << 50;
}

void TestAudioMeterPainter::mode_choosesTheFigure()
{
    QFETCH(int, mode);
    QFETCH(int, lit);
    DenseMeter meter;
    meter.painter.setChannels(1);
    meter.painter.setMode(AudioMeterMode(mode));
    meter.painter.updateAudioLevels({{-45, -30}});
    QCOMPARE(litCount(Meter::strokesOf(meter.paint())), lit);
}

void TestAudioMeterPainter::newMode_waitsForTheNextMeasurement()
{
    DenseMeter meter;
    meter.painter.setChannels(1);
    meter.painter.updateAudioLevels({{-45, -30}});
    meter.painter.setMode(Rms);
    QCOMPARE(litCount(Meter::strokesOf(meter.paint())), 50);
    meter.painter.updateAudioLevels({{-45, -30}});
    QCOMPARE(litCount(Meter::strokesOf(meter.paint())), 25);
}

void TestAudioMeterPainter::fewerMeasuredChannels_areRepeated()
{
    PlainMeter meter;
    meter.painter.setChannels(4);
    meter.painter.updateAudioLevels(LoudAndSilent);
    QCOMPARE(meter.lit(), QVector<bool>({true, false, true, false}));
    meter.painter.setChannels(5);
    meter.painter.updateAudioLevels(LoudAndSilent);
    QCOMPARE(meter.lit(), QVector<bool>({true, false, true, false, true}));
}

void TestAudioMeterPainter::monoMeasurement_lightsBothBars()
{
    PlainMeter meter;
    meter.painter.updateAudioLevels({{0, 0}});
    QCOMPARE(meter.lit(), QVector<bool>({true, true}));
}

void TestAudioMeterPainter::moreMeasuredChannels_areLeftOut()
{
    PlainMeter meter;
    meter.painter.setChannels(1);
    meter.painter.updateAudioLevels(LoudAndSilent);
    QCOMPARE(meter.lit(), QVector<bool>({true}));
}

void TestAudioMeterPainter::emptyMeasurement_silencesAllBars()
{
    PlainMeter meter;
    meter.painter.updateAudioLevels({{0, 0}});
    meter.painter.updateAudioLevels({});
    QCOMPARE(meter.lit(), QVector<bool>({false, false}));
}

void TestAudioMeterPainter::sameChannels_keepLevels()
{
    PlainMeter meter;
    meter.painter.updateAudioLevels({{0, 0}});
    meter.painter.setChannels(2);
    QCOMPARE(meter.lit(), QVector<bool>({true, true}));
}

void TestAudioMeterPainter::otherChannels_silenceAllBars_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("more") << 3;
    QTest::newRow("fewer") << 1;
}

void TestAudioMeterPainter::otherChannels_silenceAllBars()
{
    QFETCH(int, count);
    PlainMeter meter;
    meter.painter.updateAudioLevels({{0, 0}});
    meter.painter.setChannels(count);
    QCOMPARE(meter.painter.channels(), count);
    QCOMPARE(meter.lit(), QVector<bool>(count, false));
}

void TestAudioMeterPainter::measurementWithoutChannels_isTaken()
{
    PlainMeter meter;
    meter.painter.setChannels(0);
    meter.painter.updateAudioLevels({{0, 0}});
    meter.painter.updateAudioLevels({});
    QCOMPARE(meter.bars().size(), 0);
}

QVORLIN_TEST_MAIN(QApplication, TestAudioMeterPainter)

#include "tst_audiometerpainter.moc"
