#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vitrel {

// A process of ours that ends with the object and with the process that started it. Main thread.
class ChildProcess
{
public:
    enum class Kind {
        // Like this process to whoever deals with both: its streams, its group. Asked to end when this process ends.
        companion,
        // Draws what can't be trusted: nothing on its streams, a group of its own, killed with it.
        apart,
    };

    // Runs `program` with `words` as arguments, the program's name first. `inherited`, unless negative, is open in it
    // as descriptor 3; it stays the caller's. `ended` is called once, in a turn of the loop, with what waitpid tells,
    // unless the object goes first; it may end the object. Null if it can't be started.
    static std::unique_ptr<ChildProcess> start(RunLoop& loop, Kind kind, const std::string& program,
        const std::vector<std::string>& words, int inherited, std::function<void(int status)> ended);
    // The same with a process that goes on from here: it does `body` and ends with what that gives. It has nothing open
    // but its streams and `inherited`. Much quicker than a program's start, and only for a process that has one thread.
    static std::unique_ptr<ChildProcess> fork(
        RunLoop& loop, const std::function<int()>& body, int inherited, std::function<void(int status)> ended);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    static constexpr int kInherited = 3;

    // Lets go of the process: it may outlive the object, whose `ended` isn't called any more.
    void release();

    // To its whole group if that is its own.
    void kill(int signal);

private:
    using Become = std::function<void(pid_t parent)>;
    static std::unique_ptr<ChildProcess> begin(
        RunLoop& loop, Kind kind, const Become& become, std::function<void(int)> ended);
    ChildProcess(RunLoop& loop, Kind kind, pid_t id, int descriptor, std::function<void(int)> ended);
    void reap();

    RunLoop& loop_;
    const Kind kind_;
    pid_t id_; // 0 once it was reaped
    int descriptor_;
    std::function<void(int)> ended_;
};

} // namespace vitrel
