#ifndef BITMAPFONT_H
#define BITMAPFONT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

/** Draws small texts into a plane of bytes: digits, capital letters and " .:/-". */
namespace bitmapfont {

constexpr int GlyphHeight = 7; /**< dots */
constexpr int Advance = 6;     /**< dots from one character to the next */

/**
 * Draws @p text in white with its upper left corner at @p plane, every dot @p scale pixels wide
 * and high. The caller makes sure that it fits. Other characters read as blanks.
 */
void draw(uint8_t* plane, ptrdiff_t stride, int scale, std::string_view text);

} // namespace bitmapfont

#endif
