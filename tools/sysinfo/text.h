#ifndef TEXT_H
#define TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

/**
 * @p text, any bytes, as one line of UTF-8 that does nothing to a terminal: \n, \r, \t, \\ and \"
 * stand for these characters, \xHH for each byte of other control characters, of those that turn
 * the direction of writing, and of what is no UTF-8.
 */
std::string escaped(std::string_view text);

/** @p value escaped and in double quotes; after @p most characters it is cut and its size told. */
std::string valueText(std::string_view value, size_t most = std::string_view::npos);

/** @p name as complaints name it: escaped, in single quotes, cut when it is very long. */
std::string inQuotes(std::string_view name);

#endif
