#include "FeedKit/FeedParser.h"
#include "FeedKit/Leaves.h"
#include "FeedKit/LenientReading.h"
#include "support/PeakMemory.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>
#include <thread>

namespace FeedKit {
namespace {

using vitrel::repeated;

// What was forgiven, a line for each, then the break and the fields.
std::string outcomeOf(std::string_view document, Leniency leniency = Leniency::all(), std::string_view type = {})
{
    const auto reading = readLeniently(bytesOf(document), leniency, Extent::model, type);
    if (!reading)
        return reading.error().which() == ParserError::Case::feedNotFound ? "not found" : reading.error().payload();
    std::string text;
    for (const auto& one : reading->forgiven)
        text += std::string(rawValue(one.what)) + " " + std::to_string(one.count) + ": " + one.first + "\n";
    if (reading->brokeOff)
        text += "broke off: " + reading->brokeOff->payload() + "\n";
    for (const auto& [path, value] : leavesOf(reading->feed))
        text += path + "=" + value + "\n";
    return text;
}

std::string rss(const std::string& channel)
{
    return "<rss><channel>" + channel + "</channel></rss>";
}

std::string wide(std::string_view text)
{
    std::string out;
    for (const char c : text)
        out += {c, '\0'};
    return out;
}

struct Case {
    std::string document;
    std::string forgiven;
    std::string fields;
    const char* why;
};

void expectAll(const std::vector<Case>& cases)
{
    for (const auto& [document, forgiven, fields, why] : cases)
        EXPECT_EQ(outcomeOf(document), forgiven + fields) << document << ": " << why;
}

TEST(Leniency, MendsTheText)
{
    const std::string declared = "<?xml version='1.0' encoding='windows-1251'?>";
    expectAll({
        {rss("<title>a&nbsp;&eacute;&hearts;</title>"), "entities 3: &nbsp; at line 1\n", "title=\"a\u00A0é♥\"\n", ""},
        {"<!DOCTYPE rss [<!ENTITY nbsp 'own'><!-- '> --><!ENTITY x '>]'>]>" + rss("<title>&nbsp;&x;&copy;</title>"),
            "entities 1: &copy; at line 1\n", "title=\"own>]©\"\n", "what the document declares is its own"},
        {rss("<title>&nbsp;&lt;&#65;&amp;amp;<![CDATA[&nbsp; &]]><!-- & --><?x & ?></title>"),
            "entities 1: &nbsp; at line 1\n", "title=\"\u00A0<A&amp;&nbsp; &\"\n", "good references and sections stay"},
        {rss("\n<title>a & b &c; &; &# &#xZ; AT&T\n&amp &nbsp</title>"), "ampersands 8: & at line 2\n",
            "title=\"a & b &c; &; &# &#xZ; AT&T\n&amp &nbsp\"\n", "no reference at all"},
        {rss("<title>1 < 2 <3 ]]> x</title>"), "ampersands 3: < at line 1\n", "title=\"1 < 2 <3 ]]> x\"\n", ""},
        {rss("<category domain='a&b<c&nbsp;>\"'>x</category>"),
            "entities 1: &nbsp; at line 1\nampersands 2: & at line 1\n",
            "categories=[]\ncategories[0]={}\ncategories[0].attributes={}\n"
            "categories[0].attributes.domain=\"a&b<c\u00A0>\"\"\ncategories[0].value=\"x\"\n",
            "also in an attribute"},
        {rss("<title>a\x01\x1F" + std::string("\0b", 2)
             + "\uFFFE\uFFFF&#0;&#xD800;&#99999999999;<![CDATA[\x02]]></title>"),
            "characters 9: a control character at line 1\n", "title=\"ab\uFFFD\uFFFD\uFFFD\"\n", "forbidden ones"},
        {"<!-- a -- b -->" + rss("<!-- c --->"), "characters 2: two hyphens in a comment at line 1\n", "", ""},
        {"\nWarning: x\n<br>" + declared + rss("<title>\xCF&</title>"),
            "ampersands 1: & at line 3\ncharset 1: read as windows-1251\n"
            "junkAhead 1: text ahead of the document at line 1\n",
            "title=\"П&\"\n", "its lines count"},
        {"<br />\n<b>Warning</b>: none <?xml version='1.0'?>" + rss("<title>t</title>"),
            "junkAhead 1: text ahead of the document at line 1\n", "title=\"t\"\n", "a program's warning"},
        {"x" + rss("<title>t</title>"), "junkAhead 1: text ahead of the document at line 1\n", "title=\"t\"\n", ""},
        {"<!-- a -->\n<?b?>" + declared + rss("<title>t</title>"),
            "junkAhead 1: text ahead of the document at line 1\n", "title=\"t\"\n", "a declaration must be first"},
        {"<!-- a -->" + rss("<title>&</title>"), "ampersands 1: & at line 1\n", "title=\"&\"\n", "no junk"},
        {"<?xml encoding=\"UTF-8\"?>" + rss("<title>t</title>"), "junkAhead 1: a faulty XML declaration\n",
            "title=\"t\"\n", ""},
        {rss("<title>a<br>b</title><item><title>c</TITLE><link>l</link></b></item>"), "tags 3: </title> at line 1\n",
            "items=[]\nitems[0]={}\nitems[0].link=\"l\"\nitems[0].title=\"c\"\ntitle=\"a\"\n", "what isn't closed is"},
    });
}

TEST(Leniency, FindsTheEncoding)
{
    const auto declared = [](const char* as, const char* title) {
        return "<?xml version='1.0' encoding='" + std::string(as) + "'?>"
            + rss("<title>" + std::string(title) + "</title>");
    };
    const auto cyrillic = rss("<title>\xCF\xF0</title>");
    expectAll({
        {cyrillic, "charset 1: read as windows-1252\n", "title=\"Ïð\"\n", "the fallback"},
        {rss("<title>é \x80\x81\x99</title>"), "charset 1: read as windows-1252\n", "title=\"é €\uFFFD™\"\n",
            "what is UTF-8 stays"},
        {declared("no-such", "é"), "charset 1: read as UTF-8\n", "title=\"é\"\n", ""},
        {declared("UTF-16", "é"), "charset 1: read as UTF-8\n", "title=\"é\"\n", ""},
        {declared("windows-1251", "\xCF&"), "ampersands 1: & at line 1\n", "title=\"П&\"\n", "its own word holds"},
        {declared("us-ascii", "\xE9"), "charset 1: read as windows-1252\n", "title=\"é\"\n", ""},
        {"\xFF\xFE" + wide(declared("utf-16", "A")), "charset 1: read by its byte order mark\n", "title=\"A\"\n", ""},
        {"\x2D\x4E" + wide(rss("<title>A</title>")),
            "charset 1: read as UTF-16LE\njunkAhead 1: text ahead of the document at line 1\n", "title=\"A\"\n",
            "zeros tell"},
        {"{\"title\": \"\xE9\"}", "charset 1: read as windows-1252\n", "title=\"é\"\n", "JSON, too"},
        {std::string(300, ' ') + rss("<title>a</title>"), "junkAhead 1: blanks ahead of the document\n",
            "title=\"a\"\n", ""},
        {"x\n{\"title\": \"a\"}", "junkAhead 1: text ahead of the document\n", "title=\"a\"\n", ""},
    });
    for (const char* type : {"text/xml; charset=windows-1251", "application/xml;x=y; Charset=\"windows-1251\" ;z=1"})
        EXPECT_EQ(outcomeOf(cyrillic, Leniency::all(), type), "charset 1: read as windows-1251\ntitle=\"Пр\"\n")
            << type;
    EXPECT_EQ(outcomeOf(declared("UTF-8", "é&"), Leniency::all(), "a/b; charset=iso-8859-1"),
        "ampersands 1: & at line 1\ntitle=\"é&\"\n")
        << "a server is asked only where the document is wrong";
}

TEST(Leniency, ReadsWhatCameBeforeTheBreak)
{
    const std::string head = "<rss><channel><item><title>a</title></item>";
    const std::string fields = "items=[]\nitems[0]={}\nitems[0].title=\"a\"\n";
    const auto cut = [&](const std::string& tail, const std::string& reason, const std::string& more = {}) {
        EXPECT_EQ(outcomeOf(head + tail), "brokenOff 1: " + reason + "\nbroke off: " + reason + "\n" + fields + more)
            << tail;
    };
    cut("<item><tit", "unclosed token at line 1, column 50");
    cut("<item>", "no element found at line 1, column 50");
    cut("<item><link>l</link><title>half", "no element found at line 1, column 75",
        "items[1]={}\nitems[1].link=\"l\"\n");
    cut("<item/></channel>", "no element found at line 1, column 61", "items[1]={}\n");
    EXPECT_EQ(outcomeOf("<rss><chann"), "unclosed token at line 1, column 6") << "nothing came";
    EXPECT_EQ(outcomeOf("<html><body>"), "no element found at line 1, column 13") << "no feed";
    EXPECT_EQ(outcomeOf("<feed><entry><id>1</id></entry><entry a='", Leniency::none().with(Forgivable::brokenOff)),
        "brokenOff 1: unclosed token at line 1, column 32\nbroke off: unclosed token at line 1, column 32\n"
        "entries=[]\nentries[0]={}\nentries[0].id=\"1\"\n");
}

TEST(Leniency, KnowsElementsByTheirNamespaces)
{
    const std::string atom = " xmlns:a='http://www.w3.org/2005/Atom'",
                      dc = " xmlns:d='http://purl.org/dc/elements/1.1/'";
    const std::string creator = "dublinCore={}\ndublinCore.dcCreator=\"c\"\n";
    expectAll({
        {"<a:feed" + atom + "><a:title>t</a:title><a:entry><a:id>i</a:id></a:entry></a:feed>",
            "prefixes 4: <a:feed> at line 1\n", "entries=[]\nentries[0]={}\nentries[0].id=\"i\"\ntitle=\"t\"\n", ""},
        {"<rss" + atom + dc + "><channel><a:title>no</a:title><d:creator>c</d:creator></channel></rss>",
            "prefixes 1: <d:creator> at line 1\n", creator, "Atom's elements are strangers in RSS"},
        {rss("<dc:creator xmlns:dc='other'>c</dc:creator>"), "", creator, "the usual prefix keeps its meaning"},
        {rss("<creator xmlns='http://purl.org/dc/elements/1.1'>c</creator><creator>no</creator>"),
            "prefixes 1: <creator> at line 1\n", creator, "a default namespace, as long as it lasts"},
        {rss("<x" + dc + "/><d:creator>no</d:creator><y" + dc + "><d:creator xmlns:d='o'>no</d:creator></y>"
             + "<d:creator" + dc + ">c</d:creator>"),
            "prefixes 1: <d:creator> at line 1\n", creator, "out of scope, and hidden"},
        {"<rss xmlns='http://purl.org/dc/elements/1.1/'><channel><title>t</title></channel></rss>", "", "title=\"t\"\n",
            "the root's default is the feed's own"},
        {"<r:RDF xmlns:r='http://www.w3.org/1999/02/22-rdf-syntax-ns#' xmlns:s='http://purl.org/rss/1.0/'>"
         "<s:item><s:title>t</s:title></s:item></r:RDF>",
            "prefixes 3: <r:RDF> at line 1\n", "items=[]\nitems[0]={}\nitems[0].title=\"t\"\n", ""},
        {"<RSS><Channel><TITLE>t</TITLE><PUBDATE>2006-01-02T15:04:05Z</PUBDATE></Channel></RSS>",
            "prefixes 4: <RSS> at line 1\n", "pubDate=1136214245.000000\ntitle=\"t\"\n", "another case"},
        {rss("<Title>t</Title>"), "", "", "but only if the root has it"},
        {rss("<m:thumbnail xmlns:m='HTTP://search.yahoo.com/mrss'/><item><i:order xmlns:i="
             "'http://www.itunes.com/DTDs/Podcast-1.0.dtd'>7</i:order></item>"),
            "prefixes 2: <m:thumbnail> at line 1\n",
            "items=[]\nitems[0]={}\nitems[0].iTunes={}\nitems[0].iTunes.iTunesOrder=7\n", "as they are written"},
        {"<rss><channel><title>t</title></channel><item><title>a<x/></title><link>l</link></item><item/></rss>",
            "rss090 2: <item> at line 1\n",
            "items=[]\nitems[0]={}\nitems[0].link=\"l\"\nitems[0].title=\"a\"\nitems[1]={}\ntitle=\"t\"\n",
            "items beside the channel"},
        {"<rss><item/><channel><item><title>a</title></item><link>l</link></channel></rss>",
            "rss090 1: <item> at line 1\n", "items=[]\nitems[0]={}\nitems[1]={}\nitems[1].title=\"a\"\nlink=\"l\"\n",
            "and within it"},
        {"<rss><title>t</title><item><title>a</title></item><x/></rss>", "rss090 2: <title> at line 1\n",
            "items=[]\nitems[0]={}\nitems[0].title=\"a\"\ntitle=\"t\"\n", "no channel"},
    });
}

TEST(Leniency, ReadsAtom03)
{
    const std::string feed
        = "<feed version='0.3' xmlns='http://purl.org/atom/ns#'><tagline>s</tagline><copyright>c</copyright>"
          "<generator url='u'>g</generator><modified>2006-01-02T15:04:05Z</modified><entry><author>"
          "<url>a</url></author><issued>2006-01-02</issued><url>no</url></entry></feed>";
    expectAll({{feed, "atom03 5: <tagline> at line 1\ndates 1: \"2006-01-02\" at line 1\n",
        "entries=[]\nentries[0]={}\nentries[0].authors=[]\nentries[0].authors[0]={}\nentries[0].authors[0].uri=\"a\"\n"
        "entries[0].published=1136160000.000000\ngenerator={}\ngenerator.attributes={}\n"
        "generator.attributes.uri=\"u\"\ngenerator.value=\"g\"\nrights=\"c\"\nsubtitle={}\nsubtitle.value=\"s\"\n"
        "updated=1136214245.000000\n",
        ""}});
    EXPECT_EQ(outcomeOf("<feed xmlns='http://www.w3.org/2005/Atom'><tagline>s</tagline></feed>"), "");
}

TEST(Leniency, ReadsDatesInPieces)
{
    const std::string date = "Mon, 02 Jan 2006 15:04:05 GMT", read = "pubDate=1136214245.000000\n";
    expectAll({
        {rss("<pubDate>" + date + "&#10;</pubDate>"), "dates 1: \"\" at line 1\n", read, "a blank by reference"},
        {rss("<pubDate>" + date + "</pubDate><pubDate> </pubDate>"), "", "", "another element, as ever"},
        {rss("<pubDate>" + date + "<!-- -->x</pubDate>"), "", "", "other text spoils it"},
        {rss("<pubDate>Mon, 02 Jan 06 15:04:05 GMT</pubDate>"), "dates 1: \"Mon, 02 Jan 06 15:04:05 GMT\" at line 1\n",
            read, "which the strict reading puts into the year 6"},
    });
}

TEST(Leniency, TakesOtherTypesInJSON)
{
    expectAll({
        {R"({"title":1.5,"expired":"true","author":"A","icon":{},"items":{"id":7,"url":true,"title":["t",2],"tags":["x",{},3]}})",
            "jsonTypes 10: title\n",
            "author={}\nauthor.name=\"A\"\nexpired=yes\nitems=[]\nitems[0]={}\nitems[0].id=\"7\"\nitems[0].tags=[]\n"
            "items[0].tags[0]=\"x\"\nitems[0].tags[1]=\"3\"\nitems[0].title=\"t\"\nitems[0].url=\"true\"\ntitle=\"1."
            "5\"\n",
            ""},
        {R"({"items":[7,{"attachments":[{"size_in_bytes":" 5 ","duration_in_seconds":"1.5"},{"size_in_bytes":1.5}],"author":[{"url":"u"}]}]})",
            "jsonTypes 5: items[0]\n",
            "items=[]\nitems[0]={}\nitems[0].attachments=[]\nitems[0].attachments[0]={}\n"
            "items[0].attachments[0].durationInSeconds=1.500000\nitems[0].attachments[0].sizeInBytes=5\n"
            "items[0].attachments[1]={}\nitems[0].author={}\nitems[0].author.url=\"u\"\n",
            ""},
        {R"({"items":[{"date_published":"Mon, 02 Jan 2006 15:04:05 GMT","date_modified":"2 January 2006"},{"date_published":"soon"}]})",
            "dates 2: items[0].date_published\njsonTypes 1: items[1].date_published\n",
            "items=[]\nitems[0]={}\nitems[0].dateModified=1136160000.000000\nitems[0].datePublished=1136214245."
            "000000\nitems[1]={}\n",
            ""},
        {R"({"authors":[{"name":"A"},{"name":"B"}],"items":[{"author":{"name":"C"},"authors":[{"name":"D"}]},{"authors":[]}]})",
            "jsonVersion 1: authors\n",
            "author={}\nauthor.name=\"A\"\nitems=[]\nitems[0]={}\nitems[0].author={}\nitems[0].author.name="
            "\"C\"\nitems[1]={}\n",
            "version 1.1"},
    });
}

TEST(Leniency, ForgivesNothingElse)
{
    const std::pair<std::string, Forgivable> faults[] = {{rss("&nbsp;"), Forgivable::entities},
        {rss("&"), Forgivable::ampersands}, {rss("<"), Forgivable::ampersands}, {rss("\xE9"), Forgivable::charset},
        {rss("\x01"), Forgivable::characters}, {"x" + rss(""), Forgivable::junkAhead}, {"x{}", Forgivable::junkAhead},
        {rss("<item>"), Forgivable::tags}, {rss("").substr(0, 20), Forgivable::brokenOff},
        {"<RSS><channel/></RSS>", Forgivable::prefixes}, {"{\"title\":1}", Forgivable::jsonTypes},
        {"{\"items\":[{\"date_published\":\"2006-01-02\"}]}", Forgivable::dates}};
    for (const auto& [document, fault] : faults) {
        const auto strict = FeedParser(Bytes(bytesOf(document).begin(), bytesOf(document).end())).parse();
        EXPECT_EQ(readLeniently(bytesOf(document), Leniency::none()).error(), strict.error()) << document;
        EXPECT_TRUE(readLeniently(bytesOf(document), Leniency::none().with(fault))) << document;
        // What a break would forgive in its way, too.
        const auto others
            = Leniency::all().without(fault).without(Forgivable::brokenOff).without(Forgivable::jsonTypes);
        EXPECT_EQ(readLeniently(bytesOf(document), others).error(), strict.error()) << document;
    }
    for (std::size_t k = 0; k < kForgivables; ++k)
        EXPECT_EQ(makeForgivable(rawValue(Forgivable(k))), Forgivable(k));
}

TEST(Leniency, BearsDocumentsMadeToDoHarm)
{
    constexpr std::size_t kMany = 1'000'000;
    vitrel::resetPeakMemory();
    EXPECT_THAT(
        outcomeOf(rss("<title>" + repeated("&", kMany) + "</title>")), testing::StartsWith("ampersands 1000000:"));
    const std::pair<std::string, const char*> cases[] = {
        {repeated("<", 16 << 20), "too large to be mended"},
        {rss(repeated("<a b=\"", kMany)), "quotes that pair up wrongly"},
        {rss(repeated("<!--", kMany)), "comments without an end"},
        {rss(repeated("<a>", kMany)), "deeper than any feed"},
        {rss(repeated("<a>", 9000) + repeated("</b>", kMany)), "end tags without an element"},
        {rss(repeated("<p:a xmlns:p='http://purl.org/dc/elements/1.1/'>", 9000)), "a declaration on each level"},
        {"<!DOCTYPE rss [" + repeated("<!ENTITY ", kMany), "a document type without an end"},
        {repeated("x<?xml ", kMany), "declarations"},
        {"{\"items\":" + repeated("[", 1000) + repeated("]", 1000) + "}", "arrays in arrays"},
    };
    for (const auto& [document, why] : cases)
        EXPECT_NE(outcomeOf(document), "") << why;
    EXPECT_LT(vitrel::peakMebibytes(), 256);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(readLeniently(bytesOf(rss("")), Leniency::all(), Extent::model, {}, stop.get_token()));
}

} // namespace
} // namespace FeedKit
