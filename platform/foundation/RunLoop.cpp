#include "platform/foundation/RunLoop.h"

#include <algorithm>
#include <cmath>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace vitrel {

void NSTimer::invalidate()
{
    block_ = nullptr;
}

RunLoop::RunLoop(const Clock& clock)
    : clock_(clock)
    , wakeup_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{ }

RunLoop::~RunLoop()
{
    for (const int fd : {wakeup_, epoll_, timer_}) {
        if (fd >= 0)
            close(fd);
    }
}

void RunLoop::insert(Call call)
{
    call.order = nextOrder_++;
    const auto place = std::upper_bound(
        calls_.begin(), calls_.end(), call, [](const Call& a, const Call& b) { return a.due < b.due; });
    calls_.insert(place, std::move(call));
    armDescriptor();
}

void RunLoop::performSelectorWithObjectAfterDelay(
    std::shared_ptr<NSObject> target, Selector selector, Value object, Seconds delay)
{
    insert({clock_.now() + std::max(delay, Seconds(0)), 0, std::move(target), selector, std::move(object), {}});
}

void RunLoop::cancelPreviousPerformRequestsWithTarget(const NSObject& target)
{
    std::erase_if(calls_, [&](const Call& call) { return call.target.get() == &target; });
}

void RunLoop::cancelPreviousPerformRequestsWithTargetSelector(const NSObject& target, Selector selector)
{
    std::erase_if(calls_, [&](const Call& call) { return call.target.get() == &target && call.selector == selector; });
}

std::vector<std::string> RunLoop::pending(const NSObject& target) const
{
    std::vector<std::string> names;
    for (const Call& call : calls_) {
        if (call.target.get() == &target)
            names.emplace_back(call.selector.name);
    }
    return names;
}

void RunLoop::post(std::function<void()> block)
{
    postAfter(Seconds(0), std::move(block));
}

void RunLoop::postAfter(Seconds delay, std::function<void()> block)
{
    const Seconds due = clock_.now() + std::max(delay, Seconds(0));
    {
        const std::lock_guard lock(mutex_);
        posted_.emplace_back(due, std::move(block));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeup_, &one, sizeof one);
}

void RunLoop::takePosted()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(wakeup_, &count, sizeof count);
    std::deque<std::pair<Seconds, std::function<void()>>> posted;
    {
        const std::lock_guard lock(mutex_);
        posted.swap(posted_);
    }
    for (auto& [due, block] : posted)
        insert({due, 0, nullptr, {}, {}, std::move(block)});
}

std::shared_ptr<NSTimer> RunLoop::scheduledTimer(Seconds interval, bool repeats, std::function<void()> block)
{
    auto timer = std::make_shared<NSTimer>();
    timer->interval_ = std::max(interval, Seconds(0.0001));
    timer->due_ = clock_.now() + timer->interval_;
    timer->repeats_ = repeats;
    timer->block_ = std::move(block);
    timers_.push_back(timer);
    armDescriptor();
    return timer;
}

std::size_t RunLoop::turn()
{
    takePosted();
    const Seconds now = clock_.now();
    // What is asked for from here on belongs to the next turn, whatever its due time.
    const std::uint64_t firstOfNext = nextOrder_;
    std::size_t ran = 0;
    for (;;) {
        // Looked up anew each time: a call may cancel others.
        const auto next = std::find_if(calls_.begin(), calls_.end(),
            [&](const Call& call) { return call.due <= now && call.order < firstOfNext; });
        if (next == calls_.end())
            break;
        const Call call = std::move(*next);
        calls_.erase(next);
        if (call.block)
            call.block();
        else
            call.selector.call(*call.target, call.object);
        ++ran;
    }
    ran += turnTimers(now);
    ran += turnWatches();
    armDescriptor();
    return ran;
}

