#include "renderlib/customsubwidget.h"

#include <functional>
#include <memory>

#include <QPainter>
#include <QTest>
#include <QVideoFrame>

#include "opengltest.h"
#include "testframes.h"
#include "videoscene.h"

namespace {

/** A rectangle of one colour. */
class Patch : public renderlib::CustomSubWidget
{
public:
    Patch(renderlib::CustomVideoWidget* widget, QColor const& colour, QRect const& rect)
        : CustomSubWidget(widget)
        , mColour(colour)
        , mRect(rect)
    {}

    void paint(QPainter* painter) override
    {
        ++paints;
        painter->fillRect(mRect, mColour);
        if (whenPainted)
            whenPainted();
    }

    int paints = 0;
    std::function<void()> whenPainted;

private:
    QColor mColour;
    QRect mRect;
};

/** A shown widget; its probe lies below the overlays of the test, another one above them. */
struct Scene : VideoScene
{
    /** Shows the overlays over a red frame. */
    bool paint()
    {
        if (!top) {
            top = std::make_unique<Probe>(&widget);
            if (!show())
                return false;
        }
        return present(colourFrame(Qt::red, ++time));
    }

    QColor seenAt(int x, int y) const { return top->picture.pixelColor(x, y); }

    std::unique_ptr<Probe> top;
    qint64 time = 0;
};

QRect const Square(0, 0, 20, 20);

} // namespace

class TestVideoWidgetOverlays : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void overlays_arePaintedOverTheVideo();
    void overlays_arePaintedInOrder();
    void overlay_isPaintedAtItsPosition();
    void overlay_isNotClippedToItsSize();
    void overlay_startsWithItsOwnTransform();
    void overlay_isPaintedWithEachFrame();
    void overlay_withoutVideo_isNotPainted();
    void nullEntries_areDropped();
    void overlayAddedWhilePlaying_isPainted();
    void destroyedOverlay_isLeftOut();
    void overlayDestroyedByAnother_isLeftOut();
    void overlayAddedByAnother_isPaintedAtOnce();
    void overlay_mayOutliveTheWidget();
};

void TestVideoWidgetOverlays::overlays_arePaintedOverTheVideo()
{
    Scene s;
    Patch patch(&s.widget, Qt::green, Square);
    QVERIFY(s.paint());
    QCOMPARE(s.at(10, 10), QColor(Qt::red));
    QCOMPARE(s.seenAt(10, 10), QColor(Qt::green));
    QCOMPARE(s.seenAt(21, 21), QColor(Qt::red));
    QCOMPARE(s.top->context, contextOf(s.widget));
}

void TestVideoWidgetOverlays::overlays_arePaintedInOrder()
{
    Scene s;
    Patch lower(&s.widget, Qt::green, Square);
    Patch upper(&s.widget, Qt::blue, QRect(10, 0, 20, 20));
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(5, 5), QColor(Qt::green));
    QCOMPARE(s.seenAt(15, 5), QColor(Qt::blue));
    QCOMPARE(s.seenAt(25, 5), QColor(Qt::blue));
}

void TestVideoWidgetOverlays::overlay_isPaintedAtItsPosition()
{
    Scene s;
    Patch patch(&s.widget, Qt::green, Square);
    patch.move(30, 40);
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(30, 40), QColor(Qt::green));
    QCOMPARE(s.seenAt(49, 59), QColor(Qt::green));
    QCOMPARE(s.seenAt(29, 40), QColor(Qt::red));
    QCOMPARE(s.seenAt(50, 59), QColor(Qt::red));

    patch.setGeometry(100, 10, 5, 5);
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(100, 10), QColor(Qt::green));
    QCOMPARE(s.seenAt(35, 45), QColor(Qt::red));
}

void TestVideoWidgetOverlays::overlay_isNotClippedToItsSize()
{
    Scene s;
    Patch patch(&s.widget, Qt::green, QRect(-10, -10, 40, 40));
    patch.setGeometry(50, 30, 1, 1);
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(41, 21), QColor(Qt::green));
    QCOMPARE(s.seenAt(79, 59), QColor(Qt::green));
}

