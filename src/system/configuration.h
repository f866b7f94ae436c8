#ifndef CONFIGURATION_H
#define CONFIGURATION_H

#include <QList>
#include <QString>

#include "qvorlinexport.h"

/** One setting of the appliance's configuration. */
struct ConfigValue
{
    QString section;
    QString key;
    QString value;
};

/**
 * Writes settings into the appliance's configuration, in their order, and makes them permanent:
 * runs "configdb set <section> <key> <value>" for each of them and "saveconfig" once, with
 * "-d <directory>" unless @p directory is empty. An empty list runs nothing. The programs are
 * looked for on the PATH. Each setting is logged at debug level.
 *
 * Always true: whether the programs are there and succeed is not looked at, and a setting that
 * could not be written keeps its value.
 *
 * @code
 * saveConfiguration({{"network", "hostname", "camera-1"}, {"video", "mode", "1080p"}}, QString());
 * @endcode
 *
 * Blocks the calling thread until all the programs have ended, for each up to a minute (see
 * execExternalProcess()): on the GUI thread the interface stands still meanwhile. Thread-safe; the
 * programs of calls in several threads may run in any order.
 */
QVORLIN_EXPORT bool saveConfiguration(QList<ConfigValue> const& values, QString directory);

#endif
