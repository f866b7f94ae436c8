#ifndef SUPPORT_CLOCKS_H
#define SUPPORT_CLOCKS_H

#include <sys/types.h>

/** Seconds of the monotonic clock. */
double monotonicTime();
/** Seconds of processor time that this process has used, all its threads together. */
double processorTime();
/** The same of the calling thread alone. */
double threadProcessorTime();
/** What another process has used; negative when there is none of this number. */
double processorTime(pid_t process);

/** Sleeps until the monotonic clock shows @p time. */
void sleepUntil(double time);

#endif
