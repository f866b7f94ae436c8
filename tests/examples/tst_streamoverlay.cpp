#include "streamoverlay.h"

#include <QApplication>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>

#include "messagecheck.h"
#include "renderlib/customvideowidget.h"
#include "streamstates.h"

namespace {

constexpr QRect Middle(480, 200, 320, 400);

/** The overlay of a widget that is never shown. */
struct Fixture
{
    explicit Fixture(QString const& name = QStringLiteral("camera"))
        : overlay(name, &widget)
    {
        overlay.resize(1280, 720);
    }

    QImage paint()
    {
        QImage image(overlay.size(), QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter painter(&image);
        overlay.paint(&painter);
        return image;
    }

    QStringList values() const
    {
        QStringList result;
        for (StreamOverlay::Field const& field : overlay.fields())
            result.append(field.value);
        return result;
    }

    renderlib::CustomVideoWidget widget;
    StreamOverlay overlay;
};

bool isBlack(QImage const& image)
{
    QImage black(image.size(), image.format());
    black.fill(Qt::black);
    return image == black;
}

} // namespace

class TestStreamOverlay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirst_waits();
    void wheel_turns();
    void showing_leavesThePictureFree();
    void fields_tellTheFigures();
    void goneStream_hasNoFigures();
    void eachChange_isPainted();
    void offset_hasAFigureWhileThereIsSound();
    void dimmedLine_standsBackAndReturns();
    void hiddenLine_leavesThePictureFree();
    void scaledOverlay_isAsIfThePictureWereSmaller();
    void narrowPicture_hasTheChiefFigures();
    void longName_leavesTheFiguresInPlace();
    void painter_isLeftAsItWas();
    void painted_isToldWhenAllIsThere();
};

void TestStreamOverlay::atFirst_waits()
{
    Fixture f;
    QVERIFY(!isBlack(f.paint().copy(Middle)));
}

void TestStreamOverlay::wheel_turns()
{
    Fixture f;
    QImage const first = f.paint().copy(Middle);
    QTRY_VERIFY(f.paint().copy(Middle) != first);
}

void TestStreamOverlay::showing_leavesThePictureFree()
{
    Fixture f;
    f.overlay.setWaiting(false);
    QImage const picture = f.paint();
    QVERIFY(isBlack(picture.copy(0, 60, 1280, 660)));
    QVERIFY(!isBlack(picture.copy(0, 0, 1280, 60)));
}

void TestStreamOverlay::fields_tellTheFigures()
{
    Fixture f;
    f.overlay.setState(streamState(true, QSize(640, 360), 1e6 / 33367));
    f.overlay.setFigures(29.94, 41.6);
    QCOMPARE(f.values(), (QStringList{QStringLiteral("640 × 360"), QStringLiteral("29.97 fps"),
                             QStringLiteral("29.9 fps"), QStringLiteral("42 ms")}));
}

void TestStreamOverlay::goneStream_hasNoFigures()
{
    Fixture f;
    QStringList const none(QVector<QString>(4, QStringLiteral("–")).toList());
    QCOMPARE(f.values(), none);
    f.overlay.setState(streamState(true));
    f.overlay.setFigures(25, 40);
    QVERIFY(!f.values().contains(QStringLiteral("–")));
    f.overlay.setState(streamState(false));
    QCOMPARE(f.values(), none);
}

void TestStreamOverlay::eachChange_isPainted()
{
    Fixture f;
    f.overlay.setWaiting(false);
    QImage before = f.paint();
    auto changed = [&] {
        QImage const last = std::exchange(before, f.paint());
        return before != last;
    };
    QVERIFY(!changed());
    f.overlay.setState(streamState(true));
    QVERIFY(changed());
    f.overlay.setFigures(25, 40);
    QVERIFY(changed());
    f.overlay.setNote(QStringLiteral("mirrored"));
    QVERIFY(changed());
    f.overlay.resize(1000, 720);
    QVERIFY(changed());
}

void TestStreamOverlay::offset_hasAFigureWhileThereIsSound()
{
    Fixture f;
    f.overlay.setState(streamState(true));
    QCOMPARE(f.overlay.fields().size(), 4);
    f.overlay.setAudioVideoOffset(12.4);
    QCOMPARE(f.overlay.fields().last().caption, QStringLiteral("A/V"));
    QCOMPARE(f.overlay.fields().last().value, QStringLiteral("+12 ms"));
    QVERIFY(f.overlay.fields().last().chief);
    f.overlay.setAudioVideoOffset(-7.6);
    QCOMPARE(f.overlay.fields().last().value, QStringLiteral("−8 ms"));
    f.overlay.setAudioVideoOffset(0);
    QCOMPARE(f.overlay.fields().last().value, QStringLiteral("0 ms"));
    f.overlay.setState(streamState(false));
    QCOMPARE(f.overlay.fields().last().value, QStringLiteral("–"));
    f.overlay.setAudioVideoOffset({});
    QCOMPARE(f.overlay.fields().size(), 4);
}

