#include "contextfaults.h"

#include <dlfcn.h>

#include <QOpenGLContext>
#include <QOpenGLShaderProgram>

ContextFaults& contextFaults()
{
    static ContextFaults faults;
    return faults;
}

namespace {

/** Qt's own function behind one of these. */
template<typename Function>
Function* original(char const* symbol)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

bool QOpenGLContext::create()
{
    static auto* const create = original<bool(QOpenGLContext*)>("_ZN14QOpenGLContext6createEv");
    ++contextFaults().creations;
    contextFaults().creationParent = parent();
    if (contextFaults().failingCreations > 0) {
        --contextFaults().failingCreations;
        return false;
    }
    return create(this);
}

void QOpenGLContext::swapBuffers(QSurface* /*surface*/)
{
    ++contextFaults().swaps;
}

bool QOpenGLShaderProgram::hasOpenGLShaderPrograms(QOpenGLContext* context)
{
    static auto* const has = original<bool(QOpenGLContext*)>(
        "_ZN20QOpenGLShaderProgram23hasOpenGLShaderProgramsEP14QOpenGLContext");
    return !contextFaults().withoutShaderPrograms && has(context);
}
