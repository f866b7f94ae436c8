#include "displayserver.h"

#include <cstdio>
#include <cstdlib>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

pid_t displayServer()
{
    const char* const display = std::getenv("DISPLAY");
    if (!display || display[0] != ':')
        return -1;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(
        address.sun_path, sizeof address.sun_path, "/tmp/.X11-unix/X%d", std::atoi(display + 1));

    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0)
        return -1;
    // The kernel knows who listens at the other end.
    ucred server = {};
    socklen_t size = sizeof server;
    const bool isKnown =
        connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &server, &size) == 0;
    close(connection);
    return isKnown ? server.pid : -1;
}
