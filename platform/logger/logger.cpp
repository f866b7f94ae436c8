#include "logger.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include <strings.h>
#include <syslog.h>
#include <unistd.h>

namespace logger {
namespace {

struct LevelInfo
{
    char const* name;
    int syslogPriority;
};

// Indexed by Level. The system log has nothing below debugging.
constexpr LevelInfo levels[] = {
    {"fatal", LOG_CRIT},
    {"error", LOG_ERR},
    {"warning", LOG_WARNING},
    {"notice", LOG_NOTICE},
    {"info", LOG_INFO},
    {"debug", LOG_DEBUG},
    {"trace", LOG_DEBUG},
};
constexpr int levelCount = sizeof levels / sizeof levels[0];

std::atomic<int> threshold{Info};
std::atomic<bool> syslogOpen{false};
std::atomic<bool> stdoutOpen{false};

bool isEnabled(int level)
{
    return level <= threshold.load(std::memory_order_relaxed);
}

// A logger that changes errno changes the program that it watches.
class ErrnoKeeper
{
public:
    ErrnoKeeper()
        : mErrno(errno)
    {}
    ~ErrnoKeeper() { errno = mErrno; }
    ErrnoKeeper(ErrnoKeeper const&) = delete;
    ErrnoKeeper& operator=(ErrnoKeeper const&) = delete;

private:
    int mErrno;
};

// Room for short lines on the stack and for long ones on the heap.
class Buffer
{
public:
    // Returns null when there is no memory for a long line.
    char* reserve(size_t size)
    {
        if (size <= sizeof mShort)
            return mShort;
        mLong.reset(new (std::nothrow) char[size]);
        return mLong.get();
    }
    static constexpr size_t shortSize() { return sizeof mShort; }

private:
    char mShort[1024];
    std::unique_ptr<char[]> mLong;
};

// The bytes of one control character at text: 0 when there is none, 2 for those that UTF-8 writes
// as two bytes (a terminal obeys them as well).
size_t controlLength(char const* text)
{
    auto const first = static_cast<unsigned char>(text[0]);
    if (first < 0x20 || first == 0x7f)
        return 1;
    auto const second = static_cast<unsigned char>(text[1]);
    return first == 0xc2 && second >= 0x80 && second < 0xa0 ? 2 : 0;
}

constexpr size_t longestEscape = 4;

char* appendEscaped(char* out, unsigned char byte)
{
    switch (byte) {
    case '\n':
        return std::copy_n("\\n", 2, out);
    case '\r':
        return std::copy_n("\\r", 2, out);
    case '\t':
        return std::copy_n("\\t", 2, out);
    default:
        static constexpr char digits[] = "0123456789abcdef";
        *out++ = '\\';
        *out++ = 'x';
        *out++ = digits[byte >> 4];
        *out++ = digits[byte & 15];
        return out;
    }
}

// Writes the message without trailing line ends and with its control characters spelled out;
// returns the end. The room at out must hold longestEscape times the length.
char* appendSafe(char* out, char const* text, size_t length)
{
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
        --length;
    for (size_t i = 0; i < length;) {
        size_t const control = controlLength(text + i);
        if (control == 0) {
            *out++ = text[i++];
            continue;
        }
        out = appendEscaped(out, static_cast<unsigned char>(text[i + control - 1]));
        i += control;
    }
    return out;
}

constexpr size_t longestPrefix = 40;

char* appendPrefix(char* out, int level)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm local;
    localtime_r(&now.tv_sec, &local);
    size_t const date = strftime(out, longestPrefix, "%Y-%m-%d %H:%M:%S", &local);
    int const rest = snprintf(out + date, longestPrefix - date, ".%03ld %-7s ",
        now.tv_nsec / 1000000, levels[level].name);
    return out + date + rest;
}

// One write a line keeps lines whole. What a full disk or a closed pipe does not take is lost:
// there is nobody left to tell.
void writeLine(int fd, char const* line, size_t length)
{
    ssize_t written;
    do
        written = ::write(fd, line, length);
    while (written < 0 && errno == EINTR);
}

void writeMessage(int level, char const* message, size_t length)
{
    bool const toSyslog = syslogOpen.load(std::memory_order_acquire);
    bool const toStdout = stdoutOpen.load(std::memory_order_acquire);
    bool const toStderr = !toSyslog && !toStdout && level <= Warning;
    if (!toSyslog && !toStdout && !toStderr)
        return;

    Buffer buffer;
    size_t const size = longestPrefix + longestEscape * length + 2;
    char* const line = buffer.reserve(size);
    if (!line)
        return;
    char* const text = appendPrefix(line, level);
    char* end = appendSafe(text, message, length);
    *end = '\0';
    if (toSyslog)
        ::syslog(levels[level].syslogPriority, "%s", text);
    *end++ = '\n';
    if (toStdout)
        writeLine(STDOUT_FILENO, line, static_cast<size_t>(end - line));
    if (toStderr)
        writeLine(STDERR_FILENO, line, static_cast<size_t>(end - line));
}

void printList(int level, char const* format, va_list arguments)
{
    level = level < Fatal ? Fatal : level > Trace ? Trace : level;
    if (!isEnabled(level))
        return;
    ErrnoKeeper keeper;
    Buffer buffer;
    va_list again;
    va_copy(again, arguments);
    char* message = buffer.reserve(Buffer::shortSize());
    int const length = vsnprintf(message, Buffer::shortSize(), format, arguments);
    if (length >= static_cast<int>(Buffer::shortSize())) {
        message = buffer.reserve(static_cast<size_t>(length) + 1);
        if (message)
            vsnprintf(message, static_cast<size_t>(length) + 1, format, again);
    }
    va_end(again);
    if (!message)
        return;
    // A format that the C library refuses is better seen raw than not at all.
    if (length < 0)
        writeMessage(level, format, strlen(format));
    else
        writeMessage(level, message, static_cast<size_t>(length));
}

int64_t monotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

} // namespace

