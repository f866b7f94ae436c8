#include "options.h"

#include <charconv>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace {

constexpr int MaxSide = 16384;
constexpr int MinSide = 16;
constexpr double MaxRate = 1000;

/** Reads the whole of @p text as one number; no sign but '-', no blanks. */
template<typename Number>
bool parseNumber(std::string const& text, Number& number)
{
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && !text.empty();
}

bool parseRange(std::string const& text, int min, int max, int& value)
{
    int number = 0;
    if (!parseNumber(text, number) || number < min || number > max)
        return false;
    value = number;
    return true;
}

bool parseSize(std::string const& text, Options& options)
{
    auto const x = text.find('x');
    return x != std::string::npos &&
           parseRange(text.substr(0, x), MinSide, MaxSide, options.width) &&
           parseRange(text.substr(x + 1), MinSide, MaxSide, options.height);
}

bool parseDuration(std::string const& text, Options& options)
{
    double seconds = 0;
    if (!parseNumber(text, seconds) || !(seconds >= 1e-6 && seconds <= 1e9))
        return false;
    options.duration = std::llround(seconds * 1e6);
    return true;
}

bool parseMode(std::string const& text, Options& options)
{
    if (text.empty() || text.find_first_not_of("01234567") != std::string::npos)
        return false;
    unsigned mode = 0;
    auto const [stop, error] = std::from_chars(text.data(), text.data() + text.size(), mode, 8);
    if (error != std::errc() || mode > 0777)
        return false;
    options.mode = mode;
    return true;
}

bool parseInputOption(std::string const& text, Options& options)
{
    auto const equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        return false;
    options.inputOptions.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    return true;
}

bool parseText(std::string const& text, std::string& value)
{
    value = text;
    return !text.empty();
}

struct Option
{
    char const* name;
    char const* argument; /**< what the value is called; null: none is taken */
    char const* help;
    bool (*apply)(std::string const& value, CommandLine& line);
};

constexpr Option Table[] = {
    {"name", "NAME", "name of the stream (live)",
        [](std::string const& v, CommandLine& l) {
            return parseText(v, l.options.name);
        }},
    {"format", "FORMAT", "format or device of INPUT, as FFmpeg calls it (lavfi, v4l2, alsa)",
        [](std::string const& v, CommandLine& l) {
            return parseText(v, l.options.inputFormat);
        }},
    {"input-option", "KEY=VALUE", "option for opening INPUT, as FFmpeg calls it; may be repeated",
        [](std::string const& v, CommandLine& l) {
            return parseInputOption(v, l.options);
        }},
    {"loop", nullptr, "begin again at the end of INPUT",
        [](std::string const&, CommandLine& l) {
            return l.options.loop = true;
        }},
    {"duration", "SECONDS", "end after so much media",
        [](std::string const& v, CommandLine& l) {
            return parseDuration(v, l.options);
        }},
    {"size", "WxH", "size of the picture (INPUT's, or 1280x720)",
        [](std::string const& v, CommandLine& l) {
            return parseSize(v, l.options);
        }},
    {"rate", "FPS", "frames a second: 25, 29.97, 30000/1001 (INPUT's, or 25)",
        [](std::string const& v, CommandLine& l) {
            return parseRate(v, l.options.rate);
        }},
    {"audio-rate", "HZ", "samples a second (INPUT's, or 48000)",
        [](std::string const& v, CommandLine& l) {
            return parseRange(v, 8000, 384000, l.options.audioRate);
        }},
    {"channels", "N", "audio channels (INPUT's, or 2)",
        [](std::string const& v, CommandLine& l) {
            return parseRange(v, 1, 64, l.options.channels);
        }},
    {"no-video", nullptr, "publish audio alone",
        [](std::string const&, CommandLine& l) {
            return !(l.options.video = false);
        }},
    {"no-audio", nullptr, "publish video alone",
        [](std::string const&, CommandLine& l) {
            return !(l.options.audio = false);
        }},
    {"frames", "N", "frames that stay visible, 2 to 64 (8)",
        [](std::string const& v, CommandLine& l) {
            return parseRange(v, 2, 64, l.options.frames);
        }},
    {"mode", "OCTAL", "access to the stream, as for a file (0660)",
        [](std::string const& v, CommandLine& l) {
            return parseMode(v, l.options);
        }},
    {"group", "GROUP", "group that owns the stream",
        [](std::string const& v, CommandLine& l) {
            return parseText(v, l.options.group);
        }},
    {"stats", nullptr, "write a line of statistics (JSON) each second and at the end",
        [](std::string const&, CommandLine& l) {
            return l.options.stats = true;
        }},
    {"help", nullptr, "show this and exit",
        [](std::string const&, CommandLine& l) {
            l.action = CommandLine::Action::Help;
            return true;
        }},
    {"version", nullptr, "show the version and exit",
        [](std::string const&, CommandLine& l) {
            l.action = CommandLine::Action::Version;
            return true;
        }},
};

