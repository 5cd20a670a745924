#include "FeedKit/fetch/CurlFetcher.h"

#include "base/Text.h"
#include "support/LocalServer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <zlib.h>

#include <cstdlib>

namespace FeedKit {
namespace {

using testing::HasSubstr;
using vitrel::LocalServer;
using Request = LocalServer::Request;
using Connection = LocalServer::Connection;

// Whoever runs the tests may have a proxy that knows nothing of this machine's own addresses.
const int withoutProxy = setenv("no_proxy", "*", 1);

// `windowBits` as for deflateInit2: 15 gives the form that HTTP calls deflate, 31 gzip.
std::string compressed(const std::string& text, int windowBits)
{
    z_stream stream = {};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, windowBits, 9, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

// The contents, or the error behind "error: ".
std::string fetched(const std::string& url, FetchLimits limits = {})
{
    const auto contents = CurlFetcher(limits).contentsOf(URL(url));
    return contents ? std::string(FeedKit::textOf(*contents)) : "error: " + contents.error();
}

TEST(CurlFetcher, GivesTheBytesOfAnAnswerHoweverTheyTravelOrSaysWhatIsWrong)
{
    const FetchLimits limits{.bytes = 100'000};
    const std::string text(100'000, 'x'), tooMuch = text + "x", bytes(5000, 'x');
    const std::string tooLarge = "error: too large: more than 100000 bytes",
                      status = "error: the server answered with status ", brokeOff = "error: the connection broke off",
                      damaged = "error: the answer's compression is damaged";
    const auto chunked = LocalServer::head("Transfer-Encoding: chunked\r\n"), end = LocalServer::chunk("");
    const auto gzip = "Content-Encoding: gzip\r\n", deflate = "Content-Encoding: deflate\r\n";
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"plain, as much as may be", LocalServer::answer(text), text},
        {"nothing", LocalServer::answer(""), ""},
        {"to the connection's end", LocalServer::head() + text, text},
        {"chunked", chunked + LocalServer::chunk(text.substr(1)) + LocalServer::chunk("x") + end, text},
        {"gzip", LocalServer::answer(compressed(text, 31), gzip), text},
        {"deflate", LocalServer::answer(compressed(text, 15), deflate), text},
        {"any status of success", LocalServer::answer(text, {}, "203 Other"), text},
        {"an answer ahead of the answer", "HTTP/1.1 100 Continue\r\n\r\n" + LocalServer::answer(text), text},
        {"404", LocalServer::answer("no", {}, "404 Who cares"), status + "404 (not found)"},
        {"500", LocalServer::answer("no", {}, "500 X"), status + "500 (internal server error)"},
        {"a status without a name", LocalServer::answer("no", {}, "418 X"), status + "418"},
        {"304 without having asked for it", LocalServer::answer("", {}, "304 X"), status + "304"},
        {"a redirect to no address", LocalServer::answer("x", {}, "302 X"), status + "302"},
        {"a byte too few", LocalServer::head("Content-Length: 5001\r\n") + bytes, brokeOff},
        {"no last chunk", chunked + LocalServer::chunk(bytes), brokeOff},
        {"half a chunk", chunked + "1388\r\nxxx", brokeOff},
        {"no gzip", LocalServer::answer("\x1f\x8b no gzip", gzip), damaged},
        {"an unknown compression", LocalServer::head("Content-Encoding: no-such\r\n") + "x", damaged},
        {"no byte", "", "error: the server answered nothing"},
        {"no HTTP", "<rss/>", "error: the server's answer is no HTTP"},
        {"one byte more", LocalServer::answer(tooMuch), tooLarge},
        {"one byte more, not announced", LocalServer::head() + tooMuch, tooLarge},
        {"too much is announced", LocalServer::head("Content-Length: 99999999999\r\n") + "x", tooLarge},
        {"too much in chunks", chunked + LocalServer::chunk(tooMuch) + end, tooLarge},
        {"small on the wire alone", LocalServer::answer(compressed(std::string(3'000'000, 'x'), 31), gzip), tooLarge},
    };
    for (const auto& [why, answer, outcome] : cases) {
        LocalServer server(answer);
        const auto got = fetched(server.url(), limits);
        EXPECT_TRUE(got == outcome) << why << ": " << got.substr(0, 100);
    }
    LocalServer endless([](const Request&, const Connection& to) {
        to.send(LocalServer::head());
        while (to.send(std::string(4096, 'x'))) { }
    });
    EXPECT_EQ(fetched(endless.url(), limits), tooLarge);
    LocalServer large(LocalServer::head("Content-Length: 67108865\r\n"));
    EXPECT_EQ(fetched(large.url()), "error: too large: more than 64 MiB");
}

TEST(CurlFetcher, AsksPlainlyAndForTheAddressAsGiven)
{
    LocalServer server(LocalServer::answer("x", "Set-Cookie: a=b\r\n"));
    CurlFetcher fetcher;
    EXPECT_TRUE(fetcher.contentsOf(URL(server.url("/a%20b/../c?q=%2f#part"))));
    EXPECT_TRUE(fetcher.contentsOf(URL(server.url())));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].target, "/a%20b/../c?q=%2f");
    EXPECT_THAT(requests[0].header("user-agent"), testing::StartsWith("FeedKit/"));
    EXPECT_THAT(requests[0].header("accept-encoding"), HasSubstr("gzip"));
    EXPECT_EQ(requests[0].headers.count("if-none-match"), 0u);
    EXPECT_EQ(requests[1].headers.count("cookie"), 0u) << "a cookie came back";
}

// Answers "/N" by a redirect to "/N-1", and "/0" by a text.
TEST(CurlFetcher, FollowsTenRedirectsAndNoMore)
{
    LocalServer server([](const Request& request, const Connection& to) {
        const int left = std::atoi(request.target.c_str() + 1);
        to.send(left == 0 ? LocalServer::answer("end") : LocalServer::redirect("/" + std::to_string(left - 1)));
    });
    EXPECT_EQ(fetched(server.url("/10")), "end");
    EXPECT_EQ(fetched(server.url("/11")), "error: more than 10 redirects");
}

// A feed's server could otherwise read files of the reader's machine, or make it talk to servers of other kinds.
TEST(CurlFetcher, NeverLeavesHttpByARedirect)
{
    const vitrel::TemporaryFolder folder;
    const std::string file = folder.write("secret", "secret");
    for (const std::string& target :
        {"file://" + file, std::string("ftp://127.0.0.1/x"), std::string("gopher://127.0.0.1/x"), "FILE://" + file}) {
        LocalServer server(LocalServer::redirect(target));
        EXPECT_EQ(fetched(server.url()), "error: a redirect leads to a scheme that isn't supported") << target;
    }
}

TEST(CurlFetcher, EndsInTimeWhereverTheServerFallsSilent)
{
    const FetchLimits limits{.time = std::chrono::milliseconds(150)};
    for (const std::string& said : {std::string(), std::string("HTTP/1.1 200"), LocalServer::head() + "<rss>"}) {
        LocalServer server([&](const Request&, const Connection& to) {
            to.send(said);
            to.stall();
        });
        EXPECT_EQ(fetched(server.url(), limits), "error: timed out after 150 ms") << said;
    }
    // The limit is for the whole and doesn't begin anew with each redirect.
    LocalServer round([](const Request&, const Connection& to) {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        to.send(LocalServer::redirect("/"));
    });
    EXPECT_EQ(fetched(round.url(), limits), "error: timed out after 150 ms");
}

TEST(CurlFetcher, ComesBackWithNothingWhenNothingChanged)
{
    LocalServer server([](const Request& request, const Connection& to) {
        const bool known = request.header("if-none-match") == "\"one\""
            && request.header("if-modified-since") == "Mon, 01 Jan 2024 00:00:00 GMT";
        const std::string marks = "ETag: \"one\"\r\nLast-Modified: Mon, 01 Jan 2024 00:00:00 GMT\r\n";
        if (request.target == "/moved")
            to.send(LocalServer::redirect("/"));
        else
            to.send(known ? "HTTP/1.1 304 Not Modified\r\n" + marks + "\r\n" : LocalServer::answer("body", marks));
    });
    CurlFetcher fetcher;
    for (const auto* target : {"/", "/moved"}) {
        const URL url(server.url(target));
        const auto first = fetcher.contentsOfIfModified(url, {});
        ASSERT_TRUE(first && *first) << target;
        EXPECT_EQ(FeedKit::textOf((*first)->bytes), "body");
        EXPECT_EQ((*first)->validators, (Validators{"\"one\"", "Mon, 01 Jan 2024 00:00:00 GMT"})) << target;
        const auto second = fetcher.contentsOfIfModified(url, (*first)->validators);
        ASSERT_TRUE(second) << second.error();
        EXPECT_FALSE(*second) << target << " gave its contents again";
    }
    // A line end in a validator would add a header of somebody else's making.
    EXPECT_TRUE(fetcher.contentsOfIfModified(URL(server.url()), {"x\r\nEvil: 1", std::string(10'000, 'x')}));
    const auto last = server.requests().back();
    EXPECT_EQ(
        last.headers.count("evil") + last.headers.count("if-none-match") + last.headers.count("if-modified-since"), 0u);
}

TEST(CurlFetcher, RefusesWhatItCannotFetchInWords)
{
    int unused = 0;
    {
        const LocalServer gone("");
        unused = gone.port();
    }
    LocalServer plain("HTTP/1.1 400 what\r\n\r\n");
    const auto port = std::to_string(unused);
    const std::pair<std::string, const char*> cases[] = {
        {"http://127.0.0.1:" + port, "connection refused, or the host can't be reached"},
        {"http://" + std::string(64, 'a') + "/", "host not found"}, // no name is that long, so nobody is asked
        {"ftp://127.0.0.1/feed", "unsupported scheme \"ftp\""},
        {"feeds://127.0.0.1/feed", "unsupported scheme \"feeds\""},
        {"JAVASCRIPT:1", "unsupported scheme \"JAVASCRIPT\""},
        {"127.0.0.1/feed", "the address has no scheme, such as http:"},
        {"", "the address has no scheme, such as http:"},
        {"http:///" + port, "the address has no host"},
        {"https:feed", "the address has no host"},
        {"http://127.0.0.1:99999/", "the address is not valid"},
        {"http://127.0.0.1:" + port + "/a b", "the address is not valid"},
        {"http://127.0.0.1:" + port + "/a" + std::string(1, '\0'), "the address is not valid"},
    };
    for (const auto& [url, error] : cases)
        EXPECT_EQ(fetched(url), std::string("error: ") + error) << url;
    EXPECT_THAT(fetched("https://127.0.0.1:" + std::to_string(plain.port())),
        testing::MatchesRegex("error: no secure connection to the server: .+"));
}

TEST(CurlFetcher, ReadsFilesOfThisMachine)
{
    const vitrel::TemporaryFolder folder;
    const std::string file = folder.write("a b%.xml", "<rss/>");
    const std::string unreadable = folder.write("unreadable", "x"), pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ::chmod(unreadable.c_str(), 0);
    const auto url = [&](const std::string& name) { return "file://" + folder.path() + "/" + name; };
    EXPECT_FALSE(fetched("file:///proc/self/status").empty()) << "its size is said to be 0";
    const std::string feed = folder.path() + "/a%20b%25.xml", invalid = "error: the address is not valid";
    const std::pair<std::string, std::string> cases[]
        = {{"file://" + feed, "<rss/>"}, {"file://" + feed + "?x#y", "<rss/>"}, {"FILE://localhost" + feed, "<rss/>"},
            {"file:" + feed, "<rss/>"}, {url("a b%25.xml"), "<rss/>"}, {url("no-such-file"), "error: file not found"},
            {url("a%20b%25.xml/x"), "error: file not found"}, {url(""), "error: is a directory"},
            {url("pipe"), "error: is not a regular file"}, {url("a%00b"), invalid}, {"file:a.xml", invalid},
            {"file:", invalid}, {"file://elsewhere/a.xml", "error: the file is on another machine"}};
    for (const auto& [address, outcome] : cases)
        EXPECT_EQ(fetched(address), outcome) << address;
    if (::geteuid() != 0) {
        EXPECT_EQ(fetched(url("unreadable")), "error: no permission to read the file");
    }
    EXPECT_EQ(fetched(url("a%20b%25.xml"), {.bytes = 6}), "<rss/>");
    EXPECT_EQ(fetched(url("a%20b%25.xml"), {.bytes = 5}), "error: the file is too large");

    CurlFetcher fetcher;
    const URL known(url("a%20b%25.xml"));
    const auto first = fetcher.contentsOfIfModified(known, {});
    ASSERT_TRUE(first && *first);
    const auto same = fetcher.contentsOfIfModified(known, (*first)->validators);
    EXPECT_TRUE(same && !*same);
    folder.write("a b%.xml", "<feed/>");
    const auto changed = fetcher.contentsOfIfModified(known, (*first)->validators);
    EXPECT_TRUE(changed && *changed);
}

// One fetcher serves a program with many threads.
TEST(CurlFetcher, ServesManyCallsAtOnce)
{
    LocalServer server(
        [](const Request& request, const Connection& to) { to.send(LocalServer::answer(request.target)); });
    CurlFetcher fetcher;
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int k = 0; k < 16; ++k) {
        threads.emplace_back([&, k] {
            const std::string target = "/" + std::to_string(k);
            const auto contents = fetcher.contentsOf(URL(server.url(target)));
            right += contents && FeedKit::textOf(*contents) == target;
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(right, 16);
}

} // namespace
} // namespace FeedKit
