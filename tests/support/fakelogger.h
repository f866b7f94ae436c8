#ifndef FAKELOGGER_H
#define FAKELOGGER_H

#include <QStringList>

/**
 * A logging library under the test's hand: link qvorlin_fake_logger, and its functions take the
 * place of the library's. Each call is written down, whatever its level:
 *
 *     "error: text"      a line; also warning, info, debug and trace
 *     "print 2: text"    a line at an explicit level
 *     "enter: text"      a scope is entered; "leave: text" when it is left
 *     "setLevel info", "openSyslog name 1", "openStdout", "close"
 *
 * Texts are as they were given, trailing newline included. Thread-safe.
 */
namespace fakelogger {

/** The calls since the last time, in their order. */
QStringList takeCalls();

/** Of the calls since the last time those that begin with @p prefix; the others are dropped. */
QStringList takeCalls(QString const& prefix);

} // namespace fakelogger

#endif
