#ifndef EXTERNALPROCESS_H
#define EXTERNALPROCESS_H

#include <QString>
#include <QStringList>

#include "qvorlinexport.h"

/**
 * Runs a program and waits for its end.
 *
 * A @p program without a slash is looked for on the PATH. Each of @p arguments reaches it as one
 * argument, whatever it holds but a NUL, in the encoding of the locale; no shell is involved.
 *
 * @param output is replaced by what the program wrote to its standard output, split at each "\n":
 *     a newline at the end gives an empty last line, nothing at all a single empty one. Bytes are
 *     taken as Latin-1; carriage returns stay, a NUL ends the text. What the program wrote to its
 *     standard error is dropped.
 * @return the program's exit code, as QProcess has it: 255 when it could not be started, 0 when it
 *     has not ended in time or has no name, the number of the signal when one ended it
 *
 * Blocks the calling thread for up to 30 s until the program has started and 30 s more until it has
 * ended; a program that still runs then is killed, and @p output has what it wrote so far. Programs
 * that it started itself live on, and aren't waited for. Its standard input stays open without
 * anything to read, so that a program that reads it runs into this limit.
 *
 * Thread-safe; needs no event loop.
 */
QVORLIN_EXPORT int execExternalProcess(
    QString program, QStringList const& arguments, QStringList& output);

/** The same without the exit code; @return the lines of the standard output. */
QVORLIN_EXPORT QStringList execExternalProcess(QString program, QStringList const& arguments);

#endif
