#include "programs/muralis/http/HttpRequest.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

struct Read {
    HttpRequest request;
    std::size_t length = 0;
    HttpReading reading;
    explicit Read(std::string_view bytes)
        : reading(readHttpRequest(bytes, request, length))
    { }
};

// A head that two programs read differently is how a request is smuggled past one of them; all such are refused.
TEST(HttpRequest, ReadsStrictlyOrNotAtAll)
{
    const std::string nul("GET / HTTP/1.1\r\nHost: a\0b\r\n\r\n", 30);
    const std::tuple<std::string, HttpReading, const char*> cases[] = {
        {"GET / HTTP/1.1\r\nHost: a\r\n\r\n", HttpReading::Complete, "plain"},
        {"GET / HTTP/1.0\r\n\r\n", HttpReading::Complete, "no field at all"},
        {"GET / HTTP/1.1\r\nContent-Length: 0\r\n\r\n", HttpReading::Complete, "an empty body is none"},
        {"GET / HTTP/1.1\r\nX:\t\xC3\xA9 \r\n\r\n", HttpReading::Complete, "tabs and bytes above ASCII in a value"},
        {"GET / HTTP/1.1\r\nHost: a\r\n", HttpReading::Incomplete, "no empty line yet"},
        {"", HttpReading::Incomplete, "nothing yet"},
        {"\r\n\r\n", HttpReading::Broken, "no request line"},
        {"GET / HTTP/1.1\nHost: a\n\r\n\r\n", HttpReading::Broken, "lines that end in LF alone"},
        {"GET / HTTP/1.1\r\nHost: a\rb\r\n\r\n", HttpReading::Broken, "CR alone"},
        {nul, HttpReading::Broken, "a zero byte"},
        {"GET  / HTTP/1.1\r\n\r\n", HttpReading::Broken, "two blanks"},
        {"GET /a b HTTP/1.1\r\n\r\n", HttpReading::Broken, "a blank in the target"},
        {"GET /\xC3\xA9 HTTP/1.1\r\n\r\n", HttpReading::Broken, "a target beyond ASCII"},
        {"GET /\r\n\r\n", HttpReading::Broken, "no version"},
        {"GET / HTTP/2.0\r\n\r\n", HttpReading::Broken, "another version"},
        {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", HttpReading::Broken, "the beginning of HTTP/2"},
        {"G(T / HTTP/1.1\r\n\r\n", HttpReading::Broken, "a method that is no token"},
        {"GET / HTTP/1.1\r\n Host: a\r\n\r\n", HttpReading::Broken, "a continuation line"},
        {"GET / HTTP/1.1\r\nHost : a\r\n\r\n", HttpReading::Broken, "a blank ahead of the colon"},
        {"GET / HTTP/1.1\r\n: a\r\n\r\n", HttpReading::Broken, "no name"},
        {"GET / HTTP/1.1\r\nHost\r\n\r\n", HttpReading::Broken, "no colon"},
        {"GET / HTTP/1.1\r\nHost: a\r\nhost: a\r\n\r\n", HttpReading::Broken, "two hosts"},
        {"GET / HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello", HttpReading::Broken, "a body"},
        {"GET / HTTP/1.1\r\nContent-Length: +0\r\n\r\n", HttpReading::Broken, "a length in another spelling"},
        {"GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", HttpReading::Broken, "a body in chunks"},
    };
    for (const auto& [bytes, reading, why] : cases)
        EXPECT_EQ(Read(bytes).reading, reading) << why;
}

TEST(HttpRequest, MayHaveEightKilobytesAndNotAByteMore)
{
    const std::string begin = "GET / HTTP/1.1\r\nX: ", end = "\r\n\r\n";
    const std::string full = begin + std::string(8192 - begin.size() - end.size(), 'x') + end;
    EXPECT_EQ(Read(full).reading, HttpReading::Complete);
    EXPECT_EQ(Read(full.substr(0, 8191)).reading, HttpReading::Incomplete);
    const std::string over = begin + std::string(8193 - begin.size() - end.size(), 'x') + end;
    EXPECT_EQ(Read(over).reading, HttpReading::Broken);
    EXPECT_EQ(Read(over.substr(0, 8192)).reading, HttpReading::Broken) << "it can't end in time any more";
}

// The bytes behind the head are the next request's; of the target nothing may be decoded, for "+" is no blank.
TEST(HttpRequest, TellsWhatItReadHowFarItWentAndWhetherAPageAsks)
{
    const std::string first = "GET /music/Data?h=a+b%2B%20= HTTP/1.1\r\nHOST:  localhost:9802 \r\n\r\n";
    const Read read(first + "GET /next");
    ASSERT_EQ(read.reading, HttpReading::Complete);
    EXPECT_EQ(read.length, first.size());
    EXPECT_EQ(read.request.method, "GET");
    EXPECT_EQ(read.request.target, "/music/Data?h=a+b%2B%20=");
    EXPECT_EQ(read.request.host, "localhost:9802");
    EXPECT_TRUE(read.request.keepsAlive);
    EXPECT_FALSE(read.request.isFromPage);
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
        const Read one("GET / HTTP/" + head + "\r\n\r\n");
        ASSERT_EQ(one.reading, HttpReading::Complete) << head;
        EXPECT_EQ(one.request.keepsAlive, keepsAlive) << head;
        EXPECT_EQ(one.request.isFromPage, isFromPage) << head;
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
