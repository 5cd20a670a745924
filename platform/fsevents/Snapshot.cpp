#include "platform/fsevents/Snapshot.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace vitrel {
namespace {

std::int64_t nanoseconds(const timespec& time)
{
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

struct Walk {
    FSSnapshot& found;
    std::size_t most;
    const std::function<void(const std::string&)>& entered;

    void list(const std::string& folder, bool follows, int depth)
    {
        if (depth >= kMostDepth || found.size() >= most)
            return;
        entered(folder);
        const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | (follows ? 0 : O_NOFOLLOW));
        DIR* entries = fd < 0 ? nullptr : ::fdopendir(fd);
        if (!entries) {
            if (fd >= 0)
                ::close(fd);
            return;
        }
        // Closed before it goes deeper: a tree may be deeper than a process has descriptors.
        std::vector<std::string> folders;
        const std::string prefix = folder == "/" ? "/" : folder + "/";
        while (const dirent* entry = ::readdir(entries)) {
            const std::string name = entry->d_name;
            struct ::stat status {
            };
            if (name == "." || name == ".." || ::fstatat(fd, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            if (found.size() >= most)
                break;
            found.insert_or_assign(prefix + name, FSItem::of(status));
            if (S_ISDIR(status.st_mode))
                folders.push_back(prefix + name);
        }
        ::closedir(entries);
        for (const auto& inner : folders)
            list(inner, false, depth + 1);
    }
};

} // namespace

FSEventStreamEventFlags FSItem::kindFlags() const
{
    if (S_ISDIR(mode))
        return kFSEventStreamEventFlagItemIsDir;
    if (S_ISLNK(mode))
        return kFSEventStreamEventFlagItemIsSymlink;
    if (!S_ISREG(mode))
        return 0;
    return kFSEventStreamEventFlagItemIsFile | (links > 1 ? kFSEventStreamEventFlagItemIsHardlink : 0);
}

FSItem FSItem::of(const struct ::stat& status)
{
    return {status.st_ino, status.st_mode, status.st_uid, status.st_gid, status.st_nlink,
        static_cast<std::uint64_t>(status.st_size), nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
}

bool isBeneath(const std::string& path, const std::string& folder)
{
    if (folder == "/")
        return path.size() > 1;
    return path.size() > folder.size() && path[folder.size()] == '/' && path.starts_with(folder);
}

std::pair<FSSnapshot::iterator, FSSnapshot::iterator> beneath(FSSnapshot& snapshot, const std::string& path)
{
    const std::string prefix = path == "/" ? "" : path;
    // '0' follows '/'.
    return {snapshot.upper_bound(prefix + "/"), snapshot.lower_bound(prefix + "0")};
}

FSSnapshot walkTree(const std::string& path, bool followsFirst, std::size_t most,
    const std::function<void(const std::string&)>& entered)
{
    FSSnapshot found;
    struct ::stat status {
    };
    if ((followsFirst ? ::stat : ::lstat)(path.c_str(), &status) != 0)
        return found;
    found.emplace(path, FSItem::of(status));
    if (S_ISDIR(status.st_mode))
        Walk{found, most, entered}.list(path, followsFirst, 0);
    return found;
}

FSEventStreamEventFlags changeFlags(const FSItem& then, const FSItem& now)
{
    if (now.isFolder())
        // A folder's times and size tell of its entries, which have events of their own.
        return then.mode == now.mode && then.user == now.user && then.group == now.group ? 0
            : then.user != now.user || then.group != now.group ? kFSEventStreamEventFlagItemChangeOwner
                                                               : kFSEventStreamEventFlagItemInodeMetaMod;
    FSEventStreamEventFlags flags = 0;
    if (then.modified != now.modified || then.size != now.size)
        flags |= kFSEventStreamEventFlagItemModified;
    if (then.user != now.user || then.group != now.group)
        flags |= kFSEventStreamEventFlagItemChangeOwner;
    if (then.mode != now.mode || then.links != now.links)
        flags |= kFSEventStreamEventFlagItemInodeMetaMod;
    // What else moves only this time are extended attributes.
    if (!flags && then.changed != now.changed)
        flags = kFSEventStreamEventFlagItemXattrMod;
    return flags;
}

FSEvents differences(const FSSnapshot& then, const FSSnapshot& now)
{
    std::vector<FSSnapshot::const_iterator> gone, come;
    FSEvents changed;
    auto a = then.begin(), b = now.begin();
    while (a != then.end() || b != now.end()) {
        if (b == now.end() || (a != then.end() && a->first < b->first)) {
            gone.push_back(a++);
        } else if (a == then.end() || b->first < a->first) {
            come.push_back(b++);
        } else {
            const bool isAnother
                = a->second.inode != b->second.inode || (a->second.mode & S_IFMT) != (b->second.mode & S_IFMT);
            if (isAnother && a->second.isFolder() != b->second.isFolder()) {
                gone.push_back(a);
                come.push_back(b);
            } else if (isAnother) {
                changed.push_back({0,
                    b->second.kindFlags() | kFSEventStreamEventFlagItemRenamed
                        | (b->second.isFolder() ? 0 : kFSEventStreamEventFlagItemModified),
                    b->first});
            } else if (const auto flags = changeFlags(a->second, b->second)) {
                changed.push_back({0, b->second.kindFlags() | flags, b->first});
            }
            ++a, ++b;
        }
    }
    // An inode alone may have been used again.
    std::unordered_map<std::uint64_t, FSSnapshot::const_iterator> byInode;
    for (const auto& item : come)
        byInode.emplace(item->second.inode, item);
    FSEvents events, renamed;
    std::vector<const std::string*> paired;
    for (auto item = gone.rbegin(); item != gone.rend(); ++item) {
        const FSItem& old = (*item)->second;
        const auto other = byInode.find(old.inode);
        const bool isRenamed = other != byInode.end() && old.inode && old.mode == other->second->second.mode
            && (old.isFolder()
                || (old.size == other->second->second.size && old.modified == other->second->second.modified));
        if (!isRenamed) {
            events.push_back({0, old.kindFlags() | kFSEventStreamEventFlagItemRemoved, (*item)->first});
            continue;
        }
        const auto& to = *other->second;
        renamed.push_back({0, old.kindFlags() | kFSEventStreamEventFlagItemRenamed, (*item)->first});
        renamed.push_back({0, to.second.kindFlags() | kFSEventStreamEventFlagItemRenamed, to.first});
        paired.push_back(&to.first);
        byInode.erase(other);
    }
    std::sort(paired.begin(), paired.end());
    events.insert(events.end(), renamed.begin(), renamed.end());
    for (const auto& item : come) {
        if (!std::binary_search(paired.begin(), paired.end(), &item->first))
            events.push_back({0, item->second.kindFlags() | kFSEventStreamEventFlagItemCreated, item->first});
    }
    events.insert(events.end(), changed.begin(), changed.end());
    return events;
}

} // namespace vitrel
