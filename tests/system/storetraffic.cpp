#include "storetraffic.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "system/sysinfo.h"

using namespace storetraffic;

namespace {

constexpr size_t headerSize = 20;
constexpr size_t largest = 1 << 20;
// What the kernel takes over at once; a kill is noticed between two of them.
constexpr size_t page = 4096;

// A value that is shorter than the header tells its length by its bytes.
char fillOf(size_t size, uint32_t number)
{
    return size < headerSize ? char('a' + size) : char('A' + number % 26);
}

// Few are large, so that most of the time goes into taking turns.
size_t randomSize(std::mt19937& random)
{
    const double share = std::uniform_real_distribution<double>(0, 1)(random);
    return std::min(largest, size_t(std::exp2(20.01 * std::pow(share, 1.2))));
}

bool isFilled(const std::string& value, size_t from, char fill)
{
    return value.find_first_not_of(fill, from) == std::string::npos;
}

struct Header
{
    unsigned size = 0;
    unsigned worker = 0;
    unsigned number = 0;
};

bool readHeader(const std::string& value, Header& header)
{
    return value.size() >= headerSize && std::sscanf(value.c_str(), "%7x %2x %8x:", &header.size,
                                             &header.worker, &header.number) == 3;
}

// Whether the worker was killed over just this value.
bool wasKilledOver(const Board& board, const Header& header)
{
    if (board.victim == int(header.worker) && board.writing[header.worker] == header.number)
        return true;
    for (const Torn& torn : board.torn) {
        if (torn.worker == header.worker && torn.number == header.number)
            return true;
    }
    return false;
}

void complain(Board& board, const char* what, const std::string& value)
{
    std::snprintf(board.fault, sizeof board.fault, "%s: %zu bytes, '%.40s'", what, value.size(),
        value.c_str());
}

bool readOnce(Board& board, const char* key, uint32_t number)
{
    std::string value;
    if (number % 2) {
        value = sysinfo::get_string(key, "default");
    } else {
        char* text = sysinfo_get_string(key, "default");
        value = text;
        std::free(text);
    }
    if (isPossible(board, value))
        return true;
    complain(board, "mixed value", value);
    return false;
}

} // namespace

std::string storetraffic::makeValue(std::mt19937& random, int worker, uint32_t number)
{
    const size_t size = randomSize(random);
    std::string value(size, fillOf(size, number));
    if (size >= headerSize) {
        char header[headerSize + 1];
        std::snprintf(
            header, sizeof header, "%07zx %02x %08x:", size, unsigned(worker), unsigned(number));
        value.replace(0, headerSize, header);
    }
    return value;
}

bool storetraffic::isPossible(Board& board, const std::string& value)
{
    Header header;
    if (value.empty()) {
        ++board.tornSeen;
        return board.kills > 0;
    }
    if (value.size() < headerSize) {
        ++board.whole;
        return isFilled(value, 0, fillOf(value.size(), 0));
    }
    if (!readHeader(value, header) || header.worker >= workers || value.size() > header.size ||
        !isFilled(value, headerSize, fillOf(value.size(), header.number)))
        return false;
    if (value.size() == header.size) {
        ++board.whole;
        return header.number <= board.next[header.worker];
    }
    ++board.tornSeen;
    return value.size() % page == 0 && board.kills > 0 && wasKilledOver(board, header);
}

int storetraffic::work(Board& board, const char* key, int worker, uint32_t end)
{
    std::mt19937 random(unsigned(worker) * 7919u + board.next[worker]);
    for (uint32_t number = board.next[worker]; number < end; ++number) {
        board.next[worker] = number;
        if (random() % 2) {
            if (!readOnce(board, key, number))
                return 1;
            continue;
        }
        const std::string value = makeValue(random, worker, number);
        board.writing[worker] = number;
        const int stored = sysinfo_set_string(key, value.c_str());
        board.writing[worker] = 0;
        if (!stored) {
            complain(board, "not stored", value);
            return 1;
        }
    }
    board.next[worker] = end;
    return 0;
}