void setLevel(char const* level)
{
    for (int i = 0; level && i < levelCount; ++i) {
        char const digit[] = {static_cast<char>('0' + i), '\0'};
        if (strcasecmp(level, levels[i].name) == 0 || strcmp(level, digit) == 0) {
            threshold.store(i, std::memory_order_relaxed);
            return;
        }
    }
    warning("unknown log level \"%s\", keeping \"%s\"", level ? level : "(null)",
        levels[threshold.load(std::memory_order_relaxed)].name);
}

void openSyslog(char const* name, bool withPid)
{
    ::openlog(name, withPid ? LOG_PID : 0, LOG_USER);
    syslogOpen.store(true, std::memory_order_release);
}

void openStdout()
{
    stdoutOpen.store(true, std::memory_order_release);
}

void close()
{
    stdoutOpen.store(false, std::memory_order_release);
    if (syslogOpen.exchange(false, std::memory_order_acq_rel))
        ::closelog();
}

void print(Level level, char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printList(level, format, arguments);
    va_end(arguments);
}

void error(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printList(Error, format, arguments);
    va_end(arguments);
}

void warning(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printList(Warning, format, arguments);
    va_end(arguments);
}

void info(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printList(Info, format, arguments);
    va_end(arguments);
}

void debug(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printList(Debug, format, arguments);
    va_end(arguments);
}

void trace(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printList(Trace, format, arguments);
    va_end(arguments);
}

Call::Call(char const* format, ...)
    : mStart(-1)
{
    mText[0] = '\0';
    if (!isEnabled(Trace))
        return;
    ErrnoKeeper keeper;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(mText, sizeof mText, format, arguments);
    va_end(arguments);
    trace("> %s", mText);
    mStart = monotonicNanoseconds();
}

Call::~Call()
{
    if (mStart < 0)
        return;
    ErrnoKeeper keeper;
    int64_t const microseconds = (monotonicNanoseconds() - mStart) / 1000;
    trace("< %s (%lld.%03lld ms)", mText, static_cast<long long>(microseconds / 1000),
        static_cast<long long>(microseconds % 1000));
}

} // namespace logger
