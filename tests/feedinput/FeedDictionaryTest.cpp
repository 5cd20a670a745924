#include "feedinput/FeedDictionary.h"
#include "FeedKit/xml/XMLFeedParser.h"
#include "platform/foundation/NSJSONSerialization.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

FeedKit::Feed parsed(const std::string& document)
{
    return *FeedKit::XMLFeedParser(bytesOf(document)).parse();
}

std::string json(const Dictionary& dictionary)
{
    return NSJSONSerialization::dataWithJSONObject(dictionary).value_or("none");
}

std::string rss(const std::string& channel, std::int64_t count = 0)
{
    const auto feed = parsed("<rss><channel>" + channel + "</channel></rss>");
    return json(feedDictionary(*feed.rssFeed(), count, articleTexts(feed, count)));
}

std::string atom(const std::string& inner, std::int64_t count = 0)
{
    const auto feed = parsed("<feed>" + inner + "</feed>");
    return json(feedDictionary(*feed.atomFeed(), count, {}));
}

// 978307200 s lie between 1970 and 2001: the date of the cases is 1136214245 - 978307200.
TEST(FeedDictionary, TakesFromRSSWhatCompositionsExpect)
{
    EXPECT_EQ(
        rss("<title>T</title><link>L</link><description>D &amp;lt;</description>"
            "<pubDate>Mon, 02 Jan 2006 15:04:05 GMT</pubDate>"
            "<item><title>a &amp;amp; b</title><link>l</link><description>&lt;p>x &amp;amp; y&lt;/p></description>"
            "<pubDate>2006-01-02T15:04:05.5Z</pubDate></item>"),
        R"({"Articles":[{"description":"x & y","link":"l","systemTime":157907045.5,"title":"a &amp; b"}],)"
        R"("Description":"D &lt;","Link":"L","SystemTime":157907045,"Title":"T"})");
    EXPECT_EQ(rss("<item/>"),
        R"({"Articles":[{"description":"","link":null,"systemTime":null,"title":null}],)"
        R"("Description":"","Link":null,"SystemTime":null,"Title":""})")
        << "a missing title or description of the feed is empty, all else null";
    EXPECT_THAT(rss("<ttl>1</ttl>"), testing::HasSubstr(R"("Articles":[])")) << "no items are an empty list";
}

TEST(FeedDictionary, TakesFromAtomWhatCompositionsExpect)
{
    EXPECT_EQ(atom("<title>T</title><subtitle>S</subtitle><updated>2006-01-02T15:04:05Z</updated>"
                   "<link href='one' rel='self'/><link href='two'/>"
                   "<entry><title>t</title><summary>not this</summary><content>&lt;b>c&lt;/b></content>"
                   "<link href='e'/><published>2001-01-01T00:00:01Z</published><updated>2001-01-01T00:00:02Z</updated>"
                   "</entry><entry><summary>nor this</summary><link/></entry>"),
        R"({"Articles":[{"description":"c","link":"e","systemTime":2,"title":"t"},)"
        R"({"description":"","link":null,"systemTime":null,"title":null}],)"
        R"("Description":"S","Link":"one","SystemTime":157907045,"Title":"T"})");
    EXPECT_EQ(atom("<id>1</id>"), R"({"Articles":[],"Description":null,"Link":null,"SystemTime":null,"Title":null})");
}

TEST(FeedDictionary, KeepsTheFirstArticles)
{
    const auto items = "<item><title>1</title></item><item><title>2</title></item><item><title>3</title></item>";
    for (const auto& [count, isLastIn] :
        std::map<std::int64_t, bool>{{0, true}, {-5, true}, {2, false}, {3, true}, {INT64_MAX, true}}) {
        EXPECT_THAT(rss(items, count), testing::HasSubstr(R"("title":"2")")) << count;
        EXPECT_EQ(rss(items, count).find(R"("title":"3")") != std::string::npos, isLastIn) << count;
    }
    const auto feed = parsed(std::string("<rss><channel>") + items + "</channel></rss>");
    EXPECT_EQ(articleTexts(feed, 2).size(), 2u) << "only articles that are kept are read";
}

TEST(PlaceholderFeed, SaysHelloAtTheCurrentTime)
{
    EXPECT_THAT(json(placeholderFeed(Date{978307200.0 + 12.5})),
        testing::MatchesRegex(
            R"(\{"Articles":null,"Description":"Muralis","Link":"https://[^"]+","SystemTime":12.5,"Title":"Hello"\})"));
}

} // namespace
} // namespace vitrel
