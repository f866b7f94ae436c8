#ifndef WATCHER_H
#define WATCHER_H

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct inotify_event;

/** Who is told of changes. */
class Observer
{
public:
    virtual void valueSet(std::string const& key, std::string const& value) = 0;
    virtual void keyRemoved(std::string const& key) = 0;

    /** What can't be read: it is followed no further for now. */
    virtual void unreadable(std::string const& key, int error) = 0;

protected:
    ~Observer() = default;
};

/**
 * Follows a key or a group, or the whole store, on the kernel's notices (inotify). Nothing of it
 * needs to be there: what appears, vanishes and returns is followed, the store's own folder too.
 *
 * The folders on the way to the target are watched, from the top on, and those under it. A notice
 * only says where to look: what is told is the difference between the value read then, under the
 * store's lock, and the one told before. So after any notices, lost ones included, the last thing
 * told of a key is what it is.
 *
 * Thread-bound. Each member throws Failure when the kernel refuses a watch.
 */
class Watcher
{
public:
    /** @p target is empty for the whole store; @p tellInitial also tells what is there now. */
    Watcher(std::string const& target, Observer& observer, bool tellInitial);
    ~Watcher();
    Watcher(Watcher const&) = delete;
    Watcher& operator=(Watcher const&) = delete;

    /** Becomes readable when there is something to tell; update() may change it. */
    int descriptor() const { return mDescriptor; }

    /** Milliseconds after which update() is to be called all the same; -1: never. */
    int patience() const;

    /** Tells what has changed; waits for nothing but the store's lock. */
    void update();

private:
    using Clock = std::chrono::steady_clock;

    enum class Look
    {
        First,
        Again /**< after the doubt whether it is empty */
    };

    void open();
    int follow(std::string const& folder, uint32_t events);
    bool isFollowed(std::string const& folder) const;
    void settle();
    void scanGroup(std::string const& path);
    void scanEntries(std::string const& path);
    void rescan();
    void take(inotify_event const& event);
    void takeName(std::string const& path, uint32_t events);
    void leave(std::string const& path);
    void check(std::string const& key, Look look = Look::First);
    void forget(std::string const& key);
    void resolveDoubts();
    std::string keyOf(std::string const& path) const;

    Observer& mObserver;
    std::vector<std::string> mPlaces; /**< paths from the top to the target's folder */
    std::string mRoot;                /**< path of the store */
    std::string mTarget;              /**< path of the target */
    int mDescriptor = -1;
    bool mQuiet;
    std::map<int, std::string> mFolders; /**< paths by watch */
    std::map<std::string, std::string> mValues;
    std::map<std::string, Clock::time_point> mDoubts; /**< keys found empty; asked again then */
};

#endif
