#include "shm_pins.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace shm {

namespace {

bool hasSize(int fd, size_t size)
{
    struct stat info = {};
    return ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size == off_t(size);
}

/** The number of a row that is now locked by @p fd, or -1. */
int takeRow(int fd)
{
    // The writer holds a dead reader's row for an instant while it clears it: look again.
    constexpr int attempts = 3;
    for (int i = 0; i < attempts; ++i) {
        for (uint32_t row = 0; row < maximumReaderCount; ++row) {
            if (tryLockByte(fd, off_t(row)))
                return int(row);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return -1;
}

} // namespace

std::optional<ReaderPins> ReaderPins::open(
    int place, std::string const& fileName, uint32_t slotCount)
{
    UniqueFd file = openAt(place, fileName, O_RDWR);
    if (!file)
        return std::nullopt;
    size_t const size = pinsFileSize(slotCount);
    if (!hasSize(file.get(), size)) {
        errno = EPROTO;
        return std::nullopt;
    }
    Mapping mapping(file.get(), size, PROT_READ | PROT_WRITE);
    if (!mapping)
        return std::nullopt;
    int const row = takeRow(file.get());
    if (row < 0) {
        errno = EUSERS;
        return std::nullopt;
    }
    return ReaderPins(std::move(file), std::move(mapping), uint32_t(row), slotCount);
}

ReaderPins::ReaderPins(UniqueFd file, Mapping mapping, uint32_t row, uint32_t slotCount)
    : mFile(std::move(file))
    , mMapping(std::move(mapping))
    , mRow(row)
    , mCells(reinterpret_cast<Cell*>(mMapping.data() + row * pinRowSize(slotCount)))
{
    // The row's last owner may have died holding locks.
    for (uint32_t slot = 0; slot < slotCount; ++slot)
        mCells[slot].store(0, std::memory_order_relaxed);
}

ReaderPins::~ReaderPins()
{
    // Explicitly, since a forked child may have inherited the open file.
    if (mFile)
        unlockByte(mFile.get(), off_t(mRow));
}

bool ReaderPins::add(uint32_t slot)
{
    Cell& cell = mCells[slot];
    uint16_t value = cell.load(std::memory_order_relaxed);
    uint16_t next = 0;
    do {
        if (value >= UINT16_MAX - 1)
            return false;
        next = uint16_t(value == 0 ? 1 : value + 2);
    } while (!cell.compare_exchange_weak(value, next, std::memory_order_seq_cst));
    return true;
}

void ReaderPins::remove(uint32_t slot)
{
    Cell& cell = mCells[slot];
    uint16_t value = cell.load(std::memory_order_relaxed);
    uint16_t next = 0;
    // Another process may have scribbled over the cell; it is then merely left at 0.
    do {
        next = uint16_t(value <= 1 ? 0 : value - 2);
    } while (!cell.compare_exchange_weak(value, next, std::memory_order_release));
}

} // namespace shm
