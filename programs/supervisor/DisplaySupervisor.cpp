#include "programs/supervisor/DisplaySupervisor.h"

#include <algorithm>
#include <cmath>
#include <csignal>

namespace vitrel {

namespace {

constexpr Seconds kRestart{0.25};
constexpr int kCrashesToFallback = 3;
// Between crashes of the default composition: something is wrong that no start will mend soon.
constexpr double kLongestPause = 30;
// A child that has run for so long is a sound one: its next crash is its first.
constexpr Seconds kSound{300};
// The whole end takes a second at most: nobody else would end us.
constexpr Seconds kPatience{0.9}, kLastPatience{1.0};
// Longer than any frame takes, a start included, on a machine that has something else to do, too.
constexpr Seconds kHang{6}, kLook{2};

} // namespace

DisplaySupervisor::DisplaySupervisor(RunLoop& loop, DisplayProcesses& processes)
    : loop_(loop)
    , processes_(processes)
{
    processes_.onExit = [this](const std::string& display, int status) { exited(display, status); };
    processes_.onAlive = [this](const std::string& display) { children_[display].alive = loop_.clock().now(); };
    processes_.onDismissed = [this] { stop(); };
    looked_ = loop_.clock().now();
    after(kLook, [this] { lookForHangs(); });
}

void DisplaySupervisor::lookForHangs()
{
    const Seconds now = loop_.clock().now();
    // Where this process was stopped, its children may have been, too: they get their time again.
    const bool slept = now - looked_ > kLook * 2;
    looked_ = now;
    for (auto& [display, child] : children_) {
        if (slept)
            child.alive = now;
        else if (child.running && now - child.alive > kHang)
            processes_.signal(display, SIGKILL);
    }
    after(kLook, [this] { lookForHangs(); });
}

DisplaySupervisor::~DisplaySupervisor()
{
    processes_.onExit = nullptr;
    processes_.onAlive = nullptr;
    processes_.onDismissed = nullptr;
}

void DisplaySupervisor::after(Seconds delay, std::function<void()> block)
{
    loop_.postAfter(delay, [alive = std::weak_ptr(alive_), block = std::move(block)] {
        if (alive.lock())
            block();
    });
}

void DisplaySupervisor::setDisplays(const std::vector<std::string>& displays)
{
    if (stopping_)
        return;
    for (auto& [display, child] : children_)
        child.wanted = false;
    for (const auto& display : displays)
        children_[display].wanted = true;
    for (auto& [display, child] : children_) {
        if (!child.wanted) {
            child.crashes = 0;
            end(display);
        } else if (!child.running && child.crashes == 0) {
            start(display);
        }
    }
    endIfNobodyIsLeft();
}

void DisplaySupervisor::start(const std::string& display)
{
    auto& child = children_[display];
    if (stopping_ || !child.wanted || child.running)
        return;
    ++child.starts;
    child.started = child.alive = loop_.clock().now();
    child.ending = false;
    child.running = processes_.start(display, child.crashes >= kCrashesToFallback);
    if (child.running)
        played_ = true;
    else
        crashed(display);
}

void DisplaySupervisor::end(const std::string& display)
{
    auto& child = children_[display];
    if (!child.running || child.ending)
        return;
    child.ending = true;
    processes_.signal(display, SIGTERM);
    after(kPatience, [this, display, starts = child.starts] {
        const auto& child = children_[display];
        if (child.running && child.starts == starts)
            processes_.signal(display, SIGKILL);
    });
}

void DisplaySupervisor::exited(const std::string& display, int status)
{
    auto& child = children_[display];
    if (!child.running)
        return;
    child.running = false;
    const bool wasEnding = child.ending;
    child.ending = false;
    if (stopping_) {
        endIfNobodyIsLeft();
    } else if (wasEnding) {
        start(display); // if the display has come back meanwhile
        endIfNobodyIsLeft();
    } else if (status == int(DisplayExit::Dismissed)) {
        stop();
    } else if (status == int(DisplayExit::Gone)) {
        child.wanted = false;
        endIfNobodyIsLeft();
    } else {
        crashed(display, status == int(DisplayExit::Script));
    }
}

void DisplaySupervisor::crashed(const std::string& display, bool byScript)
{
    auto& child = children_[display];
    if (child.running || stopping_)
        return;
    if (loop_.clock().now() - child.started >= kSound)
        child.crashes = 0;
    ++child.crashes;
    const int beyond = child.crashes - kCrashesToFallback;
    const Seconds pause = beyond <= 0 ? (byScript ? Seconds(0) : kRestart)
                                      : Seconds(std::min(kLongestPause, std::ldexp(0.5, std::min(beyond, 10))));
    after(pause, [this, display] { start(display); });
}

void DisplaySupervisor::stop()
{
    if (std::exchange(stopping_, true))
        return;
    for (const auto& [display, child] : children_)
        end(display);
    after(kLastPatience, [this] { ended(0); });
    // Not from inside the caller's call.
    after(Seconds(0), [this] { endIfNobodyIsLeft(); });
}

void DisplaySupervisor::endIfNobodyIsLeft()
{
    const bool anybody = std::any_of(children_.begin(), children_.end(),
        [this](const auto& entry) { return entry.second.running || (entry.second.wanted && !stopping_); });
    if (anybody)
        return;
    const int exitCode = stopping_ || played_ ? 0 : 1;
    stopping_ = true;
    after(Seconds(0), [this, exitCode] { ended(exitCode); });
}

void DisplaySupervisor::ended(int exitCode)
{
    if (std::exchange(ended_, true))
        return;
    if (const auto callback = onEnded)
        callback(exitCode);
}

} // namespace vitrel
