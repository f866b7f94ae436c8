#include "sysinfo.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t directoryMode = 0777;
constexpr mode_t fileMode = 0666;
constexpr int removalDescriptors = 64;

// Threads that come here first at the same time find the same value; one copy is kept.
const char* root()
{
    static std::atomic<const char*> cached{nullptr};
    const char* known = cached.load(std::memory_order_acquire);
    if (known)
        return known;
    const char* profile = std::getenv("SYSINFO_PROFILE");
    // The environment's own memory may change later.
    char* copy = strdup(profile && *profile ? profile : "/tmp/sysinfo");
    if (!copy || cached.compare_exchange_strong(known, copy, std::memory_order_acq_rel))
        return copy;
    std::free(copy);
    return known;
}

class Path
{
public:
    explicit Path(const char* key)
    {
        const char* base = key ? root() : nullptr;
        mValid = base && std::snprintf(mText, sizeof mText, "%s/%s", base, key) >= 0;
    }

    explicit operator bool() const { return mValid; }
    const char* text() const { return mText; }
    char* text() { return mText; }

private:
    char mText[255];
    bool mValid;
};

bool isKey(const char* key)
{
    return key && *key;
}

// Given the mode even if it was there before, so that a store that another user's umask has closed
// opens again.
bool makeDirectory(const char* path)
{
    if (mkdir(path, directoryMode) != 0 && errno != EEXIST)
        return false;
    const int ignored = chmod(path, directoryMode);
    static_cast<void>(ignored);
    return true;
}

// Makes each directory on the way to the file @p path, which is cut and restored meanwhile.
bool makeDirectories(char* path)
{
    char* const end = std::strrchr(path, '/');
    if (!end)
        return false;
    *end = '\0';
    // The first character is no name's end.
    for (char* slash = path + 1; slash < end; ++slash) {
        if (*slash != '/')
            continue;
        *slash = '\0';
        const bool made = makeDirectory(path);
        *slash = '/';
        if (!made)
            return false;
    }
    const bool made = makeDirectory(path);
    *end = '/';
    return made;
}

// Null when the file or the lock can't be had.
FILE* openLocked(const char* path, const char* mode)
{
    FILE* stream = std::fopen(path, mode);
    if (!stream)
        return nullptr;
    if (flock(fileno(stream), LOCK_EX) == 0)
        return stream;
    std::fclose(stream);
    return nullptr;
}

// For values that are written by one call: what can't be written is known at once, and no other
// thread knows the stream.
void makeDirect(FILE* stream)
{
    std::setvbuf(stream, nullptr, _IONBF, 0);
    __fsetlocking(stream, FSETLOCKING_BYCALLER);
}

// Negative when it isn't known.
off_t measure(FILE* stream)
{
    const off_t size = lseek(fileno(stream), 0, SEEK_END);
    // A directory may end at the greatest offset that there is; no value does.
    return size < std::numeric_limits<off_t>::max() ? size : -1;
}

// Past the stream, whose buffer would be one more copy, and which would first seek back. Values are
// read from their start in any case.
bool readWhole(FILE* stream, char* value, size_t length)
{
    size_t done = 0;
    while (done < length) {
        const ssize_t count = pread(fileno(stream), value + done, length - done, off_t(done));
        if (count <= 0)
            return false;
        done += size_t(count);
    }
    return true;
}

// A new string; null on failure.
char* readString(FILE* stream)
{
    const off_t size = measure(stream);
    if (size < 0)
        return nullptr;
    const size_t length = size_t(size);
    char* value = static_cast<char*>(std::malloc(length + 1));
    if (value && readWhole(stream, value, length)) {
        value[length] = '\0';
        return value;
    }
    std::free(value);
    return nullptr;
}

int removeEntry(const char* path, const struct stat*, int, FTW*)
{
    return std::remove(path);
}

bool isDirectory(DIR* parent, const dirent* entry)
{
    if (entry->d_type != DT_UNKNOWN)
        return entry->d_type == DT_DIR;
    // Not every file system tells the type.
    struct stat status;
    return fstatat(dirfd(parent), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

} // namespace

FILE* sysinfo_open_write(const char* key)
{
    if (!isKey(key))
        return nullptr;
    Path path(key);
    if (!path || !makeDirectories(path.text()))
        return nullptr;
    // The old value stays until the lock is held. With "e" no program that is started meanwhile
    // inherits the file, and the lock with it.
    FILE* stream = openLocked(path.text(), "ae");
    if (!stream)
        return nullptr;
    if (ftruncate(fileno(stream), 0) == 0 && fchmod(fileno(stream), fileMode) == 0)
        return stream;
    sysinfo_close(stream);
    return nullptr;
}

FILE* sysinfo_open_read(const char* key)
{
    if (!isKey(key))
        return nullptr;
    const Path path(key);
    return path ? openLocked(path.text(), "re") : nullptr;
}

int sysinfo_close(FILE* stream)
{
    if (!stream)
        return EOF;
    // All of it must be in the file before others may read it.
    std::fflush(stream);
    flock(fileno(stream), LOCK_UN);
    return std::fclose(stream);
}

char* sysinfo_get_string(const char* key, const char* defaultValue)
{
    char* value = nullptr;
    if (FILE* stream = sysinfo_open_read(key)) {
        value = readString(stream);
        sysinfo_close(stream);
    }
    return value || !defaultValue ? value : strdup(defaultValue);
}

int sysinfo_get_format(const char* key, const char* format, ...)
{
    FILE* stream = sysinfo_open_read(key);
    if (!stream)
        return 0;
    va_list arguments;
    va_start(arguments, format);
    const int assigned = std::vfscanf(stream, format, arguments);
    va_end(arguments);
    sysinfo_close(stream);
    return assigned;
}

int sysinfo_set_string(const char* key, const char* value)
{
    FILE* stream = value ? sysinfo_open_write(key) : nullptr;
    if (!stream)
        return 0;
    makeDirect(stream);
    const size_t length = std::strlen(value);
    const bool written = std::fwrite(value, 1, length, stream) == length;
    return sysinfo_close(stream) == 0 && written;
}

int sysinfo_set_integer(const char* key, long value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%ld", value);
    return sysinfo_set_string(key, text);
}

int sysinfo_set_format(const char* key, const char* format, ...)
{
    FILE* stream = sysinfo_open_write(key);
    if (!stream)
        return 0;
    makeDirect(stream);
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vfprintf(stream, format, arguments);
    va_end(arguments);
    sysinfo_close(stream);
    return written >= 0;
}

int sysinfo_remove(const char* key)
{
    const Path path(key);
    return path && nftw(path.text(), removeEntry, removalDescriptors, FTW_DEPTH | FTW_PHYS) == 0;
}

int sysinfo_list(const char* group)
{
    const Path path(group);
    if (!path)
        return 0;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(path.text()), closedir);
    if (!directory)
        return 0;
    while (const dirent* entry = readdir(directory.get())) {
        const bool isSelfOrParent =
            std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0;
        if (!isSelfOrParent && isDirectory(directory.get(), entry))
            std::puts(entry->d_name);
    }
    return 1;
}

std::string sysinfo::get_string(std::string key, std::string defaultValue)
{
    FILE* stream = sysinfo_open_read(key.c_str());
    if (!stream)
        return defaultValue;
    std::string value;
    try {
        // An unknown size is too long, and so may be that of something that isn't a value.
        value.resize(size_t(measure(stream)));
        static_cast<void>(readWhole(stream, value.data(), value.size()));
    } catch (const std::exception&) {
        value = std::move(defaultValue);
    }
    sysinfo_close(stream);
    return value;
}
