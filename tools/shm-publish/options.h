#ifndef OPTIONS_H
#define OPTIONS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

/** What the command line asks for; 0 and empty stand for "as the input has it". */
struct Options
{
    std::string input; /**< what FFmpeg is to open; empty: the test source */
    std::string inputFormat;
    std::vector<std::pair<std::string, std::string>> inputOptions;
    std::string name = "live";
    std::string group;
    mode_t mode = 0660;
    int width = 0;
    int height = 0;
    AVRational rate = {0, 1}; /**< frames a second */
    int audioRate = 0;        /**< sample frames a second */
    int channels = 0;
    int frames = 8;       /**< frames kept visible */
    int64_t duration = 0; /**< µs of media; 0: to the end */
    bool loop = false;
    bool stats = false;
    bool video = true;
    bool audio = true;
};

/** A command line read. */
struct CommandLine
{
    enum class Action
    {
        Publish,
        Help,
        Version,
        Refuse
    };

    Action action = Action::Publish;
    Options options;
    std::string error; /**< with Refuse: one line that says what was wrong */
};

/** Reads the arguments after the program's name. */
CommandLine parseCommandLine(std::vector<std::string> const& arguments);

/** The text of --help, ending in a newline. */
std::string usage();

/**
 * Reads a frame rate: "25", "30000/1001" or a decimal number. The decimal forms of the rates that
 * are a thousandth below a whole number ("29.97", "23.976") mean those exactly.
 * @return false when @p text is not a rate above 0 and up to 1000
 */
bool parseRate(std::string const& text, AVRational& rate);

#endif
