#include "text.h"

namespace {

struct Character
{
    size_t length = 0; /**< in bytes; 0: these are no UTF-8 */
    char32_t code = 0;
};

/** The first character of @p text, which is not empty. */
Character firstCharacter(std::string_view text)
{
    struct Form
    {
        unsigned char mask;
        unsigned char lead;
        char32_t least; /**< smaller ones are to be written shorter */
    };
    static constexpr Form Forms[] = {
        {0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};

    auto const first = static_cast<unsigned char>(text.front());
    size_t length = 0;
    for (Form const& form : Forms) {
        ++length;
        if ((first & form.mask) != form.lead)
            continue;
        if (text.size() < length)
            break;
        char32_t code = first & static_cast<unsigned char>(~form.mask);
        for (size_t i = 1; i < length; ++i) {
            auto const next = static_cast<unsigned char>(text[i]);
            if ((next & 0xc0) != 0x80)
                return {};
            code = code << 6 | (next & 0x3f);
        }
        bool const surrogate = code >= 0xd800 && code <= 0xdfff;
        return code >= form.least && code <= 0x10ffff && !surrogate ? Character{length, code}
                                                                    : Character{};
    }
    return {};
}

/** Whether a terminal would do something else with it than show it in its place. */
bool isUnsafe(char32_t code)
{
    struct Range
    {
        char32_t first;
        char32_t last;
    };
    static constexpr Range Ranges[] = {{0, 0x1f}, {0x7f, 0x9f}, {0x61c, 0x61c}, {0x200e, 0x200f},
        {0x2028, 0x202e}, {0x2066, 0x2069}};
    for (Range const& range : Ranges) {
        if (code >= range.first && code <= range.last)
            return true;
    }
    return false;
}

/** The letter that stands for @p code behind a backslash; 0: none does. */
char escapeLetter(char32_t code)
{
    struct Escape
    {
        char32_t code;
        char letter;
    };
    static constexpr Escape Escapes[] = {
        {U'\n', 'n'}, {U'\r', 'r'}, {U'\t', 't'}, {U'\\', '\\'}, {U'"', '"'}};
    for (Escape const& escape : Escapes) {
        if (escape.code == code)
            return escape.letter;
    }
    return 0;
}

void appendHex(std::string& text, std::string_view bytes)
{
    static constexpr char Digits[] = "0123456789abcdef";
    for (char const c : bytes) {
        auto const byte = static_cast<unsigned char>(c);
        text += {'\\', 'x', Digits[byte >> 4], Digits[byte & 15]};
    }
}

/** How many bytes the first @p most characters take; a byte that is no UTF-8 counts as one. */
size_t lengthOf(std::string_view text, size_t most)
{
    size_t length = 0;
    while (length < text.size() && most-- > 0) {
        size_t const next = firstCharacter(text.substr(length)).length;
        length += next ? next : 1;
    }
    return length;
}

} // namespace

std::string escaped(std::string_view text)
{
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        std::string_view const bytes = text.substr(0, character.length ? character.length : 1);
        if (character.length == 0)
            appendHex(line, bytes);
        else if (char const letter = escapeLetter(character.code))
            line += {'\\', letter};
        else if (isUnsafe(character.code))
            appendHex(line, bytes);
        else
            line += bytes;
        text.remove_prefix(bytes.size());
    }
    return line;
}

std::string valueText(std::string_view value, size_t most)
{
    std::string_view const shown = value.substr(0, lengthOf(value, most));
    std::string text = '"' + escaped(shown) + '"';
    if (shown.size() < value.size())
        text += "... (" + std::to_string(value.size()) + " bytes)";
    return text;
}

std::string inQuotes(std::string_view name)
{
    static constexpr size_t Most = 80;
    std::string_view const shown = name.substr(0, lengthOf(name, Most));
    return '\'' + escaped(shown) + (shown.size() < name.size() ? "...'" : "'");
}
