#include "glrecorder.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>

#include <dlfcn.h>

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <QHash>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

namespace {

using AnyFunction = void (*)();

// Functions that are recorded as they are.
#define PLAIN_FUNCTIONS(X)                                                                         \
    X(ActiveTexture)                                                                               \
    X(AttachShader)                                                                                \
    X(BindTexture)                                                                                 \
    X(Clear)                                                                                       \
    X(ClearColor)                                                                                  \
    X(CompileShader)                                                                               \
    X(DeleteProgram)                                                                               \
    X(DeleteShader)                                                                                \
    X(DetachShader)                                                                                \
    X(Disable)                                                                                     \
    X(DisableVertexAttribArray)                                                                    \
    X(Enable)                                                                                      \
    X(EnableVertexAttribArray)                                                                     \
    X(IsEnabled)                                                                                   \
    X(LinkProgram)                                                                                 \
    X(PixelStorei)                                                                                 \
    X(TexParameterf)                                                                               \
    X(TexParameteri)                                                                               \
    X(TexSubImage2D)                                                                               \
    X(Uniform1i)                                                                                   \
    X(UseProgram)                                                                                  \
    X(Viewport)

// Functions that have a wrapper of their own.
#define SPECIAL_FUNCTIONS(X)                                                                       \
    X(DeleteTextures)                                                                              \
    X(DrawArrays)                                                                                  \
    X(GenTextures)                                                                                 \
    X(GetAttribLocation)                                                                           \
    X(GetError)                                                                                    \
    X(GetProgramInfoLog)                                                                           \
    X(GetProgramiv)                                                                                \
    X(GetShaderInfoLog)                                                                            \
    X(GetShaderiv)                                                                                 \
    X(GetUniformLocation)                                                                          \
    X(ShaderSource)                                                                                \
    X(TexImage2D)                                                                                  \
    X(UniformMatrix4fv)                                                                            \
    X(VertexAttribPointer)

#define X(name) name,
enum Function
{
    PLAIN_FUNCTIONS(X) SPECIAL_FUNCTIONS(X) FunctionCount
};
#undef X

#define X(name) "gl" #name,
char const* const Names[] = {PLAIN_FUNCTIONS(X) SPECIAL_FUNCTIONS(X)};
#undef X

AnyFunction drivers[FunctionCount];

/** The driver's own function. */
#define DRIVER(name) reinterpret_cast<decltype(&gl##name)>(drivers[name])

// No uniform has a location as high as this.
constexpr GLint KeptLocation = 4000;

struct ClientArray
{
    GLint size;
    GLfloat const* data;
};

struct Recorder
{
    bool recording = false;
    GlCalls calls;
    QHash<GLuint, ClientArray> arrays;
    QVector<QByteArray> keptUniforms;

