#include "system/sysinfo.h"

#include <stdlib.h>
#include <string.h>

int main(void)
{
    char* value;
    int width = 0;
    int failed;

    if (!sysinfo_set_string("net/ip", "10.0.0.2") || !sysinfo_set_format("video/size", "%dx", 1920))
        return 1;
    value = sysinfo_get_string("net/ip", NULL);
    failed = !value || strcmp(value, "10.0.0.2") != 0;
    free(value);
    if (sysinfo_get_format("video/size", "%dx", &width) != 1 || width != 1920)
        return 1;
    return failed || !sysinfo_list("");
}
