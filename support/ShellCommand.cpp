#include "support/ShellCommand.h"

#include "base/Text.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/Queue.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Surroundings.h"
#include "support/NumberKit.h"
#include "support/PrintKit.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>

extern char** environ;

namespace vitrel {
namespace {

constexpr double kDefaultLimit = 10; // seconds
constexpr int kLook = 100; // milliseconds
// From being asked to end to being made to.
constexpr std::chrono::milliseconds kGrace{1000};

class SpawnSettings
{
public:
    SpawnSettings(int output, bool logErrors)
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, output, 1);
        if (!logErrors)
            posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_init(&attributes);
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

// One run of /bin/sh, its output read while it is waited for.
class Shell
{
public:
    // 0, or errno.
    int launch(const std::string& command, bool logErrors)
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return errno;
        pipe_ = ends[0];
        ::fcntl(pipe_, F_SETFL, O_NONBLOCK);
        std::string words[] = {"/bin/sh", "-c", command};
        char* argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        const SpawnSettings settings(ends[1], logErrors);
        const int error = ::posix_spawn(&id_, argv[0], &settings.actions, &settings.attributes, argv, environ);
        ::close(ends[1]);
        if (error == 0)
            // Only wakes; without one it is looked at a little later.
            ended_ = int(::syscall(SYS_pidfd_open, id_, 0));
        else
            id_ = 0;
        return error;
    }
    ~Shell()
    {
        for (const int fd : {pipe_, ended_}) {
            if (fd >= 0)
                ::close(fd);
        }
    }

    // Reads for at most `milliseconds`, or until the command has ended.
    void wait(int milliseconds)
    {
        pollfd fds[] = {{ended_, POLLIN, 0}, {isOpen_ ? pipe_ : -1, POLLIN, 0}};
        if (::poll(fds, 2, milliseconds) > 0 && fds[1].revents)
            read(std::size_t(-1));
    }
    // Not reaped: until then its number and its group's are nobody else's.
    bool hasEnded() const
    {
        siginfo_t info{};
        return ::waitid(P_PID, id_t(id_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == id_;
    }
    // The rest of the output, and whether the status is 0. What it has left behind may write on and isn't waited for.
    bool finish()
    {
        int left = 0;
        if (isOpen_ && ::ioctl(pipe_, FIONREAD, &left) == 0 && left > 0)
            read(std::size_t(left));
        int status = 0;
        while (::waitpid(id_, &status, 0) < 0 && errno == EINTR) { }
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    void terminate()
    {
        ::kill(-id_, SIGTERM);
        const auto limit = std::chrono::steady_clock::now() + kGrace;
        // An open pipe says that something of the group goes on.
        while ((isOpen_ || !hasEnded()) && std::chrono::steady_clock::now() < limit) {
            if (hasEnded()) {
                pollfd pipe{pipe_, POLLIN, 0};
                ::poll(&pipe, 1, 10);
                read(kChunk);
            } else {
                wait(10);
            }
        }
        ::kill(-id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }

    std::string output;

private:
    static constexpr std::size_t kChunk = 65536;
    void read(std::size_t most)
    {
        char buffer[kChunk];
        // Not more in one go, that the time is looked at meanwhile.
        for (most = std::min(most, 64 * kChunk); most > 0;) {
            const ssize_t size = ::read(pipe_, buffer, std::min(most, kChunk));
            if (size <= 0) {
                isOpen_ = size != 0 && (errno == EAGAIN || errno == EINTR);
                return;
            }
            output.append(buffer, std::min(std::size_t(size), kMostShellOutput - output.size()));
            most -= std::size_t(size);
        }
    }
    pid_t id_ = 0;
    int pipe_ = -1, ended_ = -1;
    bool isOpen_ = true;
};

bool isMainThread()
{
    return ::syscall(SYS_gettid) == ::getpid();
}

std::string seconds(double elapsed)
{
    return formatCurrency(elapsed, 3, 0).value_or(formatLocale(elapsed, 3));
}

} // namespace

std::optional<ShellCommandStatus> makeShellCommandStatus(std::int64_t rawValue)
{
    return rawValue >= 0 && rawValue <= 3 ? std::optional(ShellCommandStatus(rawValue)) : std::nullopt;
}

std::string description(ShellCommandStatus status)
{
    switch (status) {
    case ShellCommandStatus::success:
        return "Success";
    case ShellCommandStatus::successButNoAvailableDataReturnedEmpty:
        return "Success with no available data";
    case ShellCommandStatus::terminated:
        return "Terminated";
    case ShellCommandStatus::runExceptionError:
        break;
    }
    return "Run Exception Error";
}

ShellCommandResult runShellCommand(
    const QueueSurroundings& surroundings, const std::string& command, bool logErrors, double timeout)
{
    Shell shell;
    if (const int error = shell.launch(command, logErrors)) {
        const std::string text = std::string("Process run error: ") + std::strerror(error) + "\n\n" + command;
        NSLog(surroundings.log, "%@", {Value(text)});
        return {std::nullopt, text, ShellCommandStatus::runExceptionError};
    }
    const double limit = timeout == 0 ? kDefaultLimit : timeout;
    const Seconds launched = surroundings.clock->now();
    while (!shell.hasEnded()) {
        shell.wait(kLook);
        const double elapsed = (surroundings.clock->now() - launched).count();
        if (elapsed <= limit || shell.hasEnded())
            continue;
        shell.terminate();
        const std::string head = "Terminated command after timeout " + seconds(elapsed) + "s:\n ";
        if (isMainThread())
            NSLog(surroundings.log, "%@", {Value(head + "isAppNapReady: false\n" + command)});
        return {std::nullopt, head + command, ShellCommandStatus::terminated};
    }
    if (!shell.finish())
        print::line("❌ Process failed:\n" + command);
    if (shell.output.empty())
        return {std::nullopt, "Command returned no available data\n\n" + command,
            ShellCommandStatus::successButNoAvailableDataReturnedEmpty};
    return {repairedUtf8(shell.output), "", ShellCommandStatus::success};
}

std::optional<std::string> runShellScript(const QueueSurroundings& surroundings, const std::string& command)
{
    return runShellCommand(surroundings, command, true, 0).output;
}

void runShellScriptAsync(const QueueSurroundings& surroundings, const std::string& command, bool logErrors, double,
    std::function<void(const std::string&, bool)> handle)
{
    surroundings.userInitiatedQueue->async([loop = surroundings.runLoop, command, logErrors, handle] {
        Shell shell;
        bool failed = shell.launch(command, logErrors) != 0;
        if (!failed) {
            while (!shell.hasEnded())
                shell.wait(kLook);
            failed = !shell.finish();
        }
        if (failed)
            print::line("❌ Task process failed.\n" + command);
        loop->post([handle, failed, output = repairedUtf8(shell.output)] { handle(output, failed); });
    });
}

std::string shellQuoted(const std::string& word)
{
    std::string out = "'";
    for (const char c : word) {
        if (c == '\'')
            out += "'\\''";
        else if (c)
            out += c;
    }
    return out + "'";
}

} // namespace vitrel
