#include "programs/feedkit/InOrder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace vitrel {
namespace {

TEST(InOrder, HandsOverInOrderWhateverTheNumberOfThreads)
{
    for (const unsigned threads : {1u, 2u, 7u, 64u}) {
        std::string taken, expected;
        std::size_t failures = 0;
        // The later, the sooner made.
        const auto make = [](std::size_t index) {
            for (std::size_t k = index % 8; k < 8; ++k)
                std::this_thread::yield();
            return Report{std::to_string(index) + " ", index == 3};
        };
        inOrder(
            500, threads, make,
            [&](const Report& report) {
                taken += report.text;
                failures += report.failed;
            },
            [] {});
        for (int k = 0; k < 500; ++k)
            expected += std::to_string(k) + " ";
        EXPECT_EQ(taken, expected) << threads;
        EXPECT_EQ(failures, 1u);
    }
    inOrder(
        0, 4, [](std::size_t) { return Report{}; }, [](const Report&) { FAIL(); }, [] {});
}

// A reader that is slower than the makers must not find all of a disk in memory.
TEST(InOrder, StopsMakingWhenTooMuchWaits)
{
    std::atomic<std::size_t> begun = 0, taken = 0, most = 0, mostBytes = 0, bytes = 0;
    const auto raise = [](std::atomic<std::size_t>& to, std::size_t value) {
        for (auto had = to.load(); value > had && !to.compare_exchange_weak(had, value);) { }
    };
    const auto run = [&](std::size_t count, std::size_t size) {
        begun = taken = most = mostBytes = bytes = 0;
        inOrder(
            count, 2,
            [&](std::size_t) {
                raise(most, ++begun - taken);
                raise(mostBytes, bytes += size);
                return Report{std::string(size, 'x'), false};
            },
            [&](const Report& report) {
                // Of the first report the makers get as far ahead as they will.
                while (taken == 0 && size == 1 && begun < 33)
                    std::this_thread::yield();
                bytes -= report.text.size();
                ++taken;
            },
            [] {});
        EXPECT_EQ(taken, count);
    };
    run(5000, 1);
    EXPECT_LE(most, 34u) << "two threads, sixteen documents each, and the two at the hand-over";
    run(200, 1u << 20);
    EXPECT_LE(mostBytes, std::size_t(20) << 20) << "sixteen megabytes, and what was in work";
}

} // namespace
} // namespace vitrel
