#include "support/NqTimer.h"

#include "platform/foundation/RunLoop.h"

#include <utility>

namespace vitrel {
namespace {

constexpr std::int64_t kPollingInterval = 1000; // milliseconds

} // namespace

std::shared_ptr<NqTimer> NqTimer::initSecondsExecute(
    RunLoop& loop, std::uint64_t seconds, std::function<void()> execute)
{
    std::shared_ptr<NqTimer> timer(new NqTimer(loop));
    timer->execute = std::move(execute);
    timer->reset();
    timer->seconds = seconds;
    timer->togglePause();
    timer->autofireTimerNotification(kPollingInterval);
    return timer;
}

std::shared_ptr<NqTimer> NqTimer::initSecondsRepeatsExecute(
    RunLoop& loop, std::uint64_t seconds, bool repeats, std::function<void()> execute)
{
    auto timer = initSecondsExecute(loop, seconds, std::move(execute));
    timer->repeats = repeats;
    return timer;
}

void NqTimer::start(std::int64_t length)
{
    reset();
    if (length < 0)
        return;
    seconds = static_cast<std::uint64_t>(length);
    togglePause();
}

void NqTimer::reset()
{
    isRunning = false;
    lastStart = loop_.clock().date();
    seconds = 0;
    timePassed = 0;
    repeats = false;
}

void NqTimer::togglePause()
{
    const bool running = isRunning.value_or(false);
    if (running)
        timePassed = runningTime();
    else
        lastStart = loop_.clock().date();
    isRunning = !running;
}

double NqTimer::unpausedTime() const
{
    if (!isRunning.value_or(false) || !lastStart)
        return 0;
    return loop_.clock().date().secondsSince1970 - lastStart->secondsSince1970;
}

double NqTimer::runningTime() const
{
    return timePassed.value_or(0) + unpausedTime();
}

bool NqTimer::hasFinished() const
{
    return runningTime() >= static_cast<double>(seconds.value_or(0));
}

void NqTimer::autofireTimerNotification(std::int64_t intervalScope)
{
    if (!hasFinished()) {
        loop_.postAfter(Seconds(static_cast<double>(intervalScope) / 1000),
            [self = shared_from_this(), intervalScope] { self->autofireTimerNotification(intervalScope); });
        return;
    }
    // It may assign itself anew, or let go of the last holder.
    const auto self = shared_from_this();
    if (const auto now = execute)
        now();
    if (repeats.value_or(false)) {
        const auto length = seconds;
        reset();
        seconds = length;
        togglePause();
    }
}

} // namespace vitrel
