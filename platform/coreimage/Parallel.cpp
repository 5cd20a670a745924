#include "platform/coreimage/Parallel.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace vitrel {

namespace {

// A picture takes a fraction of a second; with more threads, others feel it and it isn't much sooner there.
constexpr unsigned kMostThreads = 4;

} // namespace

void forEachInParallel(std::size_t count, const std::function<void(std::size_t)>& piece)
{
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t k = next++; k < count; k = next++)
            piece(k);
    };
    const std::size_t threads
        = std::min<std::size_t>(count, std::clamp(std::thread::hardware_concurrency(), 1u, kMostThreads));
    std::vector<std::thread> others;
    others.reserve(threads);
    try {
        while (others.size() + 1 < threads)
            others.emplace_back(work);
    } catch (const std::system_error&) {
        // Fewer threads, then.
    }
    work();
    for (auto& other : others)
        other.join();
}

} // namespace vitrel
