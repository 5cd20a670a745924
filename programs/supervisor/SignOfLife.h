#pragma once

#include "platform/foundation/RunLoop.h"

#include <memory>

namespace vitrel {

// In a child of ForkedDisplays: tells the parent every other second that this process's loop turns. Main thread.
class SignOfLife
{
public:
    explicit SignOfLife(RunLoop& loop);
    ~SignOfLife();
    SignOfLife(const SignOfLife&) = delete;
    SignOfLife& operator=(const SignOfLife&) = delete;

private:
    std::shared_ptr<NSTimer> timer_;
};

} // namespace vitrel
