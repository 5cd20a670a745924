#include "programs/feedkit/InOrder.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace vitrel {

namespace {

// Reports in work or waiting for their turn, for each thread: enough that one large document stops no other.
constexpr std::size_t kAheadPerThread = 16;

// Bytes of reports waiting for their turn before no further document is begun.
constexpr std::size_t kWaitingBytes = 16u << 20;

// One that isn't a text yet stops the others until it has been taken.
std::size_t weightOf(const Report& report)
{
    return report.writeLong ? kWaitingBytes : report.text.size();
}

class Line
{
public:
    Line(std::size_t count, std::size_t ahead)
        : count_(count)
        , ahead_(ahead)
    { }

    void work(const std::function<Report(std::size_t)>& make)
    {
        std::unique_lock lock(mutex_);
        for (;;) {
            mayBegin_.wait(lock, [&] { return begun_ == count_ || isRoom(); });
            if (begun_ == count_)
                return;
            const auto index = begun_++;
            lock.unlock();
            auto report = make(index);
            lock.lock();
            waitingBytes_ += weightOf(report);
            waiting_.emplace(index, std::move(report));
            if (index == taken_)
                mayTake_.notify_one();
        }
    }

    void takeAll(const std::function<void(Report)>& take, const std::function<void()>& idle)
    {
        std::unique_lock lock(mutex_);
        while (taken_ < count_) {
            const auto isNext = [&] { return !waiting_.empty() && waiting_.begin()->first == taken_; };
            if (!isNext()) {
                lock.unlock();
                idle();
                lock.lock();
                mayTake_.wait(lock, isNext);
            }
            auto report = std::move(waiting_.begin()->second);
            waiting_.erase(waiting_.begin());
            waitingBytes_ -= weightOf(report);
            ++taken_;
            mayBegin_.notify_all();
            lock.unlock();
            take(std::move(report));
            lock.lock();
        }
    }

private:
    // The one whose turn it is may always begin, for nothing else would make room.
    bool isRoom() const { return begun_ == taken_ || (begun_ < taken_ + ahead_ && waitingBytes_ < kWaitingBytes); }

    const std::size_t count_;
    const std::size_t ahead_;
    std::mutex mutex_; // for all that follows
    std::condition_variable mayBegin_;
    std::condition_variable mayTake_;
    std::size_t begun_ = 0;
    std::size_t taken_ = 0;
    std::map<std::size_t, Report> waiting_;
    std::size_t waitingBytes_ = 0;
};

} // namespace

void inOrder(std::size_t count, unsigned threads, const std::function<Report(std::size_t)>& make,
    const std::function<void(Report)>& take, const std::function<void()>& idle)
{
    threads = static_cast<unsigned>(std::clamp<std::size_t>(threads, 1, std::max<std::size_t>(count, 1)));
    Line line(count, threads * kAheadPerThread);
    std::vector<std::thread> workers;
    for (unsigned k = 0; k < threads; ++k)
        workers.emplace_back([&] { line.work(make); });
    line.takeAll(take, idle);
    for (auto& worker : workers)
        worker.join();
}

} // namespace vitrel
