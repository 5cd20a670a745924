#pragma once

#include "programs/supervisor/DisplaySupervisor.h"

#include <sys/types.h>

namespace vitrel {

// Children that are this very program again, with other arguments. A child ends with its parent, whatever ends that.
// Main thread.
class ForkedDisplays final : public DisplayProcesses
{
public:
    // Gives a child's arguments, the program's name first. `fallback` as for start.
    using Arguments = std::function<std::vector<std::string>(const std::string& display, bool fallback)>;
    // `program` is run; empty for the program that runs now.
    ForkedDisplays(RunLoop& loop, Arguments arguments, std::string program = {});
    // Kills what is left.
    ~ForkedDisplays() override;

    bool start(const std::string& display, bool fallback) override;
    void signal(const std::string& display, int signal) override;

private:
    struct Process {
        pid_t id = 0;
        int descriptor = -1; // readable once it has ended
    };
    void reap(std::string display);

    RunLoop& loop_;
    const Arguments arguments_;
    const std::string program_;
    std::map<std::string, Process> processes_;
};

} // namespace vitrel
