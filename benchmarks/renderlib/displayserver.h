#ifndef DISPLAYSERVER_H
#define DISPLAYSERVER_H

#include <sys/types.h>

/** The process of the X server that DISPLAY names, -1 when it isn't on this machine. */
pid_t displayServer();

#endif
