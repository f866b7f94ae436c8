#include "syslogsocket.h"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr char path[] = "/dev/log";

// A socket file that nobody listens on is left by a test that was killed.
void removeStaleSocket(sockaddr_un const& address)
{
    int const probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool const stale =
        connect(probe, reinterpret_cast<sockaddr const*>(&address), sizeof address) < 0 &&
        errno == ECONNREFUSED;
    close(probe);
    if (stale)
        unlink(path);
}

} // namespace

SyslogSocket::SyslogSocket()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path, sizeof path);
    removeStaleSocket(address);

    int const fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address) < 0) {
        mProblem = QStringLiteral("can't make %1: %2")
                       .arg(QLatin1String(path), QString::fromLocal8Bit(strerror(errno)));
        close(fd);
        return;
    }
    chmod(path, 0666);
    mSocket = fd;
}

SyslogSocket::~SyslogSocket()
{
    if (mSocket < 0)
        return;
    close(mSocket);
    unlink(path);
}

QByteArray SyslogSocket::readLine(int timeoutMs)
{
    pollfd ready = {mSocket, POLLIN, 0};
    if (poll(&ready, 1, timeoutMs) <= 0)
        return QByteArray();
    char buffer[65536];
    ssize_t const length = recv(mSocket, buffer, sizeof buffer, 0);
    return length > 0 ? QByteArray(buffer, static_cast<int>(length)) : QByteArray();
}
