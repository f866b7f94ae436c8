#include "renderlib/custompaintervideosurface.h"

#include <QSignalSpy>
#include <QTest>

#include "fakepainters.h"
#include "messagecheck.h"
#include "testframes.h"

using renderlib::CustomPainterVideoSurface;

namespace {

QVideoSurfaceFormat const Format(QSize(64, 36), QVideoFrame::Format_RGB32);

/** A surface that has been started unless the test wants to do so, its calls taken. */
struct Fixture
{
    enum State
    {
        Inactive,
        Active
    };

    explicit Fixture(State state = Active)
    {
        fakePainters() = FakePainters();
        if (state == Active) {
            surface.start(Format);
            fakePainters().takeCalls();
            formatChanges.clear();
            activeChanges.clear();
        }
    }

    CustomPainterVideoSurface surface;
    QSignalSpy formatChanges{&surface, &QAbstractVideoSurface::surfaceFormatChanged};
    QSignalSpy activeChanges{&surface, &QAbstractVideoSurface::activeChanged};
};

QStringList calls(std::initializer_list<char const*> names)
{
    QStringList result;
    for (char const* name : names)
        result.append(QString::fromLatin1(name));
    return result;
}

QStringList const NoCalls;

} // namespace

class TestPainterVideoSurface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construct_hasDefaults();
    void shaderTypes_haveFixedValues();
    void metaObject_hasOneSignalAndOneSlot();
    void beforeTheFirstStart_nothingIsSupported();
    void started_supportsWhatThePainterDoes();
    void stopped_stillSupportsWhatThePainterDoes();
    void setBackgroundColor_reachesThePainter();
    void setAspectRatioMode_reachesThePainter();

    void start_createsAPainterAndTellsItTheSettings();
    void start_makesTheSurfaceActive();
    void start_withoutSize_isUnsupported_data();
    void start_withoutSize_isUnsupported();
    void start_whileActive_stopsThePainterAndKeepsIt();
    void start_painterFails_reportsItsError();
    void start_painterFails_keepsThePainter();
    void start_afterAFailure_clearsTheError();

    void stop_inactive_doesNothing();
    void stop_keepsThePainter();
    void destroy_active_stopsAndDeletesThePainter();
    void destroy_inactive_deletesThePainter();

    void viewportDestroyed_withoutPainter_doesNothing();
    void viewportDestroyed_active_stopsAndDeletesThePainter();
    void viewportDestroyed_inactive_deletesThePainter();
};

void TestPainterVideoSurface::construct_hasDefaults()
{
    Fixture f(Fixture::Inactive);
    QObject parent;
    auto* child = new CustomPainterVideoSurface(&parent);
    QCOMPARE(child->parent(), &parent);
    QCOMPARE(f.surface.parent(), nullptr);
    QCOMPARE(f.surface.glContext(), nullptr);
    QCOMPARE(int(f.surface.supportedShaderTypes()), 0);
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(f.surface.backgroundColor(), QColor(Qt::black));
    QCOMPARE(f.surface.aspectRatioMode(), Qt::KeepAspectRatio);
    QCOMPARE(f.surface.isActive(), false);
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
    QVERIFY(f.surface.dynamicPropertyNames().isEmpty());
}

void TestPainterVideoSurface::shaderTypes_haveFixedValues()
{
    QCOMPARE(int(CustomPainterVideoSurface::ShaderNone), 0);
    QCOMPARE(int(CustomPainterVideoSurface::ShaderAlternative), 1);
    QCOMPARE(int(CustomPainterVideoSurface::ShaderGlsl), 2);
}

void TestPainterVideoSurface::metaObject_hasOneSignalAndOneSlot()
{
    QMetaObject const& meta = CustomPainterVideoSurface::staticMetaObject;
    QCOMPARE(meta.className(), "renderlib::CustomPainterVideoSurface");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QVERIFY(meta.indexOfSignal("frameChanged()") >= meta.methodOffset());
    QVERIFY(meta.indexOfSlot("viewportDestroyed()") >= meta.methodOffset());
}

void TestPainterVideoSurface::beforeTheFirstStart_nothingIsSupported()
{
    Fixture f(Fixture::Inactive);
    QVERIFY(f.surface.supportedPixelFormats().isEmpty());
    QVERIFY(f.surface.supportedPixelFormats(QAbstractVideoBuffer::GLTextureHandle).isEmpty());
    QVERIFY(!f.surface.isFormatSupported(Format));
    QCOMPARE(fakePainters().calls, NoCalls);
}

