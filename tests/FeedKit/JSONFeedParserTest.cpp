#include "FeedKit/json/JSONFeedParser.h"
#include "FeedKit/json/JSONCoding.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>

namespace FeedKit {
namespace {

using FeedKit::bytesOf, vitrel::repeated;
using testing::HasSubstr;

std::optional<JSONFeed> parsed(std::string_view json)
{
    const auto feed = JSONFeedParser(bytesOf(json)).parse();
    return feed ? std::optional(*feed->jsonFeed()) : std::nullopt;
}

std::string reasonOf(std::string_view json)
{
    const auto feed = JSONFeedParser(bytesOf(json)).parse();
    EXPECT_TRUE(feed || feed.error().which() == ParserError::Case::internalError);
    return feed ? "" : feed.error().payload();
}

// A key that leads into a neighbour's field would pass any test that looks at one field alone.
TEST(JSONFeedParser, PutsEachKeyIntoItsField)
{
    const auto feed = parsed(R"({"version": "1", "title": "2", "home_page_url": "3", "feed_url": "4",
        "description": "5", "user_comment": "6", "next_url": "7", "icon": "8", "favicon": "9",
        "author": {"name": "10", "url": "11", "avatar": "12"}, "expired": true, "hubs": [{"type": "13", "url": "14"}],
        "items": [{"id": "15", "url": "16", "external_url": "17", "title": "18", "content_text": "19",
            "content_html": "20", "summary": "21", "image": "22", "banner_image": "23",
            "date_published": "2006-01-02T15:04:05Z", "date_modified": "2006-01-02T15:04:05.25+01:00",
            "author": {"name": "24"}, "tags": ["25", ""], "attachments": [{"url": "26", "mime_type": "27",
                "title": "28", "size_in_bytes": 29, "duration_in_seconds": 30.5}]}]})");
    ASSERT_TRUE(feed);
    JSONFeed expected;
    expected.version = "1", expected.title = "2", expected.homePageURL = "3", expected.feedUrl = "4";
    expected.description = "5", expected.userComment = "6", expected.nextUrl = "7", expected.icon = "8";
    expected.favicon = "9", expected.author = JSONFeedAuthor{"10", "11", "12"}, expected.expired = true;
    expected.hubs = {JSONFeedHub{"13", "14"}};
    auto& item = expected.items.emplace().emplace_back();
    item.id = "15", item.url = "16", item.externalUrl = "17", item.title = "18", item.contentText = "19";
    item.contentHtml = "20", item.summary = "21", item.image = "22", item.bannerImage = "23";
    item.datePublished = Date{1136214245}, item.dateModified = Date{1136210645.25};
    item.author = JSONFeedAuthor{"24", {}, {}}, item.tags = {"25", ""};
    item.attachments = {JSONFeedAttachment{"26", "27", "28", 29, 30.5}};
    EXPECT_TRUE(*feed == expected);
}

TEST(JSONFeedParser, TakesAnyObjectWhoseKnownKeysFit)
{
    JSONFeed untitled, titled, versioned, emptyItems, oneItem;
    titled.title = "T";
    versioned.version = "none";
    emptyItems.items.emplace();
    oneItem.items.emplace().emplace_back();
    const std::tuple<const char*, const JSONFeed&, const char*> cases[] = {
        {"{}", untitled, "nothing at all"},
        {"\xEF\xBB\xBF {} \r\n", untitled, "a byte-order mark and blanks"},
        {R"({"items": []})", emptyItems, "an empty array is present"},
        {R"({"items": null, "author": null, "expired": null})", untitled, "null is absent"},
        {R"({"Title": "x", "TITLE": 5})", untitled, "keys have a case"},
        {R"({"_x": {"title": 5, "items": [{"id": 1}]}, "title": "T"})", titled, "an unknown key may hold anything"},
        {R"({"t\u0069tle": "\u0054"})", titled, "escapes, in keys too"},
        {R"({"title": "a", "title": "T"})", titled, "the last of two values counts"},
        {R"({"title": 5, "title": "T"})", titled, "and the first isn't looked at"},
        {R"({"title": "a", "title": null})", untitled, "nor if the last is null"},
        {R"({"items": [{"id": "a"}, {}], "items": [{}]})", oneItem, "values aren't merged"},
        {R"({"version": "none"})", versioned, "nothing checks the version"},
    };
    for (const auto& [json, feed, why] : cases) {
        const auto read = parsed(json);
        EXPECT_TRUE(read && *read == feed) << json << ": " << why << ' ' << reasonOf(json);
    }
}

TEST(JSONFeedParser, OneWrongTypeSinksTheDocumentAndTheReasonSaysWhere)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"({"items": 5})", R"("items" is a number where an array belongs)"},
        {R"({"items": {}})", R"("items" is an object where an array belongs)"},
        {R"({"items": [{}, {"id": 42}]})", R"("items[1].id" is a number where a text belongs)"},
        {R"({"items": [{}, null]})", R"("items[1]" is null where an object belongs)"},
        {R"({"expired": "true"})", R"("expired" is a text where a boolean belongs)"},
        {R"({"expired": 1})", R"("expired" is a number where a boolean belongs)"},
        {R"({"author": "me"})", R"("author" is a text where an object belongs)"},
        {R"({"author": {"name": []}})", R"("author.name" is an array where a text belongs)"},
        {R"({"items": [{"tags": ["a", null]}]})", R"("items[0].tags[1]" is null where a text belongs)"},
        {R"({"items": [{"date_published": 5}]})", "is a number where a date belongs"},
        {R"({"items": [{"date_published": "yesterday"}]})", R"("items[0].date_published" is "yesterday")"},
        {R"({"items": [{"date_published": "2020-01-02"}]})", "a format that this feed may use"},
        {R"({"items": [{"date_published": "Mon, 02 Jan 2006 15:04:05 GMT"}]})", "a format that this feed may use"},
        {R"({"items": [{"date_modified": ""}]})", R"(is "")"},
        {R"([{"title": "a"}])", "The document is an array where an object belongs"},
        {R"("title")", "The document is a text where an object belongs"},
    };
    for (const auto& [json, reason] : cases)
        EXPECT_THAT(reasonOf(json), HasSubstr(reason)) << json;
    EXPECT_LT(reasonOf(R"({"items": [{"date_published": ")" + std::string(100'000, 'x') + "\"}]}").size(), 300u);
}

