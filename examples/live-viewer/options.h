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
    bool audio = true;
    QString audioDevice = QStringLiteral("default");
    int audioDelayMs = 200; /**< from the live edge until it is heard */
    double inactivity = 0;  /**< seconds until the controls are dimmed; 0: never */
    QString screenshots;    /**< folder for them; empty: the current one */
    QString frameLog;       /**< file for the times of the frames; empty: none */
    bool verbose = false;
    bool kiosk = false;
    QString output;  /**< of the display, for a kiosk; empty: the platform's choice */
    QString mode;    /**< of that output; empty: what its display prefers */
    QString address; /**< for a kiosk's QR code; empty: made of the stream's name */

    /** The address given, or "stream:" and the stream's name. */
    QString kioskAddress() const;
};

/** The command line that sets @p options, which must outlive it. */
CommandLineSyntax commandLineSyntax(Options& options);

#endif
