#include "galleryoptions.h"

#include "streamaddress.h"

namespace {

constexpr int MaxKeys = 4; // there is room for

bool takeKey(QString const& text, GalleryOptions& options)
{
    options.keys.append(text);
    return !text.isEmpty() && options.keys.size() <= MaxKeys;
}

} // namespace

QString GalleryOptions::codeText() const
{
    return streamAddress(address, stream);
}

QStringList GalleryOptions::shownKeys() const
{
    if (!keys.isEmpty())
        return keys;
    return {QStringLiteral("system/name"), QStringLiteral("system/uptime"),
        QStringLiteral("system/load"), QStringLiteral("system/memory")};
}

CommandLineSyntax commandLineSyntax(GalleryOptions& options)
{
    QVector<CommandLineOption> table{
        {"stream", "NAME", "Name of the stream (live).", takeText(options.stream)},
        {"address", "TEXT", "What the QR code says when tapped (stream: and the stream's name).",
            takeAddress(options.address)},
        {"key", "KEY", "Key of the information store to show; up to four times.",
            [&options](QString const& text) {
                return takeKey(text, options);
            }},
        {"full-screen", nullptr, "Fill the screen.",
            [&options](QString const&) {
                return options.fullScreen = true;
            }},
    };
    return {"gallery",
        "Shows every widget of the library with a live stream from shared memory.\n"
        "\n"
        "Each has a button that changes what it is set to: tap it for one thing, hold it for a\n"
        "second for another. Sound is shown, not played.\n"
        "\n"
        "Signals: SIGTERM and SIGINT end it.",
        table + runOptions(options), {}, {}};
}
