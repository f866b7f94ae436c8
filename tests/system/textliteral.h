#ifndef TEXTLITERAL_H
#define TEXTLITERAL_H

#include <QString>

/** "text"_s is a QString: these tests are mostly words. */
inline QString operator""_s(char const* text, size_t size)
{
    return QString::fromUtf8(text, int(size));
}

#endif
