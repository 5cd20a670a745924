#include "FeedKit/LenientReading.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/basics/Letters.h"
#include "FeedKit/fetch/Fetcher.h"
#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/json/JSONFeedParser.h"
#include "FeedKit/leniency/Charset.h"
#include "FeedKit/leniency/Repair.h"
#include "FeedKit/xml/XMLFeedParser.h"

namespace FeedKit {

namespace {

// How far into a document its beginning is looked for.
constexpr std::size_t kMostJunk = 64 * 1024;

class LenientReading
{
public:
    LenientReading(
        ByteView document, const Leniency& leniency, Extent extent, std::string_view contentType, std::stop_token stop)
        : document_(document)
        , leniency_(leniency)
        , extent_(extent)
        , charset_(charsetOf(contentType))
        , stop_(std::move(stop))
    { }

    Result<Reading, ParserError> run()
    {
        const auto type = makeFeedDataType(document_);
        if (!type)
            return readUnknown();
        return *type == FeedDataType::xml ? readXML() : readJSON();
    }

private:
    struct Attempt {
        Result<Feed, ParserError> result;
        bool isDamaged;
        std::optional<Feed> partial;
    };

    Attempt parse(ByteView document, Forgivings& forgivings)
    {
        XMLFeedParser parser(document, {extent_, &forgivings});
        const std::stop_callback onStop(stop_, [&] { parser.abortParsing(); });
        Attempt attempt{parser.parse(), false, std::nullopt};
        attempt.isDamaged = !attempt.result && parser.isDamaged();
        if (attempt.isDamaged && leniency_.has(Forgivable::brokenOff))
            attempt.partial = parser.takePartialFeed();
        return attempt;
    }

    // Markup that is whole and no feed ends the document for the tokeniser: a program's warning, "<br />", and then the
    // feed.
    bool isFeedBehindMarkup(const ParserError& error) const
    {
        if (error != ParserError::feedNotFound() || !leniency_.has(Forgivable::junkAhead))
            return false;
        const auto start = startOfFeed(textOf(document_));
        return start != 0 && start != std::string_view::npos;
    }

    Result<Reading, ParserError> readXML()
    {
        Forgivings forgivings(leniency_);
        auto attempt = parse(document_, forgivings);
        if (attempt.result)
            return Reading{*std::move(attempt.result), forgivings.list()};
        if (!attempt.isDamaged && !isFeedBehindMarkup(attempt.result.error()))
            return readStrictly<XMLFeedParser>();
        Forgivings mending(leniency_);
        auto text = decodedText(document_, charset_, mending);
        if (text)
            text = repairedXML(*text, mending);
        if (!text)
            return partOf(attempt, forgivings);
        // The one change that isn't counted is that of the declaration.
        if (mending.empty() && !leniency_.has(Forgivable::junkAhead))
            return partOf(attempt, forgivings);
        attempt.partial.reset(); // two models at once would take too much
        auto again = parse(bytesOf(*text), mending);
        if (again.result) {
            if (mending.empty())
                mending.add(Forgivable::junkAhead, [] { return std::string("a faulty XML declaration"); });
            return Reading{*std::move(again.result), mending.list()};
        }
        if (!again.partial)
            return std::move(attempt.result).error();
        return partOf(again, mending);
    }

    static Result<Reading, ParserError> partOf(Attempt& attempt, Forgivings& forgivings)
    {
        auto error = std::move(attempt.result).error();
        if (!attempt.partial)
            return error;
        forgivings.add(Forgivable::brokenOff, [&] { return error.payload(); });
        return Reading{*std::move(attempt.partial), forgivings.list(), std::move(error)};
    }

