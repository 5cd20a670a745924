#pragma once

#include "base/Clock.h"
#include "platform/foundation/NSObject.h"
#include "platform/foundation/Value.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vitrel {

// A timer of the run loop. Holds its block until it is invalidated or, if it doesn't repeat, has run.
class NSTimer
{
public:
    void invalidate();
    bool isValid() const { return static_cast<bool>(block_); }

private:
    friend class RunLoop;
    Seconds due_{0}, interval_{0};
    bool repeats_ = false;
    std::function<void()> block_;
};

// The main run loop: delayed calls by target and name, timers, blocks posted to the main queue, file descriptors.
// It takes its time from a clock that a test can turn by hand and sleeps only in `wait`. To another loop it is one
// pollable descriptor and `turn`. Main thread, but for `post` and `postAfter`.
class RunLoop
{
public:
    explicit RunLoop(const Clock& clock);
    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    const Clock& clock() const { return clock_; }

    // performSelector:withObject:afterDelay:. Runs `selector` on `target` in the first turn that begins `delay`
    // seconds from now or later; 0 or less means the next turn, also from inside a turn. Calls run by due time,
    // then in the order of asking. The loop holds `target` until the call has run or was cancelled.
    void performSelectorWithObjectAfterDelay(
        std::shared_ptr<NSObject> target, Selector selector, Value object, Seconds delay);
    // Also reach calls that are due in the running turn.
    void cancelPreviousPerformRequestsWithTarget(const NSObject& target);
    void cancelPreviousPerformRequestsWithTargetSelector(const NSObject& target, Selector selector);
    // Names of the target's pending calls, in the order in which they will run.
    std::vector<std::string> pending(const NSObject& target) const;

    // The main queue. Blocks run in order, each in the next turn or, with a delay, in the first turn when it is
    // over. Any thread.
    void post(std::function<void()> block);
    void postAfter(Seconds delay, std::function<void()> block);

    // Due `interval` seconds from now, then each `interval` after the last due time; a timer that fell behind
    // skips what it missed rather than firing in a burst.
    std::shared_ptr<NSTimer> scheduledTimer(Seconds interval, bool repeats, std::function<void()> block);

    // Calls `ready` in the turns that find `fd` in one of `events` (POLLIN, POLLOUT). The descriptor stays the
    // caller's. One watch for each descriptor: a second replaces the first.
    void watch(int fd, short events, std::function<void(short revents)> ready);
    void unwatch(int fd);

    // Runs what was due when it was called and gives how many calls that were. Never waits.
    std::size_t turn();
    // When the next call or timer is due, on the loop's clock; absent if none is pending. Blocks posted without a
    // delay are due at once.
    std::optional<Seconds> nextDue() const;

    // Sleeps until something is due, a block is posted, a watched descriptor is ready, or `limit` is over. For the
    // system clock only.
    void wait(std::optional<Seconds> limit = std::nullopt);
    // wait and turn until `stop` was called. A stop before the run counts.
    void run();
    void stop();

    // Readable when a turn has something to do; level-triggered. Owned by the loop. Only with the system clock.
    int descriptor();

private:
    struct Call {
        Seconds due;
        std::uint64_t order;
        std::shared_ptr<NSObject> target;
        Selector selector;
        Value object;
        std::function<void()> block; // in place of a target
    };
    struct Watch {
        short events;
        std::shared_ptr<std::function<void(short)>> ready;
    };

    void insert(Call call);
    void takePosted();
    std::size_t turnTimers(Seconds now);
    std::size_t turnWatches();
    void armDescriptor();

    const Clock& clock_;
    std::vector<Call> calls_; // by due, then order
    std::uint64_t nextOrder_ = 0;
    std::vector<std::shared_ptr<NSTimer>> timers_;
    std::map<int, Watch> watches_;
    mutable std::mutex mutex_;
    std::deque<std::pair<Seconds, std::function<void()>>> posted_; // guarded by mutex_
    std::atomic<bool> stopped_{false};
    int wakeup_ = -1, epoll_ = -1, timer_ = -1;
};

} // namespace vitrel
