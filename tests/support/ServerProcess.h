#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace vitrel {

// A server of the test's own, which is told to say on the descriptor 3 where it is. It lives as long as this.
class ServerProcess
{
public:
    explicit ServerProcess(std::vector<std::string> words, const std::vector<std::string>& more = {})
    {
        words.insert(words.end(), more.begin(), more.end());
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return;
        process_ = fork();
        if (process_ == 0) {
            dup2(ends[1], 3); // without close-on-exec
            const int nothing = ::open("/dev/null", O_RDWR);
            dup2(nothing, 1);
            dup2(nothing, 2);
            std::vector<char*> argv;
            for (auto& word : words)
                argv.push_back(word.data());
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        ::close(ends[1]);
        char c;
        pollfd ready{ends[0], POLLIN, 0};
        while (poll(&ready, 1, 20000) == 1 && read(ends[0], &c, 1) == 1 && c != '\n')
            said_ += c;
        ::close(ends[0]);
    }
    ~ServerProcess() { kill(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Its line; empty if the program isn't installed or doesn't start.
    const std::string& said() const { return said_; }
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
    std::string said_;
};

} // namespace vitrel
