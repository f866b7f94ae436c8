#ifndef SHM_ARITHMETIC_H
#define SHM_ARITHMETIC_H

#include <cstdint>
#include <limits>

namespace shm {

// Timestamps and positions out of shared memory may be any number at all; with 128 bits no sum or
// product of the few that meet can overflow.
__extension__ typedef __int128 Wide;

constexpr int64_t microsecondsPerSecond = 1000000;

/** Quotient rounded towards minus infinity; @p divisor is positive. */
constexpr Wide floorDivide(Wide value, Wide divisor)
{
    Wide const quotient = value / divisor;
    return value % divisor < 0 ? quotient - 1 : quotient;
}

/** Quotient rounded to the nearest, halves upwards; @p divisor is positive. */
constexpr Wide roundDivide(Wide value, Wide divisor)
{
    return floorDivide(2 * value + divisor, 2 * divisor);
}

constexpr Wide absolute(Wide value)
{
    return value < 0 ? -value : value;
}

constexpr int64_t toInt64(Wide value)
{
    constexpr Wide min = std::numeric_limits<int64_t>::min();
    constexpr Wide max = std::numeric_limits<int64_t>::max();
    return int64_t(value < min ? min : value > max ? max : value);
}

} // namespace shm

#endif
