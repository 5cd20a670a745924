// A feed in XML. The parser follows its path tables as an automaton and lets texts run together where it may; the
// driver here compares whole path texts and takes every text by itself. The two must agree, and so must every cut of
// the input.
#include "FeedKit/xml/XMLFeedParser.h"

#include <cstdlib>

namespace {

using namespace FeedKit;

class PlainDriver final : public NSXMLParserDelegate
{
public:
    std::string outcome;
    std::shared_ptr<RSSFeed> rss;
    std::shared_ptr<AtomFeed> atom;

    void parserWillReadBytes(std::size_t) override { }
    void parserFoundDoctype() override { }
    void parserDidStartElement(NSXMLParser& parser, std::string_view name, const ElementAttributes& attributes) override
    {
        parser.setTextDelivery(TextDelivery::events);
        path_ += (path_.ends_with('/') ? "" : "/") + std::string(name);
        if (type_.empty()) {
            if (name == "feed" || name == "rdf:RDF" || name == "rss")
                type_ = name;
            return;
        }
        if (type_ == "feed" && !atom)
            atom = std::make_shared<AtomFeed>();
        if (type_ != "feed" && !rss)
            rss = std::make_shared<RSSFeed>();
        mapHere(attributes);
    }
    void parserDidEndElement(NSXMLParser& parser) override
    {
        if (path_.size() > 1 && path_.ends_with('/'))
            path_.pop_back();
        path_.resize(path_.rfind('/') + 1);
        if (path_ == "/") {
            complete_ = true;
            parser.abortParsing();
        }
    }
    void parserFoundCharacters(NSXMLParser&, std::string_view text) override { mapHere(text); }
    void parserFoundCDATA(NSXMLParser&, std::string_view text) override { mapHere(text); }
    void parserFoundInvalidCDATA(NSXMLParser&) override { outcome = "`CDATAblock` encoding error"; }
    void parserParseErrorOccurred(NSXMLParser&, const std::string& description) override
    {
        if (!complete_ && outcome.empty())
            outcome = description;
    }

private:
    template <class Event> void mapHere(const Event& event)
    {
        if (type_ == "feed" && atom) {
            if (const auto row = makeAtomPath(path_))
                map(*atom, event, *row);
        } else if (type_ == "rdf:RDF" && rss) {
            if (const auto row = makeRDFPath(path_))
                map(*rss, event, *row);
        } else if (type_ == "rss" && rss) {
            if (const auto row = makeRSSPath(path_))
                map(*rss, event, *row);
        }
    }

    std::string type_;
    std::string path_ = "/";
    bool complete_ = false;
};

class Pieces final : public NSInputStream
{
public:
    Pieces(FeedKit::ByteView data, std::size_t piece)
        : rest_(data)
        , piece_(piece)
    { }
    std::ptrdiff_t read(std::uint8_t* buffer, std::size_t maxLength) override
    {
        const auto count = std::min({rest_.size(), maxLength, piece_});
        std::copy_n(rest_.data(), count, buffer);
        rest_ = rest_.subspan(count);
        return static_cast<std::ptrdiff_t>(count);
    }

private:
    FeedKit::ByteView rest_;
    std::size_t piece_;
};

bool same(const FeedKit::Result<Feed, ParserError>& a, const FeedKit::Result<Feed, ParserError>& b)
{
    return a && b ? *a == *b : !a && !b && a.error() == b.error();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FeedKit::ByteView document(data, size);
    const auto whole = XMLFeedParser(document).parse();

    DataInputStream stream(document);
    PlainDriver plain;
    NSXMLParser(stream, plain).parse();
    if (whole) {
        if (!plain.outcome.empty() || (whole->rssFeed() && (!plain.rss || !(*whole->rssFeed() == *plain.rss)))
            || (whole->atomFeed() && (!plain.atom || !(*whole->atomFeed() == *plain.atom))))
            std::abort();
    } else if (!plain.outcome.empty() && whole.error().payload() != plain.outcome) {
        std::abort();
    }

    const auto pieces = XMLFeedParser(std::make_shared<Pieces>(document, 1 + size % 7)).parse();
    if (!same(whole, pieces))
        std::abort();
    return 0;
}
