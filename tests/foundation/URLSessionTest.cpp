#include "platform/foundation/CurlURLSession.h"

#include "platform/foundation/UUID.h"
#include "support/KeepAliveServer.h"
#include "support/LocalServer.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <future>
#include <set>
#include <thread>

#include <unistd.h>

namespace vitrel {
namespace {

using namespace std::chrono_literals;

struct Answer {
    std::optional<std::string> data, error;
    std::thread::id thread;
};

// Starts a request; the answer comes with the future.
std::future<Answer> ask(URLSession& session, const std::string& url)
{
    auto promise = std::make_shared<std::promise<Answer>>();
    auto future = promise->get_future();
    session
        .dataTaskWithURLCompletionHandler(url,
            [promise](std::optional<Bytes> data, std::optional<std::string> error) {
                Answer answer{{}, error, std::this_thread::get_id()};
                if (data)
                    answer.data = std::string(textOf(*data));
                promise->set_value(answer);
            })
        ->resume();
    return future;
}

std::string localhost(int port)
{
    return "http://localhost:" + std::to_string(port) + "/x?screen=1&d=a%20b&h=+/==";
}

TEST(URLSession, GivesTheBodyWhateverTheStatus)
{
    const LocalServer server([](const auto& request, const auto& to) {
        const bool isKnown = request.method == "GET" && request.target == "/x?screen=1&d=a%20b&h=+/==";
        to.send(LocalServer::answer(isKnown ? "yes" : request.target, "", "403 Forbidden"));
    });
    CurlURLSession session;
    const auto first = ask(session, localhost(server.port())).get(), second = ask(session, server.url("/y")).get();
    EXPECT_EQ(first.data, "yes");
    EXPECT_EQ(first.error, std::nullopt);
    EXPECT_EQ(second.data, "/y");
    EXPECT_EQ(first.thread, second.thread);
    EXPECT_NE(first.thread, std::this_thread::get_id());
    for (const char* name : {"accept-encoding", "cookie", "authorization", "content-type"})
        EXPECT_EQ(server.requests()[0].header(name), "") << name;
}

// A companion may listen on one of the two addresses that "localhost" has.
TEST(URLSession, FindsAServerOnEitherAddressOfThisMachine)
{
    for (const int family : {AF_INET, AF_INET6}) {
        const LocalServer server([](const auto&, const auto& to) { to.send(LocalServer::answer("here")); }, family);
        if (server.port() == 0)
            continue; // no IPv6 on this machine
        CurlURLSession session({5s});
        EXPECT_EQ(ask(session, localhost(server.port())).get().data, "here") << family;
    }
}

// Anybody on the machine may listen where the companion would, and wait for what the saver tells it.
TEST(URLSession, TellsNothingToTheServerOfAnotherUser)
{
    for (const int family : {AF_INET, AF_INET6}) {
        const LocalServer server([](const auto&, const auto& to) { to.send(LocalServer::answer("here")); }, family);
        if (server.port() == 0)
            continue;
        CurlURLSession own({.time = 5s, .user = geteuid()}), others({.time = 5s, .user = geteuid() + 1});
        const auto refused = ask(others, localhost(server.port())).get();
        EXPECT_EQ(refused.data, std::nullopt);
        EXPECT_EQ(refused.error, "The server is another user's.");
        EXPECT_TRUE(server.requests().empty()) << "not a byte";
        for (int turn = 0; turn < 3; ++turn) // the first one may not be accepted yet
            EXPECT_EQ(ask(own, localhost(server.port())).get().data, "here") << family;
    }
}

TEST(URLSession, PassesByTheProxiesOfTheEnvironment)
{
    const LocalServer server(LocalServer::answer("direct")), proxy(LocalServer::answer("proxy"));
    for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY"})
        setenv(name, proxy.url().c_str(), 1);
    CurlURLSession session({5s});
    EXPECT_EQ(ask(session, localhost(server.port())).get().data, "direct");
    EXPECT_EQ(ask(session, server.url()).get().data, "direct");
    for (const char* name : {"http_proxy", "all_proxy", "ALL_PROXY"})
        unsetenv(name);
}

TEST(URLSession, FollowsNoRedirectAndSpeaksHttpAlone)
{
    const LocalServer secret(LocalServer::answer("secret"));
    const LocalServer server(LocalServer::redirect(secret.url()));
    CurlURLSession session({5s});
    EXPECT_EQ(ask(session, server.url()).get().data, "");
    EXPECT_TRUE(secret.requests().empty());
    for (const char* url :
        {"", "file:///etc/passwd", "ftp://localhost/", "https://localhost:1/", "nonsense", "http://"}) {
        const auto answer = ask(session, url).get();
        EXPECT_EQ(answer.data, std::nullopt) << url;
        EXPECT_TRUE(answer.error) << url;
    }
}

// What a server can do to keep us busy or to fill our memory: each must end, and the next request must be answered.
TEST(URLSession, EndsWhateverAServerDoes)
{
    const std::string block(1 << 16, 'x'), again = "X-Again: " + std::string(1000, 'y') + "\r\n",
                                           head = LocalServer::head(), ok = "HTTP/1.1 200 OK\r\n",
                                           large = "The answer is too large.", late = "The request timed out.";
    enum Then { close, stall, repeat, drip };
    const struct {
        std::string first;
        Then then;
        std::string piece, error, why; // an empty error: any
    } cases[] = {{head, repeat, block, large, "an endless body"},
        {LocalServer::head("Content-Length: 99999999999\r\n"), stall, "", large, "a length beyond the limit"},
        {ok, repeat, again, large, "endless headers"},
        {"", repeat, "HTTP/1.1 100 Continue\r\n\r\n", large, "endless beginnings"},
        {ok + "X: ", repeat, block, "", "an endless header"}, {head, drip, "x", late, "a byte at a time"},
        {"", stall, "", late, "silence"}, {std::string(1000, '\0'), close, "", "", "no HTTP"},
        {ok + "Content-Length: 10\r\n\r\nhalf", close, "", "", "half an answer"},
        {"", close, "", "", "nothing at all"}};
    CurlURLSession session({600ms, 1 << 20});
    for (const auto& one : cases) {
        const LocalServer server([&](const auto&, const auto& to) {
            to.send(one.first);
            while (one.then >= repeat && to.send(one.piece))
                std::this_thread::sleep_for(one.then == drip ? 5ms : 0ms);
            if (one.then == stall)
                to.stall();
        });
        const auto answer = ask(session, server.url()).get();
        EXPECT_EQ(answer.data, std::nullopt) << one.why;
        ASSERT_TRUE(answer.error) << one.why;
        EXPECT_THAT(*answer.error, testing::StartsWith(one.error)) << one.why;
    }
    const LocalServer server(LocalServer::answer("well"));
    EXPECT_EQ(ask(session, server.url()).get().data, "well");
    const std::string gone = localhost(std::make_unique<LocalServer>("")->port());
    EXPECT_EQ(ask(session, gone).get().error, "Could not connect to the server.");
}

TEST(URLSession, KeepsItsConnectionAndNoticesThatItWasClosed)
{
    KeepAliveServer server("kept");
    CurlURLSession session({5s});
    for (int k = 0; k < 50; ++k)
        ASSERT_EQ(ask(session, localhost(server.port())).get().data, "kept");
    EXPECT_EQ(server.connections(), 1);
    server.hangUp();
    EXPECT_EQ(ask(session, localhost(server.port())).get().data, "kept") << "the server was started anew";
    EXPECT_EQ(ask(session, localhost(server.port())).get().data, "kept");
}

TEST(URLSession, ATaskRunsOnceAndOnlyWhenResumed)
{
    const LocalServer server(LocalServer::answer("x"));
    CurlURLSession session;
    std::atomic<int> called = 0;
    const auto count = [&](const auto&, const auto&) { ++called; };
    const auto never = session.dataTaskWithURLCompletionHandler(server.url("/never"), count);
    const auto twice = session.dataTaskWithURLCompletionHandler(server.url("/twice"), count);
    twice->resume();
    twice->resume();
    while (called == 0)
        std::this_thread::yield();
    ASSERT_EQ(ask(session, server.url("/last")).get().data, "x");
    EXPECT_EQ(called, 1);
    EXPECT_EQ(server.requests().size(), 2u);
}

// A handler holds the view that asked. It must neither run after the session's end nor keep the view.
TEST(URLSession, ItsEndDropsWhatIsUnderWayWithoutAWord)
{
    const LocalServer silent([](const auto&, const auto& to) { to.stall(); });
    bool called = false;
    auto held = std::make_shared<int>(1);
    std::shared_ptr<URLSessionDataTask> late;
    {
        CurlURLSession session;
        const auto task = [&] {
            return session.dataTaskWithURLCompletionHandler(
                silent.url(), [held, &called](const auto&, const auto&) { called = true; });
        };
        for (int k = 0; k < 10; ++k)
            task()->resume();
        while (silent.requests().empty())
            std::this_thread::yield();
        late = task();
        session.invalidateAndCancel();
        task()->resume();
    }
    EXPECT_EQ(held.use_count(), 2) << "the one that was never started";
    late->resume();
    late.reset();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_FALSE(called);
}

TEST(UUIDString, IsCanonicalUpperCaseAndNeverTheSame)
{
    std::set<std::string> seen;
    for (int k = 0; k < 1000; ++k)
        seen.insert(UUIDString());
    EXPECT_THAT(seen,
        testing::Each(testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")));
    EXPECT_EQ(seen.size(), 1000u);
}

} // namespace
} // namespace vitrel
