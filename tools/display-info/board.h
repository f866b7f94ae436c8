#ifndef BOARD_H
#define BOARD_H

#include "card.h"
#include "options.h"

#include <QJsonObject>
#include <QStringList>

#include "extdisplay/extdisplay.h"

/** What a program that asks for one output of the board would get. */
struct Selection
{
    QString output; /**< what it asks for */
    /** What the map says of it; without its own name: nothing. */
    extdisplay::BoardOutputInfo board;
    QJsonObject config; /**< what the platform plug-in would read; empty: nothing is selected */
    QString connector;
    QString mode;
    QString obstacle; /**< why nothing is selected; empty: something is */
};

/** The board's outputs map and what its outputs select. */
struct Board
{
    QString file;
    QString absence;     /**< why there is no map, so that connectors stand for themselves */
    QString fault;       /**< what is wrong with the map, one line; empty: nothing */
    QStringList ignored; /**< members of the map that describe no output */
    QVector<Selection> selections;
};

/** Selects on @p card what @p options ask for. Lights nothing. */
Board readBoard(Card const& card, Options const& options);

#endif