    GLenum allocationError = GL_NO_ERROR;
    GLenum pendingError = GL_NO_ERROR;
    GLenum failingShaderType = GL_NONE;
    QByteArray shaderLog;
    bool linkFails = false;
    QByteArray linkLog;
} recorder;

template<typename Argument>
void note(GlCall& call, Argument argument)
{
    if constexpr (std::is_pointer_v<Argument>)
        call.pointer = argument;
    else
        call.arguments.append(double(argument));
}

/** Adds a call to the recording; @return it, to be completed. */
template<typename... Arguments>
GlCall& record(Function function, Arguments... arguments)
{
    static GlCall unrecorded;
    GlCall call{Names[function], {}};
    (note(call, arguments), ...);
    if (!recorder.recording)
        return unrecorded = call;
    recorder.calls.append(call);
    return recorder.calls.last();
}

template<Function Index, typename Signature>
struct Plain;
template<Function Index, typename Result, typename... Arguments>
struct Plain<Index, Result(Arguments...)>
{
    static Result call(Arguments... arguments)
    {
        record(Index, arguments...);
        return reinterpret_cast<Result (*)(Arguments...)>(drivers[Index])(arguments...);
    }
};

void recordDeleteTextures(GLsizei count, GLuint const* names)
{
    GlCall& call = record(DeleteTextures, count, names);
    std::copy_n(names, count, std::back_inserter(call.values));
    DRIVER(DeleteTextures)(count, names);
}

void recordGenTextures(GLsizei count, GLuint* names)
{
    GlCall& call = record(GenTextures, count, names);
    DRIVER(GenTextures)(count, names);
    std::copy_n(names, count, std::back_inserter(call.values));
}

void recordDrawArrays(GLenum mode, GLint first, GLsizei count)
{
    GlCall& call = record(DrawArrays, mode, first, count);
    QList<GLuint> locations = recorder.arrays.keys();
    std::sort(locations.begin(), locations.end());
    for (GLuint location : qAsConst(locations)) {
        ClientArray const& array = recorder.arrays[location];
        std::copy_n(array.data, count * array.size, std::back_inserter(call.values));
    }
    DRIVER(DrawArrays)(mode, first, count);
}

GLint recordGetAttribLocation(GLuint program, GLchar const* name)
{
    GLint const location = DRIVER(GetAttribLocation)(program, name);
    GlCall& call = record(GetAttribLocation, program);
    call.text = name;
    call.result = location;
    return location;
}

GLint recordGetUniformLocation(GLuint program, GLchar const* name)
{
    GLint location = DRIVER(GetUniformLocation)(program, name);
    int const kept = recorder.keptUniforms.indexOf(name);
    if (location == -1 && kept >= 0)
        location = KeptLocation + kept;
    GlCall& call = record(GetUniformLocation, program);
    call.text = name;
    call.result = location;
    return location;
}

GLenum recordGetError()
{
    record(GetError);
    GLenum const error = std::exchange(recorder.pendingError, GLenum(GL_NO_ERROR));
    return error ? error : DRIVER(GetError)();
}

void recordShaderSource(
    GLuint shader, GLsizei count, GLchar const* const* strings, GLint const* lengths)
{
    GlCall& call = record(ShaderSource, shader, count);
    for (GLsizei i = 0; i < count; ++i)
        call.text += QByteArray(strings[i], lengths ? lengths[i] : -1);
    DRIVER(ShaderSource)(shader, count, strings, lengths);
}

void recordTexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width,
    GLsizei height, GLint border, GLenum format, GLenum type, void const* pixels)
{
    record(TexImage2D, target, level, internalFormat, width, height, border, format, type, pixels);
    if (recorder.allocationError) {
        recorder.pendingError = recorder.allocationError;
        return;
    }
    DRIVER(TexImage2D)(target, level, internalFormat, width, height, border, format, type, pixels);
}

void recordUniformMatrix4fv(
    GLint location, GLsizei count, GLboolean transpose, GLfloat const* matrices)
{
    GlCall& call = record(UniformMatrix4fv, location, count, transpose, matrices);
    std::copy_n(matrices, 16 * count, std::back_inserter(call.values));
    if (location < KeptLocation)
        DRIVER(UniformMatrix4fv)(location, count, transpose, matrices);
}

void recordVertexAttribPointer(GLuint location, GLint size, GLenum type, GLboolean normalized,
    GLsizei stride, void const* data)
{
    record(VertexAttribPointer, location, size, type, normalized, stride, data);
    GLint buffer = 0;
    QOpenGLContext::currentContext()->functions()->glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &buffer);
    if (recorder.recording && buffer == 0 && type == GL_FLOAT && stride == 0)
        recorder.arrays[location] = {size, static_cast<GLfloat const*>(data)};
    DRIVER(VertexAttribPointer)(location, size, type, normalized, stride, data);
}

void copyLog(QByteArray const& log, GLsizei capacity, GLsizei* length, GLchar* text)
{
    GLsizei const copied = std::min(capacity - 1, GLsizei(log.size()));
    std::memcpy(text, log.constData(), size_t(copied));
    text[copied] = '\0';
    if (length)
        *length = copied;
}

bool failsToCompile(GLuint shader)
{
    GLint type = GL_NONE;
    DRIVER(GetShaderiv)(shader, GL_SHADER_TYPE, &type);
    return recorder.failingShaderType != GL_NONE && GLenum(type) == recorder.failingShaderType;
}

void recordGetShaderiv(GLuint shader, GLenum what, GLint* value)
{
    record(GetShaderiv, shader, what);
    DRIVER(GetShaderiv)(shader, what, value);
    if (!failsToCompile(shader))
        return;
    if (what == GL_COMPILE_STATUS)
        *value = GL_FALSE;
    else if (what == GL_INFO_LOG_LENGTH)
        *value = recorder.shaderLog.size() + 1;
}

void recordGetShaderInfoLog(GLuint shader, GLsizei capacity, GLsizei* length, GLchar* text)
{
    record(GetShaderInfoLog, shader, capacity);
    if (failsToCompile(shader))
        copyLog(recorder.shaderLog, capacity, length, text);
    else
        DRIVER(GetShaderInfoLog)(shader, capacity, length, text);
}

