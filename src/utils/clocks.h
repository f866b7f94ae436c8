#ifndef CLOCKS_H
#define CLOCKS_H

#include <chrono>

#include <QtGlobal>

/** What a std::chrono clock reads now, in nanoseconds since its epoch. */
template<typename Clock>
qint64 clockNanoseconds()
{
    using namespace std::chrono;
    return duration_cast<nanoseconds>(Clock::now().time_since_epoch()).count();
}

#endif
