#include "outputselection.h"

#include <cstdio>

#include <QSize>

#include "extdisplay/extdisplay.h"
#include "extdisplay/stockplugin.h"
#include "options.h"

bool selectOutput(Options const& options)
{
    if (options.output.isEmpty())
        return true;
    char const* fault = nullptr;
    // Without a display Qt would have no screen, and ends in a crash.
    if (extdisplay::setEGLFSKMSOutput(options.output, options.mode, QSize(), true).output.isEmpty())
        fault = "there is no such output, or no display is plugged in";
    else if (!extdisplay::adaptConfigForStockPlugin())
        fault = "the platform's configuration can't be written";
    if (fault) {
        std::fprintf(stderr, "live-viewer: can't select the output %s: %s\n",
            qPrintable(options.output), fault);
    }
    return !fault;
}