void recordGetProgramiv(GLuint program, GLenum what, GLint* value)
{
    record(GetProgramiv, program, what);
    DRIVER(GetProgramiv)(program, what, value);
    if (!recorder.linkFails)
        return;
    if (what == GL_LINK_STATUS)
        *value = GL_FALSE;
    else if (what == GL_INFO_LOG_LENGTH)
        *value = recorder.linkLog.size() + 1;
}

void recordGetProgramInfoLog(GLuint program, GLsizei capacity, GLsizei* length, GLchar* text)
{
    record(GetProgramInfoLog, program, capacity);
    if (recorder.linkFails)
        copyLog(recorder.linkLog, capacity, length, text);
    else
        DRIVER(GetProgramInfoLog)(program, capacity, length, text);
}

#define X(name) reinterpret_cast<AnyFunction>(&Plain<name, decltype(gl##name)>::call),
#define Y(name) reinterpret_cast<AnyFunction>(static_cast<decltype(&gl##name)>(&record##name)),
AnyFunction const Wrappers[] = {PLAIN_FUNCTIONS(X) SPECIAL_FUNCTIONS(Y)};
#undef X
#undef Y

AnyFunction wrapped(char const* name, AnyFunction driver)
{
    auto const found = std::find_if(std::begin(Names), std::end(Names),
        [name](char const* known) { return std::strcmp(known, name) == 0; });
    if (!driver || found == std::end(Names))
        return driver;
    auto const index = found - std::begin(Names);
    drivers[index] = driver;
    return Wrappers[index];
}

} // namespace

// Qt's platform plugins find every function through these two.
extern "C" {

__attribute__((visibility("default"))) AnyFunction glXGetProcAddress(GLubyte const* name)
{
    static auto const next =
        reinterpret_cast<AnyFunction (*)(GLubyte const*)>(dlsym(RTLD_NEXT, "glXGetProcAddress"));
    return wrapped(reinterpret_cast<char const*>(name), next(name));
}

__attribute__((visibility("default"))) AnyFunction eglGetProcAddress(char const* name)
{
    static auto const next = reinterpret_cast<AnyFunction (*)(char const*)>(
        dlsym(dlopen("libEGL.so.1", RTLD_LAZY), "eglGetProcAddress"));
    return wrapped(name, next(name));
}
}

bool operator==(GlCall const& left, GlCall const& right)
{
    return left.name == right.name && left.arguments == right.arguments;
}

GlCalls only(GlCalls const& calls, QVector<QByteArray> const& names)
{
    GlCalls result;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(result),
        [&](GlCall const& call) { return names.contains(call.name); });
    return result;
}

GlCalls without(GlCalls const& calls, QVector<QByteArray> const& names)
{
    GlCalls result;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(result),
        [&](GlCall const& call) { return !names.contains(call.name); });
    return result;
}

void glrecorder::start()
{
    recorder.calls.clear();
    recorder.arrays.clear();
    recorder.recording = true;
}

GlCalls glrecorder::stop()
{
    recorder.recording = false;
    recorder.arrays.clear();
    return std::exchange(recorder.calls, {});
}

void glrecorder::failTextureAllocation(unsigned int error)
{
    recorder.allocationError = error;
}

void glrecorder::failCompile(unsigned int shaderType, QByteArray const& log)
{
    recorder.failingShaderType = shaderType;
    recorder.shaderLog = log;
}

void glrecorder::failLink(QByteArray const& log)
{
    recorder.linkFails = true;
    recorder.linkLog = log;
}

void glrecorder::mend()
{
    recorder.allocationError = GL_NO_ERROR;
    recorder.failingShaderType = GL_NONE;
    recorder.linkFails = false;
}

void glrecorder::keepUniform(QByteArray const& name)
{
    recorder.keptUniforms.append(name);
}

namespace QTest {

template<>
char* toString(GlCall const& call)
{
    QByteArray text = call.name + '(';
    for (double argument : call.arguments)
        text += QByteArray::number(argument) + ' ';
    return qstrdup((text.trimmed() + ')').constData());
}

template<>
char* toString(GlCalls const& calls)
{
    QByteArray text;
    for (GlCall const& call : calls) {
        char* line = toString(call);
        text += '\n' + QByteArray(line);
        delete[] line;
    }
    return qstrdup(text.constData());
}

} // namespace QTest
