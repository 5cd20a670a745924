#pragma once

#include "programs/child/ChildProcess.h"
#include "programs/supervisor/DisplaySupervisor.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace vitrel {

// Children that go on from here, without a program's start. A child ends with its parent, whatever ends that. It says
// that it is alive through a pipe (SignOfLife.h), and bears its display's name among the processes. Main thread, which
// is the process's only one.
class ForkedDisplays final : public DisplayProcesses
{
public:
    // What the child does, until its end; gives the exit status. Of what this process has, it has the memory, but no
    // descriptors. Made here, before the child is: what making it changes counts for the next one.
    using Body = std::function<int()>;
    // `fallback` as for start.
    using Bodies = std::function<Body(const std::string& display, bool fallback)>;
    ForkedDisplays(RunLoop& loop, Bodies bodies);
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
    const Bodies bodies_;
    std::map<std::string, Display> displays_;
};

} // namespace vitrel
