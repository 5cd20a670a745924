#include "programs/supervisor/ForkedDisplays.h"
#include "programs/supervisor/HostSignals.h"
#include "support/RealLoop.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace vitrel {
namespace {

// Each display's child is what the shell makes of its name here.
struct Forked : RealLoop {
    using Lines = std::map<std::string, std::string>;
    Lines commands;
    std::map<std::string, int> ends, beats;
    ForkedDisplays displays;

    explicit Forked(Lines lines)
        : commands(std::move(lines))
        , displays(loop, [this](const std::string& display, bool fallback) {
            return [line = fallback ? "exit 7" : commands.at(display)] {
                return execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            };
        })
    {
        displays.onExit = [this](const std::string& display, int status) { ends[display] = status; };
        displays.onAlive = [this](const std::string& display) { ++beats[display]; };
        for (const auto& [display, command] : commands)
            EXPECT_TRUE(displays.start(display, false));
    }
};

TEST(ForkedDisplays, TellsHowEachChildEnded)
{
    Forked in(Forked::Lines{
        {"fine", "exit 0"}, {"gone", "exit 3"}, {"crash", "exec 2>/dev/null; kill -SEGV $$"}, {"told", "sleep 60"}});
    EXPECT_FALSE(in.displays.start("told", false)) << "it has one";
    in.displays.signal("told", SIGTERM);
    in.displays.signal("nobody", SIGTERM);
    ASSERT_TRUE(in.turnUntil([&] { return in.ends.size() == 4; }));
    EXPECT_EQ(in.ends, (std::map<std::string, int>{{"fine", 0}, {"gone", 3}, {"crash", -SIGSEGV}, {"told", -SIGTERM}}));
    ASSERT_TRUE(in.displays.start("fine", true)) << "again";
    ASSERT_TRUE(in.turnUntil([&] { return in.ends["fine"] == 7; }));
}

TEST(ForkedDisplays, HearsThatAChildIsAliveAndThatItHasNothingMoreToSay)
{
    Forked in(
        Forked::Lines{{"talks", "while echo x >&3; do sleep 0.02; done"}, {"silent", "exec 3>&-; exec sleep 60"}});
    EXPECT_TRUE(in.turnUntil([&] { return in.beats["talks"] > 3; }));
    EXPECT_EQ(in.beats["silent"], 0);
    for (const char* name : {"talks", "silent"})
        in.displays.signal(name, SIGKILL);
    EXPECT_TRUE(in.turnUntil([&] { return in.ends.size() == 2; }));
}

// Blocked in the parent, whose loop hears them: a child that inherits the block couldn't be ended.
TEST(ForkedDisplays, HearsThatTheUserIsBack)
{
    Forked in(Forked::Lines{{"a", "printf 'x\\001x' >&3; exec sleep 60"}, {"b", "exec sleep 60"}});
    DisplaySupervisor supervisor(in.loop, in.displays);
    EXPECT_TRUE(in.turnUntil([&] { return supervisor.isStopping(); }));
    for (const char* name : {"a", "b"})
        in.displays.signal(name, SIGKILL);
}

TEST(ForkedDisplays, AChildHearsSignalsThatItsParentTakesForItself)
{
    RealLoop own;
    int heard = 0;
    HostSignals signals(own.loop, [&](int signal) { heard = signal; });
    Forked in(Forked::Lines{{"a", "exec sleep 60"}});
    kill(getpid(), SIGHUP);
    EXPECT_TRUE(own.turnUntil([&] { return heard == SIGHUP; }));
    in.displays.signal("a", SIGTERM);
    EXPECT_TRUE(in.turnUntil([&] { return in.ends["a"] == -SIGTERM; }));
}

TEST(HostSignals, AnEndThatHangsIsCutOff)
{
    const pid_t id = fork();
    if (id == 0) {
        HostSignals::capExit(Seconds(0.05));
        for (;;)
            pause();
    }
    int status = -1;
    ASSERT_EQ(waitpid(id, &status, 0), id);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace
} // namespace vitrel
