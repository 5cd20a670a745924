#pragma once

#include "FeedKit/models/Extent.h"
#include "FeedKit/models/FeedParserProtocol.h"
#include "FeedKit/models/ModelBudget.h"
#include "FeedKit/xml/FeedPaths.h"
#include "FeedKit/xml/LenientNames.h"
#include "FeedKit/xml/MoreReader.h"
#include "FeedKit/xml/NSXMLParser.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace FeedKit {

enum class XMLFeedType { atom, rdf, rss };

// The name of the type's root element: "feed", "rdf:RDF", "rss".
std::string_view rawValue(XMLFeedType type);

struct XMLReadingOptions {
    Extent extent = Extent::model;
    // What it allows of names, dates and places of elements is forgiven, and counted there; it must outlive the parser.
    // What the strict reading takes is taken in the same way.
    Forgivings* forgivings = nullptr;
};

// Follows the events of one XML document and fills a model. It keeps no tree: it knows which element is open, as a
// state of the type's path table, and a row of the table says what a start tag or a text there does. The first element
// named like a root sets the type; the end of the document's root ends the parse, and what follows is never read.
class XMLFeedParser final : public FeedParserProtocol, private NSXMLParserDelegate
{
public:
    // `data` must outlive the parser.
    explicit XMLFeedParser(ByteView data, XMLReadingOptions options = {});
    // `stream` isn't null.
    explicit XMLFeedParser(std::shared_ptr<NSInputStream> stream, XMLReadingOptions options = {});
    ~XMLFeedParser() override;

    // Blocks until done. Once. A document in error gives no part of a feed.
    Result<Feed, ParserError> parse() override;
    // Ends the parse with an error, unless the root element has ended before. Any thread, at any moment.
    void abortParsing() override { xmlParser_.abortParsing(); }

    // Of the document so far; of interest once parse() has returned.
    std::optional<XMLFeedType> feedType() const { return feedType_; }
    const std::optional<ParserError>& parsingError() const { return parsingError_; }
    bool parseComplete() const { return parseComplete_; }
    // Once parse() has given an error: whether it is one of the document's text, and the feed of what came ahead of it;
    // absent if nothing did. An item that the error cut counts if it has anything. Once.
    bool isDamaged() const { return xmlParser_.isDamaged(); }
    std::optional<Feed> takePartialFeed();
    // The path of the open element; it ends in "/" if a child of it has ended.
    std::string currentXMLDOMPath() const;

private:
    void parserWillReadBytes(std::size_t count) override { budget_.allowForInput(count); }
    void parserDidStartElement(
        NSXMLParser&, std::string_view elementName, const ElementAttributes& attributes) override;
    void parserFoundDoctype() override { hasDoctype_ = true; }
    void parserDidEndElement(NSXMLParser&) override;
    void parserFoundCharacters(NSXMLParser&, std::string_view text) override;
    void parserFoundCDATA(NSXMLParser& parser, std::string_view text) override { parserFoundCharacters(parser, text); }
    void parserFoundInvalidCDATA(NSXMLParser&) override;
    void parserParseErrorOccurred(NSXMLParser&, const std::string& localizedDescription) override;

    void push(std::string_view elementName);
    void pop();
    void pushUnknown(std::string_view elementName);
    bool pushBesideChannel(std::string_view elementName);
    void setType(XMLFeedType type);
    bool isTypeSet(std::string_view elementName);
    template <class Feed> void mapStart(const PathTable<Feed>& table, Feed& feed, const ElementAttributes& attributes);
    template <class Feed> void mapTextIn(const PathTable<Feed>& table, Feed& feed, std::string_view text);
    void mapText(std::string_view text);
    bool startMore(std::string_view elementName, const ElementAttributes& attributes);
    bool startExtension(
        std::string_view elementName, std::string_view nameAsWritten, const ElementAttributes& attributes);
    void captureMarkup();
    void noteScope();
    bool endMore();
    std::optional<Date> dateLeniently(std::string_view text);
    void take(std::size_t bytes);
    void refuse();
    void fail(ParserError error);

    std::shared_ptr<NSInputStream> stream_;
    NSXMLParser xmlParser_;
    std::optional<XMLFeedType> feedType_;
    std::shared_ptr<RSSFeed> rssFeed_; // of RSS and RDF documents
    std::shared_ptr<AtomFeed> atomFeed_;
    ModelBudget budget_;
    bool hasDoctype_ = false;

    // The path: a state of the table, and below it the names of elements that have none, each behind a "/".
    const PathTable<RSSFeed>* rssTable_ = nullptr; // one of the two, once the type is known, and its automaton
    const PathTable<AtomFeed>* atomTable_ = nullptr;
    const PathAutomaton* automaton_ = nullptr;
    PathAutomaton::State state_ = PathAutomaton::kTop;
    std::string unknown_;
    bool childEnded_ = false;
    std::int32_t textRow_ = PathAutomaton::kNoRow; // whose text the next one is
    std::size_t textBytes_ = 0; // of the open element

    std::optional<MoreReader> more_; // if it was asked for
    PathAutomaton::State owners_[2] = {PathAutomaton::kUnknown, PathAutomaton::kUnknown}; // the feed's, and an item's
    std::int32_t markupRow_ = PathAutomaton::kNoRow; // whose text is being captured
    // Of a lenient reading.
    Forgivings* forgivings_ = nullptr;
    std::optional<LenientNames> names_;
    PathAutomaton::State strayState_ = PathAutomaton::kTop; // of an element beside the channel; kTop for none
    std::optional<Date> textDate_; // what the texts of the open element have said so far

    std::optional<ParserError> parsingError_;
    bool parseComplete_ = false;
};

} // namespace FeedKit
