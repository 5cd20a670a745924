#include "FeedKit/xml/XMLFeedParser.h"

#include "FeedKit/dates/LenientDate.h"

#include <algorithm>

namespace FeedKit {

namespace {

// A text is held twice while it grows.
constexpr std::size_t kMostText = 112u << 20;

} // namespace

std::string_view rawValue(XMLFeedType type)
{
    switch (type) {
    case XMLFeedType::atom:
        return "feed";
    case XMLFeedType::rdf:
        return "rdf:RDF";
    case XMLFeedType::rss:
        return "rss";
    }
    return {};
}

XMLFeedParser::XMLFeedParser(ByteView data)
    : XMLFeedParser(std::make_shared<DataInputStream>(data))
{ }

XMLFeedParser::XMLFeedParser(std::shared_ptr<NSInputStream> stream)
    : stream_(std::move(stream))
    , xmlParser_(*stream_, *this)
{ }

XMLFeedParser::XMLFeedParser(ByteView data, Forgivings& forgivings)
    : XMLFeedParser(data)
{
    forgivings_ = &forgivings;
    names_.emplace(forgivings, xmlParser_);
}

XMLFeedParser::~XMLFeedParser() = default;

Result<Feed, ParserError> XMLFeedParser::parse()
{
    xmlParser_.parse();
    if (parsingError_) {
        return ParserError::internalError(parsingError_->which() == ParserError::Case::internalError
                ? parsingError_->payload()
                : parsingError_->localizedDescription());
    }
    if (!feedType_)
        return ParserError::feedNotFound();
    if (feedType_ == XMLFeedType::atom) {
        if (!atomFeed_)
            return ParserError::internalError("Unable to initialize atom feed model");
        return Feed::atom(std::move(atomFeed_));
    }
    if (!rssFeed_)
        return ParserError::internalError("Unable to initialize rss feed model");
    return Feed::rss(std::move(rssFeed_));
}

namespace {

// Drops the last item if the error cut it before it had anything.
template <class Items> void dropEmptyItem(Items& items, bool isOpen)
{
    using Item = typename Items::value_type::value_type::element_type;
    if (isOpen && items && !items->empty() && *items->back() == Item())
        items->pop_back();
}

} // namespace

std::optional<Feed> XMLFeedParser::takePartialFeed()
{
    if (!parsingError_ || !feedType_ || (!atomFeed_ && !rssFeed_))
        return std::nullopt;
    const auto path = currentXMLDOMPath();
    const auto isIn = [&](std::string_view item) { return path.starts_with(item); };
    if (atomFeed_) {
        dropEmptyItem(atomFeed_->entries, isIn("/feed/entry"));
        return Feed::atom(std::move(atomFeed_));
    }
    dropEmptyItem(rssFeed_->items, isIn("/rss/channel/item") || isIn("/rdf:RDF/item"));
    return Feed::rss(std::move(rssFeed_));
}

std::string XMLFeedParser::currentXMLDOMPath() const
{
    std::string path = state_ == PathAutomaton::kTop ? std::string() : automaton_->path(state_);
    path += unknown_;
    return path.empty() || childEnded_ ? path + "/" : path;
}

// --- the path

void XMLFeedParser::pushUnknown(std::string_view elementName)
{
    unknown_ += '/';
    unknown_ += elementName;
}

void XMLFeedParser::push(std::string_view elementName)
{
    if (unknown_.empty()) {
        const auto next = automaton_->child(state_, elementName);
        if (next != PathAutomaton::kUnknown) {
            state_ = next;
            return;
        }
        if (pushBesideChannel(elementName))
            return;
    }
    pushUnknown(elementName);
}

// RSS 0.90 has its items beside the channel, and some documents have no channel at all: what stands right in the root
// counts as the channel's.
bool XMLFeedParser::pushBesideChannel(std::string_view elementName)
{
    if (!forgivings_ || feedType_ != XMLFeedType::rss || !forgivings_->may(Forgivable::rss090))
        return false;
    if (state_ == PathAutomaton::kTop || automaton_->parent(state_) != PathAutomaton::kTop)
        return false;
    const auto next = automaton_->child(automaton_->child(state_, "channel"), elementName);
    if (next == PathAutomaton::kUnknown)
        return false;
    state_ = next;
    strayState_ = next;
    forgivings_->add(Forgivable::rss090, [&] {
        return "<" + std::string(elementName) + "> at line " + std::to_string(xmlParser_.line());
    });
    return true;
}

void XMLFeedParser::pop()
{
    if (!unknown_.empty())
        unknown_.resize(unknown_.rfind('/'));
    else if (feedType_) {
        const bool isStray = strayState_ != PathAutomaton::kTop && state_ == strayState_;
        state_ = automaton_->parent(state_);
        if (isStray) {
            state_ = automaton_->parent(state_);
            strayState_ = PathAutomaton::kTop;
        }
    }
}

// --- the events

void XMLFeedParser::setType(XMLFeedType type, const PathAutomaton& automaton)
{
    feedType_ = type;
    automaton_ = &automaton;
}

// The first element of any depth that is named like a root sets the type, and nothing else happens at it.
bool XMLFeedParser::isTypeSet(std::string_view elementName)
{
    if (feedType_)
        return true;
    if (elementName == rawValue(XMLFeedType::atom))
        setType(XMLFeedType::atom, atomPathTable().automaton());
    else if (elementName == rawValue(XMLFeedType::rdf))
        setType(XMLFeedType::rdf, rdfPathTable().automaton());
    else if (elementName == rawValue(XMLFeedType::rss))
        setType(XMLFeedType::rss, rssPathTable().automaton());
    if (feedType_)
        push(elementName);
    else
        pushUnknown(elementName);
    return false;
}

void XMLFeedParser::parserDidStartElement(
    NSXMLParser&, std::string_view elementName, const ElementAttributes& asWritten)
{
    childEnded_ = false;
    textRow_ = PathAutomaton::kNoRow;
    auto attributes = asWritten;
    if (names_) {
        elementName = names_->startElement(elementName, asWritten);
        attributes = names_->attributes(asWritten);
        textDate_.reset();
    }
    if (!isTypeSet(elementName))
        return;
    push(elementName);
    switch (*feedType_) {
    case XMLFeedType::atom:
        if (!atomFeed_)
            atomFeed_ = std::make_shared<AtomFeed>();
        return mapStart(atomPathTable(), *atomFeed_, attributes);
    case XMLFeedType::rdf:
        if (!rssFeed_)
            rssFeed_ = std::make_shared<RSSFeed>();
        return mapStart(rdfPathTable(), *rssFeed_, attributes);
    case XMLFeedType::rss:
        if (!rssFeed_)
            rssFeed_ = std::make_shared<RSSFeed>();
        return mapStart(rssPathTable(), *rssFeed_, attributes);
    }
}

void XMLFeedParser::parserDidEndElement(NSXMLParser&)
{
    pop();
    if (names_)
        names_->endElement();
    childEnded_ = true;
    // Texts behind a child belong to no row.
    textRow_ = PathAutomaton::kNoRow;
    if (state_ == PathAutomaton::kTop && unknown_.empty()) {
        parseComplete_ = true;
        xmlParser_.abortParsing();
    }
}

template <class Feed>
void XMLFeedParser::mapStart(const PathTable<Feed>& table, Feed& feed, const ElementAttributes& attributes)
{
    if (!unknown_.empty())
        return;
    const auto index = table.automaton().row(state_);
    if (index == PathAutomaton::kNoRow)
        return;
    const auto& row = table.row(index);
    if (row.actsOnStart()) {
        take(row.startCost() + (hasDoctype_ ? attributes.valueBytes() : 0));
        row.mapStart(feed, attributes);
    }
    if (row.text.run) {
        textRow_ = index;
        textBytes_ = 0;
        xmlParser_.setTextDelivery(row.text.delivery);
    }
}

template <class Feed> void XMLFeedParser::mapTextIn(const PathTable<Feed>& table, Feed& feed, std::string_view text)
{
    const auto& action = table.row(textRow_).text;
    take(text.size());
    textBytes_ += text.size();
    if (textBytes_ > kMostText)
        refuse();
    if (action.pieceCost)
        take(action.pieceCost * (1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), ','))));
    if (parsingError_)
        return;
    if (action.setDate && forgivings_ && forgivings_->may(Forgivable::dates))
        action.setDate(feed, dateLeniently(text));
    else
        action.run(feed, text);
}

