#include "support/ManualLoop.h"
#include "support/NqTimer.h"
#include "support/Stopwatch.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using testing::HasSubstr;

struct Watched : ManualLoop {
    Stopwatch watch{clock};

    // What a lap of so many seconds prints.
    std::string lap(double seconds, void (Stopwatch::*end)() = &Stopwatch::lap)
    {
        clock.time += Seconds(seconds);
        testing::internal::CaptureStdout();
        (watch.*end)();
        return testing::internal::GetCapturedStdout();
    }
};

TEST(Stopwatch, PrintsTotalLapMarkAndRatioInSecondsOrMilliseconds)
{
    Watched in;
    EXPECT_EQ(in.lap(0.5), "⏱- 0.500, Lap 1: 0.500   🔴(max) \n") << "measured against 0, without a ratio";
    EXPECT_EQ(in.lap(0.25), "⏱- 0.750, Lap 2: 0.250   🟢(min) 0.5x\n");
    EXPECT_EQ(in.lap(0.25), "⏱- 1.000, Lap 3: 0.250    1x\n") << "neither faster nor slower";
    EXPECT_THAT(in.lap(6.25), HasSubstr("🔴(max) 25x\n"));
    in.watch.title = "Feed";
    in.clock.time += Seconds(1);
    testing::internal::CaptureStdout();
    in.watch.addLap("parse");
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("Lap 5: 1.000 Feed parse   0.2x\n"));

    Watched fine;
    fine.watch.multiplyBy1000 = true;
    EXPECT_THAT(fine.lap(0.123), HasSubstr("⏱- 123, Lap 1: 123 "));
    EXPECT_THAT(fine.lap(1.234), HasSubstr("⏱- 1.357, Lap 2: 1.234 "));
    fine.watch.reset();
    EXPECT_THAT(fine.lap(10.5), HasSubstr("⏱- 1500, Lap 1: 1500 "));
}

TEST(Stopwatch, ASilentLapCountsAndAResetKeepsWhatWasMeasured)
{
    Watched in;
    EXPECT_EQ(in.lap(2, &Stopwatch::silentLap), "");
    EXPECT_FALSE(in.watch.isMuted);
    in.watch.reset();
    EXPECT_EQ(in.lap(1), "⏱- 1.000, Lap 1: 1.000   🟢(min) 0.5x\n");
    in.watch.mute();
    EXPECT_EQ(in.lap(1), "");
    EXPECT_THAT(in.lap(1, &Stopwatch::lapUnmuted), HasSubstr("Lap 3"));
    EXPECT_TRUE(in.watch.isMuted);
    in.watch.laps = 0;
    EXPECT_THAT(in.lap(99, &Stopwatch::lapUnmuted), testing::Not(HasSubstr("max"))) << "lap 0 has no mark";
}

struct Counted : ManualLoop {
    int fired = 0;
    std::shared_ptr<NqTimer> timer(std::uint64_t seconds, bool repeats = false)
    {
        return NqTimer::initSecondsRepeatsExecute(loop, seconds, repeats, [this] { ++fired; });
    }
};

TEST(NqTimer, CountsRunningTimeOnly)
{
    Counted in;
    const auto timer = in.timer(5);
    in.fastForwardBy(Seconds(3));
    timer->pause();
    in.fastForwardBy(Seconds(100));
    EXPECT_EQ(in.fired, 0) << "a paused timer can't finish";
    EXPECT_EQ(timer->unpausedTime(), 0);
    timer->resume();
    EXPECT_NEAR(timer->runningTime(), 3, 1e-6);
    in.fastForwardBy(Seconds(1.9));
    EXPECT_EQ(in.fired, 0);
    in.fastForwardBy(Seconds(1.1));
    EXPECT_EQ(in.fired, 1);
    in.fastForwardBy(Seconds(10));
    EXPECT_EQ(in.fired, 1);
    timer->pause();
    timer->pause();
    EXPECT_EQ(timer->isRunning, true) << "a second pause resumes";
}

TEST(NqTimer, ARepeatIsOneMoreCountdownAndClearsTheWish)
{
    Counted in;
    const auto timer = in.timer(2, true);
    in.fastForwardBy(Seconds(2));
    EXPECT_EQ(in.fired, 1);
    EXPECT_EQ(timer->seconds, 2u);
    EXPECT_EQ(timer->repeats, false);
    EXPECT_EQ(timer->isRunning, true);
    in.fastForwardBy(Seconds(10));
    EXPECT_EQ(in.fired, 1) << "nothing further is scheduled";
    EXPECT_TRUE(timer->hasFinished());
    timer->autofireTimerNotification(1000);
    EXPECT_EQ(in.fired, 2);
}

// What it runs then would be freed under its feet.
TEST(NqTimer, WhatItCallsMayPutAnotherInItsPlaceAndAQueuedLookHoldsIt)
{
    Counted in;
    const auto timer = in.timer(1);
    timer->execute = [&in, &timer = *timer, text = std::string(100, 'x')] {
        timer.execute = nullptr;
        in.fired += static_cast<int>(text.size());
    };
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(in.fired, 100);

    in.fired = 0;
    EXPECT_TRUE(in.timer(0)->hasFinished());
    EXPECT_EQ(in.fired, 1);
    in.timer(1); // nobody else holds it
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(in.fired, 2);
    const auto cancelled = in.timer(3);
    cancelled->cancel();
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(in.fired, 3) << "a countdown of 0 has finished at the next look";
}

} // namespace
} // namespace vitrel
