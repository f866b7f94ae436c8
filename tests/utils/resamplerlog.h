#ifndef RESAMPLERLOG_H
#define RESAMPLERLOG_H

#include <functional>

#include <QStringList>

/**
 * What the process asks of libswresample: add resamplerlog.cpp to the sources of the test program.
 * The calls are written down and go on to the libraries, unless they are to fail:
 *
 *     "alloc", "init", "free"
 *     "layout <option> <value>", "format <option> <value>", "int <option> <value>",
 *     "double <option> <value>": an option, with " flags" when it is searched for elsewhere
 *     "convert <room> <frames>", or "drain <room>" without input; of no frames " from nowhere"
 */
namespace resamplerlog {

/** The calls since the last time. */
QStringList takeCalls();

/** Contexts that were allocated and not freed yet. */
int contexts();

/** Lets the function of the next call that begins with @p call fail, once. */
void failNext(QString const& call);

} // namespace resamplerlog

#endif