void TestPainterVideoSurface::started_supportsWhatThePainterDoes()
{
    Fixture f;
    fakePainters().supported = {QVideoFrame::Format_NV12, QVideoFrame::Format_ARGB32};
    QCOMPARE(f.surface.supportedPixelFormats(QAbstractVideoBuffer::GLTextureHandle),
        fakePainters().supported);
    QCOMPARE(fakePainters().askedHandleType, QAbstractVideoBuffer::GLTextureHandle);
    f.surface.supportedPixelFormats();
    QCOMPARE(fakePainters().askedHandleType, QAbstractVideoBuffer::NoHandle);
    QVERIFY(!f.surface.isFormatSupported(Format));
    QVERIFY(f.surface.isFormatSupported({QSize(1, 1), QVideoFrame::Format_NV12}));
}

void TestPainterVideoSurface::stopped_stillSupportsWhatThePainterDoes()
{
    Fixture f;
    f.surface.stop();
    QCOMPARE(f.surface.supportedPixelFormats(), fakePainters().supported);
    QVERIFY(f.surface.isFormatSupported(Format));
}

void TestPainterVideoSurface::setBackgroundColor_reachesThePainter()
{
    Fixture f(Fixture::Inactive);
    f.surface.setBackgroundColor(Qt::red);
    QCOMPARE(f.surface.backgroundColor(), QColor(Qt::red));
    QCOMPARE(fakePainters().calls, NoCalls);

    f.surface.start(Format);
    fakePainters().takeCalls();
    f.surface.setBackgroundColor(Qt::blue);
    QCOMPARE(f.surface.backgroundColor(), QColor(Qt::blue));
    QCOMPARE(fakePainters().calls, calls({"generic background"}));
    QCOMPARE(fakePainters().backgroundColor, QColor(Qt::blue));
}

void TestPainterVideoSurface::setAspectRatioMode_reachesThePainter()
{
    Fixture f(Fixture::Inactive);
    f.surface.setAspectRatioMode(Qt::IgnoreAspectRatio);
    QCOMPARE(f.surface.aspectRatioMode(), Qt::IgnoreAspectRatio);
    QCOMPARE(fakePainters().calls, NoCalls);

    f.surface.start(Format);
    fakePainters().takeCalls();
    f.surface.setAspectRatioMode(Qt::KeepAspectRatioByExpanding);
    QCOMPARE(f.surface.aspectRatioMode(), Qt::KeepAspectRatioByExpanding);
    QCOMPARE(fakePainters().calls, calls({"generic aspect ratio"}));
    QCOMPARE(fakePainters().aspectRatioMode, Qt::KeepAspectRatioByExpanding);
}

void TestPainterVideoSurface::start_createsAPainterAndTellsItTheSettings()
{
    Fixture f(Fixture::Inactive);
    f.surface.setBackgroundColor(Qt::green);
    f.surface.setAspectRatioMode(Qt::IgnoreAspectRatio);
    QVideoSurfaceFormat format = Format;
    format.setProperty("mirrored", true);
    QVERIFY(f.surface.start(format));
    QCOMPARE(fakePainters().calls,
        calls({"generic created", "generic background", "generic aspect ratio", "generic start"}));
    QCOMPARE(fakePainters().backgroundColor, QColor(Qt::green));
    QCOMPARE(fakePainters().aspectRatioMode, Qt::IgnoreAspectRatio);
    QCOMPARE(fakePainters().format, format);
}

void TestPainterVideoSurface::start_makesTheSurfaceActive()
{
    Fixture f(Fixture::Inactive);
    QVERIFY(f.surface.start(Format));
    QVERIFY(f.surface.isActive());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
    QCOMPARE(f.surface.surfaceFormat(), Format);
    QCOMPARE(f.formatChanges.size(), 1);
    QCOMPARE(f.formatChanges.first().first().value<QVideoSurfaceFormat>(), Format);
    QCOMPARE(f.activeChanges.size(), 1);
}

void TestPainterVideoSurface::start_withoutSize_isUnsupported_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("no width") << QSize(0, 36);
    QTest::newRow("no height") << QSize(64, 0);
    QTest::newRow("negative width") << QSize(-64, 36);
    QTest::newRow("negative height") << QSize(64, -36);
    QTest::newRow("invalid") << QSize();
}

void TestPainterVideoSurface::start_withoutSize_isUnsupported()
{
    QFETCH(QSize, size);
    Fixture f(Fixture::Inactive);
    expectMessage(QtWarningMsg, QStringLiteral("Unsupported surface format"));
    QVERIFY(!f.surface.start({size, QVideoFrame::Format_RGB32}));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::UnsupportedFormatError);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(fakePainters().calls, NoCalls);
}

