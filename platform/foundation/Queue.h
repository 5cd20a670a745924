#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vitrel {

// A global queue of one quality of service: blocks run off the main thread, in no promised order.
class Queue
{
public:
    virtual ~Queue() = default;
    // Any thread.
    virtual void async(std::function<void()> block) = 0;
};

// A global queue on a small pool of threads, which start with the first block. The destructor drops what hasn't
// begun and waits for what has.
class PoolQueue final : public Queue
{
public:
    explicit PoolQueue(unsigned threads);
    ~PoolQueue() override;
    void async(std::function<void()> block) override;
    // While it is suspended, blocks wait and no thread starts; those that have begun run on. Any thread.
    void suspend();
    void resume();

private:
    void wakeThreads();
    void work();

    const unsigned limit_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> blocks_;
    std::vector<std::thread> threads_;
    unsigned idle_ = 0;
    bool suspended_ = false, ending_ = false;
};

// A global queue that a test drains by hand, so that "before the queue ran" is a test and no race.
class ManualQueue final : public Queue
{
public:
    void async(std::function<void()> block) override { blocks.push_back(std::move(block)); }
    // Runs what is queued now, not what that queues. Gives how many ran.
    std::size_t drain();

    std::deque<std::function<void()>> blocks;
};

} // namespace vitrel
