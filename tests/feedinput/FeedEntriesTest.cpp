#include "feedinput/FeedEntries.h"
#include "base/Text.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>

namespace vitrel {
namespace {

using testing::HasSubstr;

std::string read(const std::string& document, const std::string& address = "", const std::string& contentType = "")
{
    const auto bytes = bytesOf(document);
    const auto entries = readEntries({.bytes = Bytes(bytes.begin(), bytes.end()),
                                         .validators = {},
                                         .address = FeedKit::URL(address),
                                         .contentType = contentType},
        FeedKit::URL("http://asked/for"), {});
    return entries ? NSJSONSerialization::dataWithJSONObject(*entries).value_or("not JSON") : "none";
}

// 978307200 s lie between 1970 and 2001: the date is 1136214245 - 978307200. The second enclosure is one that the
// strict reading doesn't keep.
TEST(FeedEntries, HaveTheShapeThatCompositionsAreToldOf)
{
    EXPECT_EQ(read("<rss><channel><title>T</title><link>/</link>"
                   "<description>D</description><image><url>i.png</url></image>"
                   "<item><guid isPermaLink='false'>1</guid><title>a &amp;amp; b</title><link>/l</link>"
                   "<description>&lt;p>x &amp;amp; y&lt;/p></description><author>a@b.c (Ann)</author>"
                   "<enclosure url='p.jpg' type='image/jpeg'/><enclosure url='e.mp3' type='audio/mpeg'/>"
                   "<pubDate>Mon, 02 Jan 2006 15:04:05 GMT</pubDate></item>"
                   "<item><guid isPermaLink='false'>2</guid><author>a@b.c</author></item></channel></rss>",
                  "http://h/f/feed"),
        R"({"description":"D","entries":[{"audio":"http://h/f/e.mp3","authors":["Ann"],"id":"1",)"
        R"("image":"http://h/f/p.jpg","link":"http://h/l","published":157907045,"text":"x & y","title":"a & b",)"
        R"("updated":null},{"audio":null,"authors":[],"id":"2","image":null,"link":null,"published":null,"text":null,)"
        R"("title":null,"updated":null}],"image":"http://h/f/i.png","link":"http://h/","title":"T",)"
        R"("updated":157907045})");
}

TEST(FeedEntries, AreOfAllThatIsAFeedAndOfNothingElse)
{
    const std::string item = "<item><title>n\xC3\xA9</title><link>l</link></item>", found = R"("title":"né")";
    const std::tuple<std::string, const char*, std::string> cases[]
        = {{"<rss><channel>&nbsp;" + item + "</channel></rss>", "", found}, {"<rss><channel>" + item, "", found},
            {"<rss><channel>" + item, "", R"("link":"http://asked/l")"},
            {"<rss><channel><item><title>n\xE8</title></item></channel></rss>", "text/xml; charset=iso-8859-2",
                "\"title\":\"n\u010d\""},
            {R"({"items":[{"id":1,"title":"one"}]})", "", R"("title":"one")"},
            {R"({"title":"quiet"})", "", R"("entries":[])"},
            {"<rss><channel><title>quiet</title></channel></rss>", "", "[]"},
            {"<rss><channel><title>quiet</title>", "", "none"}, {"<rss><channel/></rss>", "", "none"},
            {R"({"error":"too many requests"})", "", "none"}, {"<html><body><p>Log in</p></body></html>", "", "none"},
            {"", "", "none"}, {"no feed", "", "none"}};
    for (const auto& [document, contentType, expected] : cases)
        EXPECT_THAT(read(document, "", contentType), HasSubstr(expected)) << document;
}

TEST(FeedEntries, AreCutToWhatAScreenShows)
{
    const std::string wide = repeated("ü", 20'000), plain = repeated("x", 20'000);
    for (const std::string more : {"", "x", "ü€"}) {
        const auto json
            = read("<feed><title>" + plain + more + "</title><link href='/'/><entry><id>1</id><link href='http://"
                + wide + more + "'/><content>" + wide + more + "</content></entry></feed>");
        EXPECT_THAT(json, HasSubstr("\"text\":\"" + wide + "\"")) << more;
        EXPECT_THAT(json, HasSubstr("\"title\":\"" + plain + "\"")) << more;
        EXPECT_THAT(json, HasSubstr("\"link\":null")) << "half an address leads elsewhere";
    }
}

} // namespace
} // namespace vitrel
