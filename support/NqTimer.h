#pragma once

#include "base/Clock.h"
#include "base/Date.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vitrel {

class RunLoop;

// A countdown with pause: knows when some seconds of running time have passed, and can call back then. A paused timer
// doesn't advance. Main thread.
class NqTimer : public std::enable_shared_from_this<NqTimer>
{
public:
    // Runs already, and looks once a second whether it has finished. `loop` must outlive it; what it has queued there
    // holds the timer.
    static std::shared_ptr<NqTimer> initSecondsExecute(
        RunLoop& loop, std::uint64_t seconds, std::function<void()> execute);
    static std::shared_ptr<NqTimer> initSecondsRepeatsExecute(
        RunLoop& loop, std::uint64_t seconds, bool repeats, std::function<void()> execute);

    // Begins a countdown anew. Nothing that counts below 0 is started.
    void start(std::int64_t seconds);
    void cancel() { reset(); }
    // Both are one toggle: a second `pause` resumes.
    void pause() { togglePause(); }
    void resume() { togglePause(); }
    // Stopped, with a countdown of 0.
    void reset();

    // Seconds since it last began to run; 0 while paused.
    double unpausedTime() const;
    double runningTime() const;
    bool hasFinished() const;

    // Calls `execute` if it has finished, and with `repeats` counts down anew; that clears `repeats`, so who wants a
    // third time sets it and asks again. Otherwise looks again after the interval, in milliseconds.
    void autofireTimerNotification(std::int64_t intervalScope);

    std::optional<Date> lastStart;
    std::optional<std::uint64_t> seconds;
    std::optional<std::string> title;
    std::optional<double> timePassed;
    std::optional<bool> isRunning;
    std::optional<bool> repeats;
    std::function<void()> execute;

private:
    explicit NqTimer(RunLoop& loop)
        : loop_(loop)
    { }
    void togglePause();

    RunLoop& loop_;
};

} // namespace vitrel
