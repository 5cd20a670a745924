#include "programs/idle/IdlePlay.h"

#include "support/ManualLoop.h"

#include <gmock/gmock.h>

#include <csignal>

namespace vitrel {
namespace {

struct FakePlayer final : IdlePlayer {
    bool start() override
    {
        ++starts;
        return canStart;
    }
    void stop() override { ++stops; }
    int starts = 0, stops = 0;
    bool canStart = true;
};

struct IdlePlayTest : testing::Test, ManualLoop {
    FakePlayer player;
    IdlePlay play{loop, player};
};

TEST_F(IdlePlayTest, PlaysOnceForEachIdleTimeAndLeavesTheEndToThePlayer)
{
    play.becameIdle();
    EXPECT_EQ(player.starts, 1);
    play.becameIdle();
    play.becameActive();
    EXPECT_EQ(player.stops, 0) << "a nudged table";
    play.becameIdle();
    EXPECT_EQ(player.starts, 1) << "it plays on";
    player.onEnded(0);
    fastForwardBy(Seconds(600));
    EXPECT_EQ(player.starts, 1) << "dismissed";
    play.becameActive();
    play.becameIdle();
    EXPECT_EQ(player.starts, 2);
}

TEST_F(IdlePlayTest, AnyHoldKeepsItBackAndEndsWhatPlays)
{
    play.setHold(Hold::application, true);
    play.setHold(Hold::locked, true);
    play.becameIdle();
    play.setHold(Hold::application, false);
    EXPECT_EQ(player.starts, 0) << "one is left";
    play.setHold(Hold::locked, false);
    EXPECT_EQ(player.starts, 1) << "the desktop is still idle";
    play.setHold(Hold::fullScreen, true);
    play.setHold(Hold::asleep, true);
    EXPECT_EQ(player.stops, 1);
    play.setHold(Hold::fullScreen, false);
    play.setHold(Hold::asleep, false);
    EXPECT_EQ(player.starts, 1) << "not two at once";
    player.onEnded(-SIGTERM);
    EXPECT_EQ(player.starts, 2) << "asked to end, it didn't crash";
    play.becameActive();
    play.setHold(Hold::locked, true);
    player.onEnded(0);
    play.setHold(Hold::locked, false);
    EXPECT_EQ(player.starts, 2) << "the user was there meanwhile";
}

TEST_F(IdlePlayTest, StartsAnewWhatCrashesAfterLongerAndLongerPauses)
{
    play.becameIdle();
    std::vector<double> pauses;
    for (int crash = 0; crash < 8; ++crash) {
        const Seconds before = clock.now();
        const int starts = player.starts;
        player.canStart = crash != 3; // that it can't be started counts as a crash
        player.onEnded(-SIGSEGV);
        while (player.starts == starts)
            fastForwardBy(Seconds(0.5));
        pauses.push_back((clock.now() - before).count());
    }
    EXPECT_THAT(pauses, testing::ElementsAre(1, 2, 4, 8, 16, 32, 60, 60));
    fastForwardBy(Seconds(61));
    player.onEnded(1);
    fastForwardBy(Seconds(1));
    EXPECT_EQ(player.starts, 10) << "after a long sound run it was the first again";
    player.onEnded(1);
    play.becameActive();
    fastForwardBy(Seconds(600));
    EXPECT_EQ(player.starts, 10) << "nobody wants it any more";
}

TEST_F(IdlePlayTest, FinishesAfterThePlayer)
{
    int done = 0;
    play.becameIdle();
    play.finish([&] { ++done; });
    loop.turn();
    EXPECT_EQ(done, 0);
    EXPECT_EQ(player.stops, 1);
    player.onEnded(0);
    loop.turn();
    EXPECT_EQ(done, 1);
    play.becameIdle();
    play.finish([&] { ++done; });
    player.onEnded(-SIGKILL);
    loop.turn();
    EXPECT_EQ(done, 2);
    play.finish([&] { ++done; });
    loop.turn();
    EXPECT_EQ(done, 3) << "at once where nothing plays";
}

} // namespace
} // namespace vitrel
