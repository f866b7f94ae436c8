/**
 * Pins tell the writer which slots readers hold. They lie in a file of their own, the only one
 * that readers may write: one row per reader, one 16-bit cell per slot.
 *
 * A cell is 0 when nothing is held and 2n - 1 when its reader holds n locks on the slot. The low
 * byte of a cell in use is thus never 0, and a copy made while the cell changes can't look free.
 *
 * A reader holds a lock on the byte of the file that has the number of its row; the kernel drops
 * it when the reader dies, and its row can then be cleared.
 */
#ifndef SHM_PINS_H
#define SHM_PINS_H

#include "shm_file.h"
#include "shm_layout.h"

#include <array>
#include <optional>
#include <vector>

namespace shm {

/** One reader's row. */
class ReaderPins
{
public:
    /**
     * Opens the pins file and takes a free row.
     * @return nothing, with errno set, on failure; EUSERS: every row is taken.
     */
    static std::optional<ReaderPins> open(
        int place, std::string const& fileName, uint32_t slotCount);

    ReaderPins(ReaderPins&&) = default;
    ReaderPins& operator=(ReaderPins&&) = delete;
    ~ReaderPins();

    /** Adds a lock; false when the slot has as many as a cell can count. */
    bool add(uint32_t slot);
    void remove(uint32_t slot);

private:
    using Cell = std::atomic<uint16_t>;

    ReaderPins(UniqueFd file, Mapping mapping, uint32_t row, uint32_t slotCount);

    UniqueFd mFile;
    Mapping mMapping;
    uint32_t const mRow;
    Cell* const mCells;
};

/**
 * The writer's view of all rows. It reads the file and does not map it, so that a reader that cuts
 * the file short can't crash the writer; what can't be read counts as held.
 */
class WriterPins
{
public:
    explicit WriterPins(UniqueFd file, uint32_t slotCount);

    /** Takes a fresh look at all pins. */
    void refresh();
    /** What the last look showed. */
    uint32_t lockCount(uint32_t slot) const { return mLockCounts[slot]; }
    bool isPinned(uint32_t slot) const { return mLockCounts[slot] != 0; }

    /** Clears the rows of readers that died; @return whether there was one. */
    bool clearDeadRows();

    /** Number of readers that live. */
    uint32_t countReaders() const;

private:
    uint16_t const* row(uint32_t number) const { return mCopy.data() + number * mRowCells; }
    bool isRowInUse(uint32_t number) const;

    UniqueFd mFile;
    uint32_t mSlotCount;
    size_t mRowCells;
    std::vector<uint16_t> mCopy;
    bool mIsReadable = true;
    std::array<uint32_t, maximumSlotCount> mLockCounts = {};
};

} // namespace shm

#endif
