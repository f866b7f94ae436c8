// Qt is built without the thread sanitizer, which therefore doesn't see its locks, nor that waiting
// for a thread is one: these stand in front of Qt's own functions and tell it. Only code outside Qt
// comes through here.

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

#include <QMutex>
#include <QSemaphore>
#include <QThread>

namespace {

template<typename Object, typename Result, typename... Arguments>
Result callQt(char const* symbol, Object* object, Arguments... arguments)
{
    using Function = Result (*)(Object*, Arguments...);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol))(object, arguments...);
}

template<typename Object>
bool acquiredIf(bool acquired, Object* object)
{
    if (acquired)
        __tsan_acquire(object);
    return acquired;
}

} // namespace

void QMutex::lock()
{
    callQt<QMutex, void>("_ZN6QMutex4lockEv", this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout)
{
    return acquiredIf(callQt<QMutex, bool>("_ZN6QMutex7tryLockEi", this, timeout), this);
}

void QMutex::unlock() noexcept
{
    __tsan_release(this);
    callQt<QMutex, void>("_ZN6QMutex6unlockEv", this);
}

void QSemaphore::acquire(int n)
{
    callQt<QSemaphore, void>("_ZN10QSemaphore7acquireEi", this, n);
    __tsan_acquire(this);
}

bool QSemaphore::tryAcquire(int n)
{
    return acquiredIf(callQt<QSemaphore, bool>("_ZN10QSemaphore10tryAcquireEi", this, n), this);
}

bool QSemaphore::tryAcquire(int n, int timeout)
{
    return acquiredIf(
        callQt<QSemaphore, bool>("_ZN10QSemaphore10tryAcquireEii", this, n, timeout), this);
}

void QSemaphore::release(int n)
{
    __tsan_release(this);
    callQt<QSemaphore, void>("_ZN10QSemaphore7releaseEi", this, n);
}

void QThread::start(Priority priority)
{
    // The last that the thread itself does.
    QObject::connect(
        this, &QThread::finished, this, [this] { __tsan_release(this); }, Qt::DirectConnection);
    callQt<QThread, void>("_ZN7QThread5startENS_8PriorityE", this, priority);
}

// Weak, because a test may have its own.
__attribute__((weak)) bool QThread::wait(unsigned long time)
{
    return acquiredIf(callQt<QThread, bool>("_ZN7QThread4waitEm", this, time), this);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    return acquiredIf(
        callQt<QThread, bool>("_ZN7QThread4waitE14QDeadlineTimer", this, deadline), this);
}
