#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>

namespace vitrel::qc {

// Does `work` later, one after the other, on the one thread that reads for all compositions of the process. It starts
// with the first work: a process confines itself ahead of its threads. Nobody waits for it at the end, for a disk may
// hang. False if too much is waiting already.
bool loadLater(std::function<void()> work);

// From now on `loadLater` does it on the spot, for a process that plays on a clock of its own: what is there at a time
// must not depend on how fast a disk is. Ahead of all compositions.
void loadAtOnce();

// One thing that is being loaded. Whoever drops it, or starts another, has forgotten it: work that hasn't begun is left
// out. Main thread.
template <class T> class Load
{
public:
    void start(std::function<T()> work)
    {
        const auto promise = std::make_shared<std::promise<T>>();
        wanted_ = std::make_shared<bool>(true);
        result_ = promise->get_future();
        const bool taken = loadLater([promise, work = std::move(work), wanted = std::weak_ptr<bool>(wanted_)] {
            T made{};
            try {
                if (!wanted.expired())
                    made = work();
            } catch (...) { // no memory
                made = T{};
            }
            promise->set_value(std::move(made));
        });
        if (!taken)
            promise->set_value(T{});
    }
    void forget()
    {
        wanted_.reset();
        result_ = {};
    }
    bool running() const { return result_.valid(); }
    // Once, when it is there; waits for it until then at most.
    std::optional<T> result(std::chrono::steady_clock::time_point until)
    {
        if (!running() || result_.wait_until(until) != std::future_status::ready)
            return std::nullopt;
        return result_.get();
    }

private:
    std::shared_ptr<bool> wanted_;
    std::future<T> result_;
};

} // namespace vitrel::qc
