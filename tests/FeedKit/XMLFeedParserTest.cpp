#include "FeedKit/xml/XMLFeedParser.h"
#include "FeedKit/Leaves.h"
#include "FeedKit/Samples.h"

#include <gmock/gmock.h>

namespace FeedKit {
namespace {

// Hands out a document in pieces of a few bytes, and may break at its end.
struct PieceStream final : NSInputStream {
    PieceStream(std::string document, std::size_t piece, bool breaks = false)
        : document_(std::move(document))
        , piece_(piece)
        , breaks_(breaks)
    { }
    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        const auto count = std::min({piece_, maxLength, document_.size() - at_});
        std::copy_n(document_.data() + at_, count, buffer);
        at_ += count;
        return count == 0 && breaks_ ? -1 : static_cast<std::ptrdiff_t>(count);
    }
    std::string streamError() const override { return "Input/output error"; }

    std::string document_;
    std::size_t piece_, at_ = 0;
    bool breaks_;
};

std::string outcome(const FeedKit::Result<Feed, ParserError>& result)
{
    if (!result)
        return result.error().which() == ParserError::Case::feedNotFound ? "not found" : result.error().payload();
    std::string text;
    for (const auto& [path, value] : leavesOf(*result))
        text += path + "=" + value + "\n";
    return text;
}

std::string outcomeOf(const std::string& document)
{
    return outcome(XMLFeedParser(FeedKit::bytesOf(document)).parse());
}

std::string outcomeInPieces(const std::string& document, std::size_t piece, bool breaks = false)
{
    return outcome(XMLFeedParser(std::make_shared<PieceStream>(document, piece, breaks)).parse());
}

std::string rss(const std::string& channel)
{
    return "<rss version='2.0'><channel>" + channel + "</channel></rss>";
}

TEST(XMLFeedParser, KnowsADocumentByTheFirstElementNamedLikeARoot)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"<rss><channel><title>A</title></channel></rss>", "title=\"A\"\n", "no version is needed"},
        {"<RSS><channel/></RSS>", "not found", "letter for letter"},
        {"<Feed><id>1</id></Feed>", "not found", "letter for letter"},
        {"<atom:feed xmlns:atom='http://www.w3.org/2005/Atom'><atom:id>1</atom:id></atom:feed>", "not found",
            "a prefix is part of the name"},
        {"<r:RDF><channel/></r:RDF>", "not found", "this one too"},
        {"<html><body><p>x</p></body></html>", "not found", "no feed"},
        {"<rss/>", "Unable to initialize rss feed model", "no element to make the model"},
        {"<rss>text</rss>", "Unable to initialize rss feed model", "text makes none"},
        {"<rdf:RDF></rdf:RDF>", "Unable to initialize rss feed model", "RDF fills an RSS feed"},
        {"<feed/>", "Unable to initialize atom feed model", "Atom likewise"},
        {"<html><body><rss><channel><title>A</title></channel></rss></body></html>", "", "found, but no path fits"},
        {"<html><rss/></html>", "Unable to initialize rss feed model", "found, and nothing after it"},
        {"<rss><feed><title>A</title></feed></rss>", "", "the first one counts"},
        {"<rss><channel><title>A</title></channel></rss><rss><channel><title>B</title></channel></rss>",
            "title=\"A\"\n", "the second root is never read"},
        {"<rss><channel><title>A</title></channel></rss> <<< &nothing;", "title=\"A\"\n", "nor anything else there"},
        {"<feed>x<title>A</title></feed>", "title=\"A\"\n", "text of the root is dropped"},
        {"<rdf:RDF><item><title>I</title></item><channel><title>C</title></channel></rdf:RDF>",
            "items=[]\nitems[0]={}\nitems[0].title=\"I\"\ntitle=\"C\"\n", "items ahead of the channel"},
    };
    for (const auto& [document, expected, why] : cases)
        EXPECT_EQ(outcomeOf(document), expected) << document << ": " << why;
}

TEST(XMLFeedParser, MapsTextOnlyBetweenAStartTagAndTheFirstChild)
{
    EXPECT_EQ(outcomeOf(rss("<title>A<b>B</b>C</title>x<link>L</link>y")), "link=\"L\"\ntitle=\"A\"\n");
    EXPECT_EQ(outcomeOf(rss("<title>A<![CDATA[B]]>C</title>")), "title=\"ABC\"\n");
    EXPECT_EQ(outcomeOf(rss("<title>Foo &amp; Bar</title><title>!</title>")), "title=\"Foo & Bar!\"\n");
    EXPECT_EQ(outcomeOf(rss("<title>one<!-- c -->two<?p i?>three</title>")), "title=\"onetwothree\"\n");
    EXPECT_EQ(outcomeOf(rss("<title>A</title><xescription>B</xescription>")), "title=\"A\"\n") << "another's end";
    // A child that is known by no row must not bring its grandchildren into the rows of the parent.
    EXPECT_EQ(outcomeOf(rss("<x><title>A</title></x><item><x><y/><title>B</title></x><title>C</title></item>")),
        "items=[]\nitems[0]={}\nitems[0].title=\"C\"\n");
}

