#include "sysinfovalue.h"

#include "sysinfo.h"

QString getSysinfoValue(QString key, QString defaultValue)
{
    const std::string value = sysinfo::get_string(key.toStdString(), defaultValue.toStdString());
    return QString::fromUtf8(value.c_str());
}
