#include "watcher.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "failure.h"
#include "store.h"
#include "text.h"

namespace {

constexpr uint32_t Arrival = IN_CREATE | IN_MOVED_TO;
constexpr uint32_t Departure = IN_DELETE | IN_MOVED_FROM;
constexpr uint32_t OwnDeparture = IN_DELETE_SELF | IN_MOVE_SELF;

/** Of folders above the store, where other programs may write a lot. */
constexpr uint32_t PlaceEvents = Arrival | Departure | OwnDeparture | IN_ONLYDIR;
constexpr uint32_t GroupEvents = PlaceEvents | IN_CLOSE_WRITE;

/**
 * Longer than a writer takes from making a file to locking it: a key found empty may be about to
 * get its first value.
 */
constexpr std::chrono::milliseconds DoubtTime(100);

Failure watchFailure(std::string const& path, int error)
{
    std::string const what = error == ENOSPC ? "no inotify watch is left" : std::strerror(error);
    return Failure("can't watch " + inQuotes(path) + ": " + what);
}

bool isAbsence(int error)
{
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

/** Whether @p path is @p folder or lies under it. */
bool isWithin(std::string_view path, std::string_view folder)
{
    return path.substr(0, folder.size()) == folder &&
           (path.size() == folder.size() || folder == "/" || path[folder.size()] == '/');
}

std::string inFolder(std::string const& folder, std::string_view name)
{
    std::string path = folder == "/" ? folder : folder + '/';
    return path.append(name);
}

/** @p path and all folders above it, from the top on, each spelled without needless slashes. */
std::vector<std::string> placesTo(std::string const& path)
{
    std::vector<std::string> places{"/"};
    for (auto const& name : std::filesystem::absolute(path).relative_path()) {
        if (!name.empty() && name != ".")
            places.push_back(inFolder(places.back(), name.native()));
    }
    return places;
}

} // namespace

Watcher::Watcher(std::string const& target, Observer& observer, bool tellInitial)
    : mObserver(observer)
    , mPlaces(placesTo(store::path(target)))
    , mRoot(placesTo(store::root()).back())
    , mTarget(mPlaces.back())
    , mQuiet(!tellInitial)
{
    mPlaces.pop_back();
    open();
    settle();
    mQuiet = false;
}

Watcher::~Watcher()
{
    ::close(mDescriptor);
}

int Watcher::patience() const
{
    if (mDoubts.empty())
        return -1;
    Clock::time_point end = Clock::time_point::max();
    for (auto const& [key, time] : mDoubts)
        end = std::min(end, time);
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    return static_cast<int>(std::max(left, left.zero()).count());
}

void Watcher::update()
{
    alignas(inotify_event) char notices[65536];
    ssize_t const size = ::read(mDescriptor, notices, sizeof notices);
    if (size < 0 && errno != EAGAIN && errno != EINTR)
        throw Failure(std::string("can't watch: ") + std::strerror(errno));
    for (ssize_t at = 0; at < size;) {
        auto const& event = *reinterpret_cast<inotify_event const*>(notices + at);
        if (event.mask & IN_Q_OVERFLOW) {
            rescan();
            break;
        }
        take(event);
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    resolveDoubts();
}

void Watcher::open()
{
    mDescriptor = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (mDescriptor < 0)
        throw Failure(std::string("can't watch: ") + std::strerror(errno));
}

/** @return 0, or the error number */
int Watcher::follow(std::string const& folder, uint32_t events)
{
    int const watch = inotify_add_watch(mDescriptor, folder.c_str(), events);
    if (watch < 0)
        return errno;
    mFolders[watch] = folder;
    return 0;
}

bool Watcher::isFollowed(std::string const& folder) const
{
    return std::any_of(mFolders.begin(), mFolders.end(),
        [&folder](auto const& followed) { return followed.second == folder; });
}

/** Watches what there is of the way to the target, and the target. */
void Watcher::settle()
{
    for (size_t i = 0; i < mPlaces.size(); ++i) {
        std::string const& place = mPlaces[i];
        std::string const& next = i + 1 < mPlaces.size() ? mPlaces[i + 1] : mTarget;
        bool const isGroup = isWithin(place, mRoot);
        int const error = follow(place, isGroup ? GroupEvents : PlaceEvents);
        if (isAbsence(error))
            return;
        // A folder that only lets through is no obstacle as long as the next one is there.
        bool const passes = error == EACCES && !isGroup && access(next.c_str(), F_OK) == 0;
        if (error && !passes)
            throw watchFailure(place, error);
    }
    int const error = follow(mTarget, GroupEvents);
    if (error == 0)
        scanEntries(mTarget);
    else if (!isAbsence(error))
        throw watchFailure(mTarget, error);
    else if (mTarget != mRoot)
        check(keyOf(mTarget));
}

void Watcher::scanGroup(std::string const& path)
{
    int const error = follow(path, GroupEvents | IN_DONT_FOLLOW);
    if (error == 0)
        scanEntries(path);
    else if (error == EACCES)
        mObserver.unreadable(keyOf(path), error);
    else if (!isAbsence(error))
        throw watchFailure(path, error);
}

void Watcher::scanEntries(std::string const& path)
{
    auto const entries = store::entries(keyOf(path));
    if (!entries) {
        if (!isAbsence(errno))
            mObserver.unreadable(keyOf(path), errno);
        return;
    }
    for (store::Entry const& entry : *entries) {
        std::string const child = inFolder(path, entry.name);
        if (entry.isGroup)
            scanGroup(child);
        else
            check(keyOf(child));
    }
}

/** After notices were lost: begins again, and tells what has changed since. */
void Watcher::rescan()
{
    ::close(mDescriptor);
    mFolders.clear();
    open();
    settle();
    std::map<std::string, std::string> const known = mValues;
    for (auto const& [key, value] : known)
        check(key);
}

void Watcher::take(inotify_event const& event)
{
    auto const found = mFolders.find(event.wd);
    if (found == mFolders.end())
        return;
    std::string const folder = found->second;
    if (event.mask & IN_IGNORED) {
        mFolders.erase(found);
    } else if (event.mask & (OwnDeparture | IN_UNMOUNT)) {
        // The folder above has told already, unless it can't be watched; of mounts it tells
        // nothing.
        std::string const above = std::filesystem::path(folder).parent_path();
        if (event.mask & IN_UNMOUNT || !isFollowed(above)) {
            leave(folder);
            settle();
        }
    } else if (event.len > 0) {
        takeName(inFolder(folder, event.name), event.mask);
    }
}

void Watcher::takeName(std::string const& path, uint32_t events)
{
    if (isWithin(mTarget, path)) {
        if (events & Departure)
            leave(path);
        else if (events & Arrival)
            settle();
        else if (path == mTarget && path != mRoot)
            check(keyOf(path));
        return;
    }
    std::string const key = isWithin(path, mTarget) ? keyOf(path) : std::string();
    if (!store::faultOf(key).empty())
        return;
    bool const isGroup = events & IN_ISDIR;
    if (events & Departure)
        isGroup ? leave(path) : forget(key);
    else if (isGroup)
        scanGroup(path);
    else if (events & (IN_CLOSE_WRITE | IN_MOVED_TO))
        check(key);
}

/** Watches nothing at and under @p path any longer. */
void Watcher::leave(std::string const& path)
{
    for (auto it = mFolders.begin(); it != mFolders.end();) {
        if (isWithin(it->second, path)) {
            inotify_rm_watch(mDescriptor, it->first);
            it = mFolders.erase(it);
        } else {
            ++it;
        }
    }
    std::vector<std::string> gone;
    for (auto const& [key, value] : mValues) {
        if (isWithin(inFolder(mRoot, key), path))
            gone.push_back(key);
    }
    for (std::string const& key : gone)
        forget(key);
}

void Watcher::check(std::string const& key, Look look)
{
    std::optional<std::string> value = store::read(key);
    if (!value) {
        if (isAbsence(errno) || errno == EISDIR || errno == EINVAL)
            forget(key);
        else
            mObserver.unreadable(key, errno);
        return;
    }
    auto const known = mValues.find(key);
    if (known != mValues.end() && known->second == *value)
        return;
    if (value->empty() && look == Look::First && !mQuiet) {
        mDoubts.try_emplace(key, Clock::now() + DoubtTime);
        return;
    }
    mDoubts.erase(key);
    std::string const& now = mValues[key] = std::move(*value);
    if (!mQuiet)
        mObserver.valueSet(key, now);
}

void Watcher::forget(std::string const& key)
{
    mDoubts.erase(key);
    if (mValues.erase(key) > 0)
        mObserver.keyRemoved(key);
}

void Watcher::resolveDoubts()
{
    std::map<std::string, Clock::time_point> const doubts = mDoubts;
    for (auto const& [key, end] : doubts) {
        if (Clock::now() < end)
            continue;
        mDoubts.erase(key);
        check(key, Look::Again);
    }
}

std::string Watcher::keyOf(std::string const& path) const
{
    return path == mRoot ? std::string() : path.substr(inFolder(mRoot, {}).size());
}
