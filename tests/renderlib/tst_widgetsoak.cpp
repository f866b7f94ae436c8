#include "renderlib/customvideowidget.h"

#include <malloc.h>

#include <array>

#include <QFile>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPainter>
#include <QSurfaceFormat>
#include <QtTest>

#include "opengltest.h"
#include "planarbuffer.h"
#include "testframes.h"
#include "videoscene.h"

namespace {

constexpr int Frames = 10000;
constexpr int FramesOfASize = 100;
/** Every size and format has been there, and the driver has what it keeps. */
constexpr int WarmUp = 2000;

// A driver may keep a buffer or two of its own; a leak of one frame, texture or program with each
// change of size would show as eighty.
constexpr qint64 HeapBound = 256 * 1024;
constexpr qint64 ResidentBound = 4 * 1024 * 1024;

qint64 heapInUse()
{
    struct mallinfo2 const info = mallinfo2();
    return qint64(info.uordblks) + qint64(info.hblkhd);
}

qint64 residentMemory()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    return file.readAll().split(' ').value(1).toLongLong() * 4096;
}

using ObjectCounts = std::array<int, 5>;

/** The textures, buffers, programs, shaders and framebuffers of the current context. */
ObjectCounts glObjects()
{
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    ObjectCounts counts{};
    for (GLuint name = 1; name <= 4096; ++name) {
        counts[0] += gl.glIsTexture(name);
        counts[1] += gl.glIsBuffer(name);
        counts[2] += gl.glIsProgram(name);
        counts[3] += gl.glIsShader(name);
        counts[4] += gl.glIsFramebuffer(name);
    }
    return counts;
}

struct Usage
{
    qint64 heap = 0;
    qint64 resident = 0;
    ObjectCounts objects{};
};

/** Taken while the widget paints, when its context is current. */
class Gauge : public renderlib::CustomSubWidget
{
public:
    using CustomSubWidget::CustomSubWidget;

    void paint(QPainter* painter) override
    {
        ++paints;
        if (!wanted)
            return;
        wanted = false;
        painter->beginNativePainting();
        usage.objects = glObjects();
        painter->endNativePainting();
        usage.heap = heapInUse();
        usage.resident = residentMemory();
    }

    int paints = 0;
    bool wanted = false;
    Usage usage;
};

/** Small frames in turn of three sizes, in RGB and YUV. */
QVideoFrame soakFrame(int number)
{
    static QSize const Sizes[] = {QSize(64, 36), QSize(48, 48), QSize(96, 20)};
    int const size = number / FramesOfASize;
    if (size % 2 == 0)
        return colourFrame(QColor::fromHsv(number % 360, 255, 255), number, Sizes[size % 3]);
    return planarFrame(
        new PlanarBuffer(Sizes[size % 3], uchar(number), 128, 128), Sizes[size % 3], number);
}

} // namespace

class TestWidgetSoak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void tenThousandFrames_leaveMemoryAndObjectsFlat();

private:
    bool play(renderlib::CustomVideoWidget& widget, Gauge& gauge, int from, int to);
};

void TestWidgetSoak::initTestCase()
{
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setSwapInterval(0);
    QSurfaceFormat::setDefaultFormat(format);
}

/** Shows these frames, each until it has been painted. */
bool TestWidgetSoak::play(renderlib::CustomVideoWidget& widget, Gauge& gauge, int from, int to)
{
    for (int number = from; number < to; ++number) {
        if (number > 0 && number % FramesOfASize == 0) {
            expectMessage(
                QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
            widget.updateFrame(soakFrame(number));
        }
        gauge.wanted = number == to - 1;
        int const before = gauge.paints;
        widget.updateFrame(soakFrame(number));
        QElapsedTimer timer;
        timer.start();
        while (gauge.paints == before) {
            if (timer.hasExpired(5000))
                return false;
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
    }
    return true;
}

void TestWidgetSoak::tenThousandFrames_leaveMemoryAndObjectsFlat()
{
    renderlib::CustomVideoWidget widget;
    widget.resize(64, 36);
    Gauge gauge(&widget);
    QVERIFY(showVideo(widget));

    QVERIFY(play(widget, gauge, 0, WarmUp));
    Usage const before = gauge.usage;
    QVERIFY(play(widget, gauge, WarmUp, Frames));
    Usage const after = gauge.usage;

    qInfo("heap %lld -> %lld KiB, resident %lld -> %lld KiB, %d textures, %d programs",
        before.heap / 1024, after.heap / 1024, before.resident / 1024, after.resident / 1024,
        after.objects[0], after.objects[2]);
    QCOMPARE(after.objects, before.objects);
    QVERIFY(after.objects[0] > 0 && after.objects[2] > 0);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QSKIP("the sanitizer's own memory grows, and it has another allocator");
#endif
    QVERIFY2(after.heap - before.heap < HeapBound,
        qPrintable(QString::number(after.heap - before.heap)));
    QVERIFY2(after.resident - before.resident < ResidentBound,
        qPrintable(QString::number(after.resident - before.resident)));
}

QVORLIN_OPENGL_TEST_MAIN(TestWidgetSoak)

#include "tst_widgetsoak.moc"
