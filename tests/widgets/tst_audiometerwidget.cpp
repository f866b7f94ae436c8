#include "widgets/audiometerwidget.h"

#include <QApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QTest>

#include "messagecheck.h"
#include "meterreference.h"
#include "picturecheck.h"

Q_DECLARE_METATYPE(QMetaObject const*)

namespace {

QColor const Background(30, 60, 120);

/** Counts its paints; paints a part alone if it is told which. */
class Meter : public AudioMeterWidget
{
public:
    explicit Meter(QSize const& size)
        : AudioMeterWidget(nullptr)
    {
        resize(size);
    }

    /** Everything that the meter paints, on a plain background. */
    QImage picture()
    {
        QImage image(size(), QImage::Format_RGBA8888);
        image.fill(Background);
        render(&image, QPoint(), QRegion(), RenderFlags());
        return image;
    }

    /** How often it has been painted because of @p change. */
    template<typename Change>
    int paintsAfter(Change const& change)
    {
        mPaints = 0;
        change();
        QCoreApplication::processEvents();
        return mPaints;
    }

    QRegion part;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        ++mPaints;
        if (part.isEmpty()) {
            AudioMeterWidget::paintEvent(event);
        } else {
            QPaintEvent partEvent(part);
            AudioMeterWidget::paintEvent(&partEvent);
        }
    }

private:
    int mPaints = 0;
};

AudioLevels peaks(std::initializer_list<float> const& levels)
{
    AudioLevels result;
    for (float const level : levels)
        result.append({-100, level});
    return result;
}

} // namespace

class TestAudioMeterWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_takesTheParent();
    void metaObject_hasSixPropertiesAlone_data();
    void metaObject_hasSixPropertiesAlone();
    void properties_haveDefaults();
    void properties_readAndWrite();
    void accessors_reachThePainter();

    void setters_repaintOnlyOnChange();
    void measurement_alwaysRepaints();
    void measurementWithoutChannels_repaints();

    void horizontalMeter_isPainted();
    void verticalMeter_isPainted();
    void resizedMeter_isFilledAgain();
    void paint_staysInsideTheEventsRegion();
};

void TestAudioMeterWidget::construct_takesTheParent()
{
    QWidget parent;
    auto const* meter = new AudioMeterWidget(&parent);
    QCOMPARE(meter->parent(), &parent);
    AudioMeterWidget const top(nullptr);
    QVERIFY(top.isWindow());
    QVERIFY(top.painter());
}

void TestAudioMeterWidget::metaObject_hasSixPropertiesAlone_data()
{
    QTest::addColumn<QMetaObject const*>("meta");
    QTest::newRow("AudioMeterWidget") << &AudioMeterWidget::staticMetaObject;
    QTest::newRow("AudioMeterGLWidget") << &AudioMeterGLWidget::staticMetaObject;
}

void TestAudioMeterWidget::metaObject_hasSixPropertiesAlone()
{
    QFETCH(QMetaObject const*, meta);
    QCOMPARE(meta->className(), QTest::currentDataTag());
    QCOMPARE(meta->methodOffset(), meta->methodCount());
    QCOMPARE(meta->enumeratorOffset(), meta->enumeratorCount());

    struct Wanted
    {
        char const* name;
        char const* type;
        int typeId;
    };
    Wanted const wanted[] = {{"channels", "int", QMetaType::Int},
        {"orientation", "Qt::Orientation", qMetaTypeId<Qt::Orientation>()},
        {"spacing", "int", QMetaType::Int}, {"strokeWidth", "int", QMetaType::Int},
        {"strokeSpacing", "int", QMetaType::Int},
        {"mode", "AudioMeterMode", qMetaTypeId<AudioMeterMode>()}};
    QCOMPARE(meta->propertyCount() - meta->propertyOffset(), int(std::size(wanted)));
    for (int i = 0; i < int(std::size(wanted)); ++i) {
        QMetaProperty const property = meta->property(meta->propertyOffset() + i);
        QCOMPARE(property.name(), wanted[i].name);
        QCOMPARE(property.typeName(), wanted[i].type);
        QCOMPARE(property.userType(), wanted[i].typeId);
        QVERIFY(property.isReadable());
        QVERIFY(property.isWritable());
        QVERIFY(!property.hasNotifySignal());
    }
}

void TestAudioMeterWidget::properties_haveDefaults()
{
    AudioMeterWidget const meter(nullptr);
    QCOMPARE(meter.property("channels").toInt(), 2);
    QCOMPARE(meter.property("orientation").value<Qt::Orientation>(), Qt::Horizontal);
    QCOMPARE(meter.property("spacing").toInt(), 2);
    QCOMPARE(meter.property("strokeWidth").toInt(), 1);
    QCOMPARE(meter.property("strokeSpacing").toInt(), 3);
    QCOMPARE(meter.property("mode").value<AudioMeterMode>(), Peak);
}

void TestAudioMeterWidget::properties_readAndWrite()
{
    AudioMeterWidget meter(nullptr);
    QVariant const orientation = QVariant::fromValue(Qt::Vertical);
    QVariant const mode = QVariant::fromValue(Rms);
    for (auto const& [name, value] :
        {std::pair("channels", QVariant(6)), std::pair("orientation", orientation),
            std::pair("spacing", QVariant(7)), std::pair("strokeWidth", QVariant(8)),
            std::pair("strokeSpacing", QVariant(9)), std::pair("mode", mode)}) {
        QVERIFY(meter.setProperty(name, value));
        QCOMPARE(meter.property(name).toInt(), value.toInt());
    }
    QCOMPARE(meter.painter()->channels(), 6);
    QCOMPARE(meter.painter()->orientation(), Qt::Vertical);
    QCOMPARE(meter.painter()->spacing(), 7);
    QCOMPARE(meter.painter()->strokeWidth(), 8);
    QCOMPARE(meter.painter()->strokeSpacing(), 9);
    QCOMPARE(meter.painter()->mode(), Rms);
}