std::size_t RunLoop::turnTimers(Seconds now)
{
    std::size_t ran = 0;
    std::erase_if(timers_, [](const auto& timer) { return !timer->isValid(); });
    auto due = timers_;
    std::erase_if(due, [&](const auto& timer) { return timer->due_ > now; });
    std::stable_sort(due.begin(), due.end(), [](const auto& a, const auto& b) { return a->due_ < b->due_; });
    for (const auto& timer : due) {
        if (!timer->isValid())
            continue;
        const auto block = timer->block_; // survives an invalidate from inside
        if (timer->repeats_)
            timer->due_ += timer->interval_ * (std::floor((now - timer->due_) / timer->interval_) + 1);
        else
            timer->invalidate();
        block();
        ++ran;
    }
    return ran;
}

void RunLoop::watch(int fd, short events, std::function<void(short)> ready)
{
    unwatch(fd);
    watches_[fd] = {events, std::make_shared<std::function<void(short)>>(std::move(ready))};
    if (epoll_ >= 0) {
        epoll_event event{};
        event.events = (events & POLLIN ? EPOLLIN : 0u) | (events & POLLOUT ? EPOLLOUT : 0u);
        event.data.fd = fd;
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
    }
}

void RunLoop::unwatch(int fd)
{
    if (watches_.erase(fd) && epoll_ >= 0)
        epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
}

std::size_t RunLoop::turnWatches()
{
    std::vector<pollfd> fds;
    for (const auto& [fd, watch] : watches_)
        fds.push_back({fd, watch.events, 0});
    std::size_t ran = 0;
    if (fds.empty() || poll(fds.data(), fds.size(), 0) <= 0)
        return ran;
    for (const pollfd& entry : fds) {
        const auto found = watches_.find(entry.fd); // an earlier one may have taken it away
        if (!entry.revents || found == watches_.end())
            continue;
        const auto ready = found->second.ready;
        (*ready)(entry.revents);
        ++ran;
    }
    return ran;
}

std::optional<Seconds> RunLoop::nextDue() const
{
    std::optional<Seconds> due;
    const auto take = [&](Seconds candidate) { due = due ? std::min(*due, candidate) : candidate; };
    if (!calls_.empty())
        take(calls_.front().due);
    for (const auto& timer : timers_) {
        if (timer->isValid())
            take(timer->due_);
    }
    const std::lock_guard lock(mutex_);
    for (const auto& [when, block] : posted_)
        take(when);
    return due;
}

void RunLoop::wait(std::optional<Seconds> limit)
{
    std::vector<pollfd> fds{{wakeup_, POLLIN, 0}};
    for (const auto& [fd, watch] : watches_)
        fds.push_back({fd, watch.events, 0});
    std::optional<Seconds> sleep = limit;
    if (const auto due = nextDue()) {
        const Seconds left = std::max(*due - clock_.now(), Seconds(0));
        sleep = sleep ? std::min(*sleep, left) : left;
    }
    timespec time{};
    if (sleep) {
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(std::min(*sleep, Seconds(3600)));
        time.tv_sec = nanoseconds.count() / 1'000'000'000;
        time.tv_nsec = nanoseconds.count() % 1'000'000'000;
    }
    ppoll(fds.data(), fds.size(), sleep ? &time : nullptr, nullptr);
}

void RunLoop::run()
{
    while (!stopped_.exchange(false)) {
        wait();
        turn();
    }
}

void RunLoop::stop()
{
    stopped_ = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeup_, &one, sizeof one);
}

int RunLoop::descriptor()
{
    if (epoll_ >= 0)
        return epoll_;
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    timer_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    for (const int fd : {wakeup_, timer_}) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
    }
    const auto watches = watches_;
    for (const auto& [fd, watch] : watches) {
        const auto ready = watch.ready;
        this->watch(fd, watch.events, [ready](short revents) { (*ready)(revents); });
    }
    armDescriptor();
    return epoll_;
}

void RunLoop::armDescriptor()
{
    if (timer_ < 0)
        return;
    itimerspec when{};
    if (const auto due = nextDue()) {
        const auto at = std::chrono::duration_cast<std::chrono::nanoseconds>(std::max(*due, Seconds(1e-9)));
        when.it_value.tv_sec = at.count() / 1'000'000'000;
        when.it_value.tv_nsec = std::max<long>(at.count() % 1'000'000'000, 1);
    }
    timerfd_settime(timer_, TFD_TIMER_ABSTIME, &when, nullptr);
}

} // namespace vitrel
