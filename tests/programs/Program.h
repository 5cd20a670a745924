#pragma once

#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrel {

// A run of the built program (the test's VITREL_PROGRAM), with settings of its own, no player and only the display that
// it is given.
class Program
{
public:
    using Environment = std::map<std::string, std::string>;
    explicit Program(
        std::vector<std::string> words, Environment environment = {}, std::optional<std::string> input = std::nullopt)
    {
        if (input)
            folder_.write("in", *input);
        environment.insert({"XDG_CONFIG_HOME", folder_.path()});
        environment.insert({"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder_ / "no-bus")});
        process_ = fork();
        if (process_ != 0)
            return;
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "XSCREENSAVER_WINDOW", "VITREL_SYSTEM_VERSION"})
            unsetenv(name);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        if (input)
            dup2(open((folder_ / "in").c_str(), O_RDONLY), 0);
        dup2(open((folder_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        dup2(open((folder_ / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        words.insert(words.begin(), name());
        std::vector<char*> argv;
        for (auto& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        execv(VITREL_PROGRAM, argv.data());
        _exit(127);
    }
    ~Program()
    {
        if (!ended_) {
            ::kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }

    // The exit status, or the negative number of the signal that ended it; -1000 if it runs on after `seconds`.
    int wait(double seconds = 30)
    {
        RealLoop().turnUntil(
            [&] {
                int status = 0;
                if (!ended_ && waitpid(process_, &status, WNOHANG) == process_) {
                    ended_ = true;
                    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
                }
                return ended_;
            },
            seconds);
        return ended_ ? status_ : -1000;
    }
    void signal(int number) const { ::kill(process_, number); }
    // It ends in good order and without a word, or with this status and one line of what is wrong.
    bool endsWell(double seconds = 30) { return wait(seconds) == 0 && errors().empty(); }
    bool fails(int status) { return wait() == status && saidOneError(); }
    pid_t process() const { return process_; }
    // Processes that it has started and that still run.
    std::vector<pid_t> children() const
    {
        const std::string process = std::to_string(process_);
        std::ifstream list("/proc/" + process + "/task/" + process + "/children");
        return {std::istream_iterator<pid_t>(list), std::istream_iterator<pid_t>()};
    }

    std::string output() const { return TemporaryFolder::read(folder_ / "out"); }
    std::string errors() const { return TemporaryFolder::read(folder_ / "err"); }
    static std::string name() { return std::filesystem::path(VITREL_PROGRAM).filename(); }
    // What it said is one line under its name.
    bool saidOneError() const
    {
        const std::string text = errors();
        return text.starts_with(name() + ": ") && std::count(text.begin(), text.end(), '\n') == 1
            && text.back() == '\n';
    }

private:
    TemporaryFolder folder_;
    pid_t process_ = 0;
    bool ended_ = false;
    int status_ = 0;
};

} // namespace vitrel
