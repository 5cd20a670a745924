#include "muralis/Caller.h"
#include "platform/foundation/SocketOwner.h"
#include "programs/muralis/http/HttpServer.h"
#include "support/LocalServer.h"
#include "support/ManualLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

namespace vitrel {
namespace {

// A server in the test's hand: time stands still, and a turn is taken when the test says so. "/good" is answered with
// the body, everything else refused.
struct Served : ManualLoop {
    std::string body = "{\"good\":1}";
    int asked = 0;
    std::unique_ptr<HttpServer> server = make(0);

    std::unique_ptr<HttpServer> make(std::uint16_t port)
    {
        auto made = HttpServer::listen(loop, port, [this](const HttpRequest& request, const HttpServer::Owner&) {
            ++asked;
            return request.target == "/good" ? std::make_shared<const std::string>(body) : nullptr;
        });
        EXPECT_TRUE(made) << made.error();
        return std::move(*made);
    }
    void turn()
    {
        for (int k = 0; k < 8; ++k)
            loop.turn();
    }
    void after(Seconds span)
    {
        clock.time += span;
        turn();
    }
    // What comes when this is sent now.
    std::string told(Caller& caller, const std::string& bytes)
    {
        EXPECT_TRUE(caller.send(bytes));
        turn();
        return caller.received();
    }
};

const std::string kGood = get("/good");
bool isGood(const std::string& answer)
{
    return answer.starts_with("HTTP/1.1 200 OK\r\n") && bodyOf(answer) == "{\"good\":1}";
}
bool isRefusal(const std::string& answer)
{
    return answer.starts_with("HTTP/1.1 403 Forbidden\r\n") && bodyOf(answer) == "{}";
}

// A head that comes in pieces, and two that come in one, are the same requests.
TEST(HttpServer, AnswersHoweverTheBytesArrive)
{
    Served in;
    Caller caller(in.server->port());
    std::string answer;
    for (const char c : kGood)
        answer += in.told(caller, std::string(1, c));
    EXPECT_TRUE(isGood(answer)) << answer;
    const std::string two = in.told(caller, kGood + kGood + kGood.substr(0, 10));
    EXPECT_EQ(two, answer + answer);
    EXPECT_EQ(in.told(caller, kGood.substr(10)), answer);
    EXPECT_EQ(in.asked, 4);
}

TEST(HttpServer, RefusesAndCloses)
{
    Served in;
    std::string first;
    for (const std::string& bytes : std::vector<std::string>{get("/bad"), get("/bad") + kGood,
             std::string("\x16\x03\x01\r\n\r\n"), "GET /good HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc",
             "GET /good HTTP/1.1\r\nX: " + std::string(9000, 'x'), std::string(20000, 'x')}) {
        Caller caller(in.server->port());
        const std::string answer = in.told(caller, bytes);
        EXPECT_TRUE(isRefusal(answer)) << bytes.substr(0, 40) << answer;
        EXPECT_TRUE(caller.isClosed()) << bytes.substr(0, 40);
        EXPECT_FALSE(caller.isReset()) << bytes.substr(0, 40);
        if (first.empty())
            first = answer;
        EXPECT_EQ(answer, first) << "without saying why";
    }
    EXPECT_EQ(in.asked, 2) << "nothing behind a refusal is looked at";
    in.after(HttpServer::kFarewellTime);
    EXPECT_EQ(in.server->connectionCount(), 0u);
}

// A sender of a byte now and then would hold its connection for ever if each byte gave it new time.
TEST(HttpServer, GivesARequestFiveSecondsInAllAndAConnectionThirtyAndWakesUpForNothingElse)
{
    Served in;
    EXPECT_FALSE(in.loop.nextDue()) << "nobody is there";
    Caller silent(in.server->port()), slow(in.server->port()), second(in.server->port());
    EXPECT_TRUE(isGood(in.told(second, kGood)));
    EXPECT_EQ(in.told(slow, "G"), "");
    in.after(Seconds(2));
    EXPECT_EQ(in.told(second, "G") + in.told(slow, "E"), "");
    in.after(Seconds(2.9));
    EXPECT_EQ(in.told(slow, "T") + in.told(second, "E"), "");
    EXPECT_EQ(in.server->connectionCount(), 3u);
    in.after(Seconds(0.2));
    EXPECT_TRUE(slow.isClosed() && silent.isClosed());
    EXPECT_FALSE(second.isClosed()) << "its time began with its first byte";
    in.after(Seconds(2));
    EXPECT_TRUE(second.isClosed());

    Caller caller(in.server->port());
    EXPECT_TRUE(isGood(in.told(caller, kGood)));
    in.after(Seconds(29));
    EXPECT_TRUE(isGood(in.told(caller, kGood)));
    in.after(Seconds(29.9));
    EXPECT_FALSE(caller.isClosed());
    in.after(Seconds(0.2));
    EXPECT_TRUE(caller.isClosed());
    EXPECT_FALSE(in.loop.nextDue());
    Caller once(in.server->port());
    EXPECT_TRUE(isGood(in.told(once, get("/good", "Connection: close\r\n"))));
    EXPECT_TRUE(once.isClosed());
}

// Whoever holds connections without a word must not keep those out, or push those out, who are served.
TEST(HttpServer, HasRoomForSixtyFourStrangersGoFirstAndACrowdIsAnswered)
{
    Served in;
    Caller good(in.server->port());
    EXPECT_TRUE(isGood(in.told(good, kGood)));
    std::deque<Caller> strangers;
    for (int k = 0; k < 200; ++k) {
        strangers.emplace_back(in.server->port());
        in.after(Seconds(0.001));
        EXPECT_LE(in.server->connectionCount(), 64u);
    }
    EXPECT_EQ(in.server->connectionCount(), 64u);
    EXPECT_EQ(std::count_if(strangers.begin(), strangers.end(), [](Caller& one) { return !one.isClosed(); }), 63);
    EXPECT_FALSE(strangers.back().isClosed()) << "who waits the longest goes";
    EXPECT_TRUE(isGood(in.told(good, kGood)));
    Caller late(in.server->port());
    EXPECT_TRUE(isGood(in.told(late, kGood)));

    // A request that lay there when its connection was pushed out would be lost.
    std::deque<Caller> crowd;
    int served = 0;
    for (int round = 0; round < 2; ++round) {
        for (int k = 0; k < 60; ++k)
            EXPECT_TRUE(crowd.emplace_back(in.server->port()).send(kGood));
        in.turn();
    }
    for (Caller& one : crowd)
        served += isGood(one.received());
    EXPECT_EQ(served, 120);
    EXPECT_LE(in.server->connectionCount(), 64u);
}

TEST(HttpServer, SendsALargeAnswerAsFastAsItIsTakenForFiveSeconds)
{
    Served in;
    in.body.assign(20u << 20, 'x');
    Caller reader(in.server->port()), sleeper(in.server->port());
    EXPECT_TRUE(sleeper.send(kGood));
    EXPECT_TRUE(reader.send(kGood));
    std::string answer;
    for (int k = 0; k < 1000 && bodyOf(answer).size() < in.body.size(); ++k) {
        in.turn();
        answer += reader.received();
    }
    EXPECT_TRUE(bodyOf(answer) == in.body) << answer.size();
    EXPECT_EQ(in.server->connectionCount(), 2u);
    in.after(Seconds(5));
    EXPECT_EQ(in.server->connectionCount(), 1u) << "the one that doesn't read is gone";
    in.body = "{\"good\":1}";
    EXPECT_TRUE(isGood(in.told(reader, kGood)));
}

// The packaged server library shares a port silently; then half of the requests go to the wrong program.
TEST(HttpServer, SaysWhenItsPortIsTakenOnEitherAddress)
{
    Served in;
    const auto handler = [](const HttpRequest&, const HttpServer::Owner&) { return HttpAnswer(); };
    const auto second = HttpServer::listen(in.loop, in.server->port(), handler);
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error(), "can't listen on port " + std::to_string(in.server->port()) + ": Address already in use");

