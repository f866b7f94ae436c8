#include "edid.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr unsigned char Header[] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};

// Four descriptors of 18 bytes end before the count of extensions and the checksum.
constexpr int FirstDescriptor = 54;
constexpr int DescriptorSize = 18;
constexpr int DescriptorsEnd = FirstDescriptor + 4 * DescriptorSize;
static_assert(DescriptorsEnd + 2 == EdidBlockSize);

// A descriptor of text begins with 0, 0, 0, its tag and 0; another begins with a pixel clock.
constexpr unsigned char NameDescriptor[] = {0x00, 0x00, 0x00, 0xfc, 0x00};
constexpr int TextStart = sizeof NameDescriptor;

bool isPrintable(unsigned char c)
{
    return c >= 0x20 && c <= 0x7e;
}

/** The text ends at a line feed, or fills its place; some displays end it with a NUL. */
QString textFrom(unsigned char const* begin, unsigned char const* end)
{
    auto const stop =
        std::find_if(begin, end, [](unsigned char c) { return c == '\n' || c == '\0'; });
    QString text;
    std::for_each(begin, stop, [&text](unsigned char c) {
        text += isPrintable(c) ? QLatin1Char(static_cast<char>(c)) : QLatin1Char('?');
    });
    return text.trimmed();
}

} // namespace

Edid parseEdid(QByteArray const& bytes)
{
    if (bytes.size() < EdidBlockSize)
        return {{}, QStringLiteral("has %1 of %2 bytes").arg(bytes.size()).arg(EdidBlockSize)};
    auto const block = reinterpret_cast<unsigned char const*>(bytes.constData());
    if (!std::equal(std::begin(Header), std::end(Header), block))
        return {{}, QStringLiteral("does not begin as an EDID")};
    if (std::accumulate(block, block + EdidBlockSize, 0U) % 256 != 0)
        return {{}, QStringLiteral("has a wrong checksum")};

    for (int at = FirstDescriptor; at < DescriptorsEnd; at += DescriptorSize) {
        auto const descriptor = block + at;
        if (std::equal(std::begin(NameDescriptor), std::end(NameDescriptor), descriptor))
            return {textFrom(descriptor + TextStart, descriptor + DescriptorSize), {}};
    }
    return {};
}
