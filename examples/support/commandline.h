#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include <functional>

#include <QString>
#include <QStringList>
#include <QVector>

/** Takes a value that the user gave. @return whether it can be one */
using TakeValue = std::function<bool(QString const& value)>;

struct CommandLineOption
{
    char const* name;
    char const* valueName; /**< null: takes no value */
    char const* help;
    TakeValue take; /**< called for each value, or once with an empty one */
};

/** What a program can be asked for. */
struct CommandLineSyntax
{
    char const* program;
    char const* description;
    QVector<CommandLineOption> options;
    TakeValue takeArgument; /**< for what stands beside the options; empty: there is none */
    /** What is wrong with the whole, although its parts are right; empty: nothing can be. */
    std::function<QString()> findFault;
};

/** What became of a command line. */
struct CommandLine
{
    enum class Action
    {
        Run,
        Print, /**< what the user asked to read: text */
        Refuse /**< text says why */
    };

    Action action = Action::Run;
    QString text;
};

/**
 * Reads @p arguments, the program's own name first. An application object must exist. Help, version
 * and the options of QVorlinApplication are taken beside those of @p syntax.
 */
CommandLine parseCommandLine(CommandLineSyntax const& syntax, QStringList const& arguments);

/**
 * Reads what can be known of the command line before there is an application object, which takes
 * the options of Qt away: unknown options are passed over, and left to parseCommandLine() to judge.
 * @return whether it asks for a run, and nothing is wrong with the options of @p syntax
 */
bool previewCommandLine(CommandLineSyntax const& syntax, QStringList const& arguments);

/** Takes any text but none. */
TakeValue takeText(QString& value);

#endif
