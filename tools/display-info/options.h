#ifndef OPTIONS_H
#define OPTIONS_H

#include <QString>
#include <QStringList>

/** What the command line asks for. */
struct Options
{
    QString output; /**< the board output to select; empty: each of them */
    QString mode;   /**< empty: what the display prefers */
    bool requireConnected = false;
    bool json = false;
};

/** A command line read. */
struct CommandLine
{
    enum class Action
    {
        Run,
        Print, /**< what the user asked to read: text */
        Refuse /**< text says in one line what was wrong */
    };

    Action action = Action::Run;
    Options options;
    QString text;
};

/** Reads @p arguments, the program's own name first. An application object must exist. */
CommandLine parseCommandLine(QStringList const& arguments);

#endif
