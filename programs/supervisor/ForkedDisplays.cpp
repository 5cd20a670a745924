#include "programs/supervisor/ForkedDisplays.h"

#include "programs/supervisor/SignOfLife.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace vitrel {

ForkedDisplays::ForkedDisplays(RunLoop& loop, Bodies bodies)
    : loop_(loop)
    , bodies_(std::move(bodies))
{ }

ForkedDisplays::~ForkedDisplays()
{
    for (auto& [name, display] : displays_)
        closePipe(display);
}

bool ForkedDisplays::start(const std::string& name, bool fallback)
{
    int ends[2];
    if (displays_.contains(name) || pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    const auto body = [name, body = bodies_(name, fallback)] {
        prctl(PR_SET_NAME, ("vitrel:" + name).c_str()); // of 15 bytes at most; the rest is cut off
        return body();
    };
    auto process = ChildProcess::fork(loop_, body, ends[1], [this, name](int status) { ended(name, status); });
    close(ends[1]);
    if (!process) {
        close(ends[0]);
        return false;
    }
    displays_[name] = {std::move(process), ends[0]};
    loop_.watch(ends[0], POLLIN, [this, name](short) { heard(name); });
    return true;
}

void ForkedDisplays::heard(const std::string& name)
{
    const auto place = displays_.find(name);
    if (place == displays_.end())
        return;
    char said[64];
    const auto count = read(place->second.pipe, said, sizeof said);
    if (count <= 0)
        return closePipe(place->second); // the child has closed it, or is at its end
    if (const auto callback = onAlive)
        callback(name);
    if (const auto callback = onDismissed; callback && std::count(said, said + count, SignOfLife::kDismissed) > 0)
        callback();
}

void ForkedDisplays::closePipe(Display& display)
{
    if (display.pipe < 0)
        return;
    loop_.unwatch(display.pipe);
    close(std::exchange(display.pipe, -1));
}

void ForkedDisplays::signal(const std::string& name, int signal)
{
    if (const auto place = displays_.find(name); place != displays_.end())
        place->second.process->kill(signal);
}

void ForkedDisplays::ended(std::string name, int status)
{
    if (const auto place = displays_.find(name); place != displays_.end()) {
        closePipe(place->second);
        displays_.erase(place);
    }
    if (const auto callback = onExit)
        callback(name, WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
}

} // namespace vitrel
