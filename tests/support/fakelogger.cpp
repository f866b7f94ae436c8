#include "fakelogger.h"

#include <cstdarg>
#include <utility>

#include <QMutex>

#include "logger.h"

namespace {

QMutex mutex;
QStringList calls;

void record(QString const& call)
{
    QMutexLocker const lock(&mutex);
    calls.append(call);
}

void recordLine(char const* kind, char const* format, va_list arguments)
{
    record(QLatin1String(kind) + QStringLiteral(": ") + QString::vasprintf(format, arguments));
}

} // namespace

QStringList fakelogger::takeCalls()
{
    QMutexLocker const lock(&mutex);
    return std::exchange(calls, {});
}

QStringList fakelogger::takeCalls(QString const& prefix)
{
    QStringList result = takeCalls();
    for (int i = result.size() - 1; i >= 0; --i) {
        if (!result[i].startsWith(prefix))
            result.removeAt(i);
    }
    return result;
}

namespace logger {

void setLevel(char const* level)
{
    record(QStringLiteral("setLevel ") + QString::fromLocal8Bit(level));
}

void openSyslog(char const* name, bool withPid)
{
    record(QStringLiteral("openSyslog %1 %2").arg(QString::fromLocal8Bit(name)).arg(withPid));
}

void openStdout()
{
    record(QStringLiteral("openStdout"));
}

void close()
{
    record(QStringLiteral("close"));
}

void print(Level level, char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    recordLine(qPrintable(QStringLiteral("print %1").arg(int(level))), format, arguments);
    va_end(arguments);
}

void error(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    recordLine("error", format, arguments);
    va_end(arguments);
}

void warning(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    recordLine("warning", format, arguments);
    va_end(arguments);
}

void info(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    recordLine("info", format, arguments);
    va_end(arguments);
}

void debug(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    recordLine("debug", format, arguments);
    va_end(arguments);
}

void trace(char const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    recordLine("trace", format, arguments);
    va_end(arguments);
}

Call::Call(char const* format, ...)
    : mStart(0)
{
    va_list arguments;
    va_start(arguments, format);
    QString const text = QString::vasprintf(format, arguments);
    va_end(arguments);
    qstrncpy(mText, qPrintable(text), sizeof(mText));
    record(QStringLiteral("enter: ") + text);
}

Call::~Call()
{
    record(QStringLiteral("leave: ") + QString::fromLocal8Bit(mText));
}

} // namespace logger
