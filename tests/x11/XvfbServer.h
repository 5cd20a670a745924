#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace vitrel {

// An X server without a screen, for one test.
class XvfbServer
{
public:
    // `screen` as "640x480x24". Not running if the program isn't installed or doesn't start.
    explicit XvfbServer(const std::string& screen, std::vector<std::string> more = {})
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return;
        process_ = fork();
        if (process_ == 0) {
            dup2(ends[1], 3); // without close-on-exec
            const int nothing = ::open("/dev/null", O_RDWR);
            dup2(nothing, 1);
            dup2(nothing, 2);
            std::vector<std::string> words
                = {"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"};
            words.insert(words.end(), more.begin(), more.end());
            std::vector<char*> argv;
            for (auto& word : words)
                argv.push_back(word.data());
            argv.push_back(nullptr);
            execvp("Xvfb", argv.data());
            _exit(127);
        }
        ::close(ends[1]);
        char c;
        pollfd ready{ends[0], POLLIN, 0};
        while (poll(&ready, 1, 20000) == 1 && read(ends[0], &c, 1) == 1 && c != '\n')
            display_ += c;
        ::close(ends[0]);
        if (!display_.empty())
            display_ = ":" + display_;
    }
    ~XvfbServer() { kill(); }
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    // ":99"; empty if it doesn't run.
    const std::string& display() const { return display_; }
    void kill()
    {
        if (process_ <= 0)
            return;
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = 0;
    }

private:
    pid_t process_ = 0;
    std::string display_;
};

} // namespace vitrel