Option const* findOption(std::string const& name)
{
    for (Option const& option : Table) {
        if (name == option.name)
            return &option;
    }
    return nullptr;
}

CommandLine refuse(std::string const& error)
{
    CommandLine line;
    line.action = CommandLine::Action::Refuse;
    line.error = error;
    return line;
}

/** What no single option can tell. */
CommandLine checked(CommandLine line)
{
    Options const& options = line.options;
    if (!options.video && !options.audio)
        return refuse("--no-video and --no-audio together leave nothing to publish");
    if (options.input.empty() && !(options.inputFormat.empty() && options.inputOptions.empty()))
        return refuse("--format and --input-option need an INPUT");
    return line;
}

} // namespace

CommandLine parseCommandLine(std::vector<std::string> const& arguments)
{
    CommandLine line;
    bool onlyInputs = false;
    for (auto it = arguments.begin(); it != arguments.end(); ++it) {
        if (!onlyInputs && *it == "--") {
            onlyInputs = true;
            continue;
        }
        if (onlyInputs || it->size() < 2 || it->front() != '-') {
            if (it->empty())
                return refuse("INPUT is empty");
            if (!line.options.input.empty())
                return refuse("more than one INPUT: '" + *it + "'");
            line.options.input = *it;
            continue;
        }
        auto const equals = it->find('=');
        const std::string given = it->substr(0, equals);
        Option const* const option =
            given.rfind("--", 0) == 0 ? findOption(given.substr(2)) : nullptr;
        if (!option)
            return refuse("unknown option '" + given + "'");
        std::string value;
        if (equals != std::string::npos) {
            if (!option->argument)
                return refuse("option '" + given + "' takes no value");
            value = it->substr(equals + 1);
        } else if (option->argument) {
            if (++it == arguments.end())
                return refuse("option '" + given + "' needs a value");
            value = *it;
        }
        if (!option->apply(value, line))
            return refuse("bad value '" + value + "' for " + given + ' ' + option->argument);
        if (line.action != CommandLine::Action::Publish)
            return line;
    }
    return checked(line);
}

std::string usage()
{
    std::ostringstream text;
    text << "Usage: shm-publish [OPTION]... [INPUT]\n"
            "\n"
            "Publishes INPUT, anything that FFmpeg opens (a file, a URL, a device; - is standard\n"
            "input), in real time as a live stream in shared memory. Without INPUT it publishes a\n"
            "test source: moving picture with a clock, tones, and once a second a flash and a\n"
            "click.\n"
            "\n"
            "Options:\n";
    for (Option const& option : Table) {
        std::string left = std::string("--") + option.name;
        if (option.argument)
            left += std::string(" ") + option.argument;
        text << "  " << std::left << std::setw(26) << left << ' ' << option.help << '\n';
    }
    return text.str();
}

bool parseRate(std::string const& text, AVRational& rate)
{
    auto const slash = text.find('/');
    int num = 0;
    int den = 1;
    if (slash != std::string::npos) {
        if (!parseNumber(text.substr(0, slash), num) || !parseNumber(text.substr(slash + 1), den))
            return false;
    } else {
        double value = 0;
        if (!parseNumber(text, value) || !(value > 0 && value <= MaxRate))
            return false;
        double const whole = std::round(value);
        if (value != whole && std::abs(value - whole * 1000 / 1001) < 0.005) {
            num = static_cast<int>(whole) * 1000;
            den = 1001;
        } else {
            den = value == whole ? 1 : 1000000;
            num = static_cast<int>(std::lround(value * den));
        }
    }
    if (num <= 0 || den <= 0 || num > MaxRate * den)
        return false;
    av_reduce(&rate.num, &rate.den, num, den, INT32_MAX);
    return true;
}
