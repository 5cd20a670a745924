#include "FeedKit/basics/Letters.h"
#include "FeedKit/dates/DateFormatters.h"
#include "FeedKit/opml/OutlineNames.h"
#include "FeedKit/xml/ElementAttributes.h"
#include "FeedKit/xml/NSXMLParser.h"
#include "base/Text.h"

#include <algorithm>

namespace FeedKit {

namespace {

using vitrel::trimmed;

// Beyond what any list of subscriptions has; an outline takes some hundred bytes.
constexpr std::size_t kMostLevels = 64;
constexpr std::size_t kMostOutlines = 100'000;
constexpr std::size_t kMostText = 64u << 20;

std::vector<std::string> categoriesIn(std::string_view list)
{
    std::vector<std::string> found;
    for (bool goesOn = true; goesOn;) {
        const auto comma = list.find(',');
        goesOn = comma != list.npos;
        if (const auto one = trimmed(list.substr(0, comma)); !one.empty())
            found.emplace_back(one);
        list.remove_prefix(goesOn ? comma + 1 : list.size());
    }
    return found;
}

void setAttribute(Outline& outline, std::string_view name, std::string_view value)
{
    for (const auto& [known, field] : kOutlineNames) {
        if (sameIgnoringCase(name, known)) {
            outline.*field = std::string(value);
            return;
        }
    }
    if (sameIgnoringCase(name, kCategoryName))
        outline.categories = categoriesIn(value);
    else if (name.find(':') == name.npos && name != "xmlns")
        outline.others.push_back({std::string(name), std::string(value)});
}

class Reader final : public NSXMLParserDelegate
{
public:
    explicit Reader(ByteView document)
        : stream_(document)
        , parser_(stream_, *this)
    { }

    Result<OPML, ParserError> read()
    {
        parser_.parse();
        if (!reason_.empty())
            return ParserError::internalError(reason_);
        return std::move(opml_);
    }

private:
    void parserWillReadBytes(std::size_t) override { }
    void parserFoundDoctype() override { }
    void parserDidStartElement(NSXMLParser& parser, std::string_view name, const ElementAttributes& attributes) override
    {
        ++depth_;
        if (depth_ == 1 && !sameIgnoringCase(name, "opml"))
            return refuse("the root isn't opml");
        if (depth_ == 2)
            part_ = sameIgnoringCase(name, "head") ? Part::head
                : sameIgnoringCase(name, "body")   ? Part::body
                                                   : Part::other;
        else if (depth_ == 3 && part_ == Part::head)
            startHead(parser, name);
        else if (depth_ > 2 && part_ == Part::body && sameIgnoringCase(name, "outline"))
            startOutline(attributes);
    }
    void parserDidEndElement(NSXMLParser&) override
    {
        if (depth_ == 3 && part_ == Part::head)
            endHead();
        else if (!open_.empty() && open_.back().depth == depth_)
            open_.pop_back();
        --depth_;
    }
    void parserFoundCharacters(NSXMLParser&, std::string_view text) override
    {
        if (takes(text.size()))
            text_ += text;
    }
    void parserFoundCDATA(NSXMLParser& parser, std::string_view text) override { parserFoundCharacters(parser, text); }
    void parserFoundInvalidCDATA(NSXMLParser&) override { refuse("a CDATA section isn't UTF-8"); }
    void parserParseErrorOccurred(NSXMLParser&, const std::string& description) override
    {
        if (reason_.empty())
            reason_ = description.empty() ? "the document is broken" : description;
    }

    void startHead(NSXMLParser& parser, std::string_view name)
    {
        headName_ = name;
        text_.clear();
        parser.setTextDelivery(TextDelivery::joined);
    }
    void endHead()
    {
        const auto value = trimmed(text_);
        for (const auto& [name, field] : kHeadNames) {
            if (sameIgnoringCase(headName_, name) && !value.empty())
                opml_.*field = std::string(value);
        }
        for (const auto& [name, field] : kHeadDates) {
            if (sameIgnoringCase(headName_, name))
                opml_.*field = toPermissiveDate(value);
        }
    }
    void startOutline(const ElementAttributes& attributes)
    {
        if (open_.size() >= kMostLevels)
            return refuse("the outlines are nested too deeply");
        if (++count_ > kMostOutlines)
            return refuse("there are too many outlines");
        std::size_t bytes = attributes.valueBytes();
        attributes.forEach([&](std::string_view name, std::string_view value) {
            bytes += sizeof(OutlineAttribute);
            // Each comma may make a text of its own.
            if (sameIgnoringCase(name, kCategoryName))
                bytes += sizeof(std::string) * static_cast<std::size_t>(std::count(value.begin(), value.end(), ','));
        });
        if (!takes(bytes))
            return;
        auto& siblings = open_.empty() ? opml_.outlines : open_.back().outline->children;
        auto& outline = siblings.emplace_back();
        attributes.forEach([&](std::string_view name, std::string_view value) { setAttribute(outline, name, value); });
        // It stays where it is until it ends: only its own children are added meanwhile.
        open_.push_back({&outline, depth_});
    }

    bool takes(std::size_t bytes)
    {
        kept_ += bytes;
        if (kept_ > kMostText)
            refuse("there are too many attributes");
        return kept_ <= kMostText;
    }
    void refuse(const char* reason)
    {
        if (reason_.empty())
            reason_ = reason;
        parser_.abortParsing();
    }

    enum class Part { head, body, other };
    struct Open {
        Outline* outline;
        std::size_t depth;
    };

    DataInputStream stream_;
    NSXMLParser parser_;
    OPML opml_;
    std::string reason_; // why there is none
    std::size_t depth_ = 0;
    Part part_ = Part::other;
    std::string headName_;
    std::string text_; // of the head's element
    std::vector<Open> open_;
    std::size_t count_ = 0;
    std::size_t kept_ = 0;
};

} // namespace

Result<OPML, ParserError> readOPML(ByteView document)
{
    return Reader(document).read();
}

} // namespace FeedKit
