#ifndef STORE_H
#define STORE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/**
 * The system information store as its files show it: what the library's interface doesn't tell, and
 * values of any bytes through it. Where a function fails, errno tells why.
 */
namespace store {

/** One name in a group. */
struct Entry
{
    std::string name;
    bool isGroup = false;
};

/** The folder of the whole store, looked up once, as in the library. */
std::string const& root();

/** The file of @p key, or the folder of a group; of the empty one: root(). */
std::string path(std::string_view key);

/** Why @p key names no value and no group; empty: it does. */
std::string faultOf(std::string_view key);

/** The whole value, read under the store's lock. EISDIR: it is a group; EINVAL: it is no file. */
std::optional<std::string> read(std::string const& key);

/** Sets the value under the store's lock; when it can't be written wholly the key is empty. */
bool write(std::string const& key, std::string_view value);

/**
 * Keys and subgroups of @p group, sorted by the bytes of their names. What is neither a file nor a
 * folder is left out, symbolic links too, and so are names that are too long for the store.
 */
std::optional<std::vector<Entry>> entries(std::string const& group);

} // namespace store

#endif
