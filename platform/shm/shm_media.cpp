#include "shm_media.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shm {

std::optional<Media> Media::open(int place, char const* fileName, std::string_view name)
{
    UniqueFd file = openAt(place, fileName, O_RDONLY);
    if (!file)
        return std::nullopt;
    // The writer puts the file into its place when it is complete, so there is no half-made one.
    if (!isByteLocked(file.get(), aliveByte)) {
        errno = ENOENT;
        return std::nullopt;
    }
    MediaConfig config;
    struct stat info = {};
    if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0 ||
        ::pread(file.get(), &config, sizeof config, 0) != ssize_t(sizeof config) ||
        !isValidConfig(config, uint64_t(info.st_size)) || uint64_t(info.st_size) > SIZE_MAX) {
        errno = EPROTO;
        return std::nullopt;
    }
    if (std::string_view(config.name, config.name_length) != name) {
        errno = ENOENT;
        return std::nullopt;
    }
    Mapping mapping(file.get(), size_t(config.file_size), PROT_READ);
    if (!mapping)
        return std::nullopt;
    return Media(std::move(file), std::move(mapping), config);
}

} // namespace shm
