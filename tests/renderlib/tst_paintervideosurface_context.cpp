#include "renderlib/custompaintervideosurface.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QSignalSpy>
#include <QTest>

#include "contextfaults.h"
#include "fakepainters.h"
#include "opengltest.h"
#include "testframes.h"

using renderlib::CustomPainterVideoSurface;

namespace {

QVideoSurfaceFormat const Format(QSize(64, 36), QVideoFrame::Format_RGB32);

/** A context that has been current on a surface of its own, and is no longer. */
class Context
{
public:
    Context()
    {
        mSurface.create();
        if (!context.create() || !context.makeCurrent(&mSurface))
            qFatal("no OpenGL context");
        QOpenGLContext* const self = &context;
        // Another context takes its place, so that it keeps the surface.
        mOther.create();
        mOtherSurface.create();
        mOther.makeCurrent(&mOtherSurface);
        Q_ASSERT(self->surface() == &mSurface);
    }

    bool isCurrent() const
    {
        return QOpenGLContext::currentContext() == &context && context.surface() == &mSurface;
    }

    QOpenGLContext context;

private:
    QOffscreenSurface mSurface;
    QOpenGLContext mOther;
    QOffscreenSurface mOtherSurface;
};

struct Fixture
{
    Fixture()
    {
        fakePainters() = FakePainters();
        contextFaults() = ContextFaults();
    }

    /** Has the surface use shaders, and forgets how. */
    void useGlsl()
    {
        surface.setGLContext(&first.context);
        surface.setShaderType(CustomPainterVideoSurface::ShaderGlsl);
        formatsChanges.clear();
    }

    void start()
    {
        surface.start(Format);
        fakePainters().takeCalls();
    }

    Context first;
    Context second;
    CustomPainterVideoSurface surface;
    QSignalSpy formatsChanges{&surface, &QAbstractVideoSurface::supportedFormatsChanged};
};

void expectStop()
{
    expectMessage(
        QtWarningMsg, QStringLiteral("ResourceError: Painter was destroyed, surface stopped"));
}

QStringList const StopAndDelete{QStringLiteral("glsl stop"), QStringLiteral("glsl deleted")};

} // namespace

class TestPainterVideoSurfaceContext : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void setGLContext_makesItCurrentAndOffersShaders();
    void setGLContext_same_doesNothing();
    void setGLContext_withoutShaders_emitsNothing();
    void setGLContext_withoutShaderPrograms_offersNoShaders();
    void setGLContext_null_takesTheShadersAway();
    void setGLContext_anotherWhileActive_destroysThePainter();
    void setGLContext_worseWhileActive_fallsBackToNoShader();
    void setGLContext_inactive_keepsThePainter();
    void setGLContext_activeWithoutShaders_playsOn();

    void setShaderType_unsupported_isNone_data();
    void setShaderType_unsupported_isNone();
    void setShaderType_withoutShaderPrograms_emitsNothing();
    void setShaderType_same_doesNothing();
    void setShaderType_active_destroysThePainter();
    void setShaderType_inactive_deletesThePainter();
    void setShaderType_withoutPainter_emitsOnly();

    void start_glsl_createsThePainterInItsContext();
    void start_noShader_createsTheGenericPainter();
    void viewportDestroyed_tellsThePainterFirst();
};

void TestPainterVideoSurfaceContext::setGLContext_makesItCurrentAndOffersShaders()
{
    Fixture f;
    QVERIFY(!f.first.isCurrent());
    f.surface.setGLContext(&f.first.context);
    QCOMPARE(f.surface.glContext(), &f.first.context);
    QVERIFY(f.first.isCurrent());
    QCOMPARE(f.surface.supportedShaderTypes(),
        CustomPainterVideoSurface::ShaderTypes(CustomPainterVideoSurface::ShaderGlsl));
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderNone);
    QVERIFY(f.first.context.nativeHandle().isValid());
    QCOMPARE(f.surface.property("GLContext"), f.first.context.nativeHandle());
    // Nothing has changed yet for who asks for the formats.
    QCOMPARE(f.formatsChanges.size(), 0);
}

