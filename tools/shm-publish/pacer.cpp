#include "pacer.h"

#include "failure.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>

namespace {

/** Readable from the first signal on; nobody ever empties it. */
int stopDescriptor = -1;

void onStopSignal(int)
{
    int const saved = errno;
    uint64_t const one = 1;
    [[maybe_unused]] ssize_t const written = write(stopDescriptor, &one, sizeof one);
    errno = saved;
}

} // namespace

Pacer::Pacer()
    : mTimer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
    , mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    stopDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (mTimer < 0 || mWake < 0 || stopDescriptor < 0) {
        close();
        throw Failure("no file descriptors for timer and events");
    }
    // Without SA_RESTART: an input that blocks in a system call has to notice the end as well.
    struct sigaction action = {};
    action.sa_handler = onStopSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Pacer::~Pacer()
{
    signal(SIGINT, SIG_IGN);
    signal(SIGTERM, SIG_IGN);
    close();
}

void Pacer::close()
{
    for (int* const descriptor : {&mTimer, &mWake, &stopDescriptor}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
}

Pacer::Event Pacer::wait(int64_t deadline)
{
    // All zero would disarm the timer, and what is past needs none.
    itimerspec timeout = {};
    timeout.it_value.tv_sec = deadline > 0 ? deadline / 1000000 : 0;
    timeout.it_value.tv_nsec = deadline > 0 ? deadline % 1000000 * 1000 : 1;
    timerfd_settime(mTimer, TFD_TIMER_ABSTIME, &timeout, nullptr);

    pollfd events[] = {{stopDescriptor, POLLIN, 0}, {mWake, POLLIN, 0}, {mTimer, POLLIN, 0}};
    while (poll(events, 3, -1) < 0 && errno == EINTR) {
    }
    if (events[0].revents)
        return Event::Stopped;
    if (events[1].revents) {
        uint64_t count = 0;
        [[maybe_unused]] ssize_t const taken = read(mWake, &count, sizeof count);
        return Event::Woken;
    }
    return Event::Due;
}

void Pacer::wake()
{
    uint64_t const one = 1;
    [[maybe_unused]] ssize_t const written = write(mWake, &one, sizeof one);
}

bool Pacer::stopRequested()
{
    pollfd event = {stopDescriptor, POLLIN, 0};
    return poll(&event, 1, 0) > 0;
}