void TestAudioMeterWidget::accessors_reachThePainter()
{
    AudioMeterWidget meter(nullptr);
    AudioMeterPainter& painter = *meter.painter();
    painter.setChannels(6);
    painter.setOrientation(Qt::Vertical);
    painter.setSpacing(7);
    painter.setStrokeWidth(8);
    painter.setStrokeSpacing(9);
    painter.setMode(Rms);
    QCOMPARE(meter.channels(), 6);
    QCOMPARE(meter.orientation(), Qt::Vertical);
    QCOMPARE(meter.spacing(), 7);
    QCOMPARE(meter.strokeWidth(), 8);
    QCOMPARE(meter.strokeSpacing(), 9);
    QCOMPARE(meter.mode(), Rms);
}

void TestAudioMeterWidget::setters_repaintOnlyOnChange()
{
    Meter meter(QSize(100, 40));
    meter.show();
    QVERIFY(QTest::qWaitForWindowExposed(&meter));
    QCoreApplication::processEvents();

    QCOMPARE(meter.paintsAfter([&] { meter.setChannels(2); }), 0);
    QCOMPARE(meter.paintsAfter([&] { meter.setChannels(3); }), 1);
    QCOMPARE(meter.paintsAfter([&] { meter.setOrientation(Qt::Horizontal); }), 0);
    QCOMPARE(meter.paintsAfter([&] { meter.setOrientation(Qt::Vertical); }), 1);
    QCOMPARE(meter.paintsAfter([&] { meter.setSpacing(2); }), 0);
    QCOMPARE(meter.paintsAfter([&] { meter.setSpacing(3); }), 1);
    QCOMPARE(meter.paintsAfter([&] { meter.setStrokeWidth(1); }), 0);
    QCOMPARE(meter.paintsAfter([&] { meter.setStrokeWidth(2); }), 1);
    QCOMPARE(meter.paintsAfter([&] { meter.setStrokeSpacing(3); }), 0);
    QCOMPARE(meter.paintsAfter([&] { meter.setStrokeSpacing(4); }), 1);
    QCOMPARE(meter.paintsAfter([&] { meter.setMode(Peak); }), 0);
    QCOMPARE(meter.paintsAfter([&] { meter.setMode(Rms); }), 1);
}

void TestAudioMeterWidget::measurement_alwaysRepaints()
{
    Meter meter(QSize(100, 40));
    meter.show();
    QVERIFY(QTest::qWaitForWindowExposed(&meter));
    QCoreApplication::processEvents();
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(meter.paintsAfter([&] { meter.updateAudioLevels(peaks({-6, -6})); }), 1);
        QCOMPARE(meter.paintsAfter([&] { meter.updateAudioLevels({}); }), 1);
    }
}

void TestAudioMeterWidget::measurementWithoutChannels_repaints()
{
    Meter meter(QSize(100, 40));
    meter.setChannels(0);
    meter.show();
    QVERIFY(QTest::qWaitForWindowExposed(&meter));
    QCoreApplication::processEvents();
    QCOMPARE(meter.paintsAfter([&] { meter.updateAudioLevels(peaks({-6, -6})); }), 1);
}

void TestAudioMeterWidget::horizontalMeter_isPainted()
{
    Meter meter(QSize(200, 40));
    meter.updateAudioLevels(peaks({-6, -30}));
    COMPARE_PICTURES(meter.picture(), storedPicture("horizontal"));
}

void TestAudioMeterWidget::verticalMeter_isPainted()
{
    Meter meter(QSize(60, 120));
    meter.setOrientation(Qt::Vertical);
    meter.setChannels(3);
    meter.setSpacing(5);
    meter.setStrokeWidth(3);
    meter.setStrokeSpacing(2);
    meter.setMode(Rms);
    meter.updateAudioLevels({{-12, 0}, {-17.5, 0}, {3, 0}});
    COMPARE_PICTURES(meter.picture(), storedPicture("vertical"));
}

void TestAudioMeterWidget::resizedMeter_isFilledAgain()
{
    Meter meter(QSize(300, 10));
    meter.updateAudioLevels(peaks({-6, -30}));
    QCOMPARE(meter.picture().size(), QSize(300, 10));
    meter.resize(200, 40);
    COMPARE_PICTURES(meter.picture(), storedPicture("horizontal"));
}

void TestAudioMeterWidget::paint_staysInsideTheEventsRegion()
{
    Meter meter(QSize(200, 40));
    meter.updateAudioLevels(peaks({-6, -30}));
    meter.part = QRegion(20, 10, 50, 20) + QRegion(150, 0, 3, 40);

    QImage wanted(meter.size(), QImage::Format_RGBA8888);
    wanted.fill(Background);
    QPainter painter(&wanted);
    for (QRect const& rect : meter.part)
        painter.drawImage(rect.topLeft(), storedPicture("horizontal"), rect);
    painter.end();
    COMPARE_PICTURES(meter.picture(), wanted);
}

QVORLIN_TEST_MAIN(QApplication, TestAudioMeterWidget)

#include "tst_audiometerwidget.moc"
