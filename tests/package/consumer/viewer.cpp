#include <QCoreApplication>

#include "logger.h"
#include "utils/mediasource.h"

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    MediaSource source(QStringLiteral("nobody publishes this"));
    logger::info("%s: open %d", qPrintable(source.name()), source.open());
    return source.grabVideo(0).isValid() ? 1 : 0;
}