// An integer beyond 64 bits is a double, and one if its nearest double fits.
TEST(JSONFeedParser, TellsIntegersFromFractions)
{
    const std::tuple<const char*, std::optional<std::int64_t>, std::optional<double>> cases[]
        = {{"3", 3, 3.0}, {"3.0", 3, 3.0}, {"3e2", 300, 300.0}, {"-0", 0, 0.0}, {"1.5", {}, 1.5},
            {"9223372036854775807", INT64_MAX, 0x1p63}, {"-9223372036854775808", INT64_MIN, -0x1p63},
            {"9223372036854775808", {}, 0x1p63}, {"9223372036854775808.0", {}, 0x1p63},
            {"18446744073709551615", {}, 0x1p64}, {"1e300", {}, 1e300}, {"18446744073709551616", {}, 0x1p64},
            {"-18446744073709551616", {}, -0x1p64}, {"-9223372036854775809", INT64_MIN, -0x1p63}, {"1e400", {}, {}},
            {"-1e400", {}, {}}, {"1e-400", 0, 0.0}, {"\"3\"", {}, {}}, {"true", {}, {}}};
    for (const auto& [number, size, duration] : cases) {
        for (const std::string beside : {"", "\"x\": 1e400, "}) { // with which the document is read a second time
            const auto with = [&, number = number](const std::string& key) {
                return decode<JSONFeedAttachment>(
                    bytesOf("{" + beside + "\"" + key + "\": " + number + "}"), decodingStrategy);
            };
            const auto withSize = with("size_in_bytes"), withDuration = with("duration_in_seconds");
            EXPECT_EQ(withSize ? withSize->sizeInBytes : std::nullopt, size) << beside << number;
            EXPECT_EQ(withDuration ? withDuration->durationInSeconds : std::nullopt, duration) << beside << number;
        }
    }
}

// Numbers that fit no type of ours are nobody's business in a key that nobody reads.
TEST(JSONFeedParser, SkipsNumbersBeyondRangeUnderUnknownKeysAlone)
{
    const std::string huge(400, '9');
    const std::pair<std::string, std::string> cases[] = {{"{\"x\": 1e400, \"title\": \"a 1e400\"}", "a 1e400"},
        {"{\"x\": [-1E+400, {\"y\":" + huge + "}], \"title\": \"a\\\"1e999\"}", "a\"1e999"},
        {"{\"title\": 1e400}", "\"title\" is a number beyond all range where a text belongs."},
        {"{\"title\": \"a\", \"author\": 1e400}", "\"author\" is a number beyond all range where an object belongs."},
        {"{\"title\": \"a\", \"items\": [{\"tags\": 1e400}]}",
            "\"items[0].tags[0]\" is an array where a text belongs."}};
    for (const auto& [json, outcome] : cases) { // the title, or the reason
        const auto parsed = JSONFeedParser(bytesOf(json)).parse();
        EXPECT_EQ(parsed ? parsed->jsonFeed()->title : parsed.error().payload(), outcome) << json;
    }
}

