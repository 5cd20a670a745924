#include "base/Clock.h"
#include "base/Text.h"
#include "muralis/Caller.h"
#include "platform/appkit/NSImage.h"
#include "programs/Program.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <deque>
#include <memory>

namespace vitrel {
namespace {

using Json = nlohmann::json;

Date now()
{
    return SystemClock().date();
}

std::uint16_t freePort()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in in{};
    in.sin_family = AF_INET;
    in.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(socket, reinterpret_cast<sockaddr*>(&in), sizeof in);
    socklen_t size = sizeof in;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&in), &size);
    ::close(socket);
    return ntohs(in.sin_port);
}

// The built program with the demonstration's player.
class Muralis : public testing::Test
{
protected:
    void SetUp() override
    {
        port_ = freePort();
        program_ = std::make_unique<Program>(std::vector<std::string>{"--demo", "--port", std::to_string(port_)});
        bool listens = false;
        for (int k = 0; k < 2000 && !listens; ++k) {
            listens = Caller(port_).isConnected();
            if (!listens)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        ASSERT_TRUE(listens) << program_->errors();
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

    const Json data = Json::parse(bodyOf(told(get(signedTarget(kCompanionDataTarget, now()))))).at("Data");
    EXPECT_EQ(data.at("Name"), "Harbour Lights");
    EXPECT_EQ(data.at("Player State"), "Playing");
    const Caller six(port_, AF_INET6);
    if (six.isConnected()) {
        EXPECT_TRUE(told(get(signedTarget(kCompanionStateTarget, now()), "Host: [::1]:9802\r\n"), AF_INET6)
                        .starts_with("HTTP/1.1 200 OK"));
    }
}

// Signed by tools that know nothing of our code, as docs/companion-protocol.md says.
TEST_F(Muralis, AnswersARequestThatAShellHasSigned)
{
    const char* script = R"sh(
first='tG8k.Wq2;ZrM6pXvD*J4nBfY0sLe3Hu'
second=$(printf '%s\n%s' 'w{af{}r<7!u42-Fja/,hs@5Ld*T:Gjj(G[u5+PDH:{HIU.r$QdMftdK&7Z9Z<%]2AOyxpz![Yyj1v;3X' '!n7e90.me!')
digest() { openssl md5 -binary | openssl base64; }
id=$(tr a-f A-F < /proc/sys/kernel/random/uuid)
date=$(date -u '+%Y-%m-%d %H.%M.%S.%3N')
a=$(printf '%s' "$id$first" | digest)
s=$(printf '%s' "$a$second" | digest)
q="&s=$s&id=$id&d=$date"
h=$(printf '%s' "$q$first" | digest)
printf '%s' "/music/ChangeID?screen=$q&h=$h" | sed 's/ /%20/'
)sh";
    if (std::system("openssl version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no openssl here";
    FILE* shell = ::popen(script, "r");
    char target[512] = {};
    const std::size_t length = std::fread(target, 1, sizeof target - 1, shell);
    ::pclose(shell);
    const std::string answer = told(get(std::string(target, length)));
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n")) << target;
}

TEST_F(Muralis, RefusesEverythingElseWithTheSameWords)
{
    const auto target
        = [](double offset = 0) { return signedTarget(kCompanionStateTarget, {now().secondsSince1970 + offset}); };
    std::string used = get(target());
    EXPECT_TRUE(told(used).starts_with("HTTP/1.1 200 OK\r\n"));
    std::string plus = target();
    plus.replace(plus.find("%20"), 3, "+");
    const std::string expected = "HTTP/1.1 403 Forbidden\r\n";
    const std::string refusal = told(get("/"));
    EXPECT_TRUE(refusal.starts_with(expected)) << refusal;
    const struct {
        std::string bytes;
        const char* why;
    } cases[] = {
        {used, "used before"},
        {get(target(-301)), "too old"},
        {get(target(301)), "too new"},
        {get(target() + "A"), "a seal with a tail"},
        {get(plus), "a plus for the blank"},
        {get(target(), "Host: evil.example\r\n"), "a foreign host"},
        {get(target(), ""), "no host"},
        {get(target(), "Host: localhost\r\nOrigin: http://localhost\r\n"), "a page"},
        {"POST" + get(target()).substr(3), "another method"},
        {"HEAD" + get(target()).substr(3), "another method that would have no body"},
        {"OPTIONS * HTTP/1.1\r\nHost: localhost\r\n\r\n", "no path"},
        {get("/music/ChangeID"), "no token"},
        {get("/music/Other" + target().substr(15)), "another path"},
        {get("/../etc/passwd"), "a file"},
        {get(target(), "Host: localhost\r\nContent-Length: 1\r\n") + "x", "a body"},
        {"hello\r\n\r\n", "no HTTP"},
        {"GET /" + std::string(100000, 'a'), "no end"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(told(one.bytes), refusal) << one.why;
    EXPECT_TRUE(told(get(target())).starts_with("HTTP/1.1 200 OK\r\n"));
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

TEST_F(Muralis, ServesOverOneConnectionAndBesideAHundredIdleOnes)
{
    Caller caller(port_);
    std::deque<Caller> idle;
    std::string state;
    for (int k = 0; k < 100; ++k) {
        idle.emplace_back(port_);
        caller.send(get(signedTarget(kCompanionStateTarget, now())));
        const std::string answer = caller.answer();
        ASSERT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n")) << k << answer;
    }
    EXPECT_GE(std::count_if(idle.begin(), idle.end(), [](Caller& one) { return one.isClosed(); }), 100 - 63);
}

TEST_F(Muralis, EndsOrderlyAtASignal)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        if (signal == SIGINT)
            SetUp();
        Caller caller(port_);
        program_->signal(signal);
        EXPECT_EQ(program_->wait(), 0);
        EXPECT_EQ(program_->errors(), "");
        EXPECT_EQ(caller.answer(), "");
    }
}

TEST_F(Muralis, SaysInOneLineThatItsPortIsTaken)
{
    Program second({"--demo", "--port", std::to_string(port_)});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_TRUE(second.saidOneError()) << second.errors();
    EXPECT_NE(second.errors().find(std::to_string(port_)), std::string::npos);
}

TEST(MuralisArguments, WrongUseIsTwoWithOneLine)
{
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"--port"}, {"--port", "0"}, {"--port", "65536"}, {"--port", "-1"}, {"--port", "x"}, {"--no"}, {"word"}}) {
        Program program(words);
        EXPECT_EQ(program.wait(), 2) << words.back();
        EXPECT_TRUE(program.saidOneError()) << program.errors();
    }
}

} // namespace
} // namespace vitrel
