#include "options.h"

#include <algorithm>
#include <iterator>

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

} // namespace

CommandLineSyntax commandLineSyntax(Options& options)
{
    QVector<CommandLineOption> table{
        {"stream", "NAME", "Name of the stream (live).", takeText(options.stream)},
        {"renderer", "KIND", "What paints: gl (OpenGL) or image (the processor) (gl).",
            [&options](QString const& text) {
                return takeRenderer(text, options);
            }},
        {"verbose", nullptr, "Tell when the stream is shown and when it is waited for.",
            [&options](QString const&) {
                return options.verbose = true;
            }},
    };
    return {"live-viewer",
        "Shows a live video stream from shared memory.\n"
        "\n"
        "Keys, with OpenGL: M mirrors the picture, A changes how it is fitted into the window,\n"
        "V shows its quarters one after the other, F fills the screen.",
        table + runOptions(options), {}, {}};
}
