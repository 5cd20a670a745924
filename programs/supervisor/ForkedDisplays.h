#pragma once

#include "programs/child/ChildProcess.h"
#include "programs/supervisor/DisplaySupervisor.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vitrel {

// Children that are this very program again, with other arguments. A child ends with its parent, whatever ends that.
// It says that it is alive through a pipe (SignOfLife.h). Main thread.
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
    struct Display {
        std::unique_ptr<ChildProcess> process;
        int pipe = -1;
    };
    void ended(std::string display, int status);
    void heard(const std::string& display);
    void closePipe(Display& display);

    RunLoop& loop_;
    const Arguments arguments_;
    const std::string program_;
    std::map<std::string, Display> displays_;
};

} // namespace vitrel
