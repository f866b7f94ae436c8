#include "widgets/audiometerwidget.h"

#include <algorithm>
#include <climits>
#include <memory>

#include <QPainter>
#include <QPair>
#include <QRandomGenerator>
#include <QTest>

#include "allocationcounter.h"
#include "canvas.h"
#include "meterreference.h"
#include "opengltest.h"
#include "picturecheck.h"
#include "planarbuffer.h"
#include "strokerecorder.h"
#include "videowindow.h"

namespace {

QSize const WindowSize(160, 90);

/** A frame of one grey. */
QVideoFrame greyFrame(int grey)
{
    // Without a start time, so that no frame is taken for a repeated one.
    return planarFrame(new PlanarBuffer(WindowSize, uchar(grey), 128, 128), WindowSize, -1);
}

template<typename Function>
int allocationsOf(Function const& function)
{
    AllocationCounter const allocations;
    function();
    return allocations.count();
}

/** A window with a meter over its video. */
struct MeterScene
{
    explicit MeterScene(QRect const& place) { meter.setGeometry(place); }

    /** All of the window with its next frame, which is of this grey. */
    QImage show(int grey)
    {
        if (window.show(greyFrame(grey)).isNull())
            return QImage();
        return top.image;
    }

    VideoWindow window{WindowSize};
    AudioMeterGLWidget meter{&window};
    FramebufferReader top{&window};
};

} // namespace

/** The meter over video, and what OpenGL makes of its strokes. */
class TestAudioMeterGLWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_isAnOverlay();
    void properties_reachThePainter();

    void horizontalMeter_isPaintedOverVideo();
    void verticalMeter_isPaintedOverVideo();
    void meter_followsLevelsWhileFramesKeepComing();
    void emptyMeasurement_silencesOverVideo();
    void meterWithoutChannels_leavesVideoAlone();
    void painter_isLeftAsFound();
    void meterDestroyedFirst_isLeftOut();
    void videoDestroyedFirst_leavesTheMeter();

    void pictures_areThoseOfTheReference();
    void painting_allocatesNoMoreThanTheDriver();
};

void TestAudioMeterGLWidget::construct_isAnOverlay()
{
    renderlib::CustomVideoWidget video;
    AudioMeterGLWidget const meter(&video);
    QCOMPARE(meter.parent(), nullptr);
    QVERIFY(meter.testAttribute(Qt::WA_DontShowOnScreen));
    QVERIFY(!meter.isVisible());
    QCOMPARE(meter.channels(), 2);
}

void TestAudioMeterGLWidget::properties_reachThePainter()
{
    renderlib::CustomVideoWidget video;
    AudioMeterGLWidget meter(&video);
    QVERIFY(meter.setProperty("channels", 5));
    QVERIFY(meter.setProperty("mode", QVariant::fromValue(Rms)));
    QVERIFY(meter.setProperty("orientation", QVariant::fromValue(Qt::Vertical)));
    QCOMPARE(meter.painter()->channels(), 5);
    QCOMPARE(meter.painter()->mode(), Rms);
    QCOMPARE(meter.painter()->orientation(), Qt::Vertical);
    meter.painter()->setSpacing(9);
    QCOMPARE(meter.property("spacing").toInt(), 9);
}

void TestAudioMeterGLWidget::horizontalMeter_isPaintedOverVideo()
{
    MeterScene scene(QRect(10, 60, 140, 20));
    scene.meter.updateAudioLevels({{-100, -3}, {-100, -21}});
    COMPARE_PICTURES(scene.show(80), storedPicture("over-video-horizontal"));
}

void TestAudioMeterGLWidget::verticalMeter_isPaintedOverVideo()
{
    MeterScene scene(QRect(120, 5, 30, 80));
    scene.meter.setOrientation(Qt::Vertical);
    scene.meter.setMode(Rms);
    scene.meter.updateAudioLevels({{-3, 0}, {-21, 0}});
    COMPARE_PICTURES(scene.show(80), storedPicture("over-video-vertical"));
}

void TestAudioMeterGLWidget::meter_followsLevelsWhileFramesKeepComing()
{
    QRect const place(10, 60, 140, 20);
    MeterScene scene(place);
    scene.meter.setChannels(3);
    for (int i = 0; i < 40; ++i) {
        float const left = float(-60 + 2 * i);
        float const right = float(-i);
        int const grey = 40 + 5 * i;
        scene.meter.updateAudioLevels({{-100, left}, {-100, right}});
        QImage const shown = scene.show(grey);

        QImage video(place.size(), QImage::Format_RGBA8888);
        video.fill(QColor(grey, grey, grey));
        MeterSettings settings;
        settings.levels = {left, right, left};
        COMPARE_PICTURES(shown.copy(place), meterReference(video, settings));
        QCOMPARE(qGray(shown.pixel(5, 5)), grey);
    }
}

