#include "programs/muralis/http/HttpRequest.h"

#include <gtest/gtest.h>

namespace vitrel {
namespace {

HttpReading reading(std::string_view bytes)
{
    HttpRequest request;
    std::size_t length = 0;
    return readHttpRequest(bytes, request, length);
}

// A head that two programs read differently is how a request is smuggled past one of them; all such are refused.
TEST(HttpRequest, ReadsStrictlyOrNotAtAll)
{
    const std::string nul("GET / HTTP/1.1\r\nHost: a\0b\r\n\r\n", 30);
    const struct {
        std::string bytes;
        HttpReading reading;
        const char* why;
    } cases[] = {
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
    for (const auto& one : cases)
        EXPECT_EQ(reading(one.bytes), one.reading) << one.why;
}

TEST(HttpRequest, MayHaveEightKilobytesAndNotAByteMore)
{
    const std::string begin = "GET / HTTP/1.1\r\nX: ", end = "\r\n\r\n";
    const std::string full = begin + std::string(8192 - begin.size() - end.size(), 'x') + end;
    EXPECT_EQ(reading(full), HttpReading::Complete);
    EXPECT_EQ(reading(full.substr(0, 8191)), HttpReading::Incomplete);
    const std::string over = begin + std::string(8193 - begin.size() - end.size(), 'x') + end;
    EXPECT_EQ(reading(over), HttpReading::Broken);
    EXPECT_EQ(reading(over.substr(0, 8192)), HttpReading::Broken) << "it can't end in time any more";
}

// The bytes behind the head are the next request's; of the target nothing may be decoded, for "+" is no blank.
TEST(HttpRequest, TellsWhatItReadAndHowFarItWent)
{
    const std::string first = "GET /music/Data?h=a+b%2B%20= HTTP/1.1\r\nHOST:  localhost:9802 \r\n\r\n";
    HttpRequest request;
    std::size_t length = 0;
    ASSERT_EQ(readHttpRequest(first + "GET /next", request, length), HttpReading::Complete);
    EXPECT_EQ(length, first.size());
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/music/Data?h=a+b%2B%20=");
    EXPECT_EQ(request.host, "localhost:9802");
    EXPECT_TRUE(request.keepsAlive);
    EXPECT_FALSE(request.isFromPage);
}

TEST(HttpRequest, KnowsWhenTheConnectionEndsAndWhenAPageAsks)
{
    const struct {
        const char* version;
        const char* field;
        bool keepsAlive, isFromPage;
    } cases[] = {
        {"1.1", "connection: keep-alive", true, false},
        {"1.1", "Connection: foo , CLOSE", false, false},
        {"1.0", "Connection: keep-alive", false, false},
        {"1.1", "ORIGIN: null", true, true},
        {"1.1", "Origin:", true, true},
        {"1.1", "Sec-Fetch-Site: cross-site", true, true},
        {"1.1", "Originality: much", true, false},
        {"1.1", "Sec-Fetc: h", true, false},
    };
    for (const auto& one : cases) {
        HttpRequest request;
        std::size_t length = 0;
        const std::string bytes = std::string("GET / HTTP/") + one.version + "\r\n" + one.field + "\r\n\r\n";
        ASSERT_EQ(readHttpRequest(bytes, request, length), HttpReading::Complete) << one.field;
        EXPECT_EQ(request.keepsAlive, one.keepsAlive) << one.field;
        EXPECT_EQ(request.isFromPage, one.isFromPage) << one.field;
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
