#include "system/parse.h"

#include <array>
#include <optional>

#include <QRegularExpression>
#include <QStringRef>
#include <QVector>

namespace {

/** The whole text in this notation; %1 stands for a number. */
QRegularExpression notation(QString const& form)
{
    // The same numbers as \d*\.?\d+, which splits digits in many ways: a text that doesn't match in
    // the end would be tried with all of them, for minutes if it is long.
    QString const number = QStringLiteral(R"((\d+(?:\.\d+)?|\.\d+))");
    return QRegularExpression(QLatin1Char('^') + form.arg(number) + QLatin1Char('$'));
}

using Numbers = std::array<double, 4>;

/** The four numbers of a text that matches. */
std::optional<Numbers> numbersOf(QString const& text, QRegularExpression const& expression)
{
    QRegularExpressionMatch const match = expression.match(text);
    if (match.lastCapturedIndex() != 4)
        return std::nullopt;
    Numbers numbers{};
    for (int i = 0; i < 4; ++i)
        numbers[size_t(i)] = match.capturedRef(i + 1).toDouble();
    return numbers;
}

} // namespace

QRectF parse::stringToRectF(QString const& text)
{
    static QRegularExpression const originAndSize = notation(QStringLiteral("%1,%1-%1x%1"));
    static QRegularExpression const twoCorners = notation(QStringLiteral("%1,%1-%1,%1"));

    if (text.isEmpty())
        return QRectF(0, 0, 0, 0);
    if (auto const numbers = numbersOf(text, originAndSize)) {
        auto const [x, y, width, height] = *numbers;
        return QRectF(x, y, width, height);
    }
    if (auto const numbers = numbersOf(text, twoCorners)) {
        auto const [x1, y1, x2, y2] = *numbers;
        return QRectF(x1, y1, x2 - x1, y2 - y1);
    }
    return QRectF(0, 0, 0, 0);
}

QSize parse::stringToSize(QString const& text)
{
    QVector<QStringRef> const sides = text.splitRef(QLatin1Char('x'));
    return sides.size() == 2 ? QSize(sides[0].toInt(), sides[1].toInt()) : QSize(-1, -1);
}
