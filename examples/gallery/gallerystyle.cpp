#include "gallerystyle.h"

#include <algorithm>

#include <QLabel>
#include <QVariant>

namespace {

// What a finger hits without looking twice, however small the window.
constexpr int LeastTouchPixels = 44;
constexpr int TouchPixels = 48;

// Numbers after @ are pixels of the usual size.
char const Sheet[] = R"(
    GalleryWindow { background: #0d1117; }
    GalleryHeader { background: #161b22; border-bottom: 1px solid #30363d; }
    Card { background: #161b22; border: 1px solid #30363d; border-radius: @8; }
    QWidget[role="top"] { min-height: %1px; }
    QLabel { color: #e6edf3; font-family: "DejaVu Sans"; font-size: @14; }
    QLabel[role="heading"] { font-size: @20; font-weight: bold; }
    QLabel[role="title"] { font-weight: bold; }
    QLabel[role="state"], QLabel[role="stream"] { color: #8b949e; font-size: @12; }
    QLabel[role="stream"] { font-size: @17; }
    QLabel[role="caption"] { color: #8b949e; font-size: @10; font-weight: bold; }
    QLabel[role="value"] { font-size: @15; }
    QLabel[role="lamp"] { background: #d29922; border-radius: @5;
        min-width: @10; max-width: @10; min-height: @10; max-height: @10; }
    QLabel[role="lamp"][present="true"] { background: #3fb950; }
    StateButton { background: #21262d; color: #e6edf3; border: 1px solid #30363d;
        border-radius: @8; padding: 0 @12; min-height: %2px; min-width: @84;
        font-family: "DejaVu Sans"; font-size: @12; outline: none; }
    StateButton[role="large"] { font-size: @17; font-weight: bold; }
    StateButton:focus { border-color: #484f58; }
    StateButton:pressed { background: #1f6feb; border-color: #58a6ff; }
)";

} // namespace

QString gallerystyle::sheet(double scale)
{
    QString result;
    QStringList const parts = QString::fromLatin1(Sheet).split(QLatin1Char('@'));
    for (QString const& part : parts) {
        auto const end = std::find_if_not(
            part.begin(), part.end(), [](QChar letter) { return letter.isDigit(); });
        int const digits = result.isNull() ? 0 : int(end - part.begin());
        if (digits > 0)
            result += QStringLiteral("%1px").arg(int(part.leftRef(digits).toInt() * scale));
        result += part.midRef(digits);
    }
    int const touch = std::max(LeastTouchPixels, qRound(TouchPixels * scale));
    return result.arg(touch).arg(touch - 2); // within the edge of a button
}

QLabel* gallerystyle::makeLabel(char const* role, QString const& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setProperty("role", QString::fromLatin1(role));
    label->setTextFormat(Qt::PlainText);
    return label;
}
