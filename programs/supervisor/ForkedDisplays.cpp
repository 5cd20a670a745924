#include "programs/supervisor/ForkedDisplays.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace vitrel {

namespace {

// Between fork and exec only what is safe there: other threads may hold any lock.
[[noreturn]] void becomeChild(const char* program, char* const* argv, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(1); // it has ended in between
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGALRM})
        std::signal(number, SIG_DFL);
    execv(program, argv);
    _exit(127);
}

} // namespace

ForkedDisplays::ForkedDisplays(RunLoop& loop, Arguments arguments, std::string program)
    : loop_(loop)
    , arguments_(std::move(arguments))
    , program_(program.empty() ? "/proc/self/exe" : std::move(program))
{ }

ForkedDisplays::~ForkedDisplays()
{
    for (const auto& [display, process] : processes_) {
        loop_.unwatch(process.descriptor);
        ::kill(process.id, SIGKILL);
        waitpid(process.id, nullptr, 0);
        close(process.descriptor);
    }
}

bool ForkedDisplays::start(const std::string& display, bool fallback)
{
    if (processes_.contains(display))
        return false;
    auto words = arguments_(display, fallback);
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t parent = getpid(), id = fork();
    if (id == 0)
        becomeChild(program_.c_str(), argv.data(), parent);
    if (id < 0)
        return false;
    const int descriptor = int(syscall(SYS_pidfd_open, id, 0));
    if (descriptor < 0) {
        ::kill(id, SIGKILL);
        waitpid(id, nullptr, 0);
        return false;
    }
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    processes_[display] = {id, descriptor};
    loop_.watch(descriptor, POLLIN, [this, display](short) { reap(display); });
    return true;
}

void ForkedDisplays::signal(const std::string& display, int signal)
{
    // The number can't be another process's: it is only free again once it was reaped here.
    if (const auto place = processes_.find(display); place != processes_.end())
        ::kill(place->second.id, signal);
}

void ForkedDisplays::reap(std::string display)
{
    const auto place = processes_.find(display);
    int status = 0;
    if (place == processes_.end() || waitpid(place->second.id, &status, WNOHANG) != place->second.id)
        return;
    loop_.unwatch(place->second.descriptor);
    close(place->second.descriptor);
    processes_.erase(place);
    if (const auto callback = onExit)
        callback(display, WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
}

} // namespace vitrel
