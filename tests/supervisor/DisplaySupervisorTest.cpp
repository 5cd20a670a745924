#include "programs/supervisor/DisplaySupervisor.h"
#include "support/ManualLoop.h"

#include <gmock/gmock.h>

#include <csignal>
#include <set>

namespace vitrel {
namespace {

// Children that do as they are told, and a record of it: "+a" started, "*a" started with the default composition,
// "-a" told to end, "!a" killed.
class Children final : public DisplayProcesses
{
public:
    bool start(const std::string& display, bool fallback) override
    {
        EXPECT_FALSE(running.contains(display)) << "two children on " << display;
        if (fails)
            return false;
        log += (fallback ? " *" : " +") + display;
        running.insert(display);
        return true;
    }
    void signal(const std::string& display, int signal) override
    {
        EXPECT_TRUE(running.contains(display));
        log += (signal == SIGKILL ? " !" : " -") + display;
    }
    void exit(const std::string& display, int status)
    {
        ASSERT_TRUE(running.erase(display)) << display << " has no child";
        onExit(display, status);
    }
    std::string take() { return std::exchange(log, {}); }

    std::string log;
    // Those that run say that they are alive.
    void beat()
    {
        for (const auto& display : running)
            if (!hanging.contains(display))
                onAlive(display);
    }