void TestAudioMeterGLWidget::emptyMeasurement_silencesOverVideo()
{
    MeterScene scene(QRect(10, 60, 140, 20));
    QImage const silent = scene.show(80);
    scene.meter.updateAudioLevels({{0, 0}});
    QVERIFY(differingPixels(scene.show(80), silent) > 0);
    scene.meter.updateAudioLevels({});
    COMPARE_PICTURES(scene.show(80), silent);
}

void TestAudioMeterGLWidget::meterWithoutChannels_leavesVideoAlone()
{
    MeterScene scene(QRect(10, 60, 140, 20));
    scene.meter.setChannels(0);
    QImage const shown = scene.show(80);
    QImage video(WindowSize, QImage::Format_RGBA8888);
    video.fill(QColor(80, 80, 80));
    COMPARE_PICTURES(shown, video);
}

void TestAudioMeterGLWidget::painter_isLeftAsFound()
{
    renderlib::CustomVideoWidget video;
    AudioMeterGLWidget meter(&video);
    meter.resize(50, 20);
    Canvas canvas;
    canvas.paint(QSize(60, 30), [&](QPainter* painter) {
        painter->setPen(QPen(Qt::red, 3));
        painter->setBrush(Qt::cyan);
        painter->setOpacity(0.5);
        painter->setClipRect(QRect(1, 2, 30, 10));
        painter->translate(4, 5);
        meter.paint(painter);
        QCOMPARE(painter->pen(), QPen(Qt::red, 3));
        QCOMPARE(painter->brush(), QBrush(Qt::cyan));
        QCOMPARE(painter->opacity(), 0.5);
        QCOMPARE(painter->clipRegion(), QRegion(-3, -3, 30, 10));
        QCOMPARE(painter->worldTransform(), QTransform::fromTranslate(4, 5));
    });
}

void TestAudioMeterGLWidget::meterDestroyedFirst_isLeftOut()
{
    VideoWindow window(WindowSize);
    auto meter = std::make_unique<AudioMeterGLWidget>(&window);
    meter->setGeometry(10, 60, 140, 20);
    FramebufferReader top(&window);
    window.show(greyFrame(80));
    QCOMPARE(top.image.pixelColor(10, 60), QColor(96, 96, 96));
    meter.reset();
    QVERIFY(!window.show(greyFrame(90)).isNull());
    QCOMPARE(qGray(top.image.pixel(10, 60)), 90);
}

void TestAudioMeterGLWidget::videoDestroyedFirst_leavesTheMeter()
{
    auto window = std::make_unique<VideoWindow>(WindowSize);
    AudioMeterGLWidget meter(window.get());
    QVERIFY(!window->show(greyFrame(80)).isNull());
    window.reset();
    meter.setChannels(4);
    meter.updateAudioLevels({{0, 0}});
    QCOMPARE(meter.channels(), 4);
}

void TestAudioMeterGLWidget::pictures_areThoseOfTheReference()
{
    renderlib::CustomVideoWidget video;
    AudioMeterGLWidget meter(&video);
    Canvas canvas;
    QRandomGenerator random(2);
    for (int i = 0; i < 60; ++i) {
        QSize const size(random.bounded(1, 100), random.bounded(1, 100));
        MeterSettings const settings = randomSettings(random, size);
        applySettings(settings, *meter.painter());
        meter.resize(size);
        QImage const background = canvas.paint(size, [](QPainter*) {});
        QImage const picture = canvas.paint(size, [&](QPainter* painter) { meter.paint(painter); });
        QString const difference =
            pictureDifference(picture, meterReference(background, settings), 0);
        QVERIFY2(difference.isEmpty(), qPrintable(QString::number(i) + difference));
    }
}

void TestAudioMeterGLWidget::painting_allocatesNoMoreThanTheDriver()
{
    renderlib::CustomVideoWidget video;
    AudioMeterGLWidget meter(&video);
    meter.resize(100, 20);
    meter.setChannels(1);
    meter.updateAudioLevels({{-30, -30}});

    // The same rectangles in the same order with ready-made brushes: what is allocated for them is
    // not the meter's.
    RecordingDevice device;
    QPainter recorded(&device);
    meter.paint(&recorded);
    recorded.end();
    QVector<QPair<QRect, QBrush>> fills;
    for (bool const isShadow : {true, false}) {
        for (int i = isShadow ? 0 : 1; i < device.fills().size(); i += 2)
            fills.append({device.fills()[i].rect, device.fills()[i].colour});
    }
    QCOMPARE(fills.size(), 52);

    int byMeter = INT_MAX;
    int byDriver = INT_MAX;
    Canvas canvas;
    canvas.paint(QSize(110, 30), [&](QPainter* painter) {
        for (int i = 0; i < 5; ++i) {
            byMeter = std::min(byMeter, allocationsOf([&] { meter.paint(painter); }));
            byDriver = std::min(byDriver, allocationsOf([&] {
                for (auto const& [rect, brush] : fills)
                    painter->fillRect(rect, brush);
            }));
        }
    });
    QCOMPARE(byMeter, byDriver);
}

QVORLIN_OPENGL_TEST_MAIN(TestAudioMeterGLWidget)

#include "tst_audiometerglwidget.moc"