// expat cuts texts at line ends; a reader that passes its pieces on loses every date on a line of its own.
TEST(XMLFeedParser, JoinsLiteralTextAndKeepsReferencesApart)
{
    const std::string date = "Mon, 02 Jan 2006 15:04:05 GMT";
    const auto pubDate = [](const std::string& text) { return outcomeOf(rss("<pubDate>" + text + "</pubDate>")); };
    const std::string read = "pubDate=1136214245.000000\n";
    EXPECT_EQ(pubDate("\n  " + date + "\n"), read);
    EXPECT_EQ(pubDate("\r\n" + date + "\r"), read);
    EXPECT_EQ(pubDate("<![CDATA[\n" + date + "\n]]>"), read);
    EXPECT_EQ(pubDate(date + "&#10;"), "") << "the reference is a text by itself, and no date";
    EXPECT_EQ(pubDate("&#10;" + date), read);
    EXPECT_EQ(pubDate(date + "\n<![CDATA[]]>"), "") << "so is an empty section";
    EXPECT_EQ(pubDate(date + "<!-- -->\n"), "") << "a comment is markup too";

    // An entity of the document is one text however it is written, and never joins its neighbours.
    const std::string entity = "<!DOCTYPE rss [<!ENTITY d 'Mon, 02 Jan 2006\n15:04:05 GMT'><!ENTITY e '" + date
        + "'><!ENTITY h '1&#x32;'>]>";
    EXPECT_EQ(outcomeOf(entity + rss("<pubDate>&e;</pubDate>")), read);
    EXPECT_EQ(outcomeOf(entity + rss("<ttl>1&h;</ttl>")), "ttl=12\n");
    EXPECT_EQ(outcomeOf(entity + rss("<title>&h;&h;</title>")), "title=\"1212\"\n");
}

TEST(XMLFeedParser, GivesNoPartOfADocumentInError)
{
    const std::pair<const char*, const char*> cases[] = {
        {"<rss><channel><item/><item></channel></rss>", "mismatched tag at line 1, column 30"},
        {"<rss><channel><title>A", "no element found at line 1, column 23"},
        {"<rss><channel><title>A &nbsp; B</title></channel></rss>", "undefined entity at line 1, column 24"},
        {"<rss><channel a='1' a='2'/></rss>", "duplicate attribute at line 1, column 21"},
        {"<rss><channel>\n<title>\x01</title></channel></rss>", "not well-formed (invalid token) at line 2, column 8"},
        {"<rss><channel><title>\xC3</title></channel></rss>", "not well-formed (invalid token) at line 1, column 22"},
        {"<rss><channel><title>&#xD800;</title></channel></rss>",
            "reference to invalid character number at line 1, column 22"},
        {"<", "unclosed token at line 1, column 1"},
        {"\n\r\n <rss><channel></rss>", "mismatched tag at line 3, column 17"},
        {"{}", "not well-formed (invalid token) at line 1, column 1"},
        {"", "no element found at line 1, column 1"},
        {"<a", "unclosed token at line 1, column 1"},
    };
    for (const auto& [document, reason] : cases)
        EXPECT_EQ(outcomeOf(document), reason) << document;
    EXPECT_EQ(outcomeOf(std::string("<rss><channel><title>a\0b</title></channel></rss>", 48)),
        "not well-formed (invalid token) at line 1, column 23");
}

TEST(XMLFeedParser, TellsACDATASectionThatIsNotUTF8)
{
    for (const char* bytes :
        {"\xFF", "a\xC3(", "\xE2\x82", "\xED\xA0\x80", "\xC0\xAF", "\xF8\x88\x80\x80", "\xF4\x90\x80\x80"}) {
        const auto document = rss("<item><x><y/></x><title><![CDATA[ok\n" + std::string(bytes) + "]]></title></item>");
        XMLFeedParser parser(FeedKit::bytesOf(document));
        const auto result = parser.parse();
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error(), ParserError::internalError("`CDATAblock` encoding error"));
        EXPECT_EQ(parser.parsingError(), ParserError::feedCDATABlockEncodingError("/rss/channel/item/title"));
    }
    EXPECT_THAT(outcomeOf(rss("<title><![CDATA[a]]>\xFF</title>")), testing::StartsWith("not well-formed"));
    // A character that XML forbids is well-formed UTF-8: an error of the document, not of the encoding.
    for (const std::string character : {"\uFFFE", "\uFFFF", "\x02"})
        EXPECT_THAT(outcomeOf(rss("<title><![CDATA[" + character + "]]>")), testing::StartsWith("not well-formed"));
    const auto unknown = "<rss><channel><x><y/><z><![CDATA[\xFF]]>";
    XMLFeedParser parser(FeedKit::bytesOf(unknown));
    EXPECT_FALSE(parser.parse());
    EXPECT_EQ(parser.parsingError()->payload(), "/rss/channel/x/z");
}

