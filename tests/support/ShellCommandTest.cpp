#include "support/ShellCommand.h"

#include "platform/foundation/Queue.h"
#include "support/RealLoop.h"
#include "support/TemporaryFolder.h"
#include "support/TestSurroundings.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

namespace vitrel {
namespace {

class ShellCommandTest : public testing::Test
{
protected:
    ShellCommandTest()
    {
        surroundings_.clock = &clock_;
        surroundings_.log = [this](const std::string& line) { log_ += line + "\n"; };
    }
    ShellCommandResult run(const std::string& command, double timeout = 0)
    {
        const auto start = std::chrono::steady_clock::now();
        auto result = runShellCommand(surroundings_, command, false, timeout);
        took_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        return result;
    }

    SystemClock clock_;
    TestSurroundings test_;
    Surroundings& surroundings_ = test_.surroundings;
    std::string log_;
    double took_ = 0;
};

using Status = ShellCommandStatus;

TEST_F(ShellCommandTest, GivesOutputAndStatusAndQuotesAnyWord)
{
    const std::tuple<const char*, std::optional<std::string>, Status> cases[] = {
        {"echo 'a  b'", "a  b\n", Status::success},
        {"true", std::nullopt, Status::successButNoAvailableDataReturnedEmpty},
        {"", std::nullopt, Status::successButNoAvailableDataReturnedEmpty},
        {"echo no >&2", std::nullopt, Status::successButNoAvailableDataReturnedEmpty},
        {"cat", std::nullopt, Status::successButNoAvailableDataReturnedEmpty}, // its input is empty
        {"printf 'a\\377\\303\\251\\000b'", std::string("a\xEF\xBF\xBD\xC3\xA9\0b", 8), Status::success},
        {"kill -9 $$", std::nullopt, Status::successButNoAvailableDataReturnedEmpty},
        {"sleep 30 & echo on", "on\n", Status::success}, // holds the pipe
        {"yes & echo first; kill -9 $!", "first\n", Status::success},
    };
    for (const auto& [command, output, status] : cases) {
        testing::internal::CaptureStdout();
        const auto result = run(command);
        testing::internal::GetCapturedStdout();
        if (output == "first\n")
            EXPECT_TRUE(result.output && result.output->find("first\n") != std::string::npos);
        else
            EXPECT_EQ(result.output, output) << command;
        EXPECT_EQ(result.status, status) << command;
        EXPECT_LT(took_, 5) << command;
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(run("echo x; exit 3").status, Status::success);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "❌ Process failed:\necho x; exit 3\n");
    EXPECT_EQ(run("true").errorLog, "Command returned no available data\n\ntrue");
    EXPECT_EQ(runShellScript(surroundings_, "echo y"), "y\n");
    // Longer than the system lets an argument be.
    const auto refused = run(std::string(1 << 20, ' '));
    EXPECT_EQ(refused.status, Status::runExceptionError);
    EXPECT_EQ(refused.errorLog.rfind("Process run error: Argument list too long\n\n", 0), 0u);
    EXPECT_NE(log_.find("Process run error: "), std::string::npos);
    EXPECT_FALSE(makeShellCommandStatus(4) || makeShellCommandStatus(-1));
    EXPECT_EQ(description(*makeShellCommandStatus(1)), "Success with no available data");

    for (const std::string word : {"", "a b", "it's", "$(echo x) `y` \"z\" \\ \n*", "''", "-n", "\xC3\xA9"})
        EXPECT_EQ(run("printf '%s.' " + shellQuoted(word)).output, word + ".");
}

TEST_F(ShellCommandTest, HandsErrorsOnOnlyIfAsked)
{
    for (const bool logErrors : {true, false}) {
        testing::internal::CaptureStderr();
        runShellCommand(surroundings_, "echo first >&2", logErrors, 0);
        runShellScriptAsync(surroundings_, "echo second >&2", logErrors, 0, [](const std::string&, bool) {});
        test_.initiated.drain();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), logErrors ? "first\nsecond\n" : "");
    }
}

TEST_F(ShellCommandTest, ReadsMuchMoreThanAPipeHolds)
{
    const auto result = run("head -c 100000000 /dev/zero | tr '\\0' x; echo end");
    EXPECT_EQ(result.status, Status::success) << took_;
    EXPECT_EQ(result.output.value_or("").size(), kMostShellOutput);
}

// The second ignores being asked; all of them must be gone.
TEST_F(ShellCommandTest, EndsTheWholeGroupWhenTheTimeIsOver)
{
    TemporaryFolder folder;
    for (const std::string trap : {"", "trap '' TERM; "}) {
        const std::string file = folder / "id";
        const auto result = run(trap + "sh -c \"" + trap + "echo \\$\\$ >" + file + "; sleep 60; sleep 60\"", 0.3);
        EXPECT_EQ(result.status, Status::terminated);
        EXPECT_FALSE(result.output);
        EXPECT_EQ(result.errorLog.rfind("Terminated command after timeout 0.", 0), 0u) << result.errorLog;
        EXPECT_LT(took_, 4);
        const int child = std::atoi(TemporaryFolder::read(file).c_str());
        ASSERT_GT(child, 0);
        EXPECT_TRUE(RealLoop().turnUntil([&] { // what nobody has reaped yet is gone too
            const std::string status = TemporaryFolder::read("/proc/" + std::to_string(child) + "/stat");
            return ::kill(child, 0) != 0 || status.find(") Z") != std::string::npos;
        }));
    }
    EXPECT_NE(log_.find("isAppNapReady: false"), std::string::npos);
}

TEST_F(ShellCommandTest, TakesNoTimeForTenSeconds)
{
    // Three seconds at each look.
    struct Hasty : Clock {
        Seconds now() const override { return Seconds(3.0 * ++looks); }
        Date date() const override { return {}; }
        mutable int looks = 0;
    } hasty;
    surroundings_.clock = &hasty;
    EXPECT_EQ(run("sleep 60", 0).errorLog, "Terminated command after timeout 12s:\n sleep 60");
}

TEST_F(ShellCommandTest, RunsBesideAndHandsOverInATurn)
{
    std::string output;
    int failures = 0, calls = 0;
    const auto handle = [&](const std::string& text, bool failed) {
        output += text;
        failures += failed;
        ++calls;
    };
    testing::internal::CaptureStdout();
    runShellScriptAsync(surroundings_, "printf 1; sleep 0.05; printf 2", true, 0.001, handle);
    runShellScriptAsync(surroundings_, "printf 3; exit 1", true, 0, handle);
    EXPECT_EQ(calls, 0);
    test_.initiated.drain();
    EXPECT_EQ(calls, 0);
    test_.loop.turn();
    EXPECT_EQ(output, "123");
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "❌ Task process failed.\nprintf 3; exit 1\n");
}

} // namespace
} // namespace vitrel
