#pragma once

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace vitrel {

// A real message bus of the test's own, at an address of its choice. It lives as long as this.
class BusDaemon
{
public:
    explicit BusDaemon(const std::string& address)
    {
        int ends[2];
        if (::pipe(ends) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        std::string listen = "--address=" + address;
        char* arguments[]
            = {const_cast<char*>("dbus-daemon"), const_cast<char*>("--session"), const_cast<char*>("--nofork"),
                const_cast<char*>("--nopidfile"), const_cast<char*>("--print-address=1"), listen.data(), nullptr};
        if (::posix_spawnp(&process_, "dbus-daemon", &actions, nullptr, arguments, environ) != 0)
            process_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        char line[512];
        isThere_ = process_ > 0 && ::read(ends[0], line, sizeof line) > 0; // it listens once it says its address
        ::close(ends[0]);
    }
    ~BusDaemon() { end(); }
    bool isThere() const { return isThere_; }
    void end()
    {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
        process_ = -1;
    }

private:
    pid_t process_ = -1;
    bool isThere_ = false;
};

} // namespace vitrel
