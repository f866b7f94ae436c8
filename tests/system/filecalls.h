#ifndef FILECALLS_H
#define FILECALLS_H

#include <QStringList>

/** Stands in for libc's functions on files: notes the calls, and lets one of them fail. */
namespace filecalls {

/** Forgets what was noted and notes from now on. Nothing fails. */
void start();

/** What was called since start(), each as "name arguments"; notes no more. */
QStringList stop();

/**
 * Lets the call that is noted as @p call fail with @p error, whenever it comes. "*" at the end
 * stands for any arguments.
 */
void fail(QString const& call, int error);

} // namespace filecalls

#endif
