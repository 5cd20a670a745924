#include "programs/supervisor/ForkedDisplays.h"

#include <sys/wait.h>

#include <utility>

namespace vitrel {

ForkedDisplays::ForkedDisplays(RunLoop& loop, Arguments arguments, std::string program)
    : loop_(loop)
    , arguments_(std::move(arguments))
    , program_(program.empty() ? "/proc/self/exe" : std::move(program))
{ }

ForkedDisplays::~ForkedDisplays() = default;

bool ForkedDisplays::start(const std::string& display, bool fallback)
{
    if (processes_.contains(display))
        return false;
    auto process = ChildProcess::start(loop_, ChildProcess::Kind::companion, program_, arguments_(display, fallback),
        -1, [this, display](int status) { ended(display, status); });
    if (!process)
        return false;
    processes_[display] = std::move(process);
    return true;
}

void ForkedDisplays::signal(const std::string& display, int signal)
{
    if (const auto place = processes_.find(display); place != processes_.end())
        place->second->kill(signal);
}

void ForkedDisplays::ended(std::string display, int status)
{
    processes_.erase(display);
    if (const auto callback = onExit)
        callback(display, WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
}

} // namespace vitrel
