/**
 * Logging to the system log and to standard output.
 *
 * Threads: every function may be called from any thread. A line is written by one call, so lines
 * of several threads never mix.
 *
 * A message has its trailing newlines removed and its other control characters escaped, so that
 * it never becomes two lines. Until a destination is opened, errors and warnings go to standard
 * error. What lies below the threshold is not even formatted.
 */
#ifndef LOGGER_H
#define LOGGER_H

#include <cstdint>

#define LOGGER_API __attribute__((visibility("default")))

namespace logger {

/** Importance of a line, most important first. */
enum Level : int
{
    Fatal = 0,
    Error = 1,
    Warning = 2,
    Notice = 3,
    Info = 4,
    Debug = 5,
    Trace = 6
};

/**
 * Sets the threshold: lines of this level and of more important ones are written (Info at first).
 * @param level "fatal", "error", "warning", "notice", "info", "debug" or "trace" in any case, or a
 * number 0 to 6. Anything else, null included, keeps the threshold and says so at Warning.
 */
LOGGER_API void setLevel(char const* level);

/**
 * Adds the system log as a destination, or opens it anew.
 * @param name identity of the lines; the pointer is kept and must stay valid until close()
 * @param withPid writes the process number behind the identity
 */
LOGGER_API void openSyslog(char const* name, bool withPid);

/** Adds standard output as a destination. */
LOGGER_API void openStdout();

/** Closes all destinations; the threshold stays. */
LOGGER_API void close();

/** Writes one line at @p level; printf-style. */
LOGGER_API void print(Level level, char const* format, ...) __attribute__((format(printf, 2, 3)));

/** Writes one line at the level of the name; printf-style. @{ */
LOGGER_API void error(char const* format, ...) __attribute__((format(printf, 1, 2)));
LOGGER_API void warning(char const* format, ...) __attribute__((format(printf, 1, 2)));
LOGGER_API void info(char const* format, ...) __attribute__((format(printf, 1, 2)));
LOGGER_API void debug(char const* format, ...) __attribute__((format(printf, 1, 2)));
LOGGER_API void trace(char const* format, ...) __attribute__((format(printf, 1, 2)));
/** @} */

/**
 * Writes entry to and exit from a scope at Trace, the exit with the elapsed time.
 *
 *     void Player::start()
 *     {
 *         logger::Call call("start");
 */
class LOGGER_API Call
{
public:
    explicit Call(char const* format, ...) __attribute__((format(printf, 2, 3)));
    ~Call();

    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;

private:
    int64_t mStart; // monotonic nanoseconds; negative: tracing was off at entry
    char mText[120];
};

} // namespace logger

#endif
