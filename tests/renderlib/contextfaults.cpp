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
    if (contextFaults().failingCreations > 0) {
        --contextFaults().failingCreations;
        return false;
    }
    return create(this);
}

void QOpenGLContext::swapBuffers(QSurface* surface)
{
    static auto* const swap =
        original<void(QOpenGLContext*, QSurface*)>("_ZN14QOpenGLContext11swapBuffersEP8QSurface");
    ++contextFaults().swaps;
    swap(this, surface);
}

bool QOpenGLShaderProgram::hasOpenGLShaderPrograms(QOpenGLContext* context)
{
    static auto* const has = original<bool(QOpenGLContext*)>(
        "_ZN20QOpenGLShaderProgram23hasOpenGLShaderProgramsEP14QOpenGLContext");
    return !contextFaults().withoutShaderPrograms && has(context);
}
