#ifndef MANUALPAGE_H
#define MANUALPAGE_H

#include <QStringList>

/** The source of the manual page that the test is compiled for; empty when it can't be read. */
QString manualPage();

/** The part of it under the heading @p title. */
QString manualSection(QString const& title);

/** What the first group of @p pattern finds in the lines of @p text, each once, sorted. */
QStringList namesIn(QString const& text, char const* pattern);

#endif
