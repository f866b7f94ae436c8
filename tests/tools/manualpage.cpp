#include "manualpage.h"

#include <QFile>
#include <QRegularExpression>

QString manualPage()
{
    QFile page(QStringLiteral(MANUAL_PAGE));
    if (!page.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(page.readAll()).replace(QLatin1String("\\-"), QLatin1String("-"));
}

QString manualSection(QString const& title)
{
    return manualPage()
        .section(QStringLiteral(".SH ") + title, 1, 1)
        .section(QStringLiteral(".SH "), 0, 0);
}

QStringList namesIn(QString const& text, char const* pattern)
{
    QRegularExpression const expression(
        QString::fromLatin1(pattern), QRegularExpression::MultilineOption);
    QStringList names;
    for (auto matches = expression.globalMatch(text); matches.hasNext();)
        names.append(matches.next().captured(1));
    names.removeDuplicates();
    names.sort();
    return names;
}