// A date that a reference, a comment or the border of a CDATA section separates from white space stays.
std::optional<Date> XMLFeedParser::dateLeniently(std::string_view text)
{
    const bool isBlank = trimmed(text).empty();
    bool forgiven = isBlank && textDate_;
    if (!isBlank)
        textDate_ = toDateLeniently(text, forgiven);
    if (forgiven) {
        forgivings_->add(Forgivable::dates, [&] {
            return "\"" + std::string(trimmed(text).substr(0, 40)) + "\" at line " + std::to_string(xmlParser_.line());
        });
    }
    return textDate_;
}

void XMLFeedParser::mapText(std::string_view text)
{
    if (textRow_ == PathAutomaton::kNoRow)
        return;
    switch (*feedType_) {
    case XMLFeedType::atom:
        return mapTextIn(atomPathTable(), *atomFeed_, text);
    case XMLFeedType::rdf:
        return mapTextIn(rdfPathTable(), *rssFeed_, text);
    case XMLFeedType::rss:
        return mapTextIn(rssPathTable(), *rssFeed_, text);
    }
}

void XMLFeedParser::parserFoundCharacters(NSXMLParser&, std::string_view text)
{
    mapText(text);
}

// --- errors

void XMLFeedParser::parserFoundInvalidCDATA(NSXMLParser&)
{
    parsingError_ = ParserError::feedCDATABlockEncodingError(currentXMLDOMPath());
}

void XMLFeedParser::parserParseErrorOccurred(NSXMLParser&, const std::string& localizedDescription)
{
    // The stop at the root's end reports one too.
    if (!parseComplete_)
        fail(ParserError::internalError(localizedDescription));
}

void XMLFeedParser::fail(ParserError error)
{
    if (!parsingError_)
        parsingError_ = std::move(error);
}

void XMLFeedParser::take(std::size_t bytes)
{
    if (!budget_.take(bytes))
        refuse();
}

void XMLFeedParser::refuse()
{
    fail(ParserError::internalError("the document makes a feed of too much memory for its size"));
    xmlParser_.abortParsing();
}

} // namespace FeedKit
