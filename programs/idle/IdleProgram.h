#pragma once

#include "base/Clock.h"

#include <string>
#include <vector>

namespace vitrel {

struct IdleOptions {
    Seconds after{300};
    bool notOnBattery = false;
    std::vector<std::string> play; // further arguments for `vitrel play`
};

// Waits until somebody ends it, and plays meanwhile whenever the desktop is idle. Gives the exit code.
int waitForIdleness(const IdleOptions& options, const std::string& saverProgram);

} // namespace vitrel
