/* The header comes first: it has to include what it needs. */
#include "system/sysinfo.h"

#include "storefromc.h"

#include <stdlib.h>
#include <string.h>

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition))                                                                          \
            return "fails in C: " #condition;                                                      \
    } while (0)

/* Exactly these types. */
static FILE* (*const openWrite)(const char*) = sysinfo_open_write;
static FILE* (*const openRead)(const char*) = sysinfo_open_read;
static int (*const closeStream)(FILE*) = sysinfo_close;
static char* (*const getString)(const char*, const char*) = sysinfo_get_string;
static int (*const getFormat)(const char*, const char*, ...) = sysinfo_get_format;
static int (*const setString)(const char*, const char*) = sysinfo_set_string;
static int (*const setInteger)(const char*, long) = sysinfo_set_integer;
static int (*const setFormat)(const char*, const char*, ...) = sysinfo_set_format;
static int (*const removeKey)(const char*) = sysinfo_remove;
static int (*const listGroup)(const char*) = sysinfo_list;

static int reads(const char* key, const char* expected)
{
    char* value = getString(key, "default");
    const int same = value && strcmp(value, expected) == 0;
    free(value);
    return same;
}

const char* storeFromC(void)
{
    char text[16] = "";
    int number = 0;
    FILE* stream;

    CHECK(setString("c/text", "value") == 1);
    CHECK(reads("c/text", "value"));
    CHECK(reads("c/nothing", "default"));
    CHECK(getString("c/nothing", NULL) == NULL);

    CHECK(setInteger("c/number", -5) == 1);
    CHECK(reads("c/number", "-5"));
    CHECK(getFormat("c/number", "%d", &number) == 1 && number == -5);
    CHECK(setFormat("c/number", "%d,%s", 7, "seven") == 1);
    CHECK(reads("c/number", "7,seven"));

    stream = openWrite("c/stream");
    CHECK(stream && fputs("line", stream) >= 0);
    CHECK(closeStream(stream) == 0);
    stream = openRead("c/stream");
    CHECK(stream && fgets(text, sizeof text, stream) && strcmp(text, "line") == 0);
    CHECK(closeStream(stream) == 0);

    CHECK(listGroup("c") == 1);
    CHECK(listGroup("d") == 0);
    CHECK(removeKey("c") == 1);
    CHECK(removeKey("c") == 0);
    return "all of it works";
}
