#include "renderlib/customvideowidget.h"

#include <QTest>
#include <QWindow>

#include "opengltest.h"
#include "testframes.h"
#include "videoscene.h"

namespace {

// Read when the application starts.
bool const Scaled = qputenv("QT_SCALE_FACTOR", "2");

} // namespace

class TestVideoWidgetScaled : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void framebuffer_hasAllPixelsOfTheScreen();
    void framebuffer_followsTheSize();
};

void TestVideoWidgetScaled::framebuffer_hasAllPixelsOfTheScreen()
{
    QVERIFY(Scaled);
    VideoScene s(QSize(161, 91));
    QVERIFY(s.show());
    QCOMPARE(s.widget.windowHandle()->devicePixelRatio(), 2.0);
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    QCOMPARE(s.probe.picture.size(), QSize(322, 182));
    QCOMPARE(s.errors.size(), 0);
}

void TestVideoWidgetScaled::framebuffer_followsTheSize()
{
    VideoScene s;
    QVERIFY(s.show());
    QVERIFY(s.present(colourFrame(Qt::red, 1)));
    s.widget.resize(200, 100);
    QTRY_COMPARE(s.probe.picture.size(), QSize(400, 200));
    QVERIFY(s.present(colourFrame(Qt::blue, 2)));
    QCOMPARE(s.at(100, 150), QColor(Qt::blue));
}

QVORLIN_OPENGL_TEST_MAIN(TestVideoWidgetScaled)

#include "tst_videowidget_scaled.moc"
