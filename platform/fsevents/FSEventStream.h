#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/fsevents/Journal.h"
#include "platform/fsevents/TreeWatch.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

class FSEventStream;

// `info` is the creator's. The three arrays have `count` elements. May stop and release the stream.
using FSEventStreamCallback = void (*)(FSEventStream* stream, void* info, std::size_t count,
    const std::vector<std::string>& paths, const FSEventStreamEventFlags flags[], const FSEventStreamEventId ids[]);

// The platform's stream of file-system events: files and folders beneath some paths, links not followed; a path may
// also be a file, and may come later than the stream. One event a file and change; a rename is two, one for each end;
// of many writes in a row one may be told. An identifier is greater than all those before, in whatever process. Main
// thread.
class FSEventStream
{
public:
    // `stateFolder` is where what is needed for starting from an earlier event is kept; empty for nothing. `info` isn't
    // held. `latency` in seconds, `flags` those for events of files: others aren't known here.
    FSEventStream(FSEventStreamCallback callback, void* info, std::vector<std::string> paths,
        FSEventStreamEventId sinceWhen, double latency, FSEventStreamCreateFlags flags,
        std::string stateFolder = FSJournals::userFolder());
    ~FSEventStream();
    FSEventStream(const FSEventStream&) = delete;
    FSEventStream& operator=(const FSEventStream&) = delete;

    // `loop` must outlive the stream.
    void scheduleWithRunLoop(RunLoop& loop);
    // Looks through the trees at once, some 300,000 items a second. Then comes what has happened since `sinceWhen`, in
    // the next turn; without a record of that time, an event "must scan subfolders" for each path. False if the system
    // doesn't let it watch or there is no loop.
    bool start();
    // What has happened by now and isn't told is kept for a later start.
    void stop();
    // From here on nothing is called.
    void invalidate();

    FSEventStreamEventId latestEventId() const { return journal_.last; }

private:
    void number(FSEvents& events);
    void readable();
    void deliver(FSEvents events);

    const FSEventStreamCallback callback_;
    void* const info_;
    const std::vector<std::string> paths_;
    const FSEventStreamEventId sinceWhen_;
    const Seconds latency_;
    const FSJournals journals_;
    RunLoop* loop_ = nullptr;
    std::unique_ptr<TreeWatch> watch_;
    FSJournal journal_;
    FSEvents waiting_; // for the end of the latency
    std::shared_ptr<NSTimer> delivery_, renames_;
    std::shared_ptr<int> alive_;
};

} // namespace vitrel
