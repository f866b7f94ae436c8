// What a display says about itself, as it comes over the cable. Each input is read as it is and
// once more with the header and the checksum put right, which chance would not find.

#include "edid.h"

#include <cstdint>
#include <cstdlib>
#include <numeric>

namespace {

void read(QByteArray const& bytes)
{
    Edid const edid = parseEdid(bytes);
    if (edid.name.size() > 13 || !(edid.name.isEmpty() || edid.fault.isEmpty()))
        std::abort();
    for (QChar const c : edid.name) {
        if (c < QLatin1Char(' ') || c > QLatin1Char('~'))
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    if (size > 1024)
        return 0;
    // The fuzzer's own memory, so that a read beyond it is one beyond its memory.
    QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<char const*>(data), static_cast<int>(size));
    read(bytes);
    if (bytes.size() < EdidBlockSize)
        return 0;
    bytes.replace(0, 8, QByteArray("\0\xff\xff\xff\xff\xff\xff\0", 8));
    bytes[EdidBlockSize - 1] = 0;
    auto const sum = std::accumulate(bytes.constBegin(), bytes.constBegin() + EdidBlockSize, 0U,
        [](unsigned total, char c) { return total + static_cast<unsigned char>(c); });
    bytes[EdidBlockSize - 1] = static_cast<char>(256 - sum % 256);
    read(bytes);
    return 0;
}
