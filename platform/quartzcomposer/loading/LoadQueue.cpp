#include "platform/quartzcomposer/loading/LoadQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

namespace vitrel::qc {

namespace {

// A composition has a handful; hundreds at once come from one that means no good.
constexpr std::size_t kMostWaiting = 256;

struct Queue {
    std::mutex mutex;
    std::condition_variable news;
    std::deque<std::function<void()>> waiting;
    bool runs = false;

    void work()
    {
        for (;;) {
            std::unique_lock lock(mutex);
            news.wait(lock, [this] { return !waiting.empty(); });
            const auto next = std::move(waiting.front());
            waiting.pop_front();
            lock.unlock();
            next();
        }
    }
};

bool isAtOnce = false;

} // namespace

void loadAtOnce()
{
    isAtOnce = true;
}

bool loadLater(std::function<void()> work)
{
    if (isAtOnce) {
        work();
        return true;
    }
    static auto* const queue = new Queue; // outlives all that ends with the process
    const std::lock_guard lock(queue->mutex);
    if (queue->waiting.size() >= kMostWaiting)
        return false;
    if (!queue->runs) {
        try {
            std::thread([] { queue->work(); }).detach();
        } catch (const std::system_error&) { // no more threads
            return false;
        }
        queue->runs = true;
    }
    queue->waiting.push_back(std::move(work));
    queue->news.notify_one();
    return true;
}

} // namespace vitrel::qc
