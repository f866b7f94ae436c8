#include "virtualtime.h"

#include <atomic>
#include <cerrno>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QMutex>
#include <QSet>
#include <QThread>

namespace {

constexpr qint64 NanosecondsPerSecond = 1000000000;
constexpr qint64 WholeSleep = -1;

std::atomic<bool> active{false};
std::atomic<qint64> wall{0};
std::atomic<qint64> monotonic{0};
QSet<pid_t> earlierThreads;

QMutex mutex;
QVector<qint64> begun;
QVector<qint64> ended;

thread_local QVector<clockid_t>* readings = nullptr;

bool isVirtual()
{
    return active && !earlierThreads.contains(gettid());
}

timespec toTimespec(qint64 nanoseconds)
{
    return {static_cast<time_t>(nanoseconds / NanosecondsPerSecond),
        static_cast<long>(nanoseconds % NanosecondsPerSecond)};
}

qint64 fromTimespec(timespec const& time)
{
    return time.tv_sec * NanosecondsPerSecond + time.tv_nsec;
}

// Past the functions below, which the C library's own waits would lead to.
void reallySleep()
{
    timespec const moment{0, 100000};
    syscall(SYS_nanosleep, &moment, nullptr);
}

void end(qint64 slept)
{
    QMutexLocker const lock(&mutex);
    ended.append(slept);
}

int virtualSleep(qint64 length)
{
    mutex.lock();
    begun.append(length);
    int const index = begun.size() - 1;
    while (index >= ended.size()) {
        if (!active || QThread::currentThread()->isInterruptionRequested())
            ended.append(0);
        mutex.unlock();
        reallySleep();
        mutex.lock();
    }
    qint64 const slept = ended.at(index);
    mutex.unlock();
    monotonic += slept == WholeSleep ? length : slept;
    if (slept == WholeSleep)
        return 0;
    errno = EINTR;
    return -1;
}

} // namespace

extern "C" Q_DECL_EXPORT int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (readings)
        readings->append(clock);
    if (active && clock == CLOCK_REALTIME) {
        *time = toTimespec(wall);
        return 0;
    }
    if (clock == CLOCK_MONOTONIC && isVirtual()) {
        *time = toTimespec(monotonic);
        return 0;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

extern "C" Q_DECL_EXPORT int nanosleep(timespec const* length, timespec* remaining)
{
    if (isVirtual())
        return virtualSleep(fromTimespec(*length));
    return static_cast<int>(syscall(SYS_nanosleep, length, remaining));
}

VirtualTime::VirtualTime(qint64 wallClock)
{
    Q_ASSERT(!active);
    earlierThreads.clear();
    QStringList const threads =
        QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (QString const& thread : threads)
        earlierThreads.insert(thread.toInt());
    wall = wallClock;
    monotonic = 0;
    begun.clear();
    ended.clear();
    active = true;
}

VirtualTime::~VirtualTime()
{
    active = false;
}

void VirtualTime::setWallClock(qint64 nanoseconds)
{
    wall = nanoseconds;
}

void VirtualTime::advance(qint64 nanoseconds)
{
    monotonic += nanoseconds;
}

qint64 VirtualTime::waitForSleep(int n)
{
    QDeadlineTimer const deadline(20000);
    while (!deadline.hasExpired()) {
        {
            QMutexLocker const lock(&mutex);
            if (begun.size() >= n)
                return begun.at(n - 1);
        }
        reallySleep();
    }
    return -1;
}

void VirtualTime::endSleep()
{
    end(WholeSleep);
}

void VirtualTime::interruptSleep(qint64 slept)
{
    end(slept);
}

QVector<clockid_t> VirtualTime::run(std::function<void()> const& body)
{
    QVector<clockid_t> clocks;
    std::thread thread([&] {
        readings = &clocks;
        body();
        readings = nullptr;
    });
    thread.join();
    return clocks;
}
