#include "programs/idle/IdlePlay.h"

#include "support/ManualLoop.h"

#include <gmock/gmock.h>

#include <csignal>

namespace vitrel {
namespace {

struct FakePlayer final : IdlePlayer {
    bool start() override
    {
        log += '+';
        return canStart;
    }
    void stop() override { log += '-'; }
    std::string log;
    bool canStart = true;
};

struct IdlePlayTest : testing::Test, ManualLoop {
    FakePlayer player;
    IdlePlay play{loop, player};

    // i: idle, a: active, e: the player ends well, k: it is killed as it was asked, t: ten minutes; capitals set a
    // hold, their small letters take it back: P of an application, L locked, F full screen, S asleep.
    std::string after(const std::string& events)
    {
        for (const char event : events) {
            const auto hold = std::string("PLFS").find(static_cast<char>(event & ~0x20));
            if (event == 'i')
                play.becameIdle();
            else if (event == 'a')
                play.becameActive();
            else if (event == 'e' || event == 'k')
                player.onEnded(event == 'e' ? 0 : -SIGTERM);
            else if (event == 't')
                fastForwardBy(Seconds(600));
            else
                play.setHold(
                    std::array{Hold::application, Hold::locked, Hold::fullScreen, Hold::asleep}[hold], event < 'a');
        }
        return std::exchange(player.log, {});
    }
};

TEST_F(IdlePlayTest, PlaysOnceForEachIdleTimeUnlessSomethingHoldsItBack)
{
    const std::tuple<const char*, const char*, const char*> steps[]
        = {{"i", "+", "idle"}, {"iai", "", "a nudged table: it plays on"}, {"et", "", "dismissed"},
            {"ai", "+", "another idle time"}, {"e", "", ""}, {"aPLip", "", "one hold is left"},
            {"l", "+", "the desktop is still idle"}, {"FS", "-", "once"}, {"fs", "", "not two at once"},
            {"k", "+", "asked to end, it didn't crash"}, {"aLel", "-", "the user was there meanwhile"}};
    for (const auto& [events, log, why] : steps)
        EXPECT_EQ(after(events), log) << events << ": " << why;
}

TEST_F(IdlePlayTest, StartsAnewWhatCrashesAfterLongerAndLongerPauses)
{
    after("i");
    std::vector<double> pauses;
    for (int crash = 0; crash < 8; ++crash) {
        const Seconds before = clock.now();
        player.canStart = crash != 3; // that it can't be started counts as a crash
        player.onEnded(-SIGSEGV);
        while (after("").empty())
            fastForwardBy(Seconds(0.5));
        pauses.push_back((clock.now() - before).count());
    }
    EXPECT_THAT(pauses, testing::ElementsAre(1, 2, 4, 8, 16, 32, 60, 60));
    fastForwardBy(Seconds(61));
    player.onEnded(1);
    fastForwardBy(Seconds(1));
    EXPECT_EQ(after(""), "+") << "after a long sound run it was the first again";
    player.onEnded(1);
    EXPECT_EQ(after("at"), "") << "nobody wants it any more";
}

TEST_F(IdlePlayTest, FinishesAfterThePlayer)
{
    int done = 0;
    const auto finish = [&](const std::string& events) {
        play.finish([&] { ++done; });
        const auto log = after(events);
        loop.turn();
        return log;
    };
    after("i");
    EXPECT_EQ(finish(""), "-");
    EXPECT_EQ(done, 0);
    after("e");
    loop.turn();
    EXPECT_EQ(done, 1);
    after("i");
    finish("k");
    EXPECT_EQ(done, 2);
    finish("");
    EXPECT_EQ(done, 3) << "at once where nothing plays";
}

} // namespace
} // namespace vitrel
