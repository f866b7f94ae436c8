#include "system/configuration.h"

#include <QStringList>

#include "logger.h"
#include "system/externalprocess.h"

bool saveConfiguration(QList<ConfigValue> const& values, QString directory)
{
    for (ConfigValue const& entry : values) {
        logger::debug("Section: '%s'\nKey: '%s'\nValue: '%s'", entry.section.toUtf8().constData(),
            entry.key.toUtf8().constData(), entry.value.toUtf8().constData());
        execExternalProcess(QStringLiteral("configdb"),
            {QStringLiteral("set"), entry.section, entry.key, entry.value});
    }
    if (values.isEmpty())
        return true;

    QStringList arguments;
    if (!directory.isEmpty())
        arguments << QStringLiteral("-d") << directory;
    execExternalProcess(QStringLiteral("saveconfig"), arguments);
    return true;
}
