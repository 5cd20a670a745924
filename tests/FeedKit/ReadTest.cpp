#include "FeedKit/Read.h"
#include "support/LocalServer.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sstream>

namespace FeedKit {
namespace {

using testing::HasSubstr;
using vitrel::LocalServer;

const std::string kRSS = "<rss><channel><title>A</title></channel></rss>";
const std::string kJSON = "{\"title\": \"A\"}";
const std::string kBroken = "<rss><channel><title>A&nbsp;</title></channel></rss>";

std::string outcome(const Result<Reading, ParserError>& reading)
{
    if (!reading)
        return reading.error().which() == ParserError::Case::feedNotFound ? "not found" : reading.error().payload();
    const auto& feed = reading->feed;
    const auto title = feed.rssFeed() ? feed.rssFeed()->title : feed.jsonFeed()->title;
    return title.value_or("no title") + (reading->forgiven.empty() ? "" : ", forgiven");
}

// Gives one byte at a time and then throws, as a stream whose exceptions are on does at its end.
struct Throwing : std::istringstream {
    explicit Throwing(const std::string& text)
        : std::istringstream(text)
    {
        exceptions(std::ios::failbit | std::ios::badbit | std::ios::eofbit);
    }
};

TEST(Read, TakesADocumentFromWhereverItIs)
{
    const vitrel::TemporaryFolder folder;
    const ReadOptions lenient{.leniency = Leniency::all()};
    const std::tuple<std::string, const ReadOptions, std::string> cases[] = {{kRSS, {}, "A"}, {kJSON, {}, "A"},
        {kRSS, lenient, "A"}, {kJSON, lenient, "A"}, {kBroken, lenient, "A\u00A0, forgiven"}, {"", {}, "not found"},
        {kBroken, {}, "undefined entity at line 1, column 23"}, {"words", lenient, "not found"}};
    for (const auto& [document, options, expected] : cases) {
        EXPECT_EQ(outcome(read(document, options)), expected) << document;
        EXPECT_EQ(outcome(read(bytesOf(document), options)), expected) << document;
        EXPECT_EQ(outcome(read(std::as_bytes(std::span(document)), options)), expected) << document;
        std::istringstream stream(document);
        EXPECT_EQ(outcome(read(stream, options)), expected) << document;
        Throwing throwing(document);
        EXPECT_EQ(outcome(read(throwing, options)), expected) << document;
        DataInputStream ours(bytesOf(document));
        EXPECT_EQ(outcome(read(ours, options)), expected) << document;
        EXPECT_EQ(outcome(readFile(folder.write("a b%20.xml", document), options)), expected) << document;
        LocalServer server(LocalServer::answer(document));
        const auto fetched = fetch(URL(server.url()), options);
        EXPECT_EQ(fetched ? outcome(*fetched) : outcome(fetched.error()), expected) << document;
    }
    EXPECT_EQ(outcome(readFile(folder / "missing")), "file not found");
    EXPECT_EQ(outcome(readFile(folder.path())), "is a directory");
}

TEST(Read, KeepsMoreOfAJSONFeedByChoice)
{
    const std::string document = R"({"language": "de", "authors": [{"name": "A"}, 7, {"url": 1}], "_x": {"b": [1, "c"]},
        "items": [{"date_published": "2006-01-02T15:04:05Z", "authors": "none", "_y": null}, {}]})";
    EXPECT_FALSE(read(document)->feed.jsonFeed()->more);
    const auto feed = read(document, {.extent = Extent::more})->feed.jsonFeed();
    ASSERT_TRUE(feed->more && (*feed->items)[0].more);
    EXPECT_EQ(feed->more->language, "de");
    ASSERT_EQ(feed->more->authors->size(), 2u);
    EXPECT_EQ((*feed->more->authors)[0].name, "A");
    EXPECT_EQ((*feed->more->authors)[1], JSONFeedAuthor());
    EXPECT_EQ((*feed->more->extensions)[0].name, "_x");
    EXPECT_EQ((*feed->more->extensions)[0].text, R"({"b":[1,"c"]})");
    const auto& more = *(*feed->items)[0].more;
    EXPECT_EQ(more.datePublishedText, "2006-01-02T15:04:05Z");
    EXPECT_EQ(more.authors, std::nullopt);
    EXPECT_EQ((*more.extensions)[0].text, "null");
    EXPECT_FALSE((*feed->items)[1].more);
}

