#ifndef REPORT_H
#define REPORT_H

#include "board.h"

/** @p text with '?' for what would move a terminal's cursor or be a second line. */
QString printable(QString text);

/** All that is known, for people to read. */
QString textReport(Card const& card, Board const& board);

/** The same for programs: one JSON object on one line, in UTF-8. */
QByteArray jsonReport(Card const& card, Board const& board);

#endif