TEST(XMLFeedParser, ReadsOtherEncodings)
{
    const auto title = [](const std::string& text) { return rss("<title>" + text + "</title>"); };
    const auto declared = [&](const char* encoding, const std::string& text) {
        return "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>" + title(text);
    };
    const auto wide = [](const std::string& text, bool littleEndian) {
        std::string out;
        for (const char c : text)
            out += littleEndian ? std::string{c, '\0'} : std::string{'\0', c};
        return out;
    };
    const auto expect = [](const std::string& document, const std::string& expected) {
        EXPECT_EQ(outcomeOf(document), expected) << document;
        for (std::size_t piece = 1; piece <= 5; ++piece)
            EXPECT_EQ(outcomeInPieces(document, piece), expected) << piece << ": " << document;
    };
    const std::string mark = "\xEF\xBB\xBF";
    const std::pair<std::string, const char*> titles[] = {{declared("UTF-8", "é"), "é"},
        {mark + declared("utf-8", "é"), "é"}, {" \r\n\t" + declared("UTF-8", "é"), "é"},
        {mark + "\n" + declared("UTF-8", "é"), "é"}, {"\n" + declared("ISO-8859-1", "\xE9"), "é"},
        {declared("iso-8859-15", "\xA4"), "€"}, {declared("windows-1252", "\x80"), "€"},
        {declared("Windows-1251", "\xCF\xF0"), "Пр"}, {declared("KOI8-R", "\xF0\xD2"), "Пр"},
        {declared("Shift_JIS", "\x93\xFA\x96\x7B"), "日本"}, {declared("EUC-JP", "\xC6\xFC\xCB\xDC"), "日本"},
        {declared("GB18030", "\xD6\xD0\x84\x31\xA4\x37"), "中\uFFFD"}, {declared("Big5", "\xA4\xA4"), "中"},
        {"\xFF\xFE" + wide(declared("UTF-16", "A"), true), "A"}, {"\xFE\xFF" + wide(title("A"), false), "A"},
        {wide(declared("UTF-16LE", "A"), true), "A"}, {wide(title("A"), false), "A"}, {declared("US-ASCII", "A"), "A"},
        {declared("ASCII", "A"), "A"}, {declared("EUC-JP", "A") + "\xC6", "A"}, {wide(title("A"), true) + "\xFF", "A"}};
    for (const auto& [document, text] : titles)
        expect(document, "title=\"" + std::string(text) + "\"\n");
    for (const std::string unknown : {"no-such", "../../x", "Shift_JIS,version=1", "UTF-7"})
        expect(declared(unknown.c_str(), "A"), "the encoding \"" + unknown + "\" is not known");
    expect(declared("UTF-16", "A"), "the document says that it is UTF-16, but its bytes are not");
    expect(declared("Shift_JIS", "\x93"), "the bytes are not valid Shift_JIS");
    expect(declared("EUC-JP", "\xC6"), "the bytes are not valid EUC-JP");
    expect("\xFF\xFE" + wide("<rss>", true) + std::string("\x00\xD8", 2) + wide("</rss>", true),
        "the bytes are not valid UTF-16");
    expect("\xFF\xFE" + wide(std::string("s\0\xE4\x81\xA0>", 6), true), "the bytes are not valid UTF-16");
    EXPECT_THAT(outcomeOf(declared("US-ASCII", "é")), testing::StartsWith("not well-formed"));
}

TEST(XMLFeedParser, SaysWhyAStreamCouldNotBeRead)
{
    const auto of = [](const std::string& text) { return outcomeInPieces(text, SIZE_MAX, true); };
    EXPECT_EQ(of(""), "Input/output error");
    EXPECT_EQ(of("<rss><channel><title>A</title>"), "Input/output error");
    EXPECT_EQ(of("<rss><channel><title>A</title></channel></rss>"), "title=\"A\"\n") << "complete before the failure";
    EXPECT_EQ(of("<rss></x>"), "mismatched tag at line 1, column 8") << "the first error stays";
}

// Each cut of a document through the hands of a stream must make no difference.
TEST(SampleFeeds, GiveTheSameInPiecesAsWhole)
{
    const auto feeds = sampleFeeds();
    if (feeds.empty())
        GTEST_SKIP() << "no sample feeds";
    for (const auto& [file, document] : feeds) {
        const auto whole = outcomeOf(document);
        for (std::size_t piece = 1; piece <= 5 && document.size() < 60'000; ++piece)
            EXPECT_EQ(outcomeInPieces(document, piece), whole) << file << ", " << piece;
        EXPECT_EQ(outcomeInPieces(document, 4099), whole) << file;
    }
}

} // namespace
} // namespace FeedKit
