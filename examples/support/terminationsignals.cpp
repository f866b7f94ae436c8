#include "terminationsignals.h"

#include <cerrno>
#include <csignal>
#include <cstdint>

#include <sys/eventfd.h>
#include <unistd.h>

#include <QSocketNotifier>

namespace {

constexpr int Signals[] = {SIGINT, SIGTERM};

int eventFd = -1;

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (int const signal : Signals)
        sigaction(signal, &action, nullptr);
}

void onSignal(int /*signal*/)
{
    int const savedErrno = errno;
    std::uint64_t const one = 1;
    // It fails only when a signal is reported already.
    [[maybe_unused]] ssize_t const written = write(eventFd, &one, sizeof one);
    errno = savedErrno;
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent)
    : QObject(parent)
{
    eventFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    mNotifier = new QSocketNotifier(eventFd, QSocketNotifier::Read, this);
    connect(mNotifier, &QSocketNotifier::activated, this, &TerminationSignals::onReadable);
    setHandler(onSignal);
}

TerminationSignals::~TerminationSignals()
{
    setHandler(SIG_DFL);
    delete mNotifier;
    close(eventFd);
}

void TerminationSignals::onReadable()
{
    std::uint64_t count = 0;
    if (read(eventFd, &count, sizeof count) == sizeof count)
        Q_EMIT received();
}
