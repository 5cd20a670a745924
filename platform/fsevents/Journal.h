#pragma once

#include "platform/fsevents/Snapshot.h"

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrel {

// What is known of some paths from one run to the next.
struct FSJournal {
    static constexpr std::size_t kMostEvents = 10'000;
    static constexpr std::size_t kMostBytes = 96u << 20;

    FSEventStreamEventId last = 0; // the snapshot has all up to this one
    FSEventStreamEventId from = 0; // the events are complete behind this one
    std::deque<FSEvent> events; // by identifier
    FSSnapshot snapshot;

    // The oldest give way.
    void add(const FSEvent& event);
};

// The journal as text, and back: absent if it isn't exactly one. Any thread.
std::string journalText(const FSJournal& journal);
std::optional<FSJournal> readJournal(std::string_view text);

// A folder with journals, one for each list of paths and at most some dozens, and the counter of identifiers. Without
// a folder nothing is kept, and identifiers rise within the process. Any thread, any number of processes.
class FSJournals
{
public:
    static constexpr std::size_t kMostFiles = 32;

    // $XDG_STATE_HOME/vitrel/fsevents, else ~/.local/state/vitrel/fsevents; empty if there is no home either.
    static std::string userFolder();

    explicit FSJournals(std::string folder);

    std::optional<FSJournal> load(const std::vector<std::string>& roots) const;
    // False if it can't be written; then the one before stays.
    bool save(const std::vector<std::string>& roots, const FSJournal& journal) const;

    // The first of `count` identifiers, each greater than all given before and than `above`.
    FSEventStreamEventId take(std::size_t count, FSEventStreamEventId above) const;

private:
    std::string fileOf(const std::vector<std::string>& roots) const;
    void prune() const;

    std::string folder_;
};

} // namespace vitrel
