#include "commands.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "options.h"
#include "output.h"
#include "store.h"
#include "text.h"
#include "watcher.h"

#include "system/sysinfo.h"

namespace {

/** Characters of a value that a line of the tree shows. */
constexpr size_t TreeValueLength = 60;

std::string const& checkedKey(std::string const& key, char const* called = "KEY")
{
    std::string const fault = store::faultOf(key);
    if (!fault.empty())
        throw Refusal(std::string("bad ") + called + ' ' + inQuotes(key) + ": " + fault);
    return key;
}

/** A key or group, which may end in a slash as in a list of names. */
std::string checkedGroup(std::string group)
{
    if (group.size() > 1 && group.back() == '/')
        group.pop_back();
    return checkedKey(group, "KEY or GROUP");
}

/** The operand of a command that means the whole store without one. */
std::string groupIn(Operands const& operands)
{
    return operands.texts.empty() ? std::string() : checkedGroup(operands.texts.front());
}

std::string failureText(char const* what, std::string const& key, int error)
{
    return std::string("can't ") + what + ' ' + inQuotes(key) + ": " + std::strerror(error);
}

/** What keeps @p key from being read or written. */
Failure keyFailure(char const* what, std::string const& key, int error)
{
    if (error == EISDIR)
        return Failure(inQuotes(key) + " is a group, not a key");
    if (error == EINVAL)
        return Failure(inQuotes(key) + " is no file");
    return Failure(failureText(what, key, error));
}

bool isAbsence(int error)
{
    return error == ENOENT || error == ENOTDIR;
}

std::string standardInput()
{
    std::string text;
    char block[65536];
    while (size_t const size = std::fread(block, 1, sizeof block, stdin))
        text.append(block, size);
    if (std::ferror(stdin))
        throw Failure(std::string("can't read standard input: ") + std::strerror(errno));
    return text;
}

/** Shows @p group, and adds to @p faults what can't be shown. */
void showGroup(
    std::string const& group, std::string const& indent, std::vector<std::string>& faults)
{
    auto const entries = store::entries(group);
    if (!entries) {
        if (!isAbsence(errno))
            faults.push_back(failureText("list", group.empty() ? store::root() : group, errno));
        return;
    }
    for (store::Entry const& entry : *entries) {
        std::string const key = group.empty() ? entry.name : group + '/' + entry.name;
        std::string const line = indent + escaped(entry.name);
        if (entry.isGroup) {
            put(line + "/\n");
            showGroup(key, indent + "  ", faults);
        } else if (auto const value = store::read(key)) {
            put(line + " = " + valueText(*value, TreeValueLength) + '\n');
        } else if (!isAbsence(errno)) {
            faults.push_back(failureText("read", key, errno));
            put(line + " = ?\n");
        }
    }
}

/** Writes a line for each change. */
class ChangePrinter final : public Observer
{
public:
    void valueSet(std::string const& key, std::string const& value) override
    {
        put(escaped(key) + " = " + valueText(value) + '\n');
    }

    void keyRemoved(std::string const& key) override { put(escaped(key) + " removed\n"); }

    void unreadable(std::string const& key, int error) override
    {
        complain(failureText("read", key.empty() ? store::root() : key, error));
    }
};

/** There is nothing to put in order, and it also ends a wait for a lock or for a slow reader. */
void endAtOnce(int)
{
    _exit(0);
}

} // namespace

void getValue(Operands const& operands)
{
    std::string const& key = checkedKey(operands.texts[0]);
    if (auto const value = store::read(key)) {
        put(*value);
        return;
    }
    if (operands.texts.size() > 1) {
        put(operands.texts[1]);
        return;
    }
    throw isAbsence(errno) ? Failure("no key " + inQuotes(key)) : keyFailure("read", key, errno);
}

void setValue(Operands const& operands)
{
    std::string const& key = checkedKey(operands.texts[0]);
    std::string const& text = operands.texts[1];
    // All of the input first: others wait while the key is open.
    if (!store::write(key, text == "-" ? standardInput() : text))
        throw keyFailure("write", key, errno);
}

void listGroup(Operands const& operands)
{
    std::string const group = groupIn(operands);
    auto const entries = store::entries(group);
    if (!entries && group.empty() && errno == ENOENT)
        return; // nobody has set anything yet
    if (!entries && group.empty())
        throw Failure(failureText("list", store::root(), errno));
    if (!entries && errno == ENOTDIR && access(store::path(group).c_str(), F_OK) == 0)
        throw Failure(inQuotes(group) + " is a key, not a group");
    if (!entries)
        throw isAbsence(errno) ? Failure("no group " + inQuotes(group))
                               : Failure(failureText("list", group, errno));
    std::string text;
    for (store::Entry const& entry : *entries)
        text += escaped(entry.name) + (entry.isGroup ? "/\n" : "\n");
    put(text);
}

void showTree(Operands const&)
{
    std::vector<std::string> faults;
    showGroup({}, {}, faults);
    if (faults.empty())
        return;
    std::string const last = faults.back();
    faults.pop_back();
    for (std::string const& fault : faults)
        complain(fault);
    throw Failure(last);
}

void removeKey(Operands const& operands)
{
    std::string const key = checkedGroup(operands.texts[0]);
    struct stat status = {};
    if (lstat(store::path(key).c_str(), &status) != 0 && isAbsence(errno))
        throw Failure("no key or group " + inQuotes(key));
    if (key != operands.texts[0] && !S_ISDIR(status.st_mode))
        throw Failure(inQuotes(key) + " is a key, not a group");
    if (!sysinfo_remove(key.c_str()))
        throw Failure(failureText("remove", key, errno));
}

void watchKey(Operands const& operands)
{
    std::string const target = groupIn(operands);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, endAtOnce);
    signal(SIGTERM, endAtOnce);
    ChangePrinter printer;
    try {
        Watcher watcher(target, printer, operands.initial);
        for (;;) {
            pollfd waits[] = {{watcher.descriptor(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
            if (poll(waits, 2, watcher.patience()) < 0 && errno != EINTR)
                throw Failure(std::string("can't wait: ") + std::strerror(errno));
            if (waits[1].revents)
                return;
            watcher.update();
        }
    } catch (ReaderGone const&) {
        return;
    }
}
