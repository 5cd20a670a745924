#pragma once

#include "platform/fsevents/Snapshot.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vitrel {

// What inotify tells of some paths, put together to events a file: folders with all beneath them, files alone. A path
// that isn't there is waited for. Keeps a snapshot, so that what inotify loses is found again. One thread.
class TreeWatch
{
public:
    static constexpr std::size_t kMostWatches = 200'000;

    // Relative paths are made absolute; one that lies beneath another has no watch of its own.
    explicit TreeWatch(const std::vector<std::string>& paths);
    ~TreeWatch();
    TreeWatch(const TreeWatch&) = delete;
    TreeWatch& operator=(const TreeWatch&) = delete;

    const std::vector<std::string>& roots() const { return roots_; }

    // Begins. With what was `known` before the events tell what is different now; without, all is known.
    void start(std::optional<FSSnapshot> known);

    // To be polled for reading; negative if the system has no more of them.
    int descriptor() const { return descriptor_; }
    // Takes what inotify has to tell, never waits.
    void read();
    // One record of inotify. For `read` and for tests.
    void take(int watch, std::uint32_t mask, std::uint32_t cookie, const std::string& name);
    // Says that the other end of a rename isn't going to come: it lies outside.
    void dropHalfRenames();
    bool hasHalfRenames() const { return !halfRenames_.empty(); }

    // What has happened since the last call, in order.
    FSEvents takeEvents();
    const FSSnapshot& snapshot() const { return snapshot_; }

private:
    void addWatch(const std::string& folder, bool isTree);
    void watchWays();
    void compareAll();
    void compare(const std::string& path);
    bool isRoot(const std::string& path) const;
    std::optional<FSItem> look(const std::string& path) const;
    void tell(FSEventStreamEventFlags flags, const std::string& path);
    void changedOnTheWay(const std::string& path);
    void changedInTree(const std::string& path, std::uint32_t mask, std::uint32_t cookie);
    void came(const std::string& path, bool isFolder);
    void went(const std::string& path);
    void wentByRename(const std::string& path, bool isFolder, std::uint32_t cookie);
    void cameByRename(const std::string& path, bool isFolder, std::uint32_t cookie);
    void changed(const std::string& path, std::uint32_t mask);
    void put(const std::string& path, const FSItem& item);
    void forgetBeneath(const std::string& path);
    void moveBeneath(const std::string& from, const std::string& to);

    struct Watch {
        std::string folder;
        bool isTree = false; // else only the names that lead to a root count
    };
    struct HalfRename {
        std::string path;
        FSItem item;
    };

    int descriptor_;
    std::vector<std::string> roots_; // sorted, none beneath another
    std::set<std::string> ways_, parents_; // the folders that lead to them; the last ones
    std::unordered_map<int, Watch> watches_;
    std::map<std::string, int> watchOfFolder_;
    FSSnapshot snapshot_;
    std::unordered_map<std::uint32_t, HalfRename> halfRenames_; // by inotify's cookie
    bool hasLost_ = false; // inotify's queue was full
    FSEvents events_;
    std::unordered_map<std::string, std::size_t> lastEvent_; // of a path, in events_
};

} // namespace vitrel
