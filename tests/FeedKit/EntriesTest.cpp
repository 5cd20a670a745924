#include "FeedKit/entries/Entries.h"
#include "FeedKit/Read.h"
#include "support/Repeated.h"

#include <gtest/gtest.h>

#include <set>

namespace FeedKit {
namespace {

// A field as one text: its parts between bars, its elements between semicolons, "-" for what is absent.
std::string shown(const std::string& text)
{
    return text;
}
std::string shown(double number)
{
    return std::to_string(static_cast<int>(number));
}
std::string shown(const Date& date)
{
    return shown(date.secondsSince1970);
}
template <Model T> std::string shown(const T& model);
template <class T> std::string shown(const std::optional<T>& value)
{
    return value ? shown(*value) : "-";
}
template <class T> std::string shown(const std::vector<T>& values)
{
    std::string out;
    for (const auto& value : values)
        out += (out.empty() ? "" : ";") + shown(value);
    return out;
}
template <Model T> std::string shown(const T& model)
{
    std::string out;
    forEachField<T>([&](const auto& field) { out += (out.empty() ? "" : "|") + shown(model.*field.member); });
    return out;
}

Entries entriesIn(std::string_view document, const char* address = "http://h/f/x", Extent extent = Extent::model)
{
    ReadOptions options;
    options.extent = extent;
    const auto feed = read(document, options);
    EXPECT_TRUE(feed) << document.substr(0, 200);
    return feed ? entriesOf(feed->feed, URL(address)) : Entries();
}

struct Row {
    const char* field;
    const char* inside; // of the entry's element
    const char* expected;
};

// Each row's text between `before` and `behind` is a feed of one entry.
template <std::size_t count>
void check(
    const std::string& before, const std::string& behind, const Row (&rows)[count], Extent extent = Extent::model)
{
    for (const auto& row : rows) {
        const auto found = entriesIn(before + row.inside + behind, "http://h/f/x", extent).entries;
        ASSERT_EQ(found.size(), 1u) << row.inside;
        std::string value = "no such field";
        forEachField<Entry>([&](const auto& field) {
            if (field.name == row.field)
                value = shown(found[0].*field.member);
        });
        EXPECT_EQ(value, row.expected) << row.field << " of " << row.inside;
    }
}

// The rows of docs/feedkit-entries.md: what comes later in each is there, too, and must not count.
TEST(Entries, AreSeenInRSS)
{
    check("<rss><channel><itunes:author>Show</itunes:author><item>", "</item></channel></rss>",
        {{"id", "<guid> g </guid><link>l</link>", "g"}, {"id", "<guid/><link>l</link>", "http://h/f/l"},
            {"title", "<title> &lt;i>A&lt;/i> &amp;amp;\nB</title><dc:title>d</dc:title>", "A & B"},
            {"title", "<title> </title><dc:title>d</dc:title><itunes:title>i</itunes:title>", "d"},
            {"title", "<itunes:title>i</itunes:title>", "i"}, {"title", "<title>&lt;br></title>", "-"},
            {"link", "<link>\n../l </link><guid>http://g</guid>", "http://h/l"},
            {"link", "<guid>HTTP://g</guid>", "HTTP://g"}, {"link", "<guid isPermaLink='true'>/g</guid>", "http://h/g"},
            {"link", "<guid isPermaLink='false'>http://g</guid>", "-"}, {"link", "<guid>tag:g</guid>", "-"},
            {"link", "<guid>&#x7F;</guid>", "-"},
            {"summary", "<description>&lt;p>A&lt;p>B </description><dc:description>d</dc:description>",
                "A\nB|<p>A<p>B"},
            {"summary", "<dc:description>d</dc:description><itunes:summary>s</itunes:summary>", "d|d"},
            {"summary", "<itunes:subtitle>t</itunes:subtitle><itunes:summary>s</itunes:summary>", "s|s"},
            {"summary", "<itunes:subtitle>t</itunes:subtitle>", "t|t"},
            {"content", "<description>d</description>", "-"},
            {"content", "<content:encoded><![CDATA[<img src=x>]]></content:encoded>", "-|<img src=x>"},
            {"authors", "<author>a@b.c (N &amp;amp; M)</author><dc:creator>d</dc:creator>", "N & M|a@b.c|-"},
            {"authors", "<dc:creator>N (a@b.c)</dc:creator><itunes:author>i</itunes:author>", "N|a@b.c|-"},
            {"authors", "<itunes:author>N &lt;a@b.c></itunes:author>", "N|a@b.c|-"},
            {"authors", "<author>a@b.c</author>", "-|a@b.c|-"}, {"authors", "<author>N (M)</author>", "N (M)|-|-"},
            {"authors", "<author>(a@b)</author>", "-|a@b|-"}, {"authors", "<author>@n</author>", "@n|-|-"},
            {"authors", "<author> </author>", "Show|-|-"},
            {"published", "<dc:date>1970-01-01T00:00:02Z</dc:date><pubDate>1970-01-01T00:00:01Z</pubDate>", "1"},
            {"published", "<dc:date>1970-01-01T00:00:02Z</dc:date>", "2"},
            {"updated", "<pubDate>1970-01-01T00:00:01Z</pubDate>", "-"},
            {"categories",
                "<dc:subject>c</dc:subject><category>b</category><category>a "
                "&amp;amp;</category><category>b</category>",
                "b;a &;c"},
            {"image",
                "<enclosure url='e.png'/><itunes:image href='i'/><media:content url='c'><media:thumbnail url='d'/>"
                "</media:content><media:thumbnail url='t'/>",
                "http://h/f/t"},
            {"image", "<itunes:image href='i'/><media:content url='c'><media:thumbnail url='d'/></media:content>",
                "http://h/f/d"},
            {"image", "<enclosure url='e.png'/><itunes:image href='i'/>", "http://h/f/i"},
            {"image", "<content:encoded>&lt;img src=s></content:encoded><enclosure url='e.PNG?q'/>",
                "http://h/f/e.PNG?q"},
            {"image", "<media:content url='a' type='audio/x' medium='image'/><media:content url='b' medium='image'/>",
                "http://h/f/b"},
            {"image",
                "<link>/p/q</link><description>&lt;img src=s></description><content:encoded>&lt;img "
                "src='data:,'>&lt;img "
                "width=1 src=w>&lt;img height=0 src=h>&lt;img>&lt;img src=' ../c?a&amp;amp;b'></content:encoded>",
                "http://h/c?a&b"},
            {"image", "<description>&lt;img src=s></description>", "http://h/f/s"},
            {"enclosures",
                "<media:group><media:content url='g' duration='5'/></media:group><media:content url='c' fileSize='7'/>"
                "<media:content url='e'/><media:content type='x/y'/><enclosure url='e' type='t/u' length='0'/>",
                "http://h/f/e|t/u|-|-;http://h/f/c|-|7|-;http://h/f/g|-|-|5"},
            {"audio",
                "<itunes:duration>1:05</itunes:duration><media:content url='v.mp4'/><media:content url='a.opus' "
                "duration='9'/>"
                "<media:content url='b.mp3'/>",
                "http://h/f/a.opus|audio/ogg|-|9"},
            {"audio", "<itunes:duration>1:05</itunes:duration><enclosure url='a' type='Audio/x' length='3'/>",
                "http://h/f/a|Audio/x|3|65"},
            {"audio", "<enclosure url='a' type='audiobook/x'/><enclosure url='.mp3'/>", "-"}});
}

TEST(Entries, AreSeenInAtom)
{
    check("<feed><author><name>Feed</name></author><entry>", "</entry></feed>",
        {{"id", "<id> i </id>", "i"}, {"id", "<link href='l'/>", "http://h/f/l"},
            {"title", "<title>A &amp;amp; &lt;b>B</title>", "A & B"},
            {"link",
                "<link rel='self' href='s'/><link type='a/b' href='x'/><link rel='Alternate' type='text/html' "
                "href='y'/>"
                "<link href='z'/>",
                "http://h/f/y"},
            {"link", "<link type='a/b' href='x'/><link type='a/b' href='y'/>", "http://h/f/x"},
            {"link", "<link href=' '/><link href='z'/>", "http://h/f/z"},
            {"link", "<link rel='related' href='z'/>", "-"},
            {"summary", "<summary>a &lt;b>\n c</summary>", "a <b>\n c|a &lt;b&gt;<br>\n c"},
            {"summary", "<summary type=' HTML '>a &lt;b>c</summary>", "a c|a <b>c"},
            {"content", "<content type='text/html; charset=x'>a&lt;b>c</content>", "ac|a<b>c"},
            {"content", "<content type='text/x'>&lt;</content>", "<|&lt;"},
            {"content", "<content type='image/png'>AAAA</content>", "-"},
            {"content", "<content type='html' src='x'/>", "-"},
            {"authors", "<author><email>e</email></author><author/><author><name>n</name><uri>u</uri></author>",
                "-|e|-;n|-|http://h/f/u"},
            {"authors", "", "Feed|-|-"},
            {"published", "<published>1970-01-01T00:00:01Z</published><updated>1970-01-01T00:00:02Z</updated>", "1"},
            {"updated", "<published>1970-01-01T00:00:01Z</published><updated>1970-01-01T00:00:02Z</updated>", "2"},
            {"categories", "<category term='a' label='b'/><category/><category term='c'/><category label='c'/>", "b;c"},
            {"enclosures",
                "<link href='p'/><media:group><media:content url='m'/></media:group><link rel='enclosure' href='e' "
                "type='audio/x' length='2'/>",
                "http://h/f/e|audio/x|2|-;http://h/f/m|-|-|-"},
            {"audio", "<link rel='enclosure' href='e' type='audio/x'/>", "http://h/f/e|audio/x|-|-"},
            {"image", "<link rel='enclosure' href='e.gif'/><media:thumbnail url='t'/>", "http://h/f/t"},
            {"image", "<link rel='enclosure' href='e.gif'/><content type='html'>&lt;img src=i></content>",
                "http://h/f/e.gif"},
            {"image", "<content>&lt;img src=i></content>", "-"}});
}

TEST(Entries, AreSeenInJSONFeed)
{
    check(R"({"author":{"name":"Feed"},"items":[{)", "}]}",
        {{"id", R"("id":"i","url":"u")", "i"}, {"id", R"("url":"u")", "http://h/f/u"},
            {"title", R"("title":" <b> \n&amp; ")", "<b> &amp;"},
            {"link", R"("external_url":"e","url":"u")", "http://h/f/u"},
            {"link", R"("external_url":"e")", "http://h/f/e"},
            {"summary", R"("summary":"a<\r\n\rb\n")", "a<\n\nb|a&lt;<br>\n<br>\nb"},
            {"content", R"("content_text":" t","content_html":" <b>h</b>")", "t|<b>h</b>"},
            {"content", R"("content_html":"<b>h</b>")", "h|<b>h</b>"}, {"content", R"("content_text":"&")", "&|&amp;"},
            {"authors", R"("author":{"name":"n","url":"u"})", "n|-|http://h/f/u"},
            {"authors", R"("author":{"avatar":"a"})", "Feed|-|-"},
            {"published", R"("date_published":"1970-01-01T00:00:01Z","date_modified":"1970-01-01T00:00:02Z")", "1"},
            {"updated", R"("date_published":"1970-01-01T00:00:01Z","date_modified":"1970-01-01T00:00:02Z")", "2"},
            {"categories", R"("tags":["b"," ","a","b"])", "b;a"},
            {"enclosures",
                R"("attachments":[{"url":"a","mime_type":"t/u","size_in_bytes":3,"duration_in_seconds":-1},{}])",
                "http://h/f/a|t/u|3|-"},
            {"audio", R"("attachments":[{"url":"a.mp3","duration_in_seconds":4}])", "http://h/f/a.mp3|audio/mpeg|-|4"},
            {"image", R"("attachments":[{"url":"a.gif"}],"banner_image":"b","image":"i")", "http://h/f/i"},
            {"image", R"("attachments":[{"url":"a.gif"}],"banner_image":"b")", "http://h/f/b"},
            {"image", R"("attachments":[{"url":"a.gif"}],"content_html":"<img src=s>")", "http://h/f/a.gif"},
            {"image", R"("content_html":"<img src=s>")", "http://h/f/s"}});
}

// The rows' parts with a star.
TEST(Entries, SeeMoreWhereMoreWasKept)
{
    const std::string media
        = "<media:group><media:title>gt</media:title><media:description>gd</media:description><media:content>"
          "<media:thumbnail url='c'/></media:content><media:thumbnail url='t'/></media:group>";
    const std::string own
        = media + "<media:title>t</media:title><media:description type='HTML'>&lt;b>d</media:description>";
    check("<rss xml:base='http://h/b/'><channel><item xml:base='i/'>", "</item></channel></rss>",
        {{"title", media.c_str(), "gt"}, {"title", own.c_str(), "t"}, {"summary", media.c_str(), "gd|gd"},
            {"summary", own.c_str(), "d|<b>d"}, {"image", media.c_str(), "http://h/b/i/t"},
            {"link", "<guid>http://g</guid><atom:link rel='self' href='s'/><atom:link href='a'/>", "http://h/b/i/a"},
            {"link", "<link>l</link><atom:link href='a'/>", "http://h/b/i/l"},
            {"image", "<link>/l/</link><description>&lt;img src=s></description>", "http://h/b/i/s"},
            {"enclosures", "<enclosure url='1'/><enclosure url='2'/>", "http://h/b/i/1|-|-|-;http://h/b/i/2|-|-|-"},
            {"chapters", "<podcast:chapters url='c' type='t/u'/>", "http://h/b/i/c|t/u|-|-"},
            {"transcripts", "<podcast:transcript url='c'/><podcast:transcript url='d' type='t/u'/>",
                "http://h/b/i/c|-|-|-;http://h/b/i/d|t/u|-|-"}},
        Extent::more);
    check("<feed xml:base='http://h/b/'><entry xml:base='i/'>", "</entry></feed>",
        {{"title", media.c_str(), "gt"}, {"summary", media.c_str(), "gd|gd"},
            {"link", "<link href='a'/>", "http://h/b/i/a"},
            {"title", "<title type='html'>&lt;b>t</title><media:title>m</media:title>", "t"},
            {"title", "<title>&lt;b>t</title>", "<b>t"},
            {"content", "<content type='xhtml'><div>a<b>c</b></div></content>", "ac|a<b>c</b>"},
            {"image", "<content xml:base='/c/' type='html'>&lt;img src=s></content><link href='/l/'/>", "http://h/c/s"},
            {"image", "<content type='html'>&lt;img src=s></content><link href='/l/'/>", "http://h/b/i/s"}},
        Extent::more);
    check(R"({"language":"de","authors":[{"name":"F"}],"items":[{)", "}]}",
        {{"authors", R"("author":{"name":"c"},"authors":[{"name":"a"},{"avatar":"x"},{"url":"b"}])",
             "a|-|-;-|-|http://h/f/b"},
            {"authors", R"("author":{"name":"c"},"authors":[])", "c|-|-"}, {"authors", "", "F|-|-"}},
        Extent::more);
    EXPECT_EQ(entriesIn(R"({"language":"de"})", "", Extent::more).language, "de");
    check("<rdf:RDF>", "</rdf:RDF>", {{"id", "<item rdf:about='a'><link>l</link></item>", "a"}}, Extent::more);
    const auto feed = entriesIn(
        "<rss xml:base='http://h/b/'><channel><atom:link href='a'/><atom:link rel='self' href='s'/></channel></rss>",
        "http://h", Extent::more);
    EXPECT_EQ(feed.link, "http://h/b/a");
    EXPECT_EQ(feed.self, "http://h/b/s");
    EXPECT_EQ(entriesIn("<feed><link href='a'/><link rel='self' href='s'/></feed>").self, "http://h/f/s");
    EXPECT_EQ(entriesIn(R"({"feed_url":"s"})").self, "http://h/f/s");
    EXPECT_EQ(entriesIn("<feed xml:lang='en'><title>&lt;b></title></feed>", "", Extent::more).language, "en");
}

TEST(Entries, HaveTheFeedsOwnFields)
{
    const auto all = [](std::string_view document) {
        const auto e = entriesIn(document);
        return shown(e.title) + "|" + shown(e.link) + "|" + shown(e.description) + "|" + shown(e.language) + "|"
            + shown(e.image) + "|" + shown(e.icon) + "|" + shown(e.authors) + "|" + shown(e.updated);
    };
    const std::pair<const char*, const char*> cases[] = {
        {"<rss><channel><title>&lt;b>t</title><link>l</link><description>a&lt;br>b</description><language>en</"
         "language><image><url>i</url>"
         "</image><itunes:image href='j'/><managingEditor>a@b "
         "(m)</managingEditor><dc:creator>c</dc:creator><itunes:author>x"
         "</itunes:author><pubDate>1970-01-01T00:00:02Z</pubDate><lastBuildDate>1970-01-01T00:00:01Z</lastBuildDate></"
         "channel></rss>",
            "t|http://h/f/l|a\nb|en|http://h/f/i|-|m|a@b|-|1"},
        {"<rss><channel><dc:title>t</dc:title><itunes:summary>s</itunes:summary><dc:language>de</"
         "dc:language><itunes:image href='j'/>"
         "<itunes:author>x</itunes:author><dc:date>1970-01-01T00:00:03Z</dc:date></channel></rss>",
            "t|-|s|de|http://h/f/j|-|x|-|-|3"},
        {"<feed><title>t</title><link href='l'/><subtitle "
         "type='html'>&lt;b>s</subtitle><logo>o</logo><icon>i</icon><author><name>n</name>"
         "</author><updated>1970-01-01T00:00:01Z</updated><entry><updated>1970-01-01T00:00:02Z</updated></entry></"
         "feed>",
            "t|http://h/f/l|s|-|http://h/f/o|http://h/f/i|n|-|-|1"},
        {R"({"title":"t&","home_page_url":"l","description":"<d>","icon":"i","favicon":"j","author":{"url":"u"},"items":[)"
         R"({"date_published":"1970-01-01T00:00:03Z"},{"date_modified":"1970-01-01T00:00:04Z"},{}]})",
            "t&|http://h/f/l|<d>|-|http://h/f/i|http://h/f/j|-|-|http://h/f/u|4"}};
    for (const auto& [document, fields] : cases)
        EXPECT_EQ(all(document), fields);
    EXPECT_EQ(entriesIn("<rss><channel><link>../l</link></channel></rss>", "").link, "../l")
        << "as written without an address";
}

TEST(Entries, MakeIdsThatStayAndDiffer)
{
    const auto id = [](std::string inside) {
        return *entriesIn("<rss><channel><item>" + inside + "</item></channel></rss>").entries[0].id;
    };
    EXPECT_EQ(id("<title>a</title><pubDate>1970-01-01T00:00:03Z</pubDate>"), id("<title>a</title>"))
        << "whenever it is dated";
    const std::set<std::string> different{id(""), id("<title>a</title>"), id("<title>b</title>"),
        id("<description>a</description>"), id("<enclosure url='a'/>"),
        id("<title>a</title><description>b</description>"), id("<title>ab</title>")};
    EXPECT_EQ(different.size(), 7u);
    EXPECT_EQ(id("").size(), 24u);
}

// Said once and given to each entry, they would make gigabytes.
TEST(Entries, DontLetAFeedGrowByWhatItSaysOnce)
{
    const auto large = std::string(1'000'000, 'x');
    const auto items = vitrel::repeated("<item><link>a</link></item>", 20'000);
    const auto feed = "<rss><channel><itunes:author>" + large + "</itunes:author>" + items + "</channel></rss>";
    std::size_t bytes = 0;
    for (const auto& entry : entriesIn(feed, ("http://h/" + large + "/").c_str()).entries)
        bytes += entry.link->size() + entry.id->size() + (entry.authors.empty() ? 0 : entry.authors[0].name->size());
    EXPECT_LT(bytes, 100'000'000u);
    EXPECT_EQ(entriesIn(feed).entries[0].authors[0].name, large);
}

} // namespace
} // namespace FeedKit
