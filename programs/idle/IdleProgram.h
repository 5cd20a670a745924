#pragma once

#include "base/Clock.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrel {

struct IdleOptions {
    // As the user has chosen, and chooses anew meanwhile, where the command line says nothing.
    std::optional<Seconds> after;
    bool notOnBattery = false; // or as the user has chosen
    std::vector<std::string> play; // further arguments for `vitrel play`
};

// Waits until somebody ends it, and plays meanwhile whenever the desktop is idle. Gives the exit code.
// The user's settings are read from the folder for them.
int waitForIdleness(const IdleOptions& options, const std::string& saverProgram);

} // namespace vitrel
