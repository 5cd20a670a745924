#include "FeedKit/FeedParser.h"
#include "FeedKit/FeedDataType.h"
#include "FeedKit/xml/DescriptorInputStream.h"
#include "support/FakeFetcher.h"
#include "support/LocalServer.h"

#include <sys/ioctl.h>

#include <chrono>
#include <gmock/gmock.h>
#include <thread>

namespace FeedKit {
namespace {

Bytes bytes(std::string_view text)
{
    const auto view = FeedKit::bytesOf(text);
    return {view.begin(), view.end()};
}

std::string reasonOf(const Result<Feed, ParserError>& result)
{
    if (result)
        return "a feed";
    return result.error().which() == ParserError::Case::feedNotFound ? "not found" : result.error().payload();
}

constexpr char kRSS[] = "<rss><channel><title>A</title></channel></rss>";

TEST(FeedDataType, IsToldByTheFirstSignificantCharacter)
{
    const auto xml = FeedDataType::xml;
    const auto json = FeedDataType::json;
    const std::tuple<std::string, std::optional<FeedDataType>, const char*> cases[]
        = {{"", {}, "nothing"}, {"<", xml, "no look further on"}, {"{", json, "nor here"},
            {" \r\n\t\v{", json, "white space"}, {"\xEF\xBB\xBF<rss>", xml, "a byte order mark is a format character"},
            {"\xEF\xBB\xBF \n{}", json, "and blanks behind it"}, {std::string("\0\x01<", 3), xml, "control characters"},
            {"\u00A0\u2003\u200B\u2028<", xml, "spaces and format characters beyond ASCII"},
            {std::string(199, ' ') + "<rss", xml, "the last of the 200 bytes"},
            {std::string(200, ' ') + "<rss", {}, "beyond them"}, {std::string(250, ' '), {}, "blanks alone"},
            {"a<", {}, "a letter"}, {"7<", {}, "a digit"}, {"\"{", {}, "a quote"}, {"[{", {}, "an array is no feed"},
            {"\u0301<", {}, "a combining mark"}, {"é<", {}, "a letter beyond ASCII"}, {"€<", {}, "a symbol"},
            {"\xFF\xFE<", {}, "bytes that are no character count as a symbol"},
            {std::string(199, ' ') + "\u2003<", {}, "so does a character that the 200 bytes cut"},
            {"\xC2<", {}, "and one that isn't finished"}};
    for (const auto& [data, type, why] : cases)
        EXPECT_EQ(makeFeedDataType(FeedKit::bytesOf(data)), type) << data << ": " << why;
}

TEST(FeedParser, SendsADocumentToTheParserOfItsType)
{
    EXPECT_EQ(FeedParser(bytes(kRSS)).parse()->rssFeed()->title, "A");
    EXPECT_TRUE(FeedParser(bytes("<feed><title>A</title></feed>")).parse()->atomFeed());
    EXPECT_EQ(FeedParser(bytes("\n{\"title\": \"A\"}")).parse()->jsonFeed()->title, "A");
    EXPECT_EQ(reasonOf(FeedParser(bytes("[]")).parse()), "not found");
    EXPECT_EQ(reasonOf(FeedParser(bytes(std::string(250, ' ') + kRSS)).parse()), "not found");
    // A stream is taken to be XML.
    const auto json = bytes("{}"), late = bytes(std::string(250, ' ') + kRSS);
    EXPECT_THAT(
        reasonOf(FeedParser(std::make_shared<DataInputStream>(json)).parse()), testing::StartsWith("not well-formed"));
    EXPECT_EQ(reasonOf(FeedParser(std::make_shared<DataInputStream>(late)).parse()), "a feed");
    EXPECT_EQ(reasonOf(FeedParser(std::shared_ptr<NSInputStream>()).parse()),
        "Fatal error. Unable to parse from the initialized state.");
}

TEST(FeedParser, FetchesAnewAtEachParseAndReadsFeedAsHttp)
{
    const std::pair<const char*, const char*> cases[] = {{"FEED://host/path?feed://x", "http://host/path?feed://x"},
        {"file:///feed", "file:///feed"}, {"no address", "no address"}};
    for (const auto& [url, asked] : cases) {
        const auto fetcher = std::make_shared<vitrel::FakeFetcher>();
        fetcher->answers = {kRSS, "<feed><title>B</title></feed>"};
        FeedParser parser(URL(url), fetcher);
        EXPECT_TRUE(parser.parse()->rssFeed());
        EXPECT_TRUE(parser.parse()->atomFeed());
        EXPECT_EQ(reasonOf(parser.parse()), "the host was not found") << "what was fetched before is no answer";
        EXPECT_THAT(fetcher->asked, testing::Each(asked));
    }
    EXPECT_EQ(reasonOf(FeedParser(URL("feed:///path")).parse()), "the address has no host") << "the fetch's word";
}

TEST(FeedParser, ParsesNothingThatItHasSeen)
{
    const auto fetcher = std::make_shared<vitrel::FakeFetcher>();
    fetcher->answers = {"<rss><broken", kRSS};
    fetcher->eTag = "current";
    FeedParser parser(URL("http://host/"), fetcher);
    Validators validators;
    EXPECT_FALSE(*parser.parseIfModified(validators));
    EXPECT_FALSE(validators.eTag) << "a document that gave no feed is asked for again";
    EXPECT_TRUE(*parser.parseIfModified(validators));
    EXPECT_EQ(validators.eTag, "current");
    EXPECT_FALSE(parser.parseIfModified(validators));
    EXPECT_THAT(fetcher->answers, testing::IsEmpty());
}

TEST(FeedParser, ParsesInOneBlockOfTheQueue)
{
    std::vector<std::function<void()>> blocks;
    std::vector<std::string> results;
    FeedParser parser(bytes(kRSS));
    parser.parseAsync([&](std::function<void()> block) { blocks.push_back(std::move(block)); },
        [&](const Result<Feed, ParserError>& result) { results.push_back(reasonOf(result)); });
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_TRUE(results.empty());
    blocks[0]();
    EXPECT_THAT(results, testing::ElementsAre("a feed"));
}

TEST(FeedParser, AbortsOnlyWhatRuns)
{
    FeedParser parser(bytes(kRSS));
    parser.abortParsing();
    EXPECT_EQ(reasonOf(parser.parse()), "a feed");
    parser.abortParsing();
    EXPECT_EQ(reasonOf(parser.parse()), "a feed") << "each parse has a parser of its own";

    struct Aborting final : NSInputStream {
        FeedParser* parser = nullptr;
        std::ptrdiff_t read(std::uint8_t* buffer, std::size_t) override
        {
            parser->abortParsing();
            *buffer = '<';
            return 1;
        }
    };
    const auto stream = std::make_shared<Aborting>();
    FeedParser streaming(stream);
    stream->parser = &streaming;
    EXPECT_EQ(reasonOf(streaming.parse()), "parsing aborted");
}

// Both ends of a pipe.
struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() { EXPECT_EQ(::pipe(ends), 0); }
    ~Pipe() { ::close(ends[1]); } // the reader closes its own
    void write(std::string_view text) const
    {
        EXPECT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    bool isDrained() const
    {
        int left = -1;
        ::ioctl(ends[1], FIONREAD, &left);
        return left == 0;
    }
};

// How long a parse on another thread goes on behind an abort, and what it says then.
std::pair<std::chrono::milliseconds, std::string> timeToAbort(
    FeedParser& parser, const std::function<bool()>& isWaiting)
{
    std::string reason;
    std::thread thread([&] { reason = reasonOf(parser.parse()); });
    while (!isWaiting())
        std::this_thread::yield();
    const auto begun = std::chrono::steady_clock::now();
    parser.abortParsing();
    thread.join();
    return {std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun), reason};
}

// The best of some attempts, for a machine may be busy with other things.
TEST(FeedParser, AbortsWhatWaitsForAServerOrAStreamWithinATenthOfASecond)
{
    const auto expectQuick = [](const char* why, const char* reason, const auto& attempt) {
        std::chrono::milliseconds best{1 << 20};
        for (int k = 0; k < 5 && best.count() >= 100; ++k) {
            const auto [time, said] = attempt();
            EXPECT_EQ(said, reason) << why;
            best = std::min(best, time);
        }
        EXPECT_LT(best.count(), 100) << why;
    };
    for (const std::string& said : {std::string(), vitrel::LocalServer::head() + "<rss>"}) {
        std::atomic<int> asked = 0;
        vitrel::LocalServer server([&](const auto&, const vitrel::LocalServer::Connection& to) {
            to.send(said);
            ++asked;
            to.stall();
        });
        expectQuick("a server", "the fetch was stopped", [&] {
            asked = 0;
            FeedParser parser{URL(server.url())};
            return timeToAbort(parser, [&] { return asked > 0; });
        });
    }
    expectQuick("a pipe", "parsing aborted", [] {
        const Pipe pipe;
        FeedParser parser(std::make_shared<DescriptorInputStream>(pipe.ends[0]));
        pipe.write("<rss><channel><item>");
        return timeToAbort(parser, [&] { return pipe.isDrained(); });
    });
    // A stop that was asked for before the parse is none of an earlier one.
    std::stop_source stop;
    stop.request_stop();
    Validators unknown;
    FeedParser stopped{URL("http://127.0.0.1:1/")};
    EXPECT_EQ(reasonOf(*stopped.parseIfModified(unknown, stop.get_token())), "the fetch was stopped");
}

TEST(FeedParser, AnswersAtTheEndOfTheRootThoughThePipeStaysOpen)
{
    for (const char* encoding : {"UTF-8", "windows-1252"}) {
        const Pipe pipe;
        pipe.write(std::string("<?xml version='1.0' encoding='") + encoding + "'?>\n" + kRSS);
        EXPECT_EQ(reasonOf(FeedParser(std::make_shared<DescriptorInputStream>(pipe.ends[0])).parse()), "a feed");
    }
}

TEST(ParserError, TellsItsCodeAndTexts)
{
    EXPECT_EQ(ParserError::feedCDATABlockEncodingError("/rss").debugDescription(),
        "feedCDATABlockEncodingError(path: \"/rss\")");
    EXPECT_EQ(ParserError::internalError("because").debugDescription(), "internalError(reason: \"because\")");
    EXPECT_EQ(ParserError::feedNotFound().debugDescription(), "feedNotFound");
    EXPECT_EQ(ParserError::feedCDATABlockEncodingError("/rss/channel").value(),
        (NSError{"com.feedkit.error", -10001,
            {{"NSLocalizedDescription", "`CDATAblock` encoding error"},
                {"NSLocalizedFailureReason",
                    "Unable to convert the bytes in `CDATABlock` to Unicode characters using the UTF-8 encoding at "
                    "current path: /rss/channel"},
                {"NSLocalizedRecoverySuggestion",
                    "Make sure the encoding provided in a `CDATABlock` is encoded as UTF-8"}}}));
    EXPECT_EQ(ParserError::internalError("because").value(),
        (NSError{"com.feedkit.error", -90000,
            {{"NSLocalizedDescription", "Internal unresolved error: because"},
                {"NSLocalizedFailureReason", "Unable to recover from an internal unresolved error: because"},
                {"NSLocalizedRecoverySuggestion",
                    "If you're seeing this error you probably should open an issue on github"}}}));
    EXPECT_EQ(ParserError::feedNotFound().value(),
        (NSError{"com.feedkit.error", -1000,
            {{"NSLocalizedDescription", "Feed not found"},
                {"NSLocalizedFailureReason", "Couldn't parse any known feed"},
                {"NSLocalizedRecoverySuggestion", "Provide a valid Atom/RSS/JSON feed "}}}));
}

// Equality that compares places, or forgets a field, would pass most other tests.
TEST(Models, AreEqualWhenAllTheirFieldsAre)
{
    const auto feed = [](const std::string& inner) {
        return *FeedParser(bytes("<rss><channel>" + inner + "</channel></rss>")).parse();
    };
    const char* documents[] = {"<title>A</title>", "<title>B</title>", "<title><![CDATA[]]></title>", "<item/>",
        "<item/><item/>", "<item><guid>g</guid></item>", "<item><guid isPermaLink='1'>g</guid></item>",
        "<item><media:content/></item>", "<item><media:content url='u'/></item>", "<item><media:content x='u'/></item>",
        "<skipHours/>", "<skipHours><hour>1</hour></skipHours>", "<pubDate>Mon, 02 Jan 2006 15:04:05 GMT</pubDate>"};
    for (const auto& one : documents) {
        for (const auto& other : documents)
            EXPECT_EQ(feed(one) == feed(other), std::string_view(one) == other) << one << " and " << other;
    }
    // By Unicode's rules the Kelvin sign is a capital k, but I with a dot keeps its dot.
    EXPECT_EQ(makeSyndicationUpdatePeriod("WEE\u212ALY"), SyndicationUpdatePeriod::weekly);
    EXPECT_EQ(makeSyndicationUpdatePeriod("DA\u0130LY"), std::nullopt);
    EXPECT_EQ(makeRSSFeedSkipDay("Friday "), std::nullopt);
    EXPECT_EQ(makeRSSFeedSkipDay("FRIDAY"), RSSFeedSkipDay::friday);
    for (const std::string day : {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"})
        EXPECT_TRUE(makeRSSFeedSkipDay(day)) << day;
    MediaTag tag;
    EXPECT_EQ(tag.weight, 1);
    EXPECT_FALSE(tag == *MediaTag::tagsFrom("")[0]);
    EXPECT_TRUE(*MediaTag::tagsFrom("a:b:3")[0] == *MediaTag::tagsFrom(" a : 3 ")[0]);
}

} // namespace
} // namespace FeedKit
