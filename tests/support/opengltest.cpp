#include "opengltest.h"

#include <QSurfaceFormat>

bool isOpenGLESRun()
{
    QByteArray const api = qgetenv("QVORLIN_TEST_OPENGL");
    if (api != "es" && api != "desktop" && !api.isEmpty())
        qFatal("QVORLIN_TEST_OPENGL is '%s', neither 'desktop' nor 'es'", api.constData());
    return api == "es";
}

void selectOpenGL()
{
    QSurfaceFormat format;
    if (isOpenGLESRun()) {
        format.setRenderableType(QSurfaceFormat::OpenGLES);
        format.setVersion(2, 0);
    } else {
        format.setRenderableType(QSurfaceFormat::OpenGL);
    }
    QSurfaceFormat::setDefaultFormat(format);
}
