#include "overlaystyle.h"

QFont overlaystyle::makeFont(int pixels, bool bold)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}
