#include "shm_presentation.h"

#include "shm_arithmetic.h"

namespace shm {

namespace {

/** Number of the grid's last instant at or before @p timestamp. */
Wide instantAt(int64_t timestamp, FrameRate grid)
{
    return floorDivide(Wide(timestamp) * grid.num, Wide(grid.den) * microsecondsPerSecond);
}

bool isSlower(FrameRate asked, FrameRate nominal, int64_t first, int64_t last, uint64_t count)
{
    if (nominal.num != 0)
        return uint64_t(asked.num) * nominal.den < uint64_t(nominal.num) * asked.den;
    if (count < 2 || last <= first)
        return false;
    // A measured rate wavers with the jitter of the frames, so one that is slower by less than a
    // twentieth counts as the same: asked / 0.95 < (count - 1) / (last - first).
    return 20 * Wide(asked.num) * (Wide(last) - first) <
           19 * Wide(asked.den) * microsecondsPerSecond * (count - 1);
}

} // namespace

Presentation::Presentation(
    FrameRate nominal, FrameRate asked, int64_t first, int64_t last, uint64_t count)
    : mNominal(nominal)
{
    bool const every = asked.num == 0 || (asked.num == 1 && asked.den == 1);
    if (!every && isSlower(asked, nominal, first, last, count))
        mGrid = asked;
}

bool Presentation::shows(Frame const& frame) const
{
    return mGrid.num == 0 || frame.number == 0 ||
           instantAt(frame.timestamp, mGrid) != instantAt(frame.previous, mGrid);
}

int64_t Presentation::interval() const
{
    FrameRate const rate = mGrid.num != 0 ? mGrid : mNominal;
    if (rate.num == 0)
        return 0;
    return int64_t(roundDivide(Wide(rate.den) * microsecondsPerSecond, rate.num));
}

} // namespace shm
