#include "childprocess.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool sendAll(int fd, const void* data, size_t size)
{
    auto bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = ::send(fd, bytes, size, MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes += sent;
        size -= size_t(sent);
    }
    return true;
}

bool receiveAll(int fd, void* data, size_t size)
{
    return size == 0 || ::recv(fd, data, size, MSG_WAITALL) == ssize_t(size);
}

std::vector<int> makePair()
{
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) < 0) {
        std::perror("socketpair");
        std::exit(1);
    }
    return {fds[0], fds[1]};
}

pid_t start(const std::function<void(Line&)>& body, const std::vector<int>& pair)
{
    // What is still in the buffer would be written twice.
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        std::perror("fork");
        std::exit(1);
    }
    if (pid == 0) {
        signal(SIGINT, SIG_IGN);
        close(pair[0]);
        {
            Line line(pair[1]);
            body(line);
        }
        std::fflush(nullptr);
        _exit(0);
    }
    close(pair[1]);
    return pid;
}

} // namespace

Line::Line(int fd)
    : mFd(fd)
{
    const timeval limit = {30, 0};
    setsockopt(mFd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(mFd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

Line::~Line()
{
    close(mFd);
}

bool Line::send(const std::vector<double>& values)
{
    const size_t count = values.size();
    return sendAll(mFd, &count, sizeof count) &&
           sendAll(mFd, values.data(), count * sizeof(double));
}

bool Line::receive(std::vector<double>& values)
{
    size_t count = 0;
    if (!receiveAll(mFd, &count, sizeof count))
        return false;
    values.resize(count);
    return receiveAll(mFd, values.data(), count * sizeof(double));
}

bool Line::wait()
{
    std::vector<double> nothing;
    return receive(nothing);
}

bool Line::isOpen() const
{
    char byte;
    return ::recv(mFd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) != 0;
}

void Line::hangUp()
{
    // Also where a later child has inherited this end.
    shutdown(mFd, SHUT_RDWR);
}

ChildProcess::ChildProcess(const std::function<void(Line&)>& body)
    : ChildProcess(body, makePair())
{}

ChildProcess::ChildProcess(const std::function<void(Line&)>& body, const std::vector<int>& pair)
    : mPid(start(body, pair))
    , mLine(pair[0])
{}

ChildProcess::~ChildProcess()
{
    mLine.hangUp();
    constexpr int patience = 2000;
    for (int ms = 0; ms < patience; ++ms) {
        if (waitpid(mPid, nullptr, WNOHANG) != 0)
            return;
        usleep(1000);
    }
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}