    const LocalServer six([](const auto&, const auto&) {}, AF_INET6);
    if (six.port() == 0)
        GTEST_SKIP() << "no IPv6 here";
    EXPECT_FALSE(HttpServer::listen(in.loop, std::uint16_t(six.port()), handler));
}

TEST(HttpServer, EndsWithItsConnectionsAndCanBeginAnew)
{
    Served in;
    Caller four(in.server->port()), six(in.server->port(), AF_INET6);
    EXPECT_TRUE(isGood(in.told(four, kGood)));
    if (six.isConnected()) {
        EXPECT_TRUE(isGood(in.told(six, kGood)));
    }
    const auto port = in.server->port();
    in.server.reset();
    EXPECT_TRUE(four.isClosed() && (six.isClosed() || !six.isConnected()));
    EXPECT_FALSE(in.loop.nextDue());
    in.server = in.make(port); // although connections of the last one linger
    EXPECT_EQ(in.server->port(), port);
}

sockaddr_storage address(std::uint32_t ip, std::uint16_t port)
{
    sockaddr_in in{};
    in.sin_family = AF_INET;
    in.sin_addr.s_addr = htonl(ip);
    in.sin_port = htons(port);
    sockaddr_storage out{};
    std::memcpy(&out, &in, sizeof in);
    return out;
}

// Written as proc(5) describes it. A socket whose holder has gone is listed as root's; taken for the owner, anybody
// who closes early would be root.
TEST(SocketOwner, IsTheOneOfTheLivingSocketAtThePeersEnd)
{
    const ConnectionEnds ends{address(0x7F000001, 0x81B0), address(0x7F000001, 0x264A)};
    const std::string head = "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid\n";
    const std::string tail = " 00000000:00000000 00:00000000 00000000 ";
    const std::tuple<std::string, std::optional<uid_t>, const char*> cases[] = {
        {"   2: 0100007F:81B0 0100007F:264A 01" + tail + "  1000        0 673597 2\n", 1000, "the peer's socket"},
        {" 123: 0100007F:81B0 0100007F:264A 01" + tail + "4294967294 0 1\n", 4294967294, "the greatest user"},
        {"   2: 0000000000000000FFFF00000100007F:81B0 0000000000000000FFFF00000100007F:264A 01" + tail + " 33 0 1\n",
            33, "an IPv6 socket that speaks IPv4"},
        {"   2: 0100007F:81B0 0100007F:264A 04" + tail + " 7 0 1\n", 7, "it has sent all it will"},
        {"   3: 0100007F:264A 0100007F:81B0 01" + tail + "  1000        0 673598 1\n", std::nullopt, "our own end"},
        {"   3: 0100007F:81B0 0100007F:264B 01" + tail + "  1000        0 673598 1\n", std::nullopt, "another port"},
        {"   3: 0200007F:81B0 0100007F:264A 01" + tail + "  1000        0 673598 1\n", std::nullopt, "another address"},
        {"   1: 0100007F:81B0 0100007F:264A 06 00000000:00000000 03:00001770 00000000     0        0 0 3\n",
            std::nullopt, "nobody's any more"},
        {"   1: 0100007F:81B0 0100007F:264A 01" + tail, std::nullopt, "cut off"},
        {"", std::nullopt, "nothing"},
    };
    for (const auto& [line, owner, why] : cases)
        EXPECT_EQ(ownerInSocketList(head + line, ends), owner) << why;
    EXPECT_EQ(ownerInSocketList(head + std::get<0>(cases[7]) + std::get<0>(cases[0]), ends), 1000u)
        << "a number used again";
}

TEST(SocketOwner, IsFoundForRealConnectionsOfEachKind)
{
    ManualLoop in;
    std::optional<uid_t> owner;
    const auto server = HttpServer::listen(in.loop, 0, [&](const HttpRequest&, const HttpServer::Owner& ownerOfCaller) {
        owner = ownerOfCaller();
        return HttpAnswer();
    });
    for (const int family : {AF_INET, AF_UNSPEC, AF_INET6}) {
        const Caller caller((*server)->port(), family);
        if (!caller.isConnected())
            GTEST_SKIP() << "no IPv6 here";
        owner.reset();
        caller.send(get("/"));
        for (int turn = 0; turn < 8; ++turn)
            in.loop.turn();
        EXPECT_EQ(owner, geteuid()) << family;
    }
}

// Whoever connects is told the listener's user, before anybody has accepted and after; and of a socket that has gone
// nothing, though another listens there.
TEST(SocketOwner, IsTheListenersUntilAConnectionIsAccepted)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), caller = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in in{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof in;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&in), size) | ::listen(listener, 5), 0);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&in), &size);
    ASSERT_EQ(::connect(caller, reinterpret_cast<sockaddr*>(&in), size), 0);
    ConnectionEnds ends;
    std::memcpy(&ends.peer, &in, size);
    ::getsockname(caller, reinterpret_cast<sockaddr*>(&ends.own), &size);
    EXPECT_EQ(ownerOfPeer(ends), geteuid()) << "it waits";
    const int accepted = ::accept(listener, nullptr, nullptr);
    EXPECT_EQ(ownerOfPeer(ends), geteuid());
    ::close(accepted);
    EXPECT_EQ(ownerOfPeer(ends), std::nullopt);
    ConnectionEnds none = ends;
    none.own = ends.peer;
    EXPECT_EQ(ownerOfPeer(none), std::nullopt) << "a connection that isn't";
    ::close(listener);
    ::close(caller);
}

