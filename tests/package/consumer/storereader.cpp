#include "system/sysinfo.h"
#include "system/sysinfovalue.h"

int main()
{
    const bool isSame = sysinfo::get_string("net/ip", "") == "10.0.0.2" &&
                        getSysinfoValue(QStringLiteral("net/ip"), QString()) == "10.0.0.2";
    return isSame && sysinfo_remove("net") ? 0 : 1;
}
