#pragma once

#include "platform/confinement/Confinement.h"

#include <string>
#include <vector>

namespace vitrel {

// What a command works on.
struct CommandFiles {
    std::vector<std::string> read; // with a text form, the pictures beside it and beneath
    std::vector<std::string> written; // files, or descriptors of ours, as "/dev/fd/3"
    std::vector<std::string> alone; // read, and nothing beside them
    std::uint64_t largest = ConfinementReach().largestFile; // of what is written, in bytes
};

// What drawing takes, and these files, and the program's `resources`.
ConfinementReach reachOf(const CommandFiles& files, const std::string& resources);

// Closes what was left open by who started us, but the streams, what `files` name and `kept`, unless negative. Before
// anything is opened.
void closeAllBut(const CommandFiles& files, int kept = -1);

// For a command that reads a stranger's files and changes the user's settings, or brings files in: confines it to these
// files, the settings, and `folders`, which it makes, and in which it may do what it likes.
void confineToSettings(const CommandFiles& files, const std::vector<std::string>& folders = {});

// Says so in a line if system calls aren't filtered, which is a fault of ours or of the kernel, unless the user wants
// it so.
void tellUnconfined(const Confined& confined);

// Both, for a command that draws or reads a file and does nothing else: confines it. Ahead of the first thread. Where
// the kernel can't, the command works all the same: `vitrel doctor` says what holds.
void confineToDrawing(const CommandFiles& files);

} // namespace vitrel
