#include "base/Clock.h"
#include "muralis/Caller.h"
#include "programs/Program.h"
#include "support/LocalServer.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace vitrel {
namespace {

using Json = nlohmann::json;

Date now()
{
    return SystemClock().date();
}

// The built program with the demonstration's player.
class Muralis : public testing::Test
{
protected:
    void SetUp() override
    {
        port_ = std::uint16_t(LocalServer("").port()); // free again now
        program_ = std::make_unique<Program>(std::vector<std::string>{"--demo", "--port", std::to_string(port_)});
        ASSERT_TRUE(RealLoop().turnUntil([&] { return Caller(port_).isConnected(); })) << program_->errors();
    }
    std::string told(const std::string& bytes, int family = AF_INET) const
    {
        Caller caller(port_, family);
        caller.send(bytes);
        return caller.answer();
    }

    std::uint16_t port_ = 0;
    std::unique_ptr<Program> program_;
};

TEST_F(Muralis, TellsStateAndTrackOnBothAddresses)
{
    const std::string state = told(get(signedTarget(kCompanionStateTarget, now())));
    ASSERT_TRUE(state.starts_with("HTTP/1.1 200 OK\r\n")) << state;
    const Json first = Json::parse(bodyOf(state));
    EXPECT_EQ(first.size(), 1u);
    EXPECT_NE(first.at("ChangeID").get<std::string>(), "");

    EXPECT_TRUE(told(get("/music/ChangeID")).starts_with("HTTP/1.1 403 Forbidden\r\n")) << "without a token";
    const Json data = Json::parse(bodyOf(told(get(signedTarget(kCompanionDataTarget, now()))))).at("Data");
    EXPECT_EQ(data.at("Name"), "Harbour Lights");
    EXPECT_EQ(data.at("Player State"), "Playing");
    const Caller six(port_, AF_INET6);
    if (six.isConnected()) {
        EXPECT_TRUE(told(get(signedTarget(kCompanionStateTarget, now()), "Host: [::1]:9802\r\n"), AF_INET6)
                        .starts_with("HTTP/1.1 200 OK"));
    }
}

// The salts are no secret: another user of the machine can sign, and may still not know what is played.
TEST_F(Muralis, RefusesOtherUsers)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const std::string request = get(signedTarget(kCompanionDataTarget, now()));
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) == 0 && setuid(65534) == 0) {
            const std::string answer = told(request).substr(0, 12);
            (void)!write(pipe[1], answer.data(), answer.size());
        }
        _exit(0);
    }
    ::close(pipe[1]);
    char answer[16] = {};
    EXPECT_EQ(read(pipe[0], answer, 12), 12);
    ::close(pipe[0]);
    waitpid(child, nullptr, 0);
    EXPECT_STREQ(answer, "HTTP/1.1 403");
    EXPECT_TRUE(told(request).starts_with("HTTP/1.1 200 OK\r\n")) << "and it hasn't used up the identity";
}

TEST_F(Muralis, EndsOrderlyAtASignal)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        if (signal == SIGINT)
            SetUp();
        Caller caller(port_);
        program_->signal(signal);
        EXPECT_TRUE(program_->endsWell()) << program_->errors();
        EXPECT_EQ(caller.answer(), "");
    }
}

TEST_F(Muralis, SaysInOneLineWhyItDoesNotStart)
{
    const std::string taken = std::to_string(port_);
    // line: a part of it
    const std::tuple<std::vector<std::string>, int, std::string> cases[] = {{{"--demo", "--port", taken}, 1, taken},
        {{"--port"}, 2, "port"}, {{"--port", "0"}, 2, "0"}, {{"--port", "65536"}, 2, "65536"},
        {{"--port", "-1"}, 2, "-1"}, {{"--port", "x"}, 2, "x"}, {{"--no"}, 2, "no"}, {{"word"}, 2, "word"}};
    for (const auto& [words, status, line] : cases) {
        Program program(words);
        EXPECT_TRUE(program.fails(status)) << words.back() << program.errors();
        EXPECT_NE(program.errors().find(line), std::string::npos) << program.errors();
    }
}

} // namespace
} // namespace vitrel