void TestPainterVideoSurfaceContext::setGLContext_same_doesNothing()
{
    Fixture f;
    f.surface.setGLContext(nullptr);
    f.useGlsl();
    f.start();
    f.second.context.makeCurrent(f.second.context.surface());
    f.surface.setGLContext(&f.first.context);
    QVERIFY(f.second.isCurrent());
    QVERIFY(f.surface.isActive());
    QCOMPARE(f.formatsChanges.size(), 0);
}

void TestPainterVideoSurfaceContext::setGLContext_withoutShaders_emitsNothing()
{
    Fixture f;
    f.surface.setGLContext(&f.first.context);
    f.surface.setGLContext(&f.second.context);
    f.surface.setGLContext(nullptr);
    QCOMPARE(f.formatsChanges.size(), 0);
}

void TestPainterVideoSurfaceContext::setGLContext_withoutShaderPrograms_offersNoShaders()
{
    Fixture f;
    contextFaults().withoutShaderPrograms = true;
    f.surface.setGLContext(&f.first.context);
    QCOMPARE(int(f.surface.supportedShaderTypes()), 0);
    QCOMPARE(f.surface.property("GLContext"), f.first.context.nativeHandle());
}

void TestPainterVideoSurfaceContext::setGLContext_null_takesTheShadersAway()
{
    Fixture f;
    f.useGlsl();
    f.surface.setGLContext(nullptr);
    QCOMPARE(f.surface.glContext(), nullptr);
    QCOMPARE(int(f.surface.supportedShaderTypes()), 0);
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(f.formatsChanges.size(), 1);
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
}

void TestPainterVideoSurfaceContext::setGLContext_anotherWhileActive_destroysThePainter()
{
    Fixture f;
    f.useGlsl();
    f.start();
    expectStop();
    f.surface.setGLContext(&f.second.context);
    QCOMPARE(fakePainters().takeCalls(), StopAndDelete);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::ResourceError);
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderGlsl);
    QCOMPARE(f.formatsChanges.size(), 1);
    QVERIFY(f.surface.supportedPixelFormats().isEmpty());
    QVERIFY(!f.surface.present(colourFrame(Qt::red)));
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::StoppedError);

    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("glsl created"));
    QCOMPARE(fakePainters().context, &f.second.context);
}

void TestPainterVideoSurfaceContext::setGLContext_worseWhileActive_fallsBackToNoShader()
{
    Fixture f;
    f.useGlsl();
    f.start();
    contextFaults().withoutShaderPrograms = true;
    expectStop();
    f.surface.setGLContext(&f.second.context);
    QCOMPARE(fakePainters().takeCalls(), StopAndDelete);
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(f.formatsChanges.size(), 1);
    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("generic created"));
}

void TestPainterVideoSurfaceContext::setGLContext_inactive_keepsThePainter()
{
    Fixture f;
    f.useGlsl();
    f.start();
    f.surface.stop();
    fakePainters().takeCalls();
    f.surface.setGLContext(&f.second.context);
    QVERIFY(fakePainters().calls.isEmpty());
    QCOMPARE(f.formatsChanges.size(), 1);
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
    QVERIFY(!f.surface.supportedPixelFormats().isEmpty());
}

void TestPainterVideoSurfaceContext::setGLContext_activeWithoutShaders_playsOn()
{
    Fixture f;
    f.start();
    f.surface.setGLContext(&f.first.context);
    QVERIFY(fakePainters().calls.isEmpty());
    QVERIFY(f.surface.isActive());
    QVERIFY(f.surface.present(colourFrame(Qt::red)));
}

void TestPainterVideoSurfaceContext::setShaderType_unsupported_isNone_data()
{
    QTest::addColumn<bool>("hasContext");
    QTest::addColumn<int>("type");
    QTest::newRow("GLSL without a context") << false << int(CustomPainterVideoSurface::ShaderGlsl);
    QTest::newRow("alternative without a context")
        << false << int(CustomPainterVideoSurface::ShaderAlternative);
    QTest::newRow("alternative") << true << int(CustomPainterVideoSurface::ShaderAlternative);
    QTest::newRow("none") << true << int(CustomPainterVideoSurface::ShaderNone);
}

