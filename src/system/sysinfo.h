/**
 * The system information store: small values by name, shared by all processes of the system.
 *
 * A key is a file below the store's root and a value is what the file holds, byte for byte: nothing
 * is added when it is written, nothing is trimmed when it is read. A "/" in a key makes a group,
 * which is a directory. The root is the value of the environment variable SYSINFO_PROFILE, or
 * /tmp/sysinfo when that is unset or empty. It is looked up once, at the first use of the store,
 * and kept for the life of the process. Root and key together have room for 254 bytes; what is
 * longer is cut without an error. Keys are file names: "." and ".." in them mean what they mean
 * there.
 *
 * Directories have mode 0777 and files 0666 whatever the umask, so that every user's processes can
 * read and write the store. Writing gives that mode to each directory on the path that the caller
 * may change, those above the root included. A value's own mode only its owner and root may set:
 * anybody else's attempt to write it fails and leaves it empty.
 *
 * Threads and processes: every function is thread-safe. A value is locked (flock) from opening to
 * closing, by readers too, so that none ever sees a half-written one. The kernel releases the lock
 * of a process that dies. Opening the same key again before it is closed waits forever.
 *
 * Failures are results; nothing is logged.
 */
#ifndef SYSINFO_H
#define SYSINFO_H

#include <stdio.h>

#ifdef __cplusplus
#include <string>
#endif

#define SYSINFO_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Opens the value of @p key for writing and empties it; makes the key's groups first. Waits for
 * other readers and writers. What is written becomes the value with sysinfo_close().
 * @return null for a null or empty key, or when a directory, the file or the lock can't be had; a
 * signal handler without SA_RESTART that interrupts the wait is such a case
 */
SYSINFO_API FILE* sysinfo_open_write(const char* key);

/**
 * Opens the value of @p key for reading. Waits for other readers and writers.
 * @return null for a null or empty key, a missing value, or when the file or the lock can't be had
 */
SYSINFO_API FILE* sysinfo_open_read(const char* key);

/**
 * Ends what sysinfo_open_write() or sysinfo_open_read() began. Whether all of a value could be
 * written is what fflush() says before.
 * @return what fclose() says; EOF for null
 */
SYSINFO_API int sysinfo_close(FILE* stream);

/**
 * Reads a whole value.
 * @param defaultValue what to return a copy of when the value can't be read; may be null
 * @return a string that the caller frees with free(), or null when there is neither
 */
SYSINFO_API char* sysinfo_get_string(const char* key, const char* defaultValue);

/**
 * Takes a value apart; scanf-style.
 * @return how many items were assigned, EOF when the value ended before the first; 0 when it can't
 * be opened
 */
SYSINFO_API int sysinfo_get_format(const char* key, const char* format, ...)
    __attribute__((format(scanf, 2, 3)));

/**
 * Replaces a value, or makes it.
 * @return 1, or 0 when it can't be opened or not all of it could be written; what could be is then
 * the value. 0 for a null @p value, which changes nothing.
 */
SYSINFO_API int sysinfo_set_string(const char* key, const char* value);

/** The same with the decimal text of a number. */
SYSINFO_API int sysinfo_set_integer(const char* key, long value);

/** The same with formatted text; printf-style. @return 0 also when the text can't be formatted */
SYSINFO_API int sysinfo_set_format(const char* key, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/**
 * Removes a value, or a group with everything in it; the empty key is the whole store. Symbolic
 * links are removed, not followed. Takes no lock: who has the value open goes on with it.
 * @return 1, or 0 when there is nothing of that name or not all of it could be removed
 */
SYSINFO_API int sysinfo_remove(const char* key);

/**
 * Prints the names of the groups in @p group, which may be empty for the whole store, to standard
 * output, one a line, in no particular order.
 * @return 1, or 0 when there is no such group
 */
SYSINFO_API int sysinfo_list(const char* group);

#ifdef __cplusplus
} // extern "C"

namespace sysinfo {

/**
 * Reads a whole value, NUL bytes included.
 * @return @p defaultValue when the value can't be opened; never throws on account of the store
 */
SYSINFO_API std::string get_string(std::string key, std::string defaultValue);

} // namespace sysinfo
#endif

#endif
