#include "openglmodule.h"

QOpenGLContext::OpenGLModuleType openGLModule = QOpenGLContext::LibGL;

QOpenGLContext::OpenGLModuleType QOpenGLContext::openGLModuleType()
{
    return openGLModule;
}
