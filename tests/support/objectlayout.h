#ifndef OBJECTLAYOUT_H
#define OBJECTLAYOUT_H

#include <cstddef>
#include <cstring>

#include <string.h>

/** Where in the memory of @p object the bytes of @p value stand first; -1 if nowhere. */
template<typename Object, typename Value>
std::ptrdiff_t offsetIn(Object const& object, Value const& value)
{
    auto const* begin = reinterpret_cast<char const*>(&object);
    void const* found = memmem(begin, sizeof(Object), &value, sizeof(Value));
    return found ? static_cast<char const*>(found) - begin : -1;
}

/** The place of a virtual member function in its class's table, the first being 0. */
template<typename Function>
std::size_t virtualSlot(Function function)
{
    // The pointer holds the place in bytes; some processors keep a flag in its lowest bit.
    std::size_t place = 0;
    std::memcpy(&place, &function, sizeof(place));
    return (place & ~std::size_t{1}) / sizeof(void*);
}

#endif
