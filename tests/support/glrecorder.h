#ifndef GLRECORDER_H
#define GLRECORDER_H

#include <QByteArray>
#include <QTest>
#include <QVector>

/**
 * Sees the OpenGL calls of the programs that link it, by handing wrappers to Qt when it looks the
 * functions up. Calls are passed on to the driver, unless they were told to fail.
 *
 * Knows the functions that painters of video and Qt's shader programs use; thread-bound.
 */
struct GlCall
{
    /** With its prefix, "glClear". */
    QByteArray name;
    /** The numbers among the arguments, in their order. */
    QVector<double> arguments;
    /** The last pointer among them. */
    void const* pointer = nullptr;
    /** What a pointer leads to, where it is known: names, a matrix, or all client arrays drawn. */
    QVector<double> values{};
    /** A string argument: shader text, name of a uniform or an attribute. */
    QByteArray text{};
    /** The name or location that the call returned. */
    double result = 0;
};

Q_DECLARE_METATYPE(GlCall)

using GlCalls = QVector<GlCall>;

/** Names and numbers only. */
bool operator==(GlCall const& left, GlCall const& right);

template<typename... Numbers>
GlCall glCall(char const* name, Numbers... numbers)
{
    return {name, {double(numbers)...}};
}

/** The calls of these functions among @p calls. */
GlCalls only(GlCalls const& calls, QVector<QByteArray> const& names);
/** All but the calls of these functions. */
GlCalls without(GlCalls const& calls, QVector<QByteArray> const& names);

namespace glrecorder {

/** Forgets all calls and records from now on. */
void start();
/** Ends the recording; @return its calls. */
GlCalls stop();

// What is made to fail does so until it is mended.

/** Every glTexImage2D does nothing but leave @p error behind for glGetError. */
void failTextureAllocation(unsigned int error);
/** Shaders of @p shaderType don't compile. */
void failCompile(unsigned int shaderType, QByteArray const& log);
/** Programs don't link. */
void failLink(QByteArray const& log);
void mend();

/**
 * Gives a uniform that the shader compiler has removed a location all the same, so that what it is
 * set to is recorded.
 */
void keepUniform(QByteArray const& name);

} // namespace glrecorder

// What comparisons that fail print.
namespace QTest {
template<>
char* toString(GlCall const& call);
template<>
char* toString(GlCalls const& calls);
} // namespace QTest

#endif
