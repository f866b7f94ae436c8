// Holds the display as its master, as the program does that shows something; ends with its input.

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include <xf86drm.h>

int main()
{
    int const card = open("/dev/dri/card0", O_RDWR | O_CLOEXEC);
    bool const isMaster = card >= 0 && drmSetMaster(card) == 0 && drmIsMaster(card);
    std::printf("master %d\ntold\n", int(isMaster));
    std::fflush(stdout);
    char byte;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return isMaster ? 0 : 1;
}