void TestPainterVideoSurfaceContext::setShaderType_unsupported_isNone()
{
    QFETCH(bool, hasContext);
    QFETCH(int, type);
    Fixture f;
    if (hasContext) {
        f.useGlsl();
        f.surface.setShaderType(CustomPainterVideoSurface::ShaderType(type));
        QCOMPARE(f.formatsChanges.size(), 1);
    }
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderType(type));
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(f.formatsChanges.size(), hasContext ? 1 : 0);
}

void TestPainterVideoSurfaceContext::setShaderType_withoutShaderPrograms_emitsNothing()
{
    Fixture f;
    contextFaults().withoutShaderPrograms = true;
    f.surface.setGLContext(&f.first.context);
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderGlsl);
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(f.formatsChanges.size(), 0);
}

void TestPainterVideoSurfaceContext::setShaderType_same_doesNothing()
{
    Fixture f;
    f.useGlsl();
    f.start();
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderGlsl);
    QVERIFY(fakePainters().calls.isEmpty());
    QVERIFY(f.surface.isActive());
    QCOMPARE(f.formatsChanges.size(), 0);
}

void TestPainterVideoSurfaceContext::setShaderType_active_destroysThePainter()
{
    Fixture f;
    f.useGlsl();
    f.start();
    expectStop();
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(fakePainters().takeCalls(), StopAndDelete);
    QVERIFY(!f.surface.isActive());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::ResourceError);
    QCOMPARE(f.formatsChanges.size(), 1);

    // The other way round as well.
    f.start();
    expectStop();
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderGlsl);
    QCOMPARE(fakePainters().calls,
        (QStringList{QStringLiteral("generic stop"), QStringLiteral("generic deleted")}));
    QCOMPARE(f.formatsChanges.size(), 2);
}

void TestPainterVideoSurfaceContext::setShaderType_inactive_deletesThePainter()
{
    Fixture f;
    f.useGlsl();
    f.start();
    f.surface.stop();
    fakePainters().takeCalls();
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderNone);
    QCOMPARE(fakePainters().calls, QStringList(QStringLiteral("glsl deleted")));
    QVERIFY(f.surface.supportedPixelFormats().isEmpty());
    QCOMPARE(f.surface.error(), QAbstractVideoSurface::NoError);
    QCOMPARE(f.formatsChanges.size(), 1);
}

void TestPainterVideoSurfaceContext::setShaderType_withoutPainter_emitsOnly()
{
    Fixture f;
    f.surface.setGLContext(&f.first.context);
    f.surface.setShaderType(CustomPainterVideoSurface::ShaderGlsl);
    QCOMPARE(f.surface.shaderType(), CustomPainterVideoSurface::ShaderGlsl);
    QCOMPARE(f.formatsChanges.size(), 1);
    QVERIFY(fakePainters().calls.isEmpty());
}

void TestPainterVideoSurfaceContext::start_glsl_createsThePainterInItsContext()
{
    Fixture f;
    f.useGlsl();
    f.second.context.makeCurrent(f.second.context.surface());
    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("glsl created"));
    QCOMPARE(fakePainters().context, &f.first.context);
    QVERIFY(f.first.isCurrent());
}

void TestPainterVideoSurfaceContext::start_noShader_createsTheGenericPainter()
{
    Fixture f;
    f.surface.setGLContext(&f.first.context);
    QVERIFY(f.surface.start(Format));
    QCOMPARE(fakePainters().calls.first(), QStringLiteral("generic created"));
}

void TestPainterVideoSurfaceContext::viewportDestroyed_tellsThePainterFirst()
{
    Fixture f;
    f.useGlsl();
    f.start();
    f.surface.viewportDestroyed();
    QCOMPARE(fakePainters().calls,
        QStringList{QStringLiteral("glsl viewport destroyed")} << StopAndDelete);
}

QVORLIN_OPENGL_TEST_MAIN(TestPainterVideoSurfaceContext)

#include "tst_paintervideosurface_context.moc"