    std::set<std::string> running, hanging;
    bool fails = false;
};

class Supervisor : public testing::Test
{
protected:
    Supervisor()
    {
        in.loop.scheduledTimer(Seconds(1), true, [this] { children.beat(); });
        supervisor.onEnded = [this](int code) {
            endedAt = in.clock.time;
            exitCode = code;
        };
    }
    ManualLoop in;
    Children children;
    DisplaySupervisor supervisor{in.loop, children};
    int exitCode = -1;
    Seconds endedAt{-1};
};

TEST_F(Supervisor, EachDisplayHasAChildAndOneThatCrashedIsBackWithinASecond)
{
    supervisor.setDisplays({"a", "b"});
    EXPECT_EQ(children.take(), " +a +b");
    children.exit("a", -SIGSEGV);
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(children.take(), " +a") << "b goes on";
    children.exit("a", 1);
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(children.take(), " +a") << "a failure is a crash";
    EXPECT_EQ(exitCode, -1);
}

TEST_F(Supervisor, TheThirdCrashBringsTheDefaultCompositionAndItsCrashesComeSlower)
{
    supervisor.setDisplays({"a", "b"});
    children.take();
    std::string starts;
    for (int crash = 0; crash < 3; ++crash) {
        children.exit("a", -SIGSEGV);
        in.fastForwardBy(Seconds(1));
    }
    EXPECT_EQ(children.take(), " +a +a *a");
    for (const double pause : {1.0, 2.0, 4.0}) {
        children.exit("a", -SIGSEGV);
        in.fastForwardBy(Seconds(pause - 0.01));
        EXPECT_EQ(children.take(), "") << pause;
        in.fastForwardBy(Seconds(0.02));
        EXPECT_EQ(children.take(), " *a") << pause;
    }
    for (int crash = 0; crash < 20; ++crash) {
        children.exit("a", -SIGSEGV);
        in.fastForwardBy(Seconds(30));
        EXPECT_EQ(children.take(), " *a") << "never given up";
    }
    children.exit("b", -SIGSEGV);
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(children.take(), " +b") << "each display for itself";
}

TEST_F(Supervisor, AChildThatRanForLongStartsToCountAnew)
{
    supervisor.setDisplays({"a"});
    for (int crash = 0; crash < 5; ++crash) {
        in.fastForwardBy(Seconds(400));
        children.exit("a", -SIGSEGV);
        in.fastForwardBy(Seconds(1));
    }
    EXPECT_EQ(children.take(), " +a +a +a +a +a +a");
}

TEST_F(Supervisor, AChildThatHangsIsKilledUnlessTheWholeMachineSlept)
{
    supervisor.setDisplays({"a", "b"});
    in.fastForwardBy(Seconds(100));
    children.take();
    children.hanging = {"a"};
    in.fastForwardBy(Seconds(5));
    EXPECT_EQ(children.take(), "");
    in.fastForwardBy(Seconds(4));
    EXPECT_EQ(children.take(), " !a") << "and b goes on";
    children.hanging = {};
    children.exit("a", -SIGKILL);
    in.fastForwardBy(Seconds(0.3));
    EXPECT_EQ(children.take(), " +a") << "back at once";
    children.hanging = {"a", "b"};
    in.clock.time += Seconds(3600);
    in.loop.turn();
    in.fastForwardBy(Seconds(5));
    EXPECT_EQ(children.take(), "") << "they get their time again";
    in.fastForwardBy(Seconds(4));
    EXPECT_EQ(children.take(), " !a !b");
}

TEST_F(Supervisor, OneThatIsDismissedEndsAll)
{
    supervisor.setDisplays({"a", "b", "c"});
    children.exit("c", -SIGSEGV); // waits for its next start
    children.take();
    children.exit("a", int(DisplayExit::Dismissed));
    EXPECT_EQ(children.take(), " -b");
    in.loop.turn();
    EXPECT_EQ(exitCode, -1);
    children.exit("b", 0);
    in.loop.turn();
    EXPECT_EQ(exitCode, 0);
    in.fastForwardBy(Seconds(60));
    EXPECT_EQ(children.take(), "") << "c isn't started any more";
}

TEST_F(Supervisor, AStopTakesASecondAtMostWhateverTheChildrenDo)
{
    supervisor.setDisplays({"a", "b"});
    children.take();
    supervisor.stop();
    supervisor.stop();
    EXPECT_EQ(children.take(), " -a -b");
    children.exit("a", -SIGTERM);
    in.fastForwardBy(Seconds(0.95));
    EXPECT_EQ(children.take(), " !b");
    EXPECT_EQ(exitCode, -1);
    in.fastForwardBy(Seconds(5));
    EXPECT_EQ(exitCode, 0);
    EXPECT_LE(endedAt, Seconds(1)) << "though b is still there";
}

TEST_F(Supervisor, AStopWithoutChildrenEndsAtOnce)
{
    supervisor.stop();
    in.fastForwardBy(Seconds(0));
    EXPECT_EQ(exitCode, 0);
}

TEST_F(Supervisor, DisplaysThatComeAndGoGetAndLoseTheirChildren)
{
    supervisor.setDisplays({"a", "b"});
    children.take();
    supervisor.setDisplays({"b", "c"});
    EXPECT_EQ(children.take(), " -a +c");
    supervisor.setDisplays({"b", "c"});
    EXPECT_EQ(children.take(), "") << "told once";
    supervisor.setDisplays({"a", "b", "c"});
    EXPECT_EQ(children.take(), "") << "the old child is still there";
    children.exit("a", 0);
    EXPECT_EQ(children.take(), " +a") << "and was no dismissal";
    in.fastForwardBy(Seconds(2));
    EXPECT_EQ(children.take(), "") << "the new child isn't killed for the old one";

    supervisor.setDisplays({"b", "c"});
    EXPECT_EQ(children.take(), " -a");
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(children.take(), " !a") << "one that doesn't listen";
    children.exit("a", -SIGKILL);
    EXPECT_EQ(children.take(), "");

    children.exit("b", -SIGSEGV);
    supervisor.setDisplays({"c"});
    in.fastForwardBy(Seconds(5));
    EXPECT_EQ(children.take(), "") << "a start that was put off";
    EXPECT_EQ(exitCode, -1);
}

TEST_F(Supervisor, ItEndsWhenNoDisplayIsLeft)
{
    supervisor.setDisplays({"a", "b"});
    children.exit("a", int(DisplayExit::Gone));
    in.fastForwardBy(Seconds(5));
    EXPECT_EQ(exitCode, -1);
    children.exit("b", int(DisplayExit::Gone));
    in.fastForwardBy(Seconds(5));
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(children.take(), " +a +b");
}

TEST_F(Supervisor, WithoutADisplayToPlayOnItFails)
{
    supervisor.setDisplays({});
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(exitCode, 1);
}

TEST_F(Supervisor, AChildThatCannotBeStartedIsTriedAgain)
{
    children.fails = true;
    supervisor.setDisplays({"a"});
    in.fastForwardBy(Seconds(0.2));
    children.fails = false;
    in.fastForwardBy(Seconds(1));
    EXPECT_EQ(children.take(), " +a");
}

} // namespace
} // namespace vitrel