void TestPainterVideoSurface::start_whileActive_stopsThePainterAndKeepsIt()
{
    Fixture f;
    QVideoSurfaceFormat const other(QSize(32, 32), QVideoFrame::Format_RGB32);
    QVERIFY(f.surface.start(other));
    QCOMPARE(fakePainters().calls,
        calls({"generic stop", "generic background", "generic aspect ratio", "generic start"}));
    QVERIFY(f.surface.isActive());
    QCOMPARE(f.surface.surfaceFormat(), other);
    QCOMPARE(f.formatChanges.size(), 1);
    QCOMPARE(f.activeChanges.size(), 0);
}

void TestPainterVideoSurface::start_painterFails_reportsItsError()
{
    Fixture f(Fixture::Inactive);
    fakePainters().startError = QAbstractVideoSurface::ResourceError;
    expectMessage(QtWarningMsg, QStringLiteral("Painter failed to start surface, error :  4"));
    QVERIFY(!f.surface.start(Format));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::ResourceError);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(f.formatChanges.size(), 0);
    QVERIFY(!f.surface.present(colourFrame(Qt::red)));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::StoppedError);
}

void TestPainterVideoSurface::start_painterFails_keepsThePainter()
{
    Fixture f(Fixture::Inactive);
    fakePainters().startError = QAbstractVideoSurface::UnsupportedFormatError;
    expectMessage(QtWarningMsg, QStringLiteral("Painter failed to start surface, error :  1"));
    QVERIFY(!f.surface.start(Format));
    fakePainters().takeCalls();
    fakePainters().startError = QAbstractVideoSurface::NoError;
    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls,
        calls({"generic background", "generic aspect ratio", "generic start"}));
}

void TestPainterVideoSurface::start_afterAFailure_clearsTheError()
{
    Fixture f(Fixture::Inactive);
    expectMessage(QtWarningMsg, QStringLiteral("Unsupported surface format"));
    QVERIFY(!f.surface.start(QVideoSurfaceFormat()));
    QVERIFY(f.surface.start(Format));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
}

void TestPainterVideoSurface::stop_inactive_doesNothing()
{
    Fixture f(Fixture::Inactive);
    f.surface.stop();
    f.surface.start(Format);
    f.surface.stop();
    fakePainters().takeCalls();
    f.formatChanges.clear();
    f.surface.stop();
    QCOMPARE(fakePainters().calls, NoCalls);
    QCOMPARE(f.formatChanges.size(), 0);
}

void TestPainterVideoSurface::stop_keepsThePainter()
{
    Fixture f;
    f.surface.stop();
    QCOMPARE(fakePainters().takeCalls(), calls({"generic stop"}));
    QVERIFY(!f.surface.isActive());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
    QCOMPARE(f.surface.surfaceFormat(), QVideoSurfaceFormat());
    QCOMPARE(f.activeChanges.size(), 1);
    QVERIFY(!f.surface.present(colourFrame(Qt::red)));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::StoppedError);

    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls,
        calls({"generic background", "generic aspect ratio", "generic start"}));
}

void TestPainterVideoSurface::destroy_active_stopsAndDeletesThePainter()
{
    fakePainters() = FakePainters();
    {
        Fixture f;
    }
    QCOMPARE(fakePainters().calls, calls({"generic stop", "generic deleted"}));
}

void TestPainterVideoSurface::destroy_inactive_deletesThePainter()
{
    {
        Fixture f;
        f.surface.stop();
        fakePainters().takeCalls();
    }
    QCOMPARE(fakePainters().takeCalls(), calls({"generic deleted"}));
    {
        Fixture f(Fixture::Inactive);
    }
    QCOMPARE(fakePainters().calls, NoCalls);
}

void TestPainterVideoSurface::viewportDestroyed_withoutPainter_doesNothing()
{
    Fixture f(Fixture::Inactive);
    f.surface.viewportDestroyed();
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
}

void TestPainterVideoSurface::viewportDestroyed_active_stopsAndDeletesThePainter()
{
    Fixture f;
    QVERIFY(QMetaObject::invokeMethod(&f.surface, "viewportDestroyed"));
    QCOMPARE(fakePainters().takeCalls(), calls({"generic stop", "generic deleted"}));
    QVERIFY(!f.surface.isActive());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::ResourceError);
    QVERIFY(f.surface.supportedPixelFormats().isEmpty());

    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("generic created"));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
}

void TestPainterVideoSurface::viewportDestroyed_inactive_deletesThePainter()
{
    Fixture f;
    f.surface.stop();
    fakePainters().takeCalls();
    f.surface.viewportDestroyed();
    QCOMPARE(fakePainters().calls, calls({"generic deleted"}));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::ResourceError);
}

QVORLIN_TEST_MAIN(QGuiApplication, TestPainterVideoSurface)

#include "tst_paintervideosurface.moc"
