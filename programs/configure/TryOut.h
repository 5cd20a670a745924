#pragma once

#include "programs/child/ChildProcess.h"

#include <functional>
#include <memory>
#include <string>

namespace vitrel {

// A composition on all displays at once, as the saver would show it: a process of its own, which a key or the pointer
// ends, and which ends with this object. Nothing of it is stored. Main thread.
class TryOut
{
public:
    // `loop` must outlive it; `program` is the path of the saver's program.
    TryOut(RunLoop& loop, std::string program);

    // Nothing happens while one plays. False if it can't be started.
    bool begin(const std::string& path);
    bool isPlaying() const { return process_ != nullptr; }
    // It has begun, or ended.
    std::function<void()> onChange;

private:
    RunLoop& loop_;
    const std::string program_;
    std::unique_ptr<ChildProcess> process_;
};

} // namespace vitrel
