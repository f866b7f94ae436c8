#ifndef OUTPUT_H
#define OUTPUT_H

#include <string_view>

/** Writes @p text to standard output, at once. @throws Failure; ReaderGone for a broken pipe */
void put(std::string_view text);

/** Writes one line about what went wrong to standard error. */
void complain(std::string_view what);

#endif
