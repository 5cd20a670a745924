#include "platform/foundation/Queue.h"

#include <utility>

namespace vitrel {

PoolQueue::PoolQueue(unsigned threads)
    : limit_(threads)
{ }

PoolQueue::~PoolQueue()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        blocks_.clear();
    }
    wake_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void PoolQueue::async(std::function<void()> block)
{
    const std::lock_guard lock(mutex_);
    blocks_.push_back(std::move(block));
    wakeThreads();
}

void PoolQueue::suspend()
{
    const std::lock_guard lock(mutex_);
    suspended_ = true;
}

void PoolQueue::resume()
{
    const std::lock_guard lock(mutex_);
    suspended_ = false;
    wakeThreads();
}

// For the blocks that wait, with the mutex held.
void PoolQueue::wakeThreads()
{
    if (suspended_)
        return;
    for (std::size_t k = idle_; k < blocks_.size() && threads_.size() < limit_; ++k)
        threads_.emplace_back([this] { work(); });
    wake_.notify_all();
}

void PoolQueue::work()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        ++idle_;
        wake_.wait(lock, [this] { return ending_ || (!suspended_ && !blocks_.empty()); });
        --idle_;
        if (ending_)
            return;
        const auto block = std::move(blocks_.front());
        blocks_.pop_front();
        lock.unlock();
        block();
        lock.lock();
    }
}

std::size_t ManualQueue::drain()
{
    const auto now = std::exchange(blocks, {});
    for (const auto& block : now)
        block();
    return now.size();
}

} // namespace vitrel
