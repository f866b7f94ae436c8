#ifndef STOCKPLUGIN_H
#define STOCKPLUGIN_H

#include "qvorlinexport.h"

namespace extdisplay {

/**
 * Rewrites the configuration of setEGLFSKMSOutput() for the EGLFS platform of Qt as published. To
 * be called between that and the application object, while no other thread uses the environment:
 *
 * @code
 * extdisplay::setEGLFSKMSOutput(output, mode, QSize(), true);
 * extdisplay::adaptConfigForStockPlugin();
 * QVorlinApplication app(argc, argv);
 * @endcode
 *
 * The appliance's platform takes the JSON text in QT_QPA_EGLFS_KMS_CONFIG. Qt 5.15 as published
 * - wants the name of a file there and, given the text, takes all outputs that are connected:
 *   the text goes into a sealed file in memory, and the variable to "/proc/self/fd/<number>". The
 *   file lives as long as the process; programs that it starts don't inherit it.
 * - says "skip" where the text has "ignore", and never reads "crtcmask".
 * - tells outputs apart by their names alone, and calls connectors of the types Virtual and DSI so,
 *   which have no name in the text but "UNKNOWN1".
 * - sets the display's preferred mode where it doesn't know the mode or the display doesn't offer
 * it. It knows "1920x1080", "1920x1080@60", "off", "current", "preferred" and modelines, which it
 *   sets whether or not the display offers them.
 * - crashes when no screen remains. A text that skips all its outputs stays as it is; besides,
 *   a program should not select an output without a display (requireConnected).
 *
 * A variable that is unset or holds anything but the text of a JSON object, such as a file's name,
 * stays as it is, so that a second call does nothing.
 *
 * @return whether the variable was changed; it is as it was on failure
 */
QVORLIN_EXPORT bool adaptConfigForStockPlugin();

} // namespace extdisplay

#endif
