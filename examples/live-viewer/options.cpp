#include "options.h"

#include <algorithm>
#include <iterator>

#include "streamaddress.h"

namespace {

constexpr struct
{
    char const* name;
    Renderer renderer;
} Renderers[] = {
    {"gl", Renderer::OpenGL},
    {"image", Renderer::Images},
};

bool takeRenderer(QString const& text, Options& options)
{
    auto const found = std::find_if(std::begin(Renderers), std::end(Renderers),
        [&text](auto const& entry) { return text == QLatin1String(entry.name); });
    if (found == std::end(Renderers))
        return false;
    options.renderer = found->renderer;
    return true;
}

// The sound must not fall behind by more than the stream holds of it.
constexpr int MaxAudioDelayMs = 1000;
// What fits into a timer.
constexpr double MaxInactivity = 2e6;

bool takeAudioDelay(QString const& text, Options& options)
{
    bool ok = false;
    options.audioDelayMs = text.toInt(&ok);
    return ok && options.audioDelayMs >= 0 && options.audioDelayMs <= MaxAudioDelayMs;
}

bool takeInactivity(QString const& text, Options& options)
{
    bool ok = false;
    options.inactivity = text.toDouble(&ok);
    return ok && options.inactivity >= 0 && options.inactivity <= MaxInactivity;
}

QString findFault(Options const& options)
{
    if (options.kiosk && options.renderer != Renderer::OpenGL)
        return QStringLiteral("--kiosk needs --renderer gl");
    if (!options.kiosk && !options.output.isEmpty())
        return QStringLiteral("--output needs --kiosk");
    if (!options.kiosk && !options.address.isEmpty())
        return QStringLiteral("--address needs --kiosk");
    if (options.output.isEmpty() && !options.mode.isEmpty())
        return QStringLiteral("--mode needs --output");
    return {};
}

} // namespace

QString Options::kioskAddress() const
{
    return streamAddress(address, stream);
}

CommandLineSyntax commandLineSyntax(Options& options)
{
    QVector<CommandLineOption> table{
        {"stream", "NAME", "Name of the stream (live).", takeText(options.stream)},
        {"renderer", "KIND", "What paints: gl (OpenGL) or image (the processor) (gl).",
            [&options](QString const& text) {
                return takeRenderer(text, options);
            }},
        {"audio-device", "NAME", "What plays the sound, by its name (default).",
            takeText(options.audioDevice)},
        {"audio-delay", "MS", "How far the sound stays behind the live edge, 0 to 1000 (200).",
            [&options](QString const& text) {
                return takeAudioDelay(text, options);
            }},
        {"no-audio", nullptr, "Show the picture alone.",
            [&options](QString const&) {
                options.audio = false;
                return true;
            }},
        {"inactivity", "SECONDS", "Dim the controls after so long without input; 0: never (0).",
            [&options](QString const& text) {
                return takeInactivity(text, options);
            }},
        {"screenshots", "DIR", "Folder for the pictures of Print and SIGUSR1 (the current one).",
            takeText(options.screenshots)},
        {"frame-log", "FILE", "Write the time of each frame, and when it was shown, to FILE.",
            takeText(options.frameLog)},
        {"kiosk", nullptr, "Fill the screen, with a clock, the address and a button for a finger.",
            [&options](QString const&) {
                return options.kiosk = true;
            }},
        {"output", "NAME", "For a kiosk on EGLFS: the output to light alone, such as HDMI1.",
            takeText(options.output)},
        {"mode", "MODE", "Mode of that output, such as 1920x1080; by default the display's own.",
            takeText(options.mode)},
        {"address", "TEXT", "What a kiosk's QR code says (stream: and the stream's name).",
            takeAddress(options.address)},
        {"verbose", nullptr, "Tell when the stream is shown and when it is waited for.",
            [&options](QString const&) {
                return options.verbose = true;
            }},
    };
    return {"live-viewer",
        "Shows a live video stream from shared memory, and plays its sound.\n"
        "\n"
        "Keys: + and - (or Up and Down) change the volume, S mutes the sound, Print saves a\n"
        "screenshot. With OpenGL: M mirrors the picture, A changes how it is fitted into the\n"
        "window, V shows its quarters one after the other, F fills the screen.\n"
        "\n"
        "A kiosk has a button: tap it for the sound, hold it for a second to hide the details.\n"
        "\n"
        "Signals: SIGTERM and SIGINT end it, SIGHUP opens the stream anew, SIGUSR1 saves a\n"
        "screenshot.",
        table + runOptions(options), {}, [&options] {
            return findFault(options);
        }};
}
