#ifndef SHMEMREADERBENCH_H
#define SHMEMREADERBENCH_H

#include "utils/shmemreader.h"

#include "fakeshm.h"
#include "stillclock.h"

/** What the wall clock shows. */
constexpr qint64 Now = 1700000000000000;

/** A reader of the stream "camera" that no clock disturbs. */
struct Bench
{
    StillClock clock{Now};
    FakeShm shm;
    ShmemReader reader{QStringLiteral("camera")};

    QStringList takeCalls() { return shm.takeCalls(); }

    /** Opens the reader, has its liveness checked, and forgets the calls. */
    void settle()
    {
        reader.open();
        reader.getVideoFrameSize();
        shm.takeCalls();
    }
};

#endif
