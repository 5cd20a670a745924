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
    // Each gives what became of the children.
    std::string displays(const std::set<std::string>& list)
    {
        supervisor.setDisplays({list.begin(), list.end()});
        return children.take();
    }
    std::string pass(double seconds)
    {
        in.fastForwardBy(Seconds(seconds));
        return children.take();
    }
    std::string exits(const std::string& display, int status, double seconds = 0)
    {
        children.exit(display, status);
        return seconds > 0 ? pass(seconds) : children.take();
    }
    ManualLoop in;
    Children children;
    DisplaySupervisor supervisor{in.loop, children};
    int exitCode = -1;
    Seconds endedAt{-1};
};

TEST_F(Supervisor, EachDisplayHasAChildAndOneThatCrashedIsBackWithinASecond)
{
    EXPECT_EQ(displays({"a", "b"}), " +a +b");
    EXPECT_EQ(exits("a", -SIGSEGV, 1), " +a") << "b goes on";
    EXPECT_EQ(exits("a", 1, 1), " +a") << "a failure is a crash";
    EXPECT_EQ(exitCode, -1);

    for (int crash = 0; crash < 5; ++crash) {
        pass(400);
        EXPECT_EQ(exits("a", -SIGSEGV, 1), " +a");
    }
}

TEST_F(Supervisor, TheThirdCrashBringsTheDefaultCompositionAndItsCrashesComeSlower)
{
    displays({"a", "b"});
    for (const char* start : {" +a", " +a", " *a"})
        EXPECT_EQ(exits("a", -SIGSEGV, 1), start);
    for (const double pause : {1.0, 2.0, 4.0}) {
        EXPECT_EQ(exits("a", -SIGSEGV, pause - 0.01), "") << pause;
        EXPECT_EQ(pass(0.02), " *a") << pause;
    }
    for (int crash = 0; crash < 20; ++crash)
        EXPECT_EQ(exits("a", -SIGSEGV, 30), " *a") << "never given up";
    EXPECT_EQ(exits("b", -SIGSEGV, 1), " +b") << "each display for itself";
    EXPECT_EQ(exits("b", int(DisplayExit::Script), 0.01), " +b") << "at once, for it won't run into that again";
}

TEST_F(Supervisor, AChildThatHangsIsKilledUnlessTheWholeMachineSlept)
{
    displays({"a", "b"});
    pass(100);
    children.hanging = {"a"};
    EXPECT_EQ(pass(5), "");
    EXPECT_EQ(pass(4), " !a") << "and b goes on";
    children.hanging = {};
    EXPECT_EQ(exits("a", -SIGKILL, 0.3), " +a") << "back at once";
    children.hanging = {"a", "b"};
    in.clock.time += Seconds(3600);
    in.loop.turn();
    EXPECT_EQ(pass(5), "") << "they get their time again";
    EXPECT_EQ(pass(4), " !a !b");
}

TEST_F(Supervisor, OneThatIsDismissedEndsAll)
{
    displays({"a", "b", "c"});
    exits("c", -SIGSEGV); // waits for its next start
    EXPECT_EQ(exits("a", int(DisplayExit::Dismissed)), " -b");
    in.loop.turn();
    EXPECT_EQ(exitCode, -1);
    exits("b", 0);
    in.loop.turn();
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(pass(60), "") << "c isn't started any more";
}

TEST_F(Supervisor, AStopTakesASecondAtMostWhateverTheChildrenDo)
{
    displays({"a", "b"});
    supervisor.stop();
    supervisor.stop();
    EXPECT_EQ(children.take(), " -a -b");
    EXPECT_EQ(exits("a", -SIGTERM, 0.95), " !b");
    EXPECT_EQ(exitCode, -1);
    pass(5);
    EXPECT_EQ(exitCode, 0);
    EXPECT_LE(endedAt, Seconds(1)) << "though b is still there";
}

TEST_F(Supervisor, DisplaysThatComeAndGoGetAndLoseTheirChildren)
{
    displays({"a", "b"});
    EXPECT_EQ(displays({"b", "c"}), " -a +c");
    EXPECT_EQ(displays({"b", "c"}), "") << "told once";
    EXPECT_EQ(displays({"a", "b", "c"}), "") << "the old child is still there";
    EXPECT_EQ(exits("a", 0), " +a") << "and was no dismissal";
    EXPECT_EQ(pass(2), "") << "the new child isn't killed for the old one";

    EXPECT_EQ(displays({"b", "c"}), " -a");
    EXPECT_EQ(pass(1), " !a") << "one that doesn't listen";
    EXPECT_EQ(exits("a", -SIGKILL), "");

    exits("b", -SIGSEGV);
    displays({"c"});
    EXPECT_EQ(pass(5), "") << "a start that was put off";
    EXPECT_EQ(exitCode, -1);
}

TEST_F(Supervisor, ItEndsWhenNoDisplayIsLeftAndWithoutAnyItFails)
{
    children.fails = true;
    displays({"a", "b"});
    pass(0.2);
    children.fails = false;
    EXPECT_EQ(pass(1), " +a +b") << "a child that can't be started is tried again";
    EXPECT_EQ(exits("a", int(DisplayExit::Gone), 5), "");
    EXPECT_EQ(exitCode, -1);
    EXPECT_EQ(exits("b", int(DisplayExit::Gone), 5), "");
    EXPECT_EQ(exitCode, 0);
    for (const bool stopped : {false, true}) {
        DisplaySupervisor other(in.loop, children);
        other.onEnded = [this](int code) { exitCode = code; };
        if (stopped)
            other.stop();
        else
            other.setDisplays({});
        pass(0);
        EXPECT_EQ(exitCode, stopped ? 0 : 1) << "at once";
    }
}

} // namespace
} // namespace vitrel
