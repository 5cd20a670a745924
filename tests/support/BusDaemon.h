#pragma once

#include "support/ServerProcess.h"

namespace vitrel {

// A real message bus of the test's own, at an address of its choice.
struct BusDaemon : ServerProcess {
    explicit BusDaemon(const std::string& address)
        : ServerProcess(
            {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=3", "--address=" + address})
    { }
    bool isThere() const { return !said().empty(); }
    void end() { kill(); }
};

} // namespace vitrel
