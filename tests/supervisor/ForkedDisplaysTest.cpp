#include "programs/supervisor/ForkedDisplays.h"
#include "programs/supervisor/HostSignals.h"
#include "support/RealLoop.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace vitrel {
namespace {

TEST(ForkedDisplays, TellsHowEachChildEnded)
{
    RealLoop in;
    const std::map<std::string, std::string> commands
        = {{"fine", "exit 0"}, {"gone", "exit 3"}, {"crash", "kill -SEGV $$"}, {"told", "sleep 60"}};
    ForkedDisplays displays(
        in.loop,
        [&](const std::string& display, bool fallback) {
            return std::vector<std::string>{
                "sh", "-c", fallback ? "exit 7" : "exec 2>/dev/null; " + commands.at(display)};
        },
        "/bin/sh");
    std::map<std::string, int> ends;
    displays.onExit = [&](const std::string& display, int status) { ends[display] = status; };
    for (const auto& [display, command] : commands)
        ASSERT_TRUE(displays.start(display, false));
    EXPECT_FALSE(displays.start("told", false)) << "it has one";
    displays.signal("told", SIGTERM);
    displays.signal("nobody", SIGTERM);
    ASSERT_TRUE(in.turnUntil([&] { return ends.size() == 4; }));
    EXPECT_EQ(ends, (std::map<std::string, int>{{"fine", 0}, {"gone", 3}, {"crash", -SIGSEGV}, {"told", -SIGTERM}}));
    ASSERT_TRUE(displays.start("fine", true)) << "again";
    ASSERT_TRUE(in.turnUntil([&] { return ends["fine"] == 7; }));
}

TEST(ForkedDisplays, HearsThatAChildIsAliveAndThatItHasNothingMoreToSay)
{
    RealLoop in;
    ForkedDisplays displays(
        in.loop,
        [](const std::string& display, bool) {
            const std::string say
                = display == "talks" ? "while echo x >&3; do sleep 0.02; done" : "exec 3>&-; sleep 60";
            return std::vector<std::string>{"sh", "-c", say};
        },
        "/bin/sh");
    std::map<std::string, int> beats;
    displays.onAlive = [&](const std::string& display) { ++beats[display]; };
    for (const char* name : {"talks", "silent"})
        ASSERT_TRUE(displays.start(name, false));
    EXPECT_TRUE(in.turnUntil([&] { return beats["talks"] > 3; }));
    EXPECT_EQ(beats["silent"], 0);
    int ends = 0;
    displays.onExit = [&](const std::string&, int) { ++ends; };
    for (const char* name : {"talks", "silent"})
        displays.signal(name, SIGKILL);
    EXPECT_TRUE(in.turnUntil([&] { return ends == 2; }));
}

TEST(ForkedDisplays, AProgramThatIsNotThereIsACrash)
{
    RealLoop in;
    ForkedDisplays displays(
        in.loop, [](const std::string&, bool) { return std::vector<std::string>{"x"}; }, "/nowhere/at/all");
    int status = 0;
    displays.onExit = [&](const std::string&, int end) { status = end; };
    ASSERT_TRUE(displays.start("a", false));
    EXPECT_TRUE(in.turnUntil([&] { return status == 127; }));
}

// Blocked in the parent, whose loop hears them: a child that inherits the block couldn't be ended.
TEST(ForkedDisplays, AChildHearsSignalsThatItsParentTakesForItself)
{
    RealLoop in;
    int heard = 0;
    HostSignals signals(in.loop, [&](int signal) { heard = signal; });
    ForkedDisplays displays(
        in.loop,
        [](const std::string&, bool) {
            return std::vector<std::string>{"sleep", "60"};
        },
        "/bin/sleep");
    int status = 0;
    displays.onExit = [&](const std::string&, int end) { status = end; };
    ASSERT_TRUE(displays.start("a", false));
    kill(getpid(), SIGHUP);
    EXPECT_TRUE(in.turnUntil([&] { return heard == SIGHUP; }));
    displays.signal("a", SIGTERM);
    EXPECT_TRUE(in.turnUntil([&] { return status == -SIGTERM; }));
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
