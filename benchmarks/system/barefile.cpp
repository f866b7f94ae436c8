#include "barefile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

char* barefile::read(const char* path, Unlock unlock)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return nullptr;
    struct stat status;
    char* value = nullptr;
    if (flock(file, LOCK_EX) == 0 && fstat(file, &status) == 0) {
        value = static_cast<char*>(std::malloc(size_t(status.st_size) + 1));
        const ssize_t count = ::read(file, value, size_t(status.st_size));
        value[std::max<ssize_t>(count, 0)] = '\0';
    }
    if (unlock == Unlock::Explicitly)
        flock(file, LOCK_UN);
    close(file);
    return value;
}

bool barefile::write(
    const char* const (&directories)[2], const char* path, const std::string& value)
{
    for (const char* directory : directories) {
        if ((mkdir(directory, 0777) != 0 && errno != EEXIST) || chmod(directory, 0777) != 0)
            return false;
    }
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (file < 0)
        return false;
    const bool ok = flock(file, LOCK_EX) == 0 && ftruncate(file, 0) == 0 &&
                    fchmod(file, 0666) == 0 &&
                    ::write(file, value.data(), value.size()) == ssize_t(value.size());
    flock(file, LOCK_UN);
    return close(file) == 0 && ok;
}
