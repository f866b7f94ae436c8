#ifndef STREAMSTATES_H
#define STREAMSTATES_H

#include "streamobserver.h"

/** A state as the observer would tell it. */
inline StreamState streamState(
    bool present, QSize const& size = QSize(1920, 1080), double rate = 25)
{
    StreamState result;
    result.present = present;
    result.size = size;
    result.rate = rate;
    return result;
}

#endif
