#ifndef STORETRAFFIC_H
#define STORETRAFFIC_H

#include <atomic>
#include <cstdint>
#include <random>
#include <string>

/**
 * Processes that write and read one key, and know by a value who wrote it and whether it is whole.
 */
namespace storetraffic {

constexpr int workers = 8;
constexpr int maximumKills = 256;

/** A value that its writer may have been killed over. */
struct Torn
{
    std::atomic<uint32_t> worker;
    std::atomic<uint32_t> number;
};

/** What the processes share. Operations are numbered from 1. */
struct Board
{
    std::atomic<uint32_t> next[workers];    // number of the operation under way
    std::atomic<uint32_t> writing[workers]; // the same while it writes, otherwise 0
    std::atomic<uint32_t> kills;            // begun
    std::atomic<int> victim;                // who is being killed; -1: nobody
    std::atomic<uint32_t> writersKilled;
    Torn torn[maximumKills];
    std::atomic<uint32_t> whole; // values seen
    std::atomic<uint32_t> tornSeen;
    char fault[200]; // the first that a process found; it ends then
};

/** A value of its own for each worker and number, of 1 byte to 1 MiB. */
std::string makeValue(std::mt19937& random, int worker, uint32_t number);

/** Whether @p value is one that a writer wrote or was killed over. */
bool isPossible(Board& board, const std::string& value);

/** Works off the operations up to @p end; @return 0, or 1 when there is a fault. */
int work(Board& board, const char* key, int worker, uint32_t end);

} // namespace storetraffic

#endif