TEST(JSONFeedParser, RefusesWhatIsNoJSONAlsoInKeysThatNobodyReads)
{
    const std::string deep(2000, '[');
    const std::string cases[] = {"", " \n", "{", "{\"title\": \"a", "{\"title\": \"a\"", "{\"title\": \"a\",}",
        "{title: \"a\"}", "{'title': 'a'}", "{\"title\": \"a\"} x", "{\"title\": \"a\"}{}", "{} // comment",
        "{\"x\": [1, 2}", "{\"x\": [1 2]}", "{\"x\": 01}", "{\"x\": .5}", "{\"x\": +1}", "{\"x\": NaN}", "{\"x\": nul}",
        "{\"x\": 1e400, \"y\": 1e}", "{\"x\": 01e400}", "{\"x\": 1.e400}", "{\"x\": -.5e400}", "{\"x\": 1e400-5}",
        "{\"x\": " + std::string(400, '9') + "e+}", "{\"x\": \"a\nb\"}", "{\"x\": \"\\q\"}", "{\"x\": \"\\u12G4\"}",
        "{\"x\": \"\\ud800\"}", "{\"x\": \"\\udc00\\ud800\"}", "{\"x\": \"\xFF\"}", "{\"x\": \"\xED\xA0\x80\"}",
        "{\"x\": \"\xC0\x80\"}", std::string("{\"x\": \"a\0b\"}", 12), std::string("{}\0", 3), std::string("{\0}", 3),
        "\xFF\xFE{}", "\xEF\xBB\xBF\xEF\xBB\xBF{}", "{\"x\": " + deep + std::string(2000, ']') + "}", deep,
        std::string(1'000'000, '{')};
    for (const auto& json : cases)
        EXPECT_THAT(reasonOf(json), HasSubstr("The document isn't valid JSON: ")) << json.substr(0, 40);
}

// Three bytes an item against hundreds in the model, two a tag against thirty.
TEST(JSONFeedParser, KeepsTheModelInProportionToTheDocument)
{
    const auto items = [](std::size_t count) { return "{\"items\":[" + repeated("{},", count) + "{}]}"; };
    EXPECT_EQ(parsed(items(25'000))->items->size(), 25'001u);
    for (const auto& json : {items(690'000), "{\"items\":[{\"tags\":[" + repeated("\"\",", 690'000) + "\"\"]}]}"})
        EXPECT_THAT(reasonOf(json), HasSubstr("too large for its document"));
    // Refused before there is a tree of it, which alone would take ten times the document.
    EXPECT_THAT(reasonOf("{\"x\":[" + repeated("0,", 10'000'000) + "0]}"), HasSubstr("more values than a feed"));
    EXPECT_EQ(parsed("{\"title\":\"" + std::string(90'000'000, 'x') + "\"}")->title->size(), 90'000'000u)
        << "texts pay for themselves";
}

std::string secondsText(Date date)
{
    return std::to_string(static_cast<std::int64_t>(date.secondsSince1970));
}

TEST(Encoding, WritesEachKeyOnceInOrderAndNullForTheAbsent)
{
    EXPECT_EQ(encode(JSONFeed{}, secondsText),
        R"({"version":null,"title":null,"user_comment":null,"home_page_url":null,"description":null,"feed_url":null,)"
        R"("next_url":null,"icon":null,"favicon":null,"expired":null,"author":null,"hubs":null,"items":null})");
    JSONFeedItem item;
    item.datePublished = Date{1136214245};
    item.tags = {"a", "b"};
    item.attachments.emplace();
    EXPECT_EQ(encode(item, secondsText),
        R"({"id":null,"title":null,"url":null,"external_url":null,"content_text":null,"content_html":null,)"
        R"("summary":null,"image":null,"banner_image":null,"date_published":"1136214245","date_modified":null,)"
        R"("tags":["a","b"],"author":null,"attachments":[]})");
    EXPECT_EQ(encode(JSONFeedAttachment{"u", "m", "t", -3, 1.5}),
        R"({"title":"t","url":"u","mime_type":"m","size_in_bytes":-3,"duration_in_seconds":1.5})");
    EXPECT_THAT(encode(JSONFeedAttachment{{}, {}, {}, {}, 1.0 / 0.0}), HasSubstr(R"("duration_in_seconds":null)"));
    EXPECT_EQ(encode(JSONFeedAuthor{"n", {}, "a"}), R"({"name":"n","url":null,"avatar":"a"})");
    EXPECT_EQ(encode(JSONFeedHub{"t", "u"}), R"({"type":"t","url":"u"})");
}

TEST(Encoding, EscapesWhatTextsMustNotHoldBare)
{
    const auto written = [](std::string text) { return encode(JSONFeedHub{std::move(text), {}}); };
    EXPECT_EQ(written("\"\\/\b\f\n\r\t"), R"({"type":"\"\\/\b\f\n\r\t","url":null})");
    EXPECT_EQ(written(std::string("\0\x1f\x7f", 3)), "{\"type\":\"\\u0000\\u001f\x7f\",\"url\":null}");
    EXPECT_EQ(written("\u00E9\U0001F600"), "{\"type\":\"\u00E9\U0001F600\",\"url\":null}");
    EXPECT_EQ(written("a\xFF"), "{\"type\":\"a\uFFFD\",\"url\":null}");
}

TEST(Coding, TakesTheCallersDateStrategy)
{
    const std::string json = R"({"date_published": "2006-01-02T15:04:05-08:+0100"})";
    const auto item = decode<JSONFeedItem>(bytesOf(json), decodingStrategy);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->datePublished, Date{1136210645.08});
    EXPECT_THAT(encode(*item, encodingStrategy), HasSubstr(R"("date_published":"2006-01-02T14:04:05")"));
    const auto none = decode<JSONFeedItem>(bytesOf(R"({"date_published": "x"})"), decodingStrategy);
    EXPECT_THAT(none.error().description, HasSubstr("Date decoding strategy failed."));
}

} // namespace
} // namespace FeedKit
