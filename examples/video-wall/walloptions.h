#ifndef WALLOPTIONS_H
#define WALLOPTIONS_H

#include <optional>

#include <QString>
#include <QStringList>

#include "commandline.h"
#include "runoptions.h"

/** What the user asks for. */
struct WallOptions : RunOptions
{
    QStringList names;        /**< of the streams; none: they are numbered */
    std::optional<int> count; /**< how many numbered ones */
    QString prefix = QStringLiteral("live");

    /** The streams to show: those named, or else PREFIX-1, PREFIX-2 and so on. */
    QStringList streams() const;
};

/** The command line that sets @p options, which must outlive it. */
CommandLineSyntax commandLineSyntax(WallOptions& options);

#endif
