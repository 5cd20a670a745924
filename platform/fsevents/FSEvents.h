#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vitrel {

using FSEventStreamEventId = std::uint64_t;
using FSEventStreamEventFlags = std::uint32_t;
using FSEventStreamCreateFlags = std::uint32_t;

constexpr FSEventStreamEventId kFSEventStreamEventIdSinceNow = ~FSEventStreamEventId(0);

constexpr FSEventStreamCreateFlags kFSEventStreamCreateFlagUseCFTypes = 0x01;
constexpr FSEventStreamCreateFlags kFSEventStreamCreateFlagFileEvents = 0x10;

// What happened can't be told file by file: look at all that lies beneath the path.
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagMustScanSubDirs = 0x1;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemCreated = 0x100;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemRemoved = 0x200;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemInodeMetaMod = 0x400;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemRenamed = 0x800;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemModified = 0x1000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemFinderInfoMod = 0x2000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemChangeOwner = 0x4000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemXattrMod = 0x8000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemIsFile = 0x10000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemIsDir = 0x20000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemIsSymlink = 0x40000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemIsHardlink = 0x100000;
constexpr FSEventStreamEventFlags kFSEventStreamEventFlagItemIsLastHardlink = 0x200000;

struct FSEvent {
    FSEventStreamEventId id = 0; // 0 until it has one
    FSEventStreamEventFlags flags = 0;
    std::string path;
    bool operator==(const FSEvent&) const = default;
};

using FSEvents = std::vector<FSEvent>;

} // namespace vitrel
