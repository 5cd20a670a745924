#pragma once

#include "platform/foundation/RunLoop.h"

#include <memory>

namespace vitrel {

// In a child of ForkedDisplays: tells the parent every other second that this process's loop turns. Through the pipe
// that it has for it, as a confined process sends no signals. Main thread.
class SignOfLife
{
public:
    explicit SignOfLife(RunLoop& loop);
    ~SignOfLife();
    // The user is back: playing is over on all displays.
    void tellDismissal();
    SignOfLife(const SignOfLife&) = delete;
    SignOfLife& operator=(const SignOfLife&) = delete;

    // What goes through the pipe.
    static constexpr char kAlive = 0, kDismissed = 1;

private:
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
