#ifndef OPENGLMODULE_H
#define OPENGLMODULE_H

#include <QOpenGLContext>

/**
 * What the program that links this takes Qt to be set up for; LibGL until a test changes it. Takes
 * the place of Qt's own answer.
 */
extern QOpenGLContext::OpenGLModuleType openGLModule;

/** Changes it for as long as it lives. */
class OpenGLModuleChange
{
public:
    explicit OpenGLModuleChange(QOpenGLContext::OpenGLModuleType type) { openGLModule = type; }
    ~OpenGLModuleChange() { openGLModule = QOpenGLContext::LibGL; }
};

#endif
