#include "FeedKit/xml/XMLFeedParser.h"

#include "FeedKit/Leaves.h"
#include "support/PeakMemory.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace FeedKit {
namespace {

using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;
using testing::Pair;

Leaves parsed(const std::string& document, Extent extent)
{
    const auto feed = XMLFeedParser(bytesOf(document), {.extent = extent}).parse();
    EXPECT_TRUE(feed) << feed.error().payload() << "\n" << document;
    return feed ? leavesOf(*feed) : Leaves();
}

std::string rss(const std::string& item, const std::string& channel = "")
{
    return "<rss xmlns:m='urn:mine' xml:base='http://example.org/a/'><channel>" + channel + "<item>" + item
        + "</item></channel></rss>";
}

std::string atom(const std::string& entry, const std::string& feed = "")
{
    return "<feed xml:base='http://example.org/a/' xml:lang='en'>" + feed + "<entry>" + entry + "</entry></feed>";
}

const std::string kItem = "items[0].";
const std::string kMore = "items[0].more.";
const std::string kGroup = "items[0].media.mediaGroup.";

// What is asked for comes, and what isn't asked for doesn't.
TEST(More, IsKeptByChoiceAlone)
{
    const std::tuple<std::string, Leaves> cases[] = {
        {rss("<enclosure url='1'/><enclosure url='2'/>"),
            {{kItem + "enclosure.attributes.url", "\"1\""}, {kMore + "enclosures[0].attributes.url", "\"1\""},
                {kMore + "enclosures[1].attributes.url", "\"2\""}}},
        {rss("<pubDate>Mon, 02 Jan 2006 15:04:05 GMT</pubDate><dc:date>some &amp; day</dc:date>"),
            {{kItem + "pubDate", "1136214245.000000"}, {kMore + "pubDateText", "\"Mon, 02 Jan 2006 15:04:05 GMT\""},
                {kMore + "dcDateText", "\"some & day\""}}},
        {rss("<atom:link rel='replies' href='r'/>", "<atom:link rel='self' href='s'/><atom:link href='h'/>"),
            {{"more.links[0].attributes.rel", "\"self\""}, {"more.links[1].attributes.href", "\"h\""},
                {kMore + "links[0].attributes.href", "\"r\""}}},
        {rss("<media:title type='html'>T</media:title><media:keywords>a, b</media:keywords><media:rights status='s'/>"
             "<media:credit>C</media:credit><media:hash algo='md5'>H</media:hash>"),
            {{kItem + "media.mediaTitle.attributes.type", "\"html\""}, {kItem + "media.mediaTitle.value", "\"T\""},
                {kItem + "media.mediaKeywords[1]", "\"b\""}, {kItem + "media.mediaRights.attributes.status", "\"s\""},
                {kItem + "media.mediaCredits[0].value", "\"C\""}, {kItem + "media.mediaHash.value", "\"H\""}}},
        {rss("<media:group><media:title>T</media:title><media:thumbnail url='t'/><media:content url='c'>"
             "<media:title>in</media:title></media:content><media:community><media:statistics views='7'/>"
             "</media:community></media:group>"),
            {{kGroup + "mediaTitle.value", "\"T\""}, {kGroup + "mediaThumbnails[0].attributes.url", "\"t\""},
                {kGroup + "mediaContents[0].mediaTitle.value", "\"in\""},
                {kGroup + "mediaCommunity.mediaStatistics.attributes.views", "7"}}},
        {rss("<podcast:transcript url='t' type='text/vtt' language='en' rel='captions'/><podcast:chapters url='c'/>"
             "<podcast:soundbite startTime='1.5' duration='2'>S</podcast:soundbite><podcast:season name='N'>3"
             "</podcast:season><podcast:alternateEnclosure type='audio/opus'><podcast:source uri='u'/>"
             "</podcast:alternateEnclosure>",
             "<podcast:guid>G</podcast:guid><podcast:person role='guest'>P</podcast:person>"),
            {{"more.podcast.guid", "\"G\""}, {"more.podcast.persons[0].value", "\"P\""},
                {"more.podcast.persons[0].attributes.role", "\"guest\""},
                {kMore + "podcast.transcripts[0].attributes.rel", "\"captions\""},
                {kMore + "podcast.chapters.attributes.url", "\"c\""},
                {kMore + "podcast.soundbites[0].attributes.startTime", "1.500000"},
                {kMore + "podcast.season.value", "\"3\""},
                {kMore + "podcast.alternateEnclosures[0].sources[0].attributes.uri", "\"u\""}}},
        {"<rdf:RDF><channel/><item rdf:about='A'><media:thumbnail url='t'/></item></rdf:RDF>",
            {{kMore + "about", "\"A\""}, {kItem + "media.mediaThumbnails[0].attributes.url", "\"t\""}}},
        // The base of each is made whole by the one around it.
        {rss("", "<link>l</link>"),
            {{"link", "\"l\""}, {"more.base", "\"http://example.org/a/\""},
                {kMore + "base", "\"http://example.org/a/\""}}},
        {atom("<title type='html'>T</title><content xml:base='c/' xml:lang='fr'>C</content>"
              "<updated>2006-01-02T15:04:05Z</updated>"),
            {{"more.base", "\"http://example.org/a/\""}, {"more.language", "\"en\""},
                {"entries[0].more.base", "\"http://example.org/a/\""}, {"entries[0].more.language", "\"en\""},
                {"entries[0].more.titleType", "\"html\""},
                {"entries[0].more.contentBase", "\"http://example.org/a/c/\""},
                {"entries[0].more.updatedText", "\"2006-01-02T15:04:05Z\""}}},
        {"<feed><entry xml:base='/b/'><title>T</title></entry><entry><title>T</title></entry></feed>",
            {{"entries[0].more.base", "\"/b/\""}}},
    };
    for (const auto& [document, leaves] : cases) {
        EXPECT_THAT(parsed(document, Extent::more), IsSupersetOf(leaves)) << document;
        auto strict = parsed(document, Extent::model);
        for (const auto& [path, value] : strict)
            EXPECT_EQ(path.find("more"), path.npos) << path;
        EXPECT_THAT(parsed(document, Extent::more), IsSupersetOf(strict)) << document;
    }
}

TEST(More, KeepsWhatNoFieldStandsForWithItsNamespace)
{
    const auto leaves
        = parsed(rss("<m:rating max='5' xmlns:m='urn:other'>4<m:by>me<x/></m:by></m:rating><title>T</title>"
                     "<unknown/><media:content><m:deep/></media:content>",
                     "<m:note> a<!-- cut -->b </m:note>"),
            Extent::more);
    const Leaves expected{{"more.extensions[0].name", "\"note\""}, {"more.extensions[0].namespaceURI", "\"urn:mine\""},
        {"more.extensions[0].text", "\" ab \""}, {kMore + "extensions[0].name", "\"rating\""},
        {kMore + "extensions[0].namespaceURI", "\"urn:other\""}, {kMore + "extensions[0].text", "\"4\""},
        {kMore + "extensions[0].attributes[0].name", "\"max\""}, {kMore + "extensions[0].attributes[0].value", "\"5\""},
        {kMore + "extensions[0].children[0].text", "\"me\""},
        {kMore + "extensions[0].children[0].children[0].name", "\"x\""}, {kMore + "extensions[1].name", "\"unknown\""},
        {kItem + "title", "\"T\""}};
    EXPECT_THAT(leaves, IsSupersetOf(expected));
    EXPECT_THAT(leaves, Not(Contains(Pair(kMore + "extensions[2].name", testing::_)))) << "below what has a row";
    EXPECT_THAT(leaves, Not(Contains(Pair(kMore + "extensions[0].attributes[1].name", testing::_))));
}

TEST(More, ReadsAtomsXHTMLAsMarkup)
{
    const std::pair<const char*, const char*> cases[] = {
        {"\n <h:div xmlns:h='http://www.w3.org/1999/xhtml'><h:p class='&quot;a'>1 &lt; 2<h:br/>x</h:p> </h:div>\n",
            "<p class=\"&quot;a\">1 &lt; 2<br>x</p> "},
        {"<div xmlns='http://www.w3.org/1999/xhtml'><div xml:lang='de'>in</div><script></script></div>",
            "<div lang=\"de\">in</div><script></script>"},
        {"plain <b>and</b>", "plain <b>and</b>"},
        {"<div><![CDATA[<i>]]></div>", "&lt;i&gt;"},
        {"<div></div>", ""},
    };
    for (const auto& [inside, markup] : cases) {
        const auto document = atom(std::string("<content type='xhtml'>") + inside + "</content><id>I</id>");
        const auto leaves = parsed(document, Extent::more);
        EXPECT_THAT(leaves, Contains(Pair("entries[0].content.value", '"' + std::string(markup) + '"'))) << inside;
        EXPECT_THAT(leaves, Contains(Pair("entries[0].id", "\"I\""))) << "what follows is in its place";
    }
}

TEST(More, HasItsLimits)
{
    // Deeper than anybody means it.
    const auto deep = rss(vitrel::repeated("<m:x>", 5000) + "end" + vitrel::repeated("</m:x>", 5000));
    const auto leaves = parsed(deep, Extent::more);
    EXPECT_GT(leaves.size(), 100u);
    EXPECT_LT(leaves.size(), 500u);
    // What a few bytes of the document make many of: elements, and copies of what holds for all of them.
    const std::string base(8000, 'b'), end = "</item></channel></rss>";
    for (const auto& document : {rss(vitrel::repeated("<x/>", 300'000)),
             "<rss><channel xml:base='" + base + "'>" + vitrel::repeated("<item/>", 30'000) + end,
             "<feed xml:lang='" + base + "'>" + vitrel::repeated("<entry/>", 30'000) + end,
             "<rss xmlns:m='" + base.substr(7000) + "'><channel><item>" + vitrel::repeated("<m:x/>", 50'000) + end,
             "<feed><entry><content type='xhtml'><![CDATA[" + std::string(24u << 20, '&') + "]]>" + end}) {
        vitrel::resetPeakMemory();
        const auto refused = XMLFeedParser(bytesOf(document), {.extent = Extent::more}).parse();
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().payload(), "the document makes a feed of too much memory for its size");
        EXPECT_LT(vitrel::peakMebibytes(), 400) << "with the five documents: " << document.substr(0, 40);
    }
    // And markup that is as large as its document.
    const auto large = vitrel::repeated("<p>&lt;</p>", 300'000);
    const auto kept = parsed(atom("<content type='xhtml'>" + large + "</content>"), Extent::more);
    EXPECT_EQ(kept.at("entries[0].content.value").size(), large.size() + 2);
}

} // namespace
} // namespace FeedKit
