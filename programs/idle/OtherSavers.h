#pragma once

#include <string>
#include <vector>

namespace vitrel {

// A program that waits for an idle desktop, or locks it.
struct OtherSaver {
    std::string program;
    bool usesServersTimer = false; // the X server's
    bool locks = false;
    std::string advice; // the line that has it start this saver; empty if it can't
};

// Those that run as this user, by the names of the processes in `folder`, each once; not this process.
// Any thread.
std::vector<OtherSaver> otherSavers(const std::string& folder = "/proc");

} // namespace vitrel
