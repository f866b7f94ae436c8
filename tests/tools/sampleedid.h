#ifndef SAMPLEEDID_H
#define SAMPLEEDID_H

#include <numeric>

#include <QByteArray>

/** Where sampleEdid() has its name. */
constexpr int NamePlace = 72;

/** A descriptor of 18 bytes that names a monitor. */
inline QByteArray nameDescriptor(QByteArray const& text)
{
    return QByteArray("\0\0\0\xfc\0", 5) + text.leftJustified(13, ' ', true);
}

/** @p block with the checksum that it should have. */
inline QByteArray withChecksum(QByteArray block)
{
    auto const sum = std::accumulate(block.constBegin(), block.constEnd() - 1, 0U,
        [](unsigned total, char c) { return total + static_cast<unsigned char>(c); });
    block[block.size() - 1] = static_cast<char>(256 - sum % 256);
    return block;
}

/** A valid base block; its second descriptor names the monitor unless @p name is null. */
inline QByteArray sampleEdid(QByteArray const& name = {})
{
    QByteArray block(128, '\0');
    block.replace(0, 8, QByteArray("\0\xff\xff\xff\xff\xff\xff\0", 8));
    block.replace(54, 4, QByteArray("\x02\x3a\x80\x18", 4));
    for (int place = 72; place < 126; place += 18)
        block[place + 3] = '\x10';
    if (!name.isNull())
        block.replace(NamePlace, 18, nameDescriptor(name));
    return withChecksum(block);
}

#endif
