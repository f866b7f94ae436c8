#include "filecalls.h"

#include <cerrno>
#include <cstdio>

#include <dlfcn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

bool noting = false;
QStringList noted;
QString failing;
int failure = 0;

template<typename Function>
Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

QString octal(mode_t mode)
{
    return QString::number(mode, 8);
}

/** Notes the call; false, with errno set, when it has to fail. */
bool passes(QString const& call)
{
    if (!noting)
        return true;
    noted += call;
    const bool fails =
        failing.endsWith(QLatin1Char('*')) ? call.startsWith(failing.chopped(1)) : call == failing;
    if (fails)
        errno = failure;
    return !fails;
}

} // namespace

void filecalls::start()
{
    noted.clear();
    failing.clear();
    noting = true;
}

QStringList filecalls::stop()
{
    noting = false;
    return noted;
}

void filecalls::fail(QString const& call, int error)
{
    failing = call;
    failure = error;
}

EXPORTED FILE* fopen(char const* path, char const* mode)
{
    static auto* const real = next<FILE*(char const*, char const*)>("fopen");
    // How the file is passed on to other programs is not the matter here.
    QString const kind = QString::fromLatin1(mode).remove(QLatin1Char('e'));
    QString const call = QStringLiteral("fopen %1 %2").arg(QString::fromLocal8Bit(path), kind);
    return passes(call) ? real(path, mode) : nullptr;
}

EXPORTED int mkdir(char const* path, mode_t mode) noexcept
{
    static auto* const real = next<int(char const*, mode_t)>("mkdir");
    QString const call =
        QStringLiteral("mkdir %1 %2").arg(QString::fromLocal8Bit(path), octal(mode));
    return passes(call) ? real(path, mode) : -1;
}

EXPORTED int chmod(char const* path, mode_t mode) noexcept
{
    static auto* const real = next<int(char const*, mode_t)>("chmod");
    QString const call =
        QStringLiteral("chmod %1 %2").arg(QString::fromLocal8Bit(path), octal(mode));
    return passes(call) ? real(path, mode) : -1;
}

EXPORTED int fchmod(int fd, mode_t mode) noexcept
{
    static auto* const real = next<int(int, mode_t)>("fchmod");
    return passes(QStringLiteral("fchmod %1").arg(octal(mode))) ? real(fd, mode) : -1;
}

EXPORTED int ftruncate(int fd, off_t size) noexcept
{
    static auto* const real = next<int(int, off_t)>("ftruncate");
    return passes(QStringLiteral("ftruncate %1").arg(size)) ? real(fd, size) : -1;
}

EXPORTED int flock(int fd, int operation) noexcept
{
    static auto* const real = next<int(int, int)>("flock");
    QString const name = operation == LOCK_EX   ? QStringLiteral("exclusive")
                         : operation == LOCK_UN ? QStringLiteral("unlock")
                                                : QString::number(operation);
    return passes(QStringLiteral("flock ") + name) ? real(fd, operation) : -1;
}

EXPORTED int fclose(FILE* stream)
{
    static auto* const real = next<int(FILE*)>("fclose");
    // It closes in any case.
    const bool passed = passes(QStringLiteral("fclose"));
    const int error = errno;
    const int result = real(stream);
    if (passed)
        return result;
    errno = error;
    return EOF;
}