TEST(Read, LeavesWhatStandsBehindTheDocument)
{
    std::istringstream stream(kRSS + std::string(1 << 20, ' ') + "end");
    EXPECT_EQ(outcome(read(stream)), "A");
    EXPECT_LT(stream.tellg(), 1 << 20);
}

TEST(Read, EndsAtItsLimitsAndWhenItIsStopped)
{
    const std::string large = kBroken + std::string(100'000, ' ');
    ReadOptions options{.leniency = Leniency::all(), .limits = {.bytes = 100'000}};
    std::istringstream stream(large);
    EXPECT_EQ(outcome(read(stream, options)), "the document is too large");
    options.limits.bytes = large.size();
    stream = std::istringstream(large);
    EXPECT_EQ(outcome(read(stream, options)), "A\u00A0, forgiven");

    std::stop_source stop;
    stop.request_stop();
    const ReadOptions stopped{.stop = stop.get_token()};
    EXPECT_EQ(outcome(read(kRSS, stopped)), "parsing aborted");
    stream = std::istringstream(kRSS);
    EXPECT_EQ(outcome(read(stream, stopped)), "the reading was stopped");
    // Also while a stream has nothing to give.
    struct Silent final : NSInputStream {
        std::stop_source stop;
        std::ptrdiff_t read(std::uint8_t*, std::size_t) override { return -1; }
        StreamReadiness waitForBytes(std::chrono::milliseconds) override
        {
            stop.request_stop();
            return StreamReadiness::waiting;
        }
    } silent;
    EXPECT_EQ(outcome(read(silent, {.stop = silent.stop.get_token()})), "the reading was stopped");
    LocalServer server(LocalServer::answer(kRSS));
    EXPECT_EQ(outcome(fetch(URL(server.url()), stopped).error()), "the fetch was stopped");
}

TEST(Read, TellsWhatTheServerSaid)
{
    LocalServer server([](const LocalServer::Request& request, const LocalServer::Connection& to) {
        if (request.target == "/old")
            to.send(LocalServer::redirect("/new"));
        else if (request.header("if-none-match") == "\"1\"")
            to.send(LocalServer::answer("", {}, "304 X"));
        else
            to.send(LocalServer::answer("<rss><channel><title>\xE4</title></channel></rss>",
                "ETag: \"1\"\r\nContent-Type: application/rss+xml; q=1; Charset=\"ISO-8859-7\"\r\n", "203 X"));
    });
    const auto came = fetch(URL(server.url("/old")), {.leniency = Leniency::all()});
    ASSERT_TRUE(came) << came.error().payload();
    EXPECT_EQ(came->address.text(), server.url("/new"));
    EXPECT_EQ(came->status, 203);
    EXPECT_EQ(came->charset, "iso-8859-7");
    EXPECT_THAT(came->contentType, HasSubstr("rss+xml; q=1"));
    EXPECT_EQ(came->validators.eTag, "\"1\"");
    EXPECT_EQ(outcome(*came), "δ, forgiven") << "by the server's word";
    const auto again = fetchIfModified(URL(server.url("/new")), came->validators);
    ASSERT_TRUE(again);
    EXPECT_FALSE(*again);
    EXPECT_EQ(charsetOf("text/xml"), "");
    EXPECT_EQ(charsetOf("text/xml;charset='utf-8' "), "utf-8");
}

} // namespace
} // namespace FeedKit