constexpr auto kComplete = std::optional<NoHttpHead>();

std::optional<NoHttpHead> missing(std::string_view bytes)
{
    const auto head = readHttpRequest(bytes);
    return head ? kComplete : std::optional(head.error());
}

// A head that two programs read differently is how a request is smuggled past one of them; all such are refused.
TEST(HttpRequest, ReadsStrictlyOrNotAtAll)
{
    const std::string nul("GET / HTTP/1.1\r\nHost: a\0b\r\n\r\n", 30);
    const std::tuple<std::string, std::optional<NoHttpHead>, const char*> cases[] = {
        {"GET / HTTP/1.1\r\nHost: a\r\n\r\n", kComplete, "plain"},
        {"GET / HTTP/1.0\r\n\r\n", kComplete, "no field at all"},
        {"GET / HTTP/1.1\r\nContent-Length: 0\r\n\r\n", kComplete, "an empty body is none"},
        {"GET / HTTP/1.1\r\nX:\t\xC3\xA9 \r\n\r\n", kComplete, "tabs and bytes above ASCII in a value"},
        {"GET / HTTP/1.1\r\nHost: a\r\n", NoHttpHead::Yet, "no empty line yet"},
        {"", NoHttpHead::Yet, "nothing yet"},
        {"\r\n\r\n", NoHttpHead::Broken, "no request line"},
        {"GET / HTTP/1.1\nHost: a\n\r\n\r\n", NoHttpHead::Broken, "lines that end in LF alone"},
        {"GET / HTTP/1.1\r\nHost: a\rb\r\n\r\n", NoHttpHead::Broken, "CR alone"},
        {nul, NoHttpHead::Broken, "a zero byte"},
        {"GET  / HTTP/1.1\r\n\r\n", NoHttpHead::Broken, "two blanks"},
        {"GET /a b HTTP/1.1\r\n\r\n", NoHttpHead::Broken, "a blank in the target"},
        {"GET /\xC3\xA9 HTTP/1.1\r\n\r\n", NoHttpHead::Broken, "a target beyond ASCII"},
        {"GET /\r\n\r\n", NoHttpHead::Broken, "no version"},
        {"GET / HTTP/2.0\r\n\r\n", NoHttpHead::Broken, "another version"},
        {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", NoHttpHead::Broken, "the beginning of HTTP/2"},
        {"G(T / HTTP/1.1\r\n\r\n", NoHttpHead::Broken, "a method that is no token"},
        {"GET / HTTP/1.1\r\n Host: a\r\n\r\n", NoHttpHead::Broken, "a continuation line"},
        {"GET / HTTP/1.1\r\nHost : a\r\n\r\n", NoHttpHead::Broken, "a blank ahead of the colon"},
        {"GET / HTTP/1.1\r\n: a\r\n\r\n", NoHttpHead::Broken, "no name"},
        {"GET / HTTP/1.1\r\nHost\r\n\r\n", NoHttpHead::Broken, "no colon"},
        {"GET / HTTP/1.1\r\nHost: a\r\nhost: a\r\n\r\n", NoHttpHead::Broken, "two hosts"},
        {"GET / HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello", NoHttpHead::Broken, "a body"},
        {"GET / HTTP/1.1\r\nContent-Length: +0\r\n\r\n", NoHttpHead::Broken, "a length in another spelling"},
        {"GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", NoHttpHead::Broken, "a body in chunks"},
    };
    for (const auto& [bytes, reading, why] : cases)
        EXPECT_EQ(missing(bytes), reading) << why;
}

TEST(HttpRequest, MayHaveEightKilobytesAndNotAByteMore)
{
    const std::string begin = "GET / HTTP/1.1\r\nX: ", end = "\r\n\r\n";
    const std::string full = begin + std::string(8192 - begin.size() - end.size(), 'x') + end;
    EXPECT_EQ(missing(full), kComplete);
    EXPECT_EQ(missing(full.substr(0, 8191)), NoHttpHead::Yet);
    const std::string over = begin + std::string(8193 - begin.size() - end.size(), 'x') + end;
    EXPECT_EQ(missing(over), NoHttpHead::Broken);
    EXPECT_EQ(missing(over.substr(0, 8192)), NoHttpHead::Broken) << "it can't end in time any more";
}

// The bytes behind the head are the next request's; of the target nothing may be decoded, for "+" is no blank.
TEST(HttpRequest, TellsWhatItReadHowFarItWentAndWhetherAPageAsks)
{
    const std::string first = "GET /music/Data?h=a+b%2B%20= HTTP/1.1\r\nHOST:  localhost:9802 \r\n\r\n";
    const auto read = readHttpRequest(first + "GET /next");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->length, first.size());
    EXPECT_EQ(read->request.method, "GET");
    EXPECT_EQ(read->request.target, "/music/Data?h=a+b%2B%20=");
    EXPECT_EQ(read->request.host, "localhost:9802");
    EXPECT_TRUE(read->request.keepsAlive);
    EXPECT_FALSE(read->request.isFromPage);
    const std::tuple<std::string, bool, bool> cases[] = {
        {"1.1\r\nconnection: keep-alive", true, false},
        {"1.1\r\nConnection: foo , CLOSE", false, false},
        {"1.0\r\nConnection: keep-alive", false, false},
        {"1.1\r\nORIGIN: null", true, true},
        {"1.1\r\nOrigin:", true, true},
        {"1.1\r\nSec-Fetch-Site: cross-site", true, true},
        {"1.1\r\nOriginality: much", true, false},
        {"1.1\r\nSec-Fetc: h", true, false},
    };
    for (const auto& [head, keepsAlive, isFromPage] : cases) {
        const auto one = readHttpRequest("GET / HTTP/" + head + "\r\n\r\n");
        ASSERT_TRUE(one) << head;
        EXPECT_EQ(one->request.keepsAlive, keepsAlive) << head;
        EXPECT_EQ(one->request.isFromPage, isFromPage) << head;
    }
}

// A page's server can have its own name resolve to this machine; only the Host tells.
TEST(LoopbackHost, IsALoopbackNameWithOrWithoutAPort)
{
    for (const char* host : {"localhost", "LocalHost:9802", "127.0.0.1", "127.0.0.1:1", "[::1]", "[::1]:65535"})
        EXPECT_TRUE(isLoopbackHost(host)) << host;
    for (const char* host : {"", ":9802", "localhost:", "localhost:98a", "localhost:980200", "localhost.evil.example",
             "evil.example", "127.0.0.1.evil.example", "::1", "[::1", "[::1]x", "[::1]]", "[]", "127.0.0.2",
             "localhost, evil.example", "2130706433", "[::ffff:127.0.0.1]"})
        EXPECT_FALSE(isLoopbackHost(host)) << host;
}

} // namespace
} // namespace vitrel
