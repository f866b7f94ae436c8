#ifndef SYSINFOVALUE_H
#define SYSINFOVALUE_H

#include <QString>

#include "qvorlinexport.h"

/**
 * Reads a value of the system information store (see sysinfo.h) as UTF-8 text, up to its first NUL
 * byte. Nothing is trimmed: a newline at the end belongs to the value.
 *
 * Returns @p defaultValue when the value can't be opened. Waits while another process reads or
 * writes it. Thread-safe.
 */
QVORLIN_EXPORT QString getSysinfoValue(QString key, QString defaultValue);

#endif
