#include "FeedKit/discovery/Discovery.h"
#include "support/Repeated.h"

#include <gtest/gtest.h>

namespace FeedKit {
namespace {

// Each as "address|title|type", a guess with "?" ahead.
std::string found(std::string_view html, const char* address = "http://h/a/b")
{
    std::string out;
    for (const auto& feed : discoverFeeds(html, URL(address)))
        out += (out.empty() ? "" : " ") + std::string(feed.isGuess ? "?" : "") + feed.url.text() + "|" + feed.title
            + "|" + feed.type;
    return out;
}

TEST(Discovery, FindsWhatAPageTellsOf)
{
    const std::tuple<const char*, const char*> cases[] = {
        {"<link rel=alternate type=application/rss+xml href=f title=' A &amp;\n&lt;B '>",
            "http://h/a/f|A & <B|application/rss+xml"},
        {"<LINK REL='nofollow\tAlternate' TYPE='Application/Atom+XML; charset=x' HREF='//g/f'/>",
            "http://g/f||application/atom+xml"},
        {"<link rel=alternate type=application/feed+json href=1><link rel=alternate type=application/rdf+xml href=2>",
            "http://h/a/1||application/feed+json http://h/a/2||application/rdf+xml"},
        {"<link rel=feed href=f>", "http://h/a/f||"},
        {"<link rel=alternates type=application/rss+xml href=f><link rel=alternate href=f>"
         "<link type=application/rss+xml href=f><link rel=alternate type=application/rss+xml href=' '></link>",
            ""},
        {"<!--<link rel=feed href=f>--><script>'<link rel=feed href=f>'</script></link rel=feed href=f>", ""},
        // Most sites have such a link to their programming interface.
        {"<link rel=alternate type=application/json href=/wp-json/1><link rel=alternate type=application/json "
         "href=/feed.json>"
         "<link rel=alternate type=text/xml title='My Feed' href=x>",
            "?http://h/feed.json||application/json ?http://h/a/x|My Feed|text/xml"},
        {"<a href=x.rss>A <b>&lt;</b></a> no <a href=x.rss#y title=T>U</a><link rel=feed href=f><a href=f>F</a><a "
         "href='f?q' title=T>U</a>",
            "http://h/a/f|| ?http://h/a/x.rss|A <|"},
        {"<a href=/b/feed/><a href=/FEED.atom?x><a href=/feedback><a href=/.rss><a href=sitemap.xml><a href=c/rss><a "
         "href='?x=1&feed=atom'>T</a>",
            "?http://h/b/feed/|| ?http://h/FEED.atom?x|| ?http://h/.rss|| ?http://h/a/c/rss|| "
            "?http://h/a/b?x=1&feed=atom|T|"},
        {"<link rel=feed href=f><base href=../c/><base href=/d/><a href=g.rdf>", "http://h/c/f|| ?http://h/c/g.rdf||"},
        {"<link rel=feed href=javascript:x><link rel=feed href=feed:x><link rel=feed href=FILE:///x><a "
         "href='mailto:a@b/feed'>",
            "feed:x|| FILE:///x||"}};
    for (const auto& [html, feeds] : cases)
        EXPECT_EQ(found(html), feeds) << html;
    EXPECT_EQ(found("<base href=x/><link rel=feed href=f><a href=http://h/feed>", ""), "f|| ?http://h/feed||");
    EXPECT_EQ(found("<base href=http://x/><link rel=feed href=f>", ""), "http://x/f||");
}

TEST(Discovery, HasBounds)
{
    std::string many;
    for (int k = 0; k < 300'000; ++k)
        many += "<a href=/feed/" + std::to_string(k) + "><link rel=feed href=" + std::to_string(k) + ">";
    EXPECT_EQ(discoverFeeds(many, URL("http://h/")).size(), 64u);
    const std::string large(5'000'000, 'x');
    EXPECT_EQ(found("<link rel=feed href=" + large + "><link rel=feed href=f title=" + large + "><a href=/feed>" + large
                  + "</a>"),
        "http://h/a/f|| ?http://h/feed||");
    EXPECT_EQ(found(vitrel::repeated("<a href=", 2'000'000)), "");
    EXPECT_EQ(found("<link type=application/rss+xml rel='" + vitrel::repeated("x ", 2'000'000) + "alternate' href=f>"),
        "http://h/a/f||application/rss+xml");
}

} // namespace
} // namespace FeedKit