    Result<Reading, ParserError> readJSON()
    {
        Forgivings forgivings(leniency_);
        auto feed = decodeLeniently(document_, forgivings, extent_);
        if (feed)
            return Reading{Feed::json(*std::move(feed)), forgivings.list()};
        // The one fault of a text that begins well is that of its bytes.
        Forgivings mending(leniency_);
        const auto text = leniency_.has(Forgivable::charset) ? decodedText(document_, charset_, mending) : std::nullopt;
        if (!text || mending.empty())
            return readStrictly<JSONFeedParser>();
        auto again = decodeLeniently(bytesOf(*text), mending, extent_);
        return again ? Reading{Feed::json(*std::move(again)), mending.list()} : readStrictly<JSONFeedParser>();
    }

    // What fails though its text is good is told as ever, or was too much only for what leniency found in it.
    template <class Parser> Result<Reading, ParserError> readStrictly()
    {
        if (stop_.stop_requested())
            return ParserError::internalError("parsing aborted");
        auto feed = Parser(document_).parse();
        return feed ? Result<Reading, ParserError>(Reading{*std::move(feed)}) : std::move(feed).error();
    }

    // A document that shows nothing in its first bytes: in another encoding, or with other text ahead.
    Result<Reading, ParserError> readUnknown()
    {
        Forgivings mending(leniency_);
        const auto text = decodedText(document_, charset_, mending);
        if (!text)
            return ParserError::feedNotFound();
        auto type = makeFeedDataType(bytesOf(*text));
        std::size_t start = 0;
        // It begins with a byte order mark or with zeros, or else with more blanks than are looked at.
        const bool isBlank = !document_.empty() && isHTMLSpace(static_cast<char>(document_[0]));
        if (type && mending.empty() && isBlank && leniency_.has(Forgivable::junkAhead))
            mending.add(Forgivable::junkAhead, [] { return std::string("blanks ahead of the document"); });
        else if (type && mending.empty() && leniency_.has(Forgivable::charset))
            mending.add(Forgivable::charset, [] { return std::string("read by its byte order mark"); });
        if (!type && leniency_.has(Forgivable::junkAhead)) {
            start = startOfFeed(*text);
            type = FeedDataType::xml;
            if (start == 0)
                mending.add(Forgivable::junkAhead, [] { return std::string("blanks ahead of the document"); });
            if (start == text->npos) {
                start = std::string_view(*text).substr(0, kMostJunk).find('{');
                type = FeedDataType::json;
            }
        }
        if (!type || start == text->npos || (start == 0 && mending.empty()))
            return ParserError::feedNotFound();
        return *type == FeedDataType::xml ? readMended(*text, mending)
                                          : readJSONBehindJunk(std::string_view(*text).substr(start), start, mending);
    }

    Result<Reading, ParserError> readMended(std::string_view decoded, Forgivings& mending)
    {
        const auto text = repairedXML(decoded, mending);
        if (!text)
            return ParserError::feedNotFound();
        auto attempt = parse(bytesOf(*text), mending);
        if (attempt.result)
            return Reading{*std::move(attempt.result), mending.list()};
        return attempt.partial ? partOf(attempt, mending) : ParserError::feedNotFound();
    }

    Result<Reading, ParserError> readJSONBehindJunk(std::string_view text, std::size_t junk, Forgivings& mending)
    {
        if (junk > 0)
            mending.add(Forgivable::junkAhead, [] { return std::string("text ahead of the document"); });
        auto feed = decodeLeniently(bytesOf(text), mending, extent_);
        if (!feed)
            return ParserError::feedNotFound();
        return Reading{Feed::json(*std::move(feed)), mending.list()};
    }

    ByteView document_;
    Leniency leniency_;
    Extent extent_;
    std::string charset_; // that HTTP names
    std::stop_token stop_;
};

} // namespace

Result<Reading, ParserError> readLeniently(
    ByteView document, const Leniency& leniency, Extent extent, std::string_view httpContentType, std::stop_token stop)
{
    return LenientReading(document, leniency, extent, httpContentType, std::move(stop)).run();
}

} // namespace FeedKit
