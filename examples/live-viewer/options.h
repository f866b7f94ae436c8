#ifndef OPTIONS_H
#define OPTIONS_H

#include <QString>
#include <QStringList>

/** What the user asks for. */
struct Options
{
    QString stream = QStringLiteral("live");
    double seconds = 0; /**< how long to run; 0: until it is closed */
    QString screenshot; /**< file for the last picture of the window; empty: none */
    QString report;     /**< file for the figures; empty: none */
    int rateNum = 60;   /**< display rate, frames a second */
    int rateDen = 1;
    bool verbose = false;
};

/** A command line, understood or not. */
struct CommandLine
{
    enum class Action
    {
        Show,
        Print, /**< what the user asked to read: text */
        Refuse /**< text says why */
    };

    Action action = Action::Show;
    Options options;
    QString text;
};

/** Reads @p arguments, the program's own name first. An application object must exist. */
CommandLine parseCommandLine(QStringList const& arguments);

#endif
