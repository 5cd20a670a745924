#include "programs/feedkit/FeedJson.h"

#include <gtest/gtest.h>
#include <simdjson.h>

namespace vitrel {
namespace {

using namespace FeedKit;

std::string line(const Feed& feed)
{
    return documentJson("f", Reading{feed}, JsonLayout::line);
}

// What a program at the other end relies on, written out by hand.
TEST(FeedJson, HasTheModelsFieldsAndNothingForWhatIsAbsent)
{
    auto rss = std::make_shared<RSSFeed>();
    EXPECT_EQ(line(Feed::rss(rss)), R"({"file":"f","kind":"rss","feed":{}})");
    rss->title = "";
    rss->pubDate = Date{-0.5};
    rss->ttl = 60;
    rss->cloud = std::make_shared<RSSFeedCloud>();
    rss->skipHours.emplace();
    rss->skipDays = {RSSFeedSkipDay::monday, RSSFeedSkipDay::sunday};
    rss->items = {std::make_shared<RSSFeedItem>(), std::make_shared<RSSFeedItem>()};
    rss->items->back()->guid = std::make_shared<RSSFeedItemGUID>();
    rss->items->back()->guid->attributes.emplace().isPermaLink = false;
    rss->items->back()->guid->value = "1";
    rss->syndication = std::make_shared<SyndicationNamespace>();
    rss->syndication->syUpdatePeriod = SyndicationUpdatePeriod::hourly;
    EXPECT_EQ(line(Feed::rss(rss)),
        R"({"file":"f","kind":"rss","feed":{"title":"","pubDate":-0.5,"cloud":{},"ttl":60,"skipHours":[],)"
        R"("skipDays":["monday","sunday"],"items":[{},{"guid":{"attributes":{"isPermaLink":false},"value":"1"}}],)"
        R"("syndication":{"syUpdatePeriod":"hourly"}}})");

    auto atom = std::make_shared<AtomFeed>();
    atom->links = {std::make_shared<AtomFeedLink>()};
    atom->links->front()->attributes.emplace().length = 9;
    EXPECT_EQ(line(Feed::atom(atom)), R"({"file":"f","kind":"atom","feed":{"links":[{"attributes":{"length":9}}]}})");

    JSONFeed json;
    json.homePageURL = "h";
    json.expired = true;
    json.items.emplace().emplace_back().tags = {"a", "b"};
    EXPECT_EQ(line(Feed::json(json)),
        R"({"file":"f","kind":"json","feed":{"homePageURL":"h","expired":true,"items":[{"tags":["a","b"]}]}})");
}

TEST(FeedJson, PrintsNumbersSoThatTheyReadBackAsTheyWere)
{
    const std::pair<double, const char*> dates[] = {{0, "0"}, {1700000000, "1700000000"},
        {1700000000.25, "1700000000.25"}, {1700000000.123, "1700000000.123"}, {-62135596800, "-62135596800"}};
    auto rss = std::make_shared<RSSFeed>();
    for (const auto& [seconds, text] : dates) {
        rss->pubDate = Date{seconds};
        EXPECT_EQ(line(Feed::rss(rss)), std::string(R"({"file":"f","kind":"rss","feed":{"pubDate":)") + text + "}}");
    }
    simdjson::dom::parser json;
    const auto read = [&] { return json.parse(line(Feed::rss(rss)))["feed"]; };
    for (const auto number : {std::int64_t(0), INT64_MAX, INT64_MIN}) {
        rss->ttl = number;
        EXPECT_EQ(read()["ttl"].get_int64().value(), number);
    }
    rss->iTunes = std::make_shared<ITunesNamespace>();
    for (const double number : {0.1, 1.0 / 3, 1e300, 5e-324, 1e15, 123456789012345678.0, -90.0}) {
        rss->iTunes->iTunesDuration = number;
        EXPECT_EQ(read()["iTunes"]["iTunesDuration"].get_double().value(), number);
    }
}

TEST(FeedJson, EscapesWhatMustNotStandInAText)
{
    auto rss = std::make_shared<RSSFeed>();
    rss->title = "\"\\/\b\f\n\r\t\v\x01\x1f\x7f é\U0001F600" + std::string(1, '\0') + "end";
    const std::string text = line(Feed::rss(rss));
    EXPECT_NE(text.find(R"("\"\\/\b\f\n\r\t\u000b\u0001\u001f)"), text.npos) << text;
    simdjson::dom::parser json;
    EXPECT_EQ(json.parse(text)["feed"]["title"].get_string().value(), *rss->title);
    EXPECT_EQ(text.find('\n'), text.npos);
    // A file may be called anything; the line must stay JSON.
    const std::string odd = documentJson("a\xff\n\xe2\x82", ParserError::internalError("b\xc0"), JsonLayout::line);
    EXPECT_EQ(
        odd, "{\"file\":\"a\uFFFD\\n\uFFFD\uFFFD\",\"error\":{\"case\":\"internalError\",\"reason\":\"b\uFFFD\"}}");
    EXPECT_EQ(documentJson("f", ParserError::feedNotFound(), JsonLayout::line),
        R"({"file":"f","error":{"case":"feedNotFound","reason":"Couldn't parse any known feed"}})");
}

TEST(FeedJson, PrettyIsTheSameOverSeveralLines)
{
    auto rss = std::make_shared<RSSFeed>();
    rss->title = "a: {,";
    rss->cloud = std::make_shared<RSSFeedCloud>();
    rss->skipHours = {0, 23};
    EXPECT_EQ(documentJson("f", Reading{Feed::rss(rss)}, JsonLayout::pretty),
        "{\n  \"file\": \"f\",\n  \"kind\": \"rss\",\n  \"feed\": {\n    \"title\": \"a: {,\",\n    \"cloud\": {},\n"
        "    \"skipHours\": [\n      0,\n      23\n    ]\n  }\n}");
}

} // namespace
} // namespace vitrel
