#include "FeedKit/xml/XMLFeedParser.h"

#include "FeedKit/dates/LenientDate.h"

#include <algorithm>
#include <utility>

namespace FeedKit {

namespace {

// A text is held twice while it grows.
constexpr std::size_t kMostText = 112u << 20;

template <class Item> Item* lastOf(const std::optional<std::vector<std::shared_ptr<Item>>>& items)
{
    return items && !items->empty() ? items->back().get() : nullptr;
}

template <class Model> auto& moreOf(Model& model)
{
    if (!model.more)
        model.more = std::make_shared<typename decltype(model.more)::element_type>();
    return *model.more;
}

template <class Model> void addTo(Model& model, ExtensionElement element)
{
    auto& extensions = moreOf(model).extensions;
    if (!extensions)
        extensions.emplace();
    extensions->push_back(std::move(element));
}

template <class Feed, class Item> void addExtension(Feed& feed, Item* item, ExtensionElement element)
{
    if (item)
        addTo(*item, std::move(element));
    else
        addTo(feed, std::move(element));
}

template <class Model> void setScope(Model& model, const MoreReader::Scope& scope)
{
    if (!scope.base.empty())
        moreOf(model).base = scope.base;
    if constexpr (requires { model.more->language; }) {
        if (!scope.language.empty())
            moreOf(model).language = scope.language;
    }
}

// A text of an Atom document with elements in it (RFC 4287, section 3.1.1.3).
bool isMarkup(const ElementAttributes& attributes)
{
    bool is = false;
    attributes.forEach(
        [&](std::string_view name, std::string_view value) { is = is || (name == "type" && value == "xhtml"); });
    return is;
}

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

XMLFeedParser::XMLFeedParser(ByteView data, XMLReadingOptions options)
    : XMLFeedParser(std::make_shared<DataInputStream>(data), options)
{ }

XMLFeedParser::XMLFeedParser(std::shared_ptr<NSInputStream> stream, XMLReadingOptions options)
    : stream_(std::move(stream))
    , xmlParser_(*stream_, *this)
    , forgivings_(options.forgivings)
{
    if (forgivings_)
        names_.emplace(*forgivings_, xmlParser_, options.extent);
    if (options.extent == Extent::more)
        more_.emplace();
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
    forgivings_->add(Forgivable::rss090,
        [&] { return "<" + std::string(elementName) + "> at line " + std::to_string(xmlParser_.line()); });
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

void XMLFeedParser::setType(XMLFeedType type)
{
    feedType_ = type;
    if (type == XMLFeedType::atom)
        atomTable_ = more_ ? &atomMorePathTable() : &atomPathTable();
    else if (type == XMLFeedType::rdf)
        rssTable_ = more_ ? &rdfMorePathTable() : &rdfPathTable();
    else
        rssTable_ = more_ ? &rssMorePathTable() : &rssPathTable();
    automaton_ = atomTable_ ? &atomTable_->automaton() : &rssTable_->automaton();
    const auto root = automaton_->child(PathAutomaton::kTop, rawValue(type));
    owners_[0] = type == XMLFeedType::atom ? root : automaton_->child(root, "channel");
    owners_[1] = type == XMLFeedType::atom ? automaton_->child(root, "entry")
                                           : automaton_->child(type == XMLFeedType::rdf ? root : owners_[0], "item");
}

// The first element of any depth that is named like a root sets the type, and nothing else happens at it.
bool XMLFeedParser::isTypeSet(std::string_view elementName)
{
    if (feedType_)
        return true;
    if (elementName == rawValue(XMLFeedType::atom))
        setType(XMLFeedType::atom);
    else if (elementName == rawValue(XMLFeedType::rdf))
        setType(XMLFeedType::rdf);
    else if (elementName == rawValue(XMLFeedType::rss))
        setType(XMLFeedType::rss);
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
    const auto nameAsWritten = elementName;
    auto attributes = asWritten;
    if (names_) {
        elementName = names_->startElement(elementName, asWritten);
        attributes = names_->attributes(asWritten);
        textDate_.reset();
    }
    if (more_ && (startMore(nameAsWritten, asWritten) || startExtension(elementName, nameAsWritten, asWritten)))
        return;
    if (!isTypeSet(elementName))
        return;
    push(elementName);
    if (feedType_ == XMLFeedType::atom) {
        if (!atomFeed_) {
            atomFeed_ = std::make_shared<AtomFeed>();
            // Nothing happens at the root itself but that its scope opens.
            if (more_)
                setScope(*atomFeed_, more_->scopeAround());
        }
        mapStart(*atomTable_, *atomFeed_, attributes);
    } else {
        if (!rssFeed_)
            rssFeed_ = std::make_shared<RSSFeed>();
        mapStart(*rssTable_, *rssFeed_, attributes);
    }
    if (more_ && unknown_.empty())
        noteScope();
}

void XMLFeedParser::parserDidEndElement(NSXMLParser&)
{
    if (names_)
        names_->endElement();
    if (more_ && endMore())
        return;
    pop();
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
        if (more_ && atomTable_ && row.text.delivery == TextDelivery::joined && isMarkup(attributes))
            captureMarkup();
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
    if (!action.setDate || !forgivings_ || !forgivings_->may(Forgivable::dates))
        return action.run(feed, text);
    action.setDate(feed, dateLeniently(text));
    if (action.beside)
        action.beside(feed, text);
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
    if (feedType_ == XMLFeedType::atom)
        return mapTextIn(*atomTable_, *atomFeed_, text);
    mapTextIn(*rssTable_, *rssFeed_, text);
}

void XMLFeedParser::parserFoundCharacters(NSXMLParser&, std::string_view text)
{
    if (!more_ || !more_->isCapturing())
        return mapText(text);
    if (parsingError_)
        return;
    more_->text(text);
    take(more_->takeGrowth());
}

// --- what is kept beyond the models

// True if the element is kept whole, and no path is followed.
bool XMLFeedParser::startMore(std::string_view elementName, const ElementAttributes& attributes)
{
    if (!more_->start(elementName, attributes))
        return false;
    take(more_->takeGrowth());
    xmlParser_.setTextDelivery(TextDelivery::joined);
    return true;
}

// An element right within a feed or an item that no row knows, nor one below it.
bool XMLFeedParser::startExtension(
    std::string_view elementName, std::string_view nameAsWritten, const ElementAttributes& attributes)
{
    if (!feedType_ || !unknown_.empty() || (state_ != owners_[0] && state_ != owners_[1])
        || automaton_->child(state_, elementName) != PathAutomaton::kUnknown)
        return false;
    more_->captureExtension(nameAsWritten, attributes);
    take(more_->takeGrowth());
    xmlParser_.setTextDelivery(TextDelivery::joined);
    return true;
}

// What follows is the text of the row that has just been found, with its markup.
void XMLFeedParser::captureMarkup()
{
    markupRow_ = std::exchange(textRow_, PathAutomaton::kNoRow);
    more_->captureMarkup();
}

bool XMLFeedParser::endMore()
{
    switch (more_->end()) {
    case MoreReader::End::nothing:
        return false;
    case MoreReader::End::inside:
        xmlParser_.setTextDelivery(TextDelivery::joined);
        return true;
    case MoreReader::End::markup:
        // It has been taken into account as it grew.
        if (!parsingError_ && atomTable_)
            atomTable_->row(markupRow_).text.run(*atomFeed_, more_->takeMarkup());
        return false;
    case MoreReader::End::extension:
        if (atomFeed_ || rssFeed_) {
            const bool isItem = state_ == owners_[1];
            if (feedType_ == XMLFeedType::atom)
                addExtension(*atomFeed_, isItem ? lastOf(atomFeed_->entries) : nullptr, more_->takeExtension());
            else
                addExtension(*rssFeed_, isItem ? lastOf(rssFeed_->items) : nullptr, more_->takeExtension());
        }
        childEnded_ = true;
        return true;
    }
    return false;
}

// The base and the language that hold where a feed or an item begins.
void XMLFeedParser::noteScope()
{
    const auto& scope = more_->scope();
    const bool isContent = more_->hasOwnBase() && automaton_->path(state_) == "/feed/entry/content";
    if (state_ != owners_[0] && state_ != owners_[1] && !isContent)
        return;
    // Each holds a copy.
    take(scope.base.size() + scope.language.size());
    if (parsingError_)
        return;
    if (feedType_ != XMLFeedType::atom) {
        if (state_ == owners_[0])
            setScope(*rssFeed_, scope);
        else if (state_ == owners_[1] && lastOf(rssFeed_->items))
            setScope(*lastOf(rssFeed_->items), scope);
        return;
    }
    auto* const entry = lastOf(atomFeed_->entries);
    if (entry && state_ == owners_[1])
        setScope(*entry, scope);
    if (entry && entry->content && isContent)
        moreOf(*entry).contentBase = scope.base;
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
