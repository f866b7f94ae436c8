#ifndef QVORLINASSERT_H
#define QVORLINASSERT_H

#include <QtGlobal>

/**
 * Ends the process with Qt's own assertion message when @p condition does not hold, in every build
 * type: a program that breaks one of these rules would corrupt media in silence otherwise.
 *
 * @param text what the message quotes
 * @param source source file without its ending, such as "utils/videoconverter"
 */
#define QVORLIN_ASSERT(condition, text, source)                                                    \
    ((condition) ? static_cast<void>(0) : qt_assert(text, source, __LINE__))

#endif
