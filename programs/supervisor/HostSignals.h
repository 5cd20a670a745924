#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>

namespace vitrel {

// SIGTERM, SIGINT and SIGHUP, told in the turns of a loop. SIGPIPE is ignored: a log may close first. Made before any
// thread is, since the signals are blocked for the thread that makes it and those that it starts. One for a process.
// Main thread.
class HostSignals
{
public:
    HostSignals(RunLoop& loop, std::function<void(int signal)> onStop);
    ~HostSignals();
    HostSignals(const HostSignals&) = delete;
    HostSignals& operator=(const HostSignals&) = delete;

    // From now on the process has `span` to end by itself; then it ends on the spot, with the exit status 0.
    static void capExit(Seconds span = Seconds(1));

private:
    RunLoop& loop_;
    int descriptor_ = -1;
};

} // namespace vitrel
