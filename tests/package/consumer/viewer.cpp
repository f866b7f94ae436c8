#include <QCoreApplication>

#include "extdisplay/drmconnector.h"
#include "extdisplay/extdisplay.h"
#include "logger.h"
#include "utils/mediasource.h"

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    MediaSource source(QStringLiteral("nobody publishes this"));
    logger::info("%s: open %d", qPrintable(source.name()), source.open());
    logger::info("type %d missing: %d", DRM_MODE_CONNECTOR_HDMIA,
        !extdisplay::isOutputConnected(QStringLiteral("no such output")));
    return source.grabVideo(0).isValid() ? 1 : 0;
}
