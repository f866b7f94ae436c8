#include "store.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "system/sysinfo.h"

namespace store {

namespace {

// The library cuts what is longer, and would so use another file.
constexpr size_t MaxPath = 254;

constexpr size_t BlockSize = 65536;

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

enum class Use
{
    Read,
    Write
};

/** Whether @p key may be opened, as far as there is something of its name. */
bool isUsable(std::string const& key, Use use)
{
    struct stat status = {};
    if (stat(path(key).c_str(), &status) != 0)
        return true;
    if (S_ISDIR(status.st_mode))
        errno = EISDIR;
    else if (!S_ISREG(status.st_mode))
        errno = EINVAL; // opening it might wait for ever
    else if (use == Use::Write && geteuid() != 0 && geteuid() != status.st_uid)
        errno = EPERM; // the library finds out when it has emptied the value
    else
        return true;
    return false;
}

} // namespace

std::string const& root()
{
    static std::string const folder = [] {
        char const* const profile = std::getenv("SYSINFO_PROFILE");
        return std::string(profile && *profile ? profile : "/tmp/sysinfo");
    }();
    return folder;
}

std::string path(std::string_view key)
{
    return key.empty() ? root() : root() + '/' + std::string(key);
}

std::string faultOf(std::string_view key)
{
    if (key.empty())
        return "it is empty";
    for (std::string_view rest = key;;) {
        size_t const slash = rest.find('/');
        std::string_view const name = rest.substr(0, slash);
        if (name.empty())
            return "a name in it is empty";
        if (name == "." || name == "..")
            return "'" + std::string(name) + "' is no name";
        if (slash == std::string_view::npos)
            break;
        rest.remove_prefix(slash + 1);
    }
    size_t const length = path(key).size();
    return length <= MaxPath ? std::string()
                             : "its path is " + std::to_string(length) +
                                   " bytes long, the store takes " + std::to_string(MaxPath);
}

std::optional<std::string> read(std::string const& key)
{
    if (!isUsable(key, Use::Read))
        return {};
    Stream const stream(sysinfo_open_read(key.c_str()), sysinfo_close);
    if (!stream)
        return {};
    std::string value;
    size_t used = 0;
    do {
        value.resize(used + BlockSize);
        used += std::fread(&value[used], 1, BlockSize, stream.get());
    } while (used == value.size());
    if (std::ferror(stream.get()))
        return {};
    value.resize(used);
    return value;
}

bool write(std::string const& key, std::string_view value)
{
    if (!isUsable(key, Use::Write))
        return false;
    Stream stream(sysinfo_open_write(key.c_str()), sysinfo_close);
    if (!stream)
        return false;
    // Nothing must be left to write when the lock goes: then there is no way back.
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    if (std::fwrite(value.data(), 1, value.size(), stream.get()) != value.size()) {
        int const error = errno;
        // Better nothing than half a value.
        if (ftruncate(fileno(stream.get()), 0) != 0)
            std::clearerr(stream.get());
        stream.reset();
        errno = error;
        return false;
    }
    return sysinfo_close(stream.release()) == 0;
}

std::optional<std::vector<Entry>> entries(std::string const& group)
{
    namespace fs = std::filesystem;
    std::string const folder = path(group);
    std::vector<Entry> entries;
    std::error_code error;
    fs::directory_iterator it(folder, error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        Entry entry{it->path().filename().string()};
        std::error_code gone;
        fs::file_type const type = it->symlink_status(gone).type();
        entry.isGroup = type == fs::file_type::directory;
        bool const fits = folder.size() + 1 + entry.name.size() <= MaxPath;
        if (fits && (entry.isGroup || type == fs::file_type::regular))
            entries.push_back(std::move(entry));
    }
    if (error) {
        errno = error.value();
        return {};
    }
    std::sort(entries.begin(), entries.end(),
        [](Entry const& a, Entry const& b) { return a.name < b.name; });
    return entries;
}

} // namespace store
