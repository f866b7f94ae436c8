#ifndef SUPPORT_SYSTEMCALLS_H
#define SUPPORT_SYSTEMCALLS_H

#include <functional>

/**
 * Counts the system calls that @p body makes, in a traced process of its own in which @p prepare
 * has run before, uncounted. @return -1 when the process can't be traced or ends early
 */
long countSystemCalls(const std::function<void()>& prepare, const std::function<void()>& body);

#endif
