#pragma once

#include "support/ServerProcess.h"

namespace vitrel {

// An X server without a screen, for one test: `screen` as "640x480x24".
struct XvfbServer : ServerProcess {
    explicit XvfbServer(const std::string& screen, const std::vector<std::string>& more = {})
        : ServerProcess({"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"}, more)
    { }
    // ":99"; empty if it doesn't run.
    std::string display() const { return said().empty() ? "" : ":" + said(); }
};

} // namespace vitrel
