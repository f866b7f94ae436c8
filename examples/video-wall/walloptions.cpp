#include "walloptions.h"

namespace {

constexpr int MaxStreams = 64;
constexpr int DefaultCount = 4;

bool takeCount(QString const& text, WallOptions& options)
{
    bool ok = false;
    options.count = text.toInt(&ok);
    return ok && *options.count >= 1 && *options.count <= MaxStreams;
}

bool takeName(QString const& text, WallOptions& options)
{
    options.names.append(text);
    return !text.isEmpty() && options.names.size() <= MaxStreams;
}

} // namespace

QStringList WallOptions::streams() const
{
    if (!names.isEmpty())
        return names;
    QStringList result;
    for (int i = 1; i <= count.value_or(DefaultCount); ++i)
        result.append(QStringLiteral("%1-%2").arg(prefix).arg(i));
    return result;
}

CommandLineSyntax commandLineSyntax(WallOptions& options)
{
    QVector<CommandLineOption> table{
        {"streams", "NAME...", "Names of the streams.",
            [&options](QString const& text) {
                return takeName(text, options);
            }},
        {"count", "N", "Show N streams, named PREFIX-1 to PREFIX-N, 1 to 64 (4).",
            [&options](QString const& text) {
                return takeCount(text, options);
            }},
        {"prefix", "PREFIX", "What these names begin with (live).", takeText(options.prefix)},
    };
    return {"video-wall", "Shows live video streams from shared memory beside each other.",
        table + runOptions(options),
        [&options](
            QString const& text) { return !options.names.isEmpty() && takeName(text, options); },
        [&options] {
            return options.count && !options.names.isEmpty()
                       ? QStringLiteral("--streams and --count exclude each other")
                       : QString();
        }};
}
