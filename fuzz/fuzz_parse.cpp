// Geometry of configuration values, read once more by hand. Each input is taken for UTF-8, and with
// lone surrogates in place of what is not ASCII, which UTF-8 can't bring.

#include "system/parse.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

#include <QByteArray>

namespace {

/** Reads a text from its start. */
class Scanner
{
public:
    explicit Scanner(QString const& text)
        : mText(text)
    {}

    bool take(char16_t wanted)
    {
        bool const isThere = next() == wanted;
        mPosition += isThere;
        return isThere;
    }

    std::string takeDigits()
    {
        std::string digits;
        for (; next() >= u'0' && next() <= u'9'; ++mPosition)
            digits += static_cast<char>(next());
        return digits;
    }

    void skipSpace()
    {
        while (!isAtEnd() && mText[mPosition].isSpace())
            ++mPosition;
    }

    bool isAtEnd() const { return mPosition == mText.size(); }

private:
    /** U+FFFF, which is no character, at the end. */
    char16_t next() const { return isAtEnd() ? u'\xffff' : mText[mPosition].unicode(); }

    QString const& mText;
    int mPosition = 0;
};

std::optional<double> takeNumber(Scanner& scanner)
{
    std::string number = scanner.takeDigits();
    if (scanner.take(u'.')) {
        std::string const fraction = scanner.takeDigits();
        if (fraction.empty())
            return std::nullopt;
        number += '.' + fraction;
    }
    if (number.empty())
        return std::nullopt;
    return std::strtod(number.c_str(), nullptr);
}

QRectF expectedRect(QString const& text)
{
    Scanner scanner(text);
    std::array<double, 4> numbers{};
    bool isSize = false;
    for (size_t i = 0; i < numbers.size(); ++i) {
        bool isSeparated = true;
        if (i == 1)
            isSeparated = scanner.take(u',');
        if (i == 2)
            isSeparated = scanner.take(u'-');
        if (i == 3) {
            isSize = scanner.take(u'x');
            isSeparated = isSize || scanner.take(u',');
        }
        std::optional<double> const number = takeNumber(scanner);
        if (!isSeparated || !number)
            return QRectF(0, 0, 0, 0);
        numbers[i] = *number;
    }
    scanner.take(u'\n');
    if (!scanner.isAtEnd())
        return QRectF(0, 0, 0, 0);
    auto const [a, b, c, d] = numbers;
    return isSize ? QRectF(a, b, c, d) : QRectF(a, b, c - a, d - b);
}

int expectedSide(QString const& text)
{
    constexpr char16_t minusSign = u'\u2212';
    Scanner scanner(text);
    scanner.skipSpace();
    bool const isNegative = scanner.take(u'-') || scanner.take(minusSign);
    if (!isNegative)
        scanner.take(u'+');
    std::string const digits = scanner.takeDigits();
    scanner.skipSpace();
    if (digits.empty() || !scanner.isAtEnd())
        return 0;
    // Exact in the range of int and for some way beyond it.
    double const value = std::strtod(digits.c_str(), nullptr) * (isNegative ? -1 : 1);
    using Range = std::numeric_limits<int>;
    return value >= Range::min() && value <= Range::max() ? static_cast<int>(value) : 0;
}

QSize expectedSize(QString const& text)
{
    if (text.count(QLatin1Char('x')) != 1)
        return QSize(-1, -1);
    int const separator = text.indexOf(QLatin1Char('x'));
    return QSize(expectedSide(text.left(separator)), expectedSide(text.mid(separator + 1)));
}

bool isSame(double a, double b)
{
    return (std::isnan(a) && std::isnan(b)) || a == b;
}

/** Exactly, which the rectangles' own comparison is not. */
bool isSame(QRectF const& a, QRectF const& b)
{
    return isSame(a.x(), b.x()) && isSame(a.y(), b.y()) && isSame(a.width(), b.width()) &&
           isSame(a.height(), b.height());
}

void check(QString const& text)
{
    if (!isSame(parse::stringToRectF(text), expectedRect(text)))
        std::abort();
    if (parse::stringToSize(text) != expectedSize(text))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    if (size > 4096)
        return 0;
    auto const* bytes = reinterpret_cast<char const*>(data);
    check(QString::fromUtf8(bytes, static_cast<int>(size)));
    QString text;
    for (size_t i = 0; i < size; ++i)
        text += QChar(data[i] < 0x80 ? data[i] : 0xd780 + data[i]);
    check(text);
    return 0;
}