void TestStreamOverlay::dimmedLine_standsBackAndReturns()
{
    Fixture f;
    f.overlay.setWaiting(false);
    QImage const before = f.paint();
    auto lamp = [&f] {
        return qRed(f.paint().pixel(25, 26));
    };
    int const bright = lamp();
    QVERIFY(bright > 200);
    f.overlay.setDimmed(true);
    // Smoothly: at first nothing has changed.
    QVERIFY(lamp() > bright / 2);
    QTRY_VERIFY(qAbs(lamp() - bright / 4) < 4);
    f.overlay.setDimmed(false);
    QTRY_COMPARE(f.paint(), before);
}

void TestStreamOverlay::hiddenLine_leavesThePictureFree()
{
    Fixture f;
    f.overlay.setWaiting(false);
    QImage const shown = f.paint();
    QVERIFY(!isBlack(shown));
    f.overlay.setLineShown(false);
    QTRY_VERIFY(isBlack(f.paint()));
    // Whoever is away does not change that.
    f.overlay.setDimmed(true);
    f.overlay.setDimmed(false);
    QTest::qWait(400);
    QVERIFY(isBlack(f.paint()));
    f.overlay.setLineShown(true);
    QTRY_COMPARE(f.paint(), shown);
}

void TestStreamOverlay::scaledOverlay_isAsIfThePictureWereSmaller()
{
    Fixture usual;
    Fixture doubled;
    doubled.overlay.resize(2560, 1440);
    doubled.overlay.setScale(2);
    for (Fixture* f : {&usual, &doubled})
        f->overlay.setState(streamState(true));
    QImage const wanted = usual.paint();
    QImage const picture =
        doubled.paint().scaled(wanted.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    qint64 difference = 0;
    for (int y = 0; y < wanted.height(); ++y) {
        for (int x = 0; x < wanted.width(); ++x)
            difference += qAbs(qGreen(wanted.pixel(x, y)) - qGreen(picture.pixel(x, y)));
    }
    // Writing differs where it is rounded to pixels.
    double const mean = double(difference) / (wanted.width() * wanted.height());
    QVERIFY2(mean < 0.6, qPrintable(QString::number(mean)));
    QVERIFY(isBlack(doubled.paint().copy(0, 104, 2560, 400)));
    QVERIFY(!isBlack(doubled.paint().copy(0, 60, 2560, 44)));
}

void TestStreamOverlay::narrowPicture_hasTheChiefFigures()
{
    Fixture f;
    f.overlay.resize(400, 225);
    f.overlay.setWaiting(false);
    f.overlay.setState(streamState(true, QSize(64, 36), 25));
    QImage const before = f.paint();
    f.overlay.setState(streamState(true, QSize(32, 18), 50));
    QCOMPARE(f.paint(), before);
    f.overlay.setFigures(50, 40);
    QVERIFY(f.paint() != before);
}

void TestStreamOverlay::longName_leavesTheFiguresInPlace()
{
    Fixture f;
    Fixture named(QString(1000, QLatin1Char('W')));
    QRect const figures(832, 0, 448, 52);
    QCOMPARE(named.paint().copy(figures), f.paint().copy(figures));
}

void TestStreamOverlay::painter_isLeftAsItWas()
{
    Fixture f;
    QImage image(f.overlay.size(), QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setOpacity(0.5);
    QPen const pen = painter.pen();
    QFont const font = painter.font();
    f.overlay.paint(&painter);
    QCOMPARE(painter.opacity(), 0.5);
    QCOMPARE(painter.pen(), pen);
    QCOMPARE(painter.font(), font);
}

void TestStreamOverlay::painted_isToldWhenAllIsThere()
{
    Fixture f;
    QImage image(f.overlay.size(), QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    bool black = true;
    connect(&f.overlay, &StreamOverlay::painted, this, [&](QPainter* given) {
        QCOMPARE(given, &painter);
        black = isBlack(image.copy(0, 0, 1280, 60)) || isBlack(image.copy(Middle));
    });
    f.overlay.paint(&painter);
    QVERIFY(!black);
}

QVORLIN_TEST_MAIN(QApplication, TestStreamOverlay)
#include "tst_streamoverlay.moc"
