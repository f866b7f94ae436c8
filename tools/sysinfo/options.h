#ifndef OPTIONS_H
#define OPTIONS_H

#include <cstddef>
#include <string>
#include <vector>

/** What a command is given. */
struct Operands
{
    std::vector<std::string> texts; /**< as many as the command takes */
    bool initial = false;           /**< --initial was given */
};

/** One command of the program. */
struct Command
{
    char const* name;
    char const* operands; /**< what they are called */
    size_t needed;
    size_t taken;
    void (*run)(Operands const& operands);
    char const* help;
};

/** A command line read. */
struct CommandLine
{
    Command const* command = nullptr; /**< null: text is what the user asked to read */
    Operands operands;
    std::string text;
};

/**
 * Reads the arguments after the program's name. Options end at the command's first operand, so that
 * a value can begin with a dash; "--" ends them before.
 * @throws Refusal
 */
CommandLine parseCommandLine(std::vector<std::string> const& arguments);

#endif
