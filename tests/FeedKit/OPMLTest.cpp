#include "FeedKit/opml/OPML.h"
#include "support/Repeated.h"

#include <gtest/gtest.h>

namespace FeedKit {
namespace {

using vitrel::repeated;

Result<OPML, ParserError> read(std::string_view document)
{
    return readOPML(bytesOf(document));
}
std::string errorOf(std::string_view document)
{
    const auto result = read(document);
    return result ? "none" : result.error().payload();
}

TEST(OPML, ReadsWhatReadersWrite)
{
    const auto opml = read(R"(<?xml version="1.0" encoding="ISO-8859-1"?><!DOCTYPE opml>
<opml version="1.0"><head><title> My &amp; <![CDATA[<feeds>]]> </title><dateCreated>Tue, 15 Nov 1994 08:12:31 GMT</dateCreated>
<dateModified>some day</dateModified><ownerName>N)"
                           "\xE9"
                           R"(</ownerName><x><title>no</title></x></head><x><outline text="no"/></x><body>
<outline text="Folder" isOpen="true" x:y="no"><outline TEXT="A" title="B" type="rss" xmlURL="http://h/a?b&amp;c" htmlurl="h"
 description="d" language="en" category="/a/b, c,,"/><x><outline text="In"/></x></outline><outline/></body></opml>)");
    ASSERT_TRUE(opml) << opml.error().payload();
    OPML expected;
    expected.title = "My & <feeds>";
    expected.dateCreated = Date{784887151};
    expected.ownerName = "N\u00E9";
    expected.outlines.resize(2);
    auto& folder = expected.outlines[0];
    folder.text = "Folder";
    folder.others = {{"isOpen", "true"}};
    folder.children.resize(2);
    folder.children[0] = {"A", "B", "rss", "http://h/a?b&c", "h", "d", "en", {"/a/b", "c"}, {}, {}};
    folder.children[1].text = "In";
    EXPECT_TRUE(*opml == expected) << writeOPML(*opml);
}

TEST(OPML, WritesWhatItReads)
{
    OPML opml{"T<&>\"'\u00E9", Date{784887151}, Date{0}, "N", "a@b", {}};
    Outline deep{
        "\t\n\r & <\"> ' \u00E9", "", "rss", "http://h/?a&b", {}, " d ", {}, {"/a/b", "c d"}, {{"_x.y-1", "<&>"}}, {}};
    for (int level = 0; level < 64; ++level) {
        opml.outlines = {deep, deep};
        deep.children = opml.outlines;
        deep.children[0].children.clear();
    }
    const auto text = writeOPML(opml);
    const auto again = read(text);
    ASSERT_TRUE(again) << again.error().payload();
    EXPECT_TRUE(*again == opml);
    EXPECT_NE(text.find("<dateCreated>Tue, 15 Nov 1994 08:12:31 GMT</dateCreated>"), text.npos);
    EXPECT_NE(text.find("<opml version=\"2.0\">"), text.npos);

    // What XML can't have goes, and nothing gets out of its place.
    Outline odd;
    odd.text = "a\x01\xFF\uFFFE"
               "b";
    odd.others = {
        {"x y", "1"}, {"", "1"}, {"1x", "1"}, {"TEXT", "1"}, {"category", "1"}, {"xmlns", "1"}, {"a", "1"}, {"a", "2"}};
    opml.outlines = {odd};
    opml.dateCreated = Date{-12212553601.0}; // a second before 1583
    opml.dateModified = Date{1e300};
    odd.text = "a\uFFFD"
               "b";
    odd.others = {{"a", "1"}};
    const auto mended = read(writeOPML(opml));
    EXPECT_TRUE(mended->outlines == std::vector{odd});
    EXPECT_FALSE(mended->dateCreated || mended->dateModified);
}

TEST(OPML, ListsSubscriptionsOnce)
{
    const auto opml
        = read(R"(<opml><body><outline xmlUrl="a" text="1"><outline xmlUrl="b"/><outline xmlUrl=""/></outline>
<outline text="c"><outline xmlUrl="a" text="2"/><outline xmlUrl="c"/></outline></body></opml>)");
    std::string found;
    for (const auto& outline : subscriptionsIn(*opml))
        found += *outline.xmlUrl + outline.text.value_or("") + (outline.children.empty() ? " " : "!");
    EXPECT_EQ(found, "a1 b c ");
}

TEST(OPML, RefusesWhatIsNoneOrTooMuch)
{
    const auto nested = [](std::size_t levels) {
        return "<opml><body>" + repeated("<outline>", levels) + repeated("</outline>", levels) + "</body></opml>";
    };
    EXPECT_EQ(errorOf("<rss/>"), "the root isn't opml");
    EXPECT_NE(errorOf(""), "none");
    EXPECT_NE(errorOf("<opml><body>"), "none");
    EXPECT_EQ(errorOf(nested(64)), "none");
    EXPECT_EQ(errorOf(nested(65)), "the outlines are nested too deeply");
    EXPECT_EQ(errorOf(nested(9'000)), "the outlines are nested too deeply");
    EXPECT_EQ(errorOf("<opml><body>" + repeated("<outline/>", 100'000) + "</body></opml>"), "none");
    EXPECT_EQ(
        errorOf("<opml><body>" + repeated("<outline/>", 100'001) + "</body></opml>"), "there are too many outlines");
    const auto defaults
        = "<!DOCTYPE opml [<!ATTLIST outline text CDATA '" + std::string(100'000, 'x') + "'>]><opml><body>";
    EXPECT_NE(errorOf(defaults + repeated("<outline/>", 10'000) + "</body></opml>"), "none");
    EXPECT_EQ(errorOf("<opml><body>" + repeated("<outline category='" + repeated(",", 100'000) + "'/>", 30)
                  + "</body></opml>"),
        "there are too many attributes");
}

} // namespace
} // namespace FeedKit