void TestVideoWidgetOverlays::overlay_startsWithItsOwnTransform()
{
    class Turning : public renderlib::CustomSubWidget
    {
    public:
        using CustomSubWidget::CustomSubWidget;
        void paint(QPainter* painter) override
        {
            painter->rotate(30);
            painter->scale(2, 3);
        }
    };
    Scene s;
    Turning turning(&s.widget);
    turning.move(1, 2);
    s.probe.move(-5, 6);
    QVERIFY(s.paint());
    QCOMPARE(s.probe.transform, QTransform::fromTranslate(-5, 6));
    QCOMPARE(s.top->transform, QTransform());
}

void TestVideoWidgetOverlays::overlay_isPaintedWithEachFrame()
{
    Scene s;
    Patch patch(&s.widget, Qt::green, Square);
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(s.paint());
        QCOMPARE(patch.paints, s.probe.paints);
        QCOMPARE(s.seenAt(10, 10), QColor(Qt::green));
    }
}

void TestVideoWidgetOverlays::overlay_withoutVideo_isNotPainted()
{
    Scene s;
    Patch patch(&s.widget, Qt::green, Square);
    QVERIFY(s.show());
    s.widget.update();
    letRepaint();
    QCOMPARE(patch.paints, 0);
}

void TestVideoWidgetOverlays::nullEntries_areDropped()
{
    Scene s;
    s.widget.addCustomSubWidget(nullptr);
    Patch lower(&s.widget, Qt::green, Square);
    s.widget.addCustomSubWidget(nullptr);
    s.widget.addCustomSubWidget(nullptr);
    Patch upper(&s.widget, Qt::blue, QRect(10, 0, 20, 20));
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(5, 5), QColor(Qt::green));
    QCOMPARE(s.seenAt(15, 5), QColor(Qt::blue));
    int const before = lower.paints;
    QVERIFY(s.paint());
    QVERIFY(lower.paints > before);
    QCOMPARE(upper.paints, lower.paints);
}

void TestVideoWidgetOverlays::overlayAddedWhilePlaying_isPainted()
{
    Scene s;
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(10, 10), QColor(Qt::red));
    Patch patch(&s.widget, Qt::green, Square);
    QVERIFY(s.paint());
    // On top of all others, so that only the frame after it shows it to them.
    QVERIFY(patch.paints > 0);
}

void TestVideoWidgetOverlays::destroyedOverlay_isLeftOut()
{
    Scene s;
    auto patch = std::make_unique<Patch>(&s.widget, Qt::green, Square);
    Patch other(&s.widget, Qt::blue, QRect(30, 0, 20, 20));
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(10, 10), QColor(Qt::green));
    patch.reset();
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(10, 10), QColor(Qt::red));
    QCOMPARE(s.seenAt(40, 10), QColor(Qt::blue));
}

void TestVideoWidgetOverlays::overlayDestroyedByAnother_isLeftOut()
{
    Scene s;
    Patch first(&s.widget, Qt::green, Square);
    auto second = std::make_unique<Patch>(&s.widget, Qt::blue, QRect(30, 0, 20, 20));
    first.whenPainted = [&] {
        second.reset();
    };
    QVERIFY(s.paint());
    QCOMPARE(s.seenAt(40, 10), QColor(Qt::red));
    QVERIFY(s.paint());
}

void TestVideoWidgetOverlays::overlayAddedByAnother_isPaintedAtOnce()
{
    Scene s;
    Patch first(&s.widget, Qt::green, Square);
    std::unique_ptr<Patch> second;
    first.whenPainted = [&] {
        if (!second)
            second = std::make_unique<Patch>(&s.widget, Qt::blue, Square);
    };
    QVERIFY(s.paint());
    QCOMPARE(second->paints, first.paints);
}

void TestVideoWidgetOverlays::overlay_mayOutliveTheWidget()
{
    auto s = std::make_unique<VideoScene>();
    Patch patch(&s->widget, Qt::green, Square);
    QVERIFY(s->show());
    QVERIFY(s->present(colourFrame(Qt::red, 1)));
    QVERIFY(patch.paints > 0);
    s.reset();
    patch.move(1, 1);
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWidgetOverlays)

#include "tst_videowidget_overlays.moc"
