#pragma once

#include "platform/fsevents/FSEvents.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include <sys/stat.h>

namespace vitrel {

// What a file, folder or link looked like. Times in nanoseconds since 1970.
struct FSItem {
    std::uint64_t inode = 0; // 0 for one that was gone before anybody could look
    std::uint32_t mode = 0, user = 0, group = 0;
    std::uint64_t links = 1, size = 0;
    std::int64_t modified = 0, changed = 0;

    bool isFolder() const { return S_ISDIR(mode); }
    // isFile, isDir, isSymlink, isHardlink; none for a device, a pipe or a socket.
    FSEventStreamEventFlags kindFlags() const;
    static FSItem of(const struct ::stat& status);
    bool operator==(const FSItem&) const = default;
};

// Items by their full paths; a folder stands ahead of what lies in it.
using FSSnapshot = std::map<std::string, FSItem>;

// What lies beneath the folder `path`, the folder itself not counted.
std::pair<FSSnapshot::iterator, FSSnapshot::iterator> beneath(FSSnapshot& snapshot, const std::string& path);
bool isBeneath(const std::string& path, const std::string& folder);

// How far a walk goes.
constexpr int kMostDepth = 64;
constexpr std::size_t kMostItems = 400'000;

// `path` and what lies beneath it, links not followed but for `path` itself if `followsFirst`. `entered` is called for
// each folder before it is listed. A folder that can't be read, and what lies too deep, is left out quietly; once there
// are `most` items, so is the rest. Empty if there is nothing at `path`.
FSSnapshot walkTree(const std::string& path, bool followsFirst, std::size_t most,
    const std::function<void(const std::string& folder)>& entered);

// What makes `then` out of `now`'s past: what went (the deepest first), what was renamed (both ends), what came, what
// changed. Identifiers are 0.
FSEvents differences(const FSSnapshot& then, const FSSnapshot& now);

// The flags of an item that changed in place: modified, owner, inode or attributes; 0 if nothing did.
FSEventStreamEventFlags changeFlags(const FSItem& then, const FSItem& now);

} // namespace vitrel
