#include "shm_names.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shm {

namespace {

// Both leave room in the 255 bytes of a file name for the longest ending.
constexpr size_t maximumStemLength = 200;
constexpr size_t cutStemLength = 160;

constexpr char lockEnding[] = ".lock";
constexpr char defaultPlace[] = "/dev/shm/qvorlin";

bool isPlain(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

/** Length of the well-formed UTF-8 sequence at the start of @p text, 0 if there is none. */
size_t sequenceLength(std::string_view text)
{
    // Lead byte range, range of the second byte, length: this leaves out overlong forms,
    // surrogates and what lies above U+10FFFF.
    struct Row
    {
        unsigned char leadMin, leadMax, secondMin, secondMax;
        size_t length;
    };
    static constexpr Row rows[] = {
        {0x01, 0x7f, 0x00, 0x00, 1},
        {0xc2, 0xdf, 0x80, 0xbf, 2},
        {0xe0, 0xe0, 0xa0, 0xbf, 3},
        {0xe1, 0xec, 0x80, 0xbf, 3},
        {0xed, 0xed, 0x80, 0x9f, 3},
        {0xee, 0xef, 0x80, 0xbf, 3},
        {0xf0, 0xf0, 0x90, 0xbf, 4},
        {0xf1, 0xf3, 0x80, 0xbf, 4},
        {0xf4, 0xf4, 0x80, 0x8f, 4},
    };
    auto byte = [&](size_t i) {
        return static_cast<unsigned char>(text[i]);
    };
    for (Row const& row : rows) {
        if (byte(0) < row.leadMin || byte(0) > row.leadMax)
            continue;
        if (text.size() < row.length)
            return 0;
        if (row.length > 1 && (byte(1) < row.secondMin || byte(1) > row.secondMax))
            return 0;
        for (size_t i = 2; i < row.length; ++i) {
            if (byte(i) < 0x80 || byte(i) > 0xbf)
                return 0;
        }
        return row.length;
    }
    return 0;
}

std::string hexByte(unsigned char c)
{
    char text[3];
    std::snprintf(text, sizeof text, "%02X", c);
    return text;
}

std::string hexNumber(uint64_t number)
{
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(number));
    return text;
}

/** FNV-1a with 128 bits. Readers compare the full name, so the hash need not resist attacks. */
std::string hashOf(std::string_view text)
{
    __extension__ using Wide = unsigned __int128;
    constexpr Wide prime = (Wide(1) << 88) + 0x13b;
    Wide hash = (Wide(0x6c62272e07bb0142) << 64) + 0x62b821756295c58d;
    for (char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= prime;
    }
    return hexNumber(static_cast<uint64_t>(hash >> 64)) + hexNumber(static_cast<uint64_t>(hash));
}

char const* placePath()
{
    // A program with raised privileges must not be led elsewhere by its environment.
    char const* path = ::secure_getenv("QVORLIN_SHM_DIR");
    return path && *path ? path : defaultPlace;
}

} // namespace

int checkName(char const* name)
{
    if (!name || !*name)
        return EINVAL;
    std::string_view rest(name, ::strnlen(name, maximumNameLength + 1));
    if (rest.size() > maximumNameLength)
        return ENAMETOOLONG;
    while (!rest.empty()) {
        size_t const length = sequenceLength(rest);
        if (length == 0)
            return EILSEQ;
        rest.remove_prefix(length);
    }
    return 0;
}

std::string printableName(std::string_view name)
{
    std::string text;
    for (char c : name) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f)
            text += "\\x" + hexByte(byte);
        else
            text += c;
    }
    return text;
}

StreamFiles::StreamFiles(std::string_view name)
{
    for (char c : name) {
        auto const byte = static_cast<unsigned char>(c);
        if (isPlain(byte))
            mStem += c;
        else
            mStem += '%' + hexByte(byte);
    }
    if (mStem.size() > maximumStemLength)
        mStem = mStem.substr(0, cutStemLength) + '~' + hashOf(name);
}

StreamFiles StreamFiles::ofLockFile(std::string_view fileName)
{
    StreamFiles files;
    size_t const dot = fileName.find('.');
    if (dot != std::string_view::npos && fileName.substr(dot) == lockEnding)
        files.mStem = fileName.substr(0, dot);
    return files;
}

std::string StreamFiles::draft(uint64_t instance) const
{
    return mStem + '.' + hexNumber(instance) + ".new";
}

std::string StreamFiles::pins(uint64_t instance) const
{
    return mStem + '.' + hexNumber(instance) + ".pins";
}

bool StreamFiles::isContent(std::string_view fileName) const
{
    size_t const dot = fileName.find('.');
    return dot != std::string_view::npos && fileName.substr(0, dot) == mStem &&
           fileName.substr(dot) != lockEnding;
}

UniqueFd openPlace()
{
    // O_NOFOLLOW: in /dev/shm any user might have laid a link under the place's name.
    return UniqueFd(::open(placePath(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

UniqueFd makePlace()
{
    constexpr mode_t everybody = S_ISVTX | 0777;
    char const* const path = placePath();
    bool const made = ::mkdir(path, everybody) == 0;
    if (!made && errno != EEXIST)
        return UniqueFd();
    UniqueFd place = openPlace();
    struct stat info = {};
    if (!place || ::fstat(place.get(), &info) != 0)
        return place;
    // mkdir() applied the umask. Our default place without the sticky bit is one whose maker died
    // right here.
    bool const unfinished = std::strcmp(path, defaultPlace) == 0 && info.st_uid == ::geteuid() &&
                            !(info.st_mode & S_ISVTX);
    if (made || unfinished)
        ::fchmod(place.get(), everybody);
    return place;
}

} // namespace shm
