// Documents made to do harm: an error or a feed, in bounded time and memory.
#include "FeedKit/xml/XMLFeedParser.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>

namespace FeedKit {
namespace {

using testing::HasSubstr;
using vitrel::repeated;

FeedKit::Result<Feed, ParserError> parsed(const std::string& document)
{
    return XMLFeedParser(FeedKit::bytesOf(document)).parse();
}

std::string reasonOf(const FeedKit::Result<Feed, ParserError>& result)
{
    return result ? "a feed" : result.error().payload();
}
std::string reasonOf(const std::string& document)
{
    return reasonOf(parsed(document));
}
std::string reasonOf(const std::shared_ptr<NSInputStream>& stream)
{
    return reasonOf(XMLFeedParser(stream).parse());
}

// Gives the same piece behind a head, over and over up to a gibibyte.
struct EndlessStream final : NSInputStream {
    EndlessStream(const std::string& head, std::function<std::string()> piece)
        : next_(head)
        , piece_(std::move(piece))
    { }
    EndlessStream(const std::string& head, const std::string& piece, std::size_t perRead = SIZE_MAX)
        : EndlessStream(head, [text = repeated(piece, 1 + 30'000 / piece.size())] { return text; })
    {
        perRead_ = perRead;
    }

    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        if (at_ == next_.size()) {
            at_ = 0;
            next_ = given_ < 1u << 30 ? piece_() : "";
        }
        const auto count = std::min({maxLength, perRead_, next_.size() - at_});
        std::copy_n(next_.data() + at_, count, buffer);
        at_ += count;
        given_ += count;
        return static_cast<std::ptrdiff_t>(count);
    }

    std::size_t perRead_ = SIZE_MAX, at_ = 0, given_ = 0;
    std::string next_;
    std::function<std::string()> piece_;
};

TEST(HostileXML, NestsAsDeepAsItMay)
{
    const auto nested = [](std::size_t depth, const std::string& name) {
        return "<rss><channel><item><title>A</title>" + repeated("<" + name + ">", depth)
            + repeated("</" + name + ">", depth) + "</item></channel></rss>";
    };
    const auto deep = parsed(nested(9'997, "a"));
    ASSERT_TRUE(deep) << deep.error().payload();
    EXPECT_EQ(deep->rssFeed()->items->at(0)->title, "A");
    // With "rss", "channel" and "item" a mebibyte of names.
    EXPECT_EQ(reasonOf(nested(1, std::string((1u << 20) - 14, 'x'))), "a feed");
    for (const auto& document : {nested(9'998, "a"), nested(1'000'000, "a"), nested(60, std::string(100'000, 'x')),
             nested(1, std::string((1u << 20) - 13, 'x')), repeated("<rss>", 1'000'000)})
        EXPECT_EQ(reasonOf(document), "the document's elements are nested too deep");
}

TEST(HostileXML, HoldsATextOfAHundredMegabytesAndAMillionAttributes)
{
    std::string attributes;
    for (int k = 0; k < 1'000'000; ++k)
        attributes += " a" + std::to_string(k) + "=''";
    EXPECT_THAT(reasonOf("<rss><channel><category" + attributes + "/></channel></rss>"),
        testing::AnyOf("a feed", HasSubstr("too much memory")));
    const auto result = parsed("<rss><channel><title>" + std::string(100'000'000, 'x') + "</title></channel></rss>");
    ASSERT_TRUE(result) << result.error().payload();
    EXPECT_EQ(result->rssFeed()->title->size(), 100'000'000u);
    EXPECT_EQ(
        reasonOf("<rss><channel><pubDate>" + std::string(30'000'000, ' ') + "</pubDate></channel></rss>"), "a feed");
}

// Each nested entity is a call in the tokeniser, and each declared attribute a step at each start tag.
TEST(HostileXML, DeclaresWithoutEnd)
{
    const auto entities = [](int count) {
        std::string document = "<!DOCTYPE rss [<!ENTITY e0 'x'>";
        for (int k = 1; k < count; ++k)
            document += "<!ENTITY e" + std::to_string(k) + " '&e" + std::to_string(k - 1) + ";'>";
        const auto last = "&e" + std::to_string(count - 1) + ";";
        return document + "]><rss><channel a='" + last + "'><title>" + last + "</title></channel></rss>";
    };
    const auto attributes = [](int count, const char* kind, std::size_t elements) {
        std::string document = "<!DOCTYPE rss [<!ATTLIST a";
        for (int k = 0; k < count; ++k)
            document += " b" + std::to_string(k) + " CDATA " + kind;
        return document + ">]><rss><channel>" + repeated("<a/>", elements) + "</channel></rss>";
    };
    const auto tooManyAttributes = "the document declares too many attributes";
    const std::tuple<std::string, const char*, const char*> cases[] = {
        {entities(1000), "a feed", "names of characters are declared by the hundred"},
        {entities(1001), "the document declares too many entities", "one more"},
        {entities(50'000), "the document declares too many entities", "more than a stack holds"},
        {attributes(256, "'x'", 10'000), "a feed", "as many attributes as may be"},
        {attributes(257, "'x'", 1), tooManyAttributes, "one more"},
        {attributes(257, "#IMPLIED", 1), tooManyAttributes, "those without a default are walked over, too"},
        {attributes(256, "'x'", 750'000), tooManyAttributes, "each of many elements has them"},
        {attributes(16, "'x'", 750'000), "a feed", "a few of them cost little"},
    };
    for (const auto& [document, outcome, why] : cases)
        EXPECT_EQ(reasonOf(document), outcome) << why;
}

// The stream is given up long before its end, and isn't scanned from the beginning at each of its small pieces.
TEST(HostileXML, NeverEnds)
{
    const auto tooLong = "a text is too long for its element",
               tooLarge = "the document makes a feed of too much memory for its size", markup = "too much memory";
    const std::tuple<std::string, const char*, const char*, std::size_t> cases[] = {
        // the last: MiB of the stream
        {"<rss><channel><pubDate>", "1,", tooLong, 64},
        {"<rss><channel><item><media:content><media:keywords>", "1,", tooLong, 64},
        {"<rss><channel><ttl><![CDATA[", "1,", tooLong, 64},
        {"<rss><channel a='", "x", markup, 48},
        {"<rss><", "x", markup, 48},
        {"<rss><!--", "x", markup, 48},
        {"<rss><?x ", "x", markup, 48},
        {"<!DOCTYPE rss [<!ENTITY a '", "x", markup, 48},
        {"<rss><channel><title>", "x", tooLarge, 113}, // a stream has no size that could be too large
        {"<rss><channel>", "<item/>", tooLarge, 32},
        {"<feed>", "<entry/>", tooLarge, 32},
        {"<rss><channel><item>", "<media:content/>", tooLarge, 32},
        {"<rss><channel><item><media:community>", "<media:tags>,,,,,,,,,,,,,,,,,,,,,,,</media:tags>", tooLarge, 32},
        {"<rss><channel><item><media:content>", "<media:keywords>,,,,,,,,,,,,,,,,,,,</media:keywords>", tooLarge, 32},
        {"<rss><channel><item><media:comments><media:comment>", "&lt;", tooLarge, 32},
        {"<!DOCTYPE rss [<!ATTLIST category domain CDATA '" + std::string(1000, 'x') + "'>]><rss><channel>",
            "<category/>", tooLarge, 1},
    };
    for (const auto& [head, piece, reason, most] : cases) {
        for (const std::size_t perRead : {std::size_t(100), SIZE_MAX}) {
            if (perRead == 100 && reason != markup)
                continue;
            const auto stream = std::make_shared<EndlessStream>(head, piece, perRead);
            EXPECT_THAT(reasonOf(stream), HasSubstr(reason)) << head;
            EXPECT_LT(stream->given_, most << 20) << head;
        }
    }
    const auto names = [last = 0L]() mutable {
        std::string text;
        while (text.size() < 60'000)
            text += "<n" + std::to_string(++last) + "/>";
        return text;
    };
    EXPECT_THAT(reasonOf(std::make_shared<EndlessStream>("<rss>", names)), HasSubstr("too much memory"));
}

TEST(HostileXML, ExpandsEntities)
{
    std::string bomb = "<!DOCTYPE rss [<!ENTITY a0 'xxxxxxxxxx'>";
    for (int k = 1; k < 20; ++k)
        bomb += "<!ENTITY a" + std::to_string(k) + " '" + repeated("&a" + std::to_string(k - 1) + ";", 10) + "'>";
    EXPECT_THAT(reasonOf(bomb + "]><rss><channel><title>&a19;</title></channel></rss>"),
        HasSubstr("limit on input amplification factor"));
    const auto quadratic = "<!DOCTYPE rss [<!ENTITY a '" + std::string(50'000, 'x') + "'>]><rss><channel><title>"
        + repeated("&a;", 50'000) + "</title></channel></rss>";
    EXPECT_THAT(reasonOf(quadratic), HasSubstr("limit on input amplification factor"));
    // What real feeds do.
    EXPECT_EQ(
        reasonOf("<rss><channel><title>" + repeated("&lt;&#8217;", 150'000) + "</title></channel></rss>"), "a feed");
    EXPECT_THAT(reasonOf("<!DOCTYPE rss [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><rss><channel>&a;</channel></rss>"),
        HasSubstr("recursive entity reference"));
}

TEST(HostileXML, NeverFetchesWhatADocumentNames)
{
    const auto result = parsed("<!DOCTYPE rss SYSTEM 'file:///etc/passwd' [<!ENTITY x SYSTEM 'file:///etc/passwd'>"
                               "<!ENTITY % p SYSTEM 'file:///etc/passwd'>%p;]>"
                               "<rss><channel><title>A&x;B</title></channel></rss>");
    ASSERT_TRUE(result) << result.error().payload();
    EXPECT_EQ(result->rssFeed()->title, "AB");
}

} // namespace
} // namespace FeedKit
