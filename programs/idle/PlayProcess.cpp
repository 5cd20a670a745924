#include "programs/idle/PlayProcess.h"

#include <csignal>
#include <sys/wait.h>

namespace vitrel {

namespace {

// It caps its own end at a second.
constexpr Seconds kPatience{2};

} // namespace

PlayProcess::PlayProcess(RunLoop& loop, std::string program, std::vector<std::string> arguments)
    : loop_(loop)
    , program_(std::move(program))
    , words_({"vitrel", "play"})
{
    words_.insert(words_.end(), arguments.begin(), arguments.end());
}

bool PlayProcess::start()
{
    process_ = ChildProcess::start(loop_, ChildProcess::Kind::companion, program_, words_, -1, [this](int status) {
        process_.reset();
        if (const auto callback = onEnded)
            callback(WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
    });
    return process_ != nullptr;
}

void PlayProcess::stop()
{
    if (!process_)
        return;
    process_->kill(SIGTERM);
    loop_.postAfter(kPatience, [process = std::weak_ptr(process_)] {
        if (const auto running = process.lock())
            running->kill(SIGKILL);
    });
}

} // namespace vitrel
