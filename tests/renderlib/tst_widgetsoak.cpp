#include "renderlib/customvideowidget.h"

#include <malloc.h>

#include <array>

#include <QFile>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPainter>
#include <QSurfaceFormat>
#include <QTest>

#include "opengltest.h"
#include "planarbuffer.h"
#include "testframes.h"
#include "videoscene.h"

namespace {

constexpr int Frames = 10000;
constexpr int FramesOfASize = 100;
/** Every size and format has been there, and the driver has what it keeps. */
constexpr int WarmUp = 1000;

// One frame, texture or program kept with each change of size would be a multiple of these.
constexpr qint64 HeapBound = 64 * 1024;
constexpr qint64 ResidentBound = 2 * 1024 * 1024;

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

/** A widget of its own for each run. */
class Player
{
public:
    Player() { mWidget.resize(64, 36); }

    bool show() { return showVideo(mWidget); }

    /** Shows all frames up to this one, each until it has been painted. */
    bool playTo(int end)
    {
        for (; mNext < end; ++mNext) {
            if (mNext > 0 && mNext % FramesOfASize == 0) {
                expectMessage(
                    QtInfoMsg, QStringLiteral("Frame format changed, surface will be stopped"));
                mWidget.updateFrame(soakFrame(mNext));
            }
            mGauge.wanted = mNext == end - 1;
            if (!showFrame(soakFrame(mNext)))
                return false;
        }
        return true;
    }

    Usage const& usage() const { return mGauge.usage; }

private:
    bool showFrame(QVideoFrame const& frame)
    {
        int const before = mGauge.paints;
        mWidget.updateFrame(frame);
        QElapsedTimer timer;
        timer.start();
        while (mGauge.paints == before && !timer.hasExpired(5000))
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        return mGauge.paints > before;
    }

    renderlib::CustomVideoWidget mWidget;
    Gauge mGauge{&mWidget};
    int mNext = 0;
};

} // namespace

class TestWidgetSoak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void tenThousandFrames_leaveMemoryAndObjectsFlat();
};

void TestWidgetSoak::initTestCase()
{
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setSwapInterval(0);
    QSurfaceFormat::setDefaultFormat(format);
}

void TestWidgetSoak::tenThousandFrames_leaveMemoryAndObjectsFlat()
{
    {
        Player player;
        QVERIFY(player.show());
        QVERIFY(player.playTo(WarmUp));
    }
    qint64 const heapBefore = heapInUse();
    Usage before;
    Usage after;
    qint64 heapPlaying = 0;
    {
        Player player;
        QVERIFY(player.show());
        QVERIFY(player.playTo(WarmUp));
        before = player.usage();
        QVERIFY(player.playTo(Frames));
        after = player.usage();
        heapPlaying = heapInUse();
    }
    // Only now: the driver keeps about a kilobyte for each start until the program is deleted.
    qint64 const heapAfter = heapInUse();

    qInfo("heap %lld KiB, %lld KiB playing, %lld KiB; resident %lld KiB, %lld KiB; "
          "%d textures, %d programs",
        heapBefore / 1024, heapPlaying / 1024, heapAfter / 1024, before.resident / 1024,
        after.resident / 1024, after.objects[0], after.objects[2]);
    QCOMPARE(after.objects, before.objects);
    QVERIFY(after.objects[0] > 0 && after.objects[2] > 0);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QSKIP("memory isn't compared: the sanitizer has an allocator of its own");
#else
    QVERIFY2(heapAfter - heapBefore < HeapBound, qPrintable(QString::number(heapAfter)));
    QVERIFY2(after.resident - before.resident < ResidentBound,
        qPrintable(QString::number(after.resident)));
#endif
}

QVORLIN_OPENGL_TEST_MAIN(TestWidgetSoak)

#include "tst_widgetsoak.moc"
