#include "options.h"

#include <charconv>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace {

constexpr int MaxSide = 16384;
constexpr int MinSide = 16;
constexpr double MaxRate = 1000;

/** Reads the whole of @p text as one number, without sign and blanks. */
template<typename Number, typename... Base>
bool parseNumber(std::string const& text, Number& number, Base... base)
{
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number, base...);
    return error == std::errc() && stop == end && text.front() != '-';
}

template<bool Options::*Member, bool Value>
bool setFlag(std::string const&, Options& options)
{
    options.*Member = Value;
    return true;
}

template<std::string Options::*Member>
bool setText(std::string const& text, Options& options)
{
    options.*Member = text;
    return !text.empty();
}

template<int Options::*Member, int Min, int Max>
bool setNumber(std::string const& text, Options& options)
{
    return parseNumber(text, options.*Member) && options.*Member >= Min && options.*Member <= Max;
}

bool parseSize(std::string const& text, Options& options)
{
    auto const x = text.find('x');
    return x != std::string::npos &&
           setNumber<&Options::width, MinSide, MaxSide>(text.substr(0, x), options) &&
           setNumber<&Options::height, MinSide, MaxSide>(text.substr(x + 1), options);
}

bool parseRate(std::string const& text, Options& options)
{
    return parseRate(text, options.rate);
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
    return parseNumber(text, options.mode, 8) && options.mode <= 0777;
}

bool parseInputOption(std::string const& text, Options& options)
{
    auto const equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        return false;
    options.inputOptions.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    return true;
}

using Action = CommandLine::Action;

struct Option
{
    char const* name;
    char const* argument; /**< what the value is called; null: none is taken */
    char const* help;
    bool (*apply)(std::string const& value, Options& options);
    Action action = Action::Publish;
};

constexpr Option Table[] = {
    {"name", "NAME", "name of the stream (live)", setText<&Options::name>},
    {"format", "FORMAT", "format or device of INPUT, as FFmpeg calls it (lavfi, v4l2, alsa)",
        setText<&Options::inputFormat>},
    {"input-option", "KEY=VALUE", "option for opening INPUT, as FFmpeg calls it; may be repeated",
        parseInputOption},
    {"loop", nullptr, "begin again at the end of INPUT", setFlag<&Options::loop, true>},
    {"duration", "SECONDS", "end after so much media", parseDuration},
    {"size", "WxH", "size of the picture (INPUT's, or 1280x720)", parseSize},
    {"rate", "FPS", "frames a second: 25, 29.97, 30000/1001 (INPUT's, or 25)", parseRate},
    {"audio-rate", "HZ", "samples a second (INPUT's, or 48000)",
        setNumber<&Options::audioRate, 8000, 384000>},
    {"channels", "N", "audio channels (INPUT's, or 2)", setNumber<&Options::channels, 1, 64>},
    {"no-video", nullptr, "publish audio alone", setFlag<&Options::video, false>},
    {"no-audio", nullptr, "publish video alone", setFlag<&Options::audio, false>},
    {"frames", "N", "frames that stay visible, 2 to 64 (8)", setNumber<&Options::frames, 2, 64>},
    {"mode", "OCTAL", "access to the stream, as for a file (0660)", parseMode},
    {"group", "GROUP", "group that owns the stream", setText<&Options::group>},
    {"stats", nullptr, "write a line of statistics (JSON) each second and at the end",
        setFlag<&Options::stats, true>},
    {"help", nullptr, "show this and exit", nullptr, Action::Help},
    {"version", nullptr, "show the version and exit", nullptr, Action::Version},
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
    line.action = Action::Refuse;
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
        std::string const given = it->substr(0, equals);
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
        if (option->action != Action::Publish) {
            line.action = option->action;
            return line;
        }
        if (!option->apply(value, line.options)) {
            std::string const wanted = given + " " + option->argument;
            return refuse("bad value '" + value + "' for " + wanted);
        }
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
