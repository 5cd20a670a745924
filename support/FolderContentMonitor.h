#pragma once

#include "platform/fsevents/FSEventStream.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// One change of one file, folder or link.
struct Event {
    const FSEventStreamEventId eventId;
    const std::string eventPath; // full
    const FSEventStreamEventFlags eventFlags; // the stream's own; FSEventFlag names them

    std::string description() const; // "7 - 256 - /tmp/a"
};

// The set of facts that an event's flags tell.
class FSEventFlag
{
public:
    constexpr FSEventFlag() = default;
    constexpr explicit FSEventFlag(FSEventStreamEventFlags eventFlags)
        : rawValue_(eventFlags)
    { }
    static const FSEventFlag isDirectory, isFile, isHardlink, isLastHardlink, isSymlink, created, modified, removed,
        renamed, changeOwner, finderInfoModified, inodeMetaModified, xattrsModified;

    constexpr std::int64_t rawValue() const { return rawValue_; }
    constexpr bool isEmpty() const { return rawValue_ == 0; }
    constexpr bool contains(FSEventFlag other) const { return (rawValue_ & other.rawValue_) == other.rawValue_; }
    constexpr bool isDisjoint(FSEventFlag other) const { return (rawValue_ & other.rawValue_) == 0; }
    constexpr void insert(FSEventFlag other) { rawValue_ |= other.rawValue_; }
    constexpr void remove(FSEventFlag other) { rawValue_ &= ~other.rawValue_; }
    friend constexpr FSEventFlag operator|(FSEventFlag a, FSEventFlag b) { return raw(a.rawValue_ | b.rawValue_); }
    friend constexpr FSEventFlag operator&(FSEventFlag a, FSEventFlag b) { return raw(a.rawValue_ & b.rawValue_); }
    friend constexpr FSEventFlag operator^(FSEventFlag a, FSEventFlag b) { return raw(a.rawValue_ ^ b.rawValue_); }
    friend constexpr FSEventFlag operator-(FSEventFlag a, FSEventFlag b) { return raw(a.rawValue_ & ~b.rawValue_); }
    constexpr bool operator==(const FSEventFlag&) const = default;

    // "isFile, created"; bits without a name are left out.
    std::string description() const;

private:
    static constexpr FSEventFlag raw(std::int64_t value)
    {
        FSEventFlag set;
        set.rawValue_ = value;
        return set;
    }
    std::int64_t rawValue_ = 0;
};

inline constexpr FSEventFlag FSEventFlag::isDirectory{kFSEventStreamEventFlagItemIsDir};
inline constexpr FSEventFlag FSEventFlag::isFile{kFSEventStreamEventFlagItemIsFile};
inline constexpr FSEventFlag FSEventFlag::isHardlink{kFSEventStreamEventFlagItemIsHardlink};
inline constexpr FSEventFlag FSEventFlag::isLastHardlink{kFSEventStreamEventFlagItemIsLastHardlink};
inline constexpr FSEventFlag FSEventFlag::isSymlink{kFSEventStreamEventFlagItemIsSymlink};
inline constexpr FSEventFlag FSEventFlag::created{kFSEventStreamEventFlagItemCreated};
inline constexpr FSEventFlag FSEventFlag::modified{kFSEventStreamEventFlagItemModified};
inline constexpr FSEventFlag FSEventFlag::removed{kFSEventStreamEventFlagItemRemoved};
inline constexpr FSEventFlag FSEventFlag::renamed{kFSEventStreamEventFlagItemRenamed};
inline constexpr FSEventFlag FSEventFlag::changeOwner{kFSEventStreamEventFlagItemChangeOwner};
inline constexpr FSEventFlag FSEventFlag::finderInfoModified{kFSEventStreamEventFlagItemFinderInfoMod};
inline constexpr FSEventFlag FSEventFlag::inodeMetaModified{kFSEventStreamEventFlagItemInodeMetaMod};
inline constexpr FSEventFlag FSEventFlag::xattrsModified{kFSEventStreamEventFlagItemXattrMod};

// Tells of each change beneath some folders, or of some files. Keeps the identifier of the last event that it handed
// on, so a stop and a new start lose nothing. Main thread.
class FolderContentMonitor
{
public:
    // `loop` must outlive it. `callback` must not block; it may stop the monitor or end it. `sinceWhen` is where the
    // first start begins, kFSEventStreamEventIdSinceNow for from then on. `stateFolder` as for FSEventStream.
    FolderContentMonitor(RunLoop& loop, std::vector<std::string> pathsToWatch, FSEventStreamEventId sinceWhen,
        std::function<void(const Event&)> callback, std::string stateFolder = FSJournals::userFolder());
    ~FolderContentMonitor();
    FolderContentMonitor(const FolderContentMonitor&) = delete;
    FolderContentMonitor& operator=(const FolderContentMonitor&) = delete;

    void start();
    void stop();
    FSEventStreamEventId lastEventId() const { return lastEventId_; }

private:
    static const FSEventStreamCallback eventCallback;

    RunLoop& loop_;
    const std::function<void(const Event&)> callback_;
    const std::vector<std::string> pathsToWatch_;
    const std::string stateFolder_;
    bool started_ = false;
    std::shared_ptr<FSEventStream> streamRef_; // while started
    FSEventStreamEventId lastEventId_;
    std::shared_ptr<int> alive_ = std::make_shared<int>();
};

} // namespace vitrel
