#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Queue.h"
#include "support/ManualLoop.h"

#include <gmock/gmock.h>

#include <atomic>
#include <poll.h>
#include <unistd.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct Probe : NSObject {
    explicit Probe(ManualLoop& in)
        : in_(in)
    { }
    void ask(Selector selector, Seconds delay, Value object = {})
    {
        in_.loop.performSelectorWithObjectAfterDelay(shared_from_this(), selector, std::move(object), delay);
    }
    void a() { log += 'a'; }
    void b() { log += 'b'; }
    void say(const Value& object) { log += vitrel::description(object); }
    void stop()
    {
        log += 's';
        in_.loop.cancelPreviousPerformRequestsWithTarget(*this);
    }
    void again()
    {
        log += 'r';
        ask(SELECTOR(Probe, again), 0s);
    }
    std::string log;
    ManualLoop& in_;
};

// A loop that lets new calls into the running turn spins for ever on a call that renews itself; one that copies its due
// calls first runs them although they were cancelled meanwhile.
TEST(RunLoop, ATurnRunsWhatIsDueWithoutWhatItAsksForOrCancels)
{
    ManualLoop in;
    auto renewed = std::make_shared<Probe>(in), stopped = std::make_shared<Probe>(in);
    renewed->ask(SELECTOR(Probe, again), 0s);
    EXPECT_EQ(renewed->log, "");
    in.loop.turn();
    EXPECT_EQ(renewed->log, "r");
    in.loop.turn();
    EXPECT_EQ(renewed->log, "rr");
    for (Selector s : {SELECTOR(Probe, a), SELECTOR(Probe, stop), SELECTOR(Probe, a)})
        stopped->ask(s, 1s);
    in.clock.time = 2s;
    in.loop.turn();
    EXPECT_EQ(stopped->log, "as");
}

TEST(RunLoop, CallsRunByDueTimeThenInTheOrderOfAskingUnlessTheirNameIsCancelled)
{
    ManualLoop in;
    auto probe = std::make_shared<Probe>(in), other = std::make_shared<Probe>(in);
    for (const auto& target : {probe, other}) {
        target->ask(SELECTOR(Probe, say), 2s, "late");
        target->ask(SELECTOR(Probe, a), 1s);
        target->ask(SELECTOR(Probe, b), 1s);
    }
    EXPECT_THAT(in.loop.pending(*probe), ElementsAre("a", "b", "say"));
    in.fastForwardBy(0.999s);
    EXPECT_EQ(probe->log, "");
    in.loop.cancelPreviousPerformRequestsWithTargetSelector(*other, SELECTOR(Probe, a));
    in.fastForwardBy(2s);
    EXPECT_EQ(probe->log, "ablate");
    EXPECT_EQ(other->log, "blate");
}

// A view whose only holder is a delayed call must live until that call has run, and no longer.
TEST(RunLoop, HoldsATargetUntilItsCallHasRunOrWasCancelled)
{
    ManualLoop in;
    auto probe = std::make_shared<Probe>(in);
    const std::weak_ptr<Probe> weak = probe;
    probe->ask(SELECTOR(Probe, a), 1s);
    probe.reset();
    EXPECT_FALSE(weak.expired());
    in.fastForwardBy(1s);
    EXPECT_TRUE(weak.expired());
}

TEST(RunLoop, ATimerThatFellBehindFiresOnceAndKeepsItsBeatUntilABlockEndsIt)
{
    ManualLoop in;
    int fired = 0;
    const auto timer = in.loop.scheduledTimer(10s, true, [&] { ++fired; });
    in.fastForwardBy(25s);
    EXPECT_EQ(fired, 2);
    in.clock.time = 95s;
    in.loop.turn();
    EXPECT_EQ(fired, 3) << "six beats were slept through";
    EXPECT_EQ(in.loop.nextDue(), 100s);
    timer->invalidate();
    in.fastForwardBy(100s);
    EXPECT_EQ(fired, 3);
    std::shared_ptr<NSTimer> first, second;
    first = in.loop.scheduledTimer(1s, true, [&] {
        ++fired;
        first->invalidate();
        second->invalidate();
    });
    second = in.loop.scheduledTimer(1s, true, [&] { fired += 100; });
    in.fastForwardBy(5s);
    EXPECT_EQ(fired, 4);
}

TEST(RunLoop, PostedBlocksRunInOrderAndThoseWithADelayWhenItIsOver)
{
    ManualLoop in;
    std::string log;
    in.loop.postAfter(1s, [&] { log += 'd'; });
    in.loop.post([&] {
        log += '1';
        in.loop.post([&] { log += '3'; });
    });
    in.loop.post([&] { log += '2'; });
    in.loop.turn();
    EXPECT_EQ(log, "12");
    in.loop.turn();
    EXPECT_EQ(log, "123");
    in.fastForwardBy(1s);
    EXPECT_EQ(log, "123d");
}

TEST(RunLoop, AWatchedDescriptorIsSeenAndAWatchMayEndItself)
{
    ManualLoop in;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int seen = 0;
    in.loop.watch(ends[0], POLLIN, [&](short) {
        ++seen;
        in.loop.unwatch(ends[0]);
    });
    in.loop.turn();
    EXPECT_EQ(seen, 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    in.loop.turn();
    in.loop.turn();
    EXPECT_EQ(seen, 1);
    close(ends[0]);
    close(ends[1]);
}

// Another loop drives ours by this one descriptor: it must wake for posts, calls that become due, and descriptors.
TEST(RunLoop, ItsDescriptorIsReadableWhenATurnHasSomethingToDo)
{
    SystemClock clock;
    RunLoop loop(clock);
    pollfd outside{loop.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&outside, 1, 0), 0);
    int ran = 0;
    loop.post([&] { ++ran; });
    EXPECT_EQ(poll(&outside, 1, 1000), 1);
    loop.turn();
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(poll(&outside, 1, 0), 0) << "drained";
    loop.scheduledTimer(Seconds(0.01), false, [&] { ++ran; });
    EXPECT_EQ(poll(&outside, 1, 5000), 1);
    while (ran == 1)
        loop.turn();
    EXPECT_EQ(poll(&outside, 1, 0), 0);
}

TEST(PoolQueue, RunsEverythingOffTheMainThreadAndBringsItBack)
{
    SystemClock clock;
    RunLoop loop(clock);
    const auto main = std::this_thread::get_id();
    int done = 0;
    std::atomic<int> begun = 0;
    {
        PoolQueue queue(2);
        queue.suspend();
        for (int k = 0; k < 100; ++k)
            queue.async([&] {
                ++begun;
                EXPECT_NE(std::this_thread::get_id(), main);
                loop.post([&] {
                    if (++done == 100)
                        loop.stop();
                });
            });
        for (int k = 0; k < 10000 && begun == 0; ++k)
            std::this_thread::yield();
        EXPECT_EQ(begun, 0) << "suspended";
        queue.resume();
        loop.run();
    }
    EXPECT_EQ(done, 100);
}

} // namespace
} // namespace vitrel
