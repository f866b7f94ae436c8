#include "options.h"

#include <iomanip>
#include <sstream>

#include "commands.h"
#include "failure.h"
#include "text.h"

namespace {

constexpr Command Commands[] = {
    {"get", "KEY [DEFAULT]", 1, 2, getValue, "write the value, or DEFAULT when it can't be read"},
    {"set", "KEY VALUE", 2, 2, setValue, "set the value; - is standard input"},
    {"list", "[GROUP]", 0, 1, listGroup, "write the names in the group (the topmost)"},
    {"tree", "", 0, 0, showTree, "show the whole store with its values"},
    {"remove", "KEY|GROUP", 1, 1, removeKey, "remove a value, or a group with everything in it"},
    {"watch", "[KEY|GROUP]", 0, 1, watchKey, "tell the changes of a value or a group (all)"},
};

enum class Action
{
    Help,
    Initial,
    Version
};

struct Option
{
    char const* name;
    Action action;
    char const* help;
};

constexpr Option Options[] = {
    {"--initial", Action::Initial, "watch: tell the present values first"},
    {"--help", Action::Help, "show this and exit"},
    {"--version", Action::Version, "show the version and exit"},
};

template<typename Item, size_t Size>
Item const* find(Item const (&table)[Size], std::string const& name)
{
    for (Item const& item : table) {
        if (name == item.name)
            return &item;
    }
    return nullptr;
}

void addLine(std::ostream& text, std::string const& left, char const* help)
{
    text << "  " << std::left << std::setw(20) << left << ' ' << help << '\n';
}

std::string usage()
{
    std::ostringstream text;
    text << "Usage: sysinfo [OPTION]... COMMAND [ARGUMENT]...\n"
            "\n"
            "Reads and changes the system information store: small values by name, shared by all\n"
            "programs of the system. A / in a KEY makes groups.\n"
            "\n"
            "Commands:\n";
    for (Command const& command : Commands)
        addLine(text, std::string(command.name) + ' ' + command.operands, command.help);
    text << "\nOptions:\n";
    for (Option const& option : Options)
        addLine(text, option.name, option.help);
    return text.str();
}

Command const& commandNamed(std::string const& name)
{
    if (Command const* const command = find(Commands, name))
        return *command;
    throw Refusal("unknown command " + inQuotes(name));
}

Option const& optionNamed(std::string const& name)
{
    if (Option const* const option = find(Options, name))
        return *option;
    throw Refusal("unknown option " + inQuotes(name));
}

/** What no single argument can tell. */
void check(CommandLine const& line)
{
    if (!line.command)
        throw Refusal("no command given");
    Command const& command = *line.command;
    std::vector<std::string> const& texts = line.operands.texts;
    if (texts.size() < command.needed)
        throw Refusal(std::string(command.name) + " needs " + command.operands);
    if (texts.size() > command.taken)
        throw Refusal("unexpected argument " + inQuotes(texts[command.taken]));
    if (line.operands.initial && command.run != watchKey)
        throw Refusal(std::string(command.name) + " has no --initial");
}

} // namespace

CommandLine parseCommandLine(std::vector<std::string> const& arguments)
{
    CommandLine line;
    bool optionsEnded = false;
    for (std::string const& argument : arguments) {
        if (optionsEnded || argument.size() < 2 || argument.front() != '-') {
            if (line.command)
                line.operands.texts.push_back(argument);
            else
                line.command = &commandNamed(argument);
            optionsEnded = optionsEnded || !line.operands.texts.empty();
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        switch (optionNamed(argument).action) {
        case Action::Help:
            return {nullptr, {}, usage()};
        case Action::Version:
            return {nullptr, {}, "sysinfo " SYSINFO_VERSION "\n"};
        case Action::Initial:
            line.operands.initial = true;
            break;
        }
    }
    check(line);
    return line;
}
