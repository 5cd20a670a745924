#include "programs/supervisor/SignOfLife.h"

#include "programs/child/ChildProcess.h"

#include <fcntl.h>
#include <unistd.h>

namespace vitrel {

namespace {

constexpr Seconds kBeat{2};

// A pipe that is full, or whose reader has gone, is no news.
void tell(char byte)
{
    [[maybe_unused]] const auto written = write(ChildProcess::kInherited, &byte, 1);
}

} // namespace

SignOfLife::SignOfLife(RunLoop& loop)
    : timer_(loop.scheduledTimer(kBeat, true, [] { tell(kAlive); }))
{
    fcntl(ChildProcess::kInherited, F_SETFD, FD_CLOEXEC);
    tell(kAlive);
}

void SignOfLife::tellDismissal()
{
    tell(kDismissed);
}

SignOfLife::~SignOfLife()
{
    timer_->invalidate();
}

} // namespace vitrel
