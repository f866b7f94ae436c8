#include "shm_pins.h"

#include <algorithm>

#include <unistd.h>

namespace shm {

WriterPins::WriterPins(UniqueFd file, uint32_t slotCount)
    : mFile(std::move(file))
    , mSlotCount(slotCount)
    , mRowCells(pinRowSize(slotCount) / sizeof(uint16_t))
    , mCopy(maximumReaderCount * mRowCells)
{}

void WriterPins::refresh()
{
    size_t const size = mCopy.size() * sizeof mCopy[0];
    mIsReadable = ::pread(mFile.get(), mCopy.data(), size, 0) == ssize_t(size);
    if (!mIsReadable)
        std::fill(mCopy.begin(), mCopy.end(), uint16_t(1));
    mLockCounts.fill(0);
    for (uint32_t number = 0; number < maximumReaderCount; ++number) {
        uint16_t const* const cells = row(number);
        for (uint32_t slot = 0; slot < mSlotCount; ++slot)
            mLockCounts[slot] += (cells[slot] + 1u) / 2;
    }
}

bool WriterPins::isRowInUse(uint32_t number) const
{
    uint16_t const* const cells = row(number);
    return std::any_of(cells, cells + mSlotCount, [](uint16_t cell) { return cell != 0; });
}

bool WriterPins::clearDeadRows()
{
    refresh();
    if (!mIsReadable)
        return false;
    std::vector<uint16_t> const zeros(mRowCells);
    size_t const size = mRowCells * sizeof zeros[0];
    bool cleared = false;
    for (uint32_t number = 0; number < maximumReaderCount; ++number) {
        // Holding the row keeps a new reader out of it while it's cleared.
        if (!isRowInUse(number) || !tryLockByte(mFile.get(), off_t(number)))
            continue;
        cleared |= ::pwrite(mFile.get(), zeros.data(), size, off_t(number * size)) == ssize_t(size);
        unlockByte(mFile.get(), off_t(number));
    }
    return cleared;
}

uint32_t WriterPins::countReaders() const
{
    uint32_t count = 0;
    for (uint32_t number = 0; number < maximumReaderCount; ++number)
        count += isByteLocked(mFile.get(), off_t(number));
    return count;
}

} // namespace shm
