#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vitrel {

// A process of ours, in a group of its own, that ends with the object and with the process that started it. Main thread.
class ChildProcess
{
public:
    // Runs `words[0]` with the others as arguments and nothing on its standard streams. `inherited`, unless negative,
    // is open in it as descriptor 3; it stays the caller's. `ended` is called once, in a turn of the loop, with what
    // waitpid tells, unless the object goes first. Null if it can't be started.
    static std::unique_ptr<ChildProcess> start(
        RunLoop& loop, const std::vector<std::string>& words, int inherited, std::function<void(int status)> ended);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    static constexpr int kInherited = 3;

    // To its whole group.
    void kill(int signal);

private:
    ChildProcess(RunLoop& loop, pid_t id, int descriptor, std::function<void(int)> ended);
    void reap();

    RunLoop& loop_;
    pid_t id_; // 0 once it was reaped
    int descriptor_;
    std::function<void(int)> ended_;
};

} // namespace vitrel
