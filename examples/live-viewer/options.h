#ifndef OPTIONS_H
#define OPTIONS_H

#include <QString>

#include "commandline.h"
#include "runoptions.h"

/** What paints the picture. */
enum class Renderer
{
    OpenGL,
    Images /**< converted by the processor */
};

/** What the user asks for. */
struct Options : RunOptions
{
    QString stream = QStringLiteral("live");
    Renderer renderer = Renderer::OpenGL;
    bool verbose = false;
};

/** The command line that sets @p options, which must outlive it. */
CommandLineSyntax commandLineSyntax(Options& options);

#endif
