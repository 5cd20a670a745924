#include "programs/child/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <utility>

namespace vitrel {
namespace {

// Only what is safe between fork and exec: other threads may hold any lock.
void leaveParent(bool apart, int inherited, pid_t parent)
{
    if (apart)
        setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, apart ? SIGKILL : SIGTERM);
    if (getppid() != parent)
        _exit(1); // it has ended in between
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGALRM})
        std::signal(number, SIG_DFL);
    if (inherited == ChildProcess::kInherited)
        fcntl(inherited, F_SETFD, 0);
    else if (inherited >= 0)
        dup2(inherited, ChildProcess::kInherited);
}

[[noreturn]] void become(const char* program, char* const* argv, bool apart, int inherited, pid_t parent)
{
    leaveParent(apart, inherited, parent);
    if (apart) {
        const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        for (const int stream : {0, 1, 2})
            dup2(nothing, stream);
    }
    execv(program, argv);
    _exit(127);
}

} // namespace

std::unique_ptr<ChildProcess> ChildProcess::start(RunLoop& loop, Kind kind, const std::string& program,
    const std::vector<std::string>& words, int inherited, std::function<void(int)> ended)
{
    std::vector<char*> argv;
    for (const auto& word : words)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    const auto become
        = [&](pid_t parent) { vitrel::become(program.c_str(), argv.data(), kind == Kind::apart, inherited, parent); };
    return begin(loop, kind, become, std::move(ended));
}

std::unique_ptr<ChildProcess> ChildProcess::fork(
    RunLoop& loop, const std::function<int()>& body, int inherited, std::function<void(int)> ended)
{
    const auto flush = [] {
        std::cout.flush();
        std::fflush(nullptr);
    };
    flush(); // or both would print what waits
    // What the body throws must not be caught by the parent's callers, whose frames are still below.
    const auto become = [&](pid_t parent) noexcept {
        leaveParent(false, inherited, parent);
        close_range(inherited < 0 ? kInherited : kInherited + 1, ~0U, 0);
        const int code = body();
        flush();
        _exit(code);
    };
    return begin(loop, Kind::companion, become, std::move(ended));
}

std::unique_ptr<ChildProcess> ChildProcess::begin(
    RunLoop& loop, Kind kind, const Become& become, std::function<void(int)> ended)
{
    const bool apart = kind == Kind::apart;
    const pid_t parent = getpid(), id = ::fork();
    if (id == 0)
        become(parent);
    if (id < 0)
        return nullptr;
    if (apart)
        setpgid(id, id); // whichever of the two comes first
    const int descriptor = int(syscall(SYS_pidfd_open, id, 0));
    if (descriptor < 0) {
        ::kill(id, SIGKILL);
        waitpid(id, nullptr, 0);
        return nullptr;
    }
    return std::unique_ptr<ChildProcess>(new ChildProcess(loop, kind, id, descriptor, std::move(ended)));
}

ChildProcess::ChildProcess(RunLoop& loop, Kind kind, pid_t id, int descriptor, std::function<void(int)> ended)
    : loop_(loop)
    , kind_(kind)
    , id_(id)
    , descriptor_(descriptor)
    , ended_(std::move(ended))
{
    fcntl(descriptor_, F_SETFD, FD_CLOEXEC);
    loop_.watch(descriptor_, POLLIN, [this](short) { reap(); });
}

ChildProcess::~ChildProcess()
{
    if (!id_)
        return;
    loop_.unwatch(descriptor_);
    kill(SIGKILL);
    waitpid(id_, nullptr, 0);
    close(descriptor_);
}

void ChildProcess::release()
{
    if (!std::exchange(id_, 0))
        return;
    loop_.unwatch(descriptor_);
    close(descriptor_);
}

void ChildProcess::kill(int signal)
{
    // The number can't be another process's: it is only free again once it was reaped here.
    if (id_)
        ::kill(kind_ == Kind::apart ? -id_ : id_, signal);
}

void ChildProcess::reap()
{
    int status = 0;
    if (waitpid(id_, &status, WNOHANG) != id_)
        return;
    if (kind_ == Kind::apart)
        ::kill(-id_, SIGKILL); // what it has left behind
    id_ = 0;
    loop_.unwatch(descriptor_);
    close(descriptor_);
    const auto ended = std::move(ended_);
    ended(status); // may end this object
}

} // namespace vitrel
