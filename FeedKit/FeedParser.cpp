#include "FeedKit/FeedParser.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/json/JSONFeedParser.h"
#include "FeedKit/xml/XMLFeedParser.h"

namespace FeedKit {

namespace {

std::optional<URL> sanitized(const URL& url)
{
    return replacing(url, "feed", "http");
}

} // namespace

FeedParser::FeedParser(URL url)
    : FeedParser(std::move(url), std::make_shared<CurlFetcher>())
{ }

FeedParser::FeedParser(URL url, std::shared_ptr<Fetcher> fetcher)
    : url_(std::move(url))
    , fetcher_(std::move(fetcher))
{ }

FeedParser::FeedParser(Bytes data)
    : data_(std::move(data))
{ }

FeedParser::FeedParser(std::shared_ptr<NSInputStream> xmlStream)
    : xmlStream_(std::move(xmlStream))
{ }

// Whatever was aborted before is over.
std::stop_token FeedParser::begin()
{
    const std::lock_guard lock(mutex_);
    stop_ = std::stop_source();
    parser_.reset();
    return stop_.get_token();
}

Result<Feed, ParserError> FeedParser::parse()
{
    if (url_) {
        Validators unknown;
        // What nothing is known of can't be the same as before.
        return *parseIfModified(unknown);
    }
    return parseGiven(begin());
}

std::optional<Result<Feed, ParserError>> FeedParser::parseIfModified(Validators& validators, std::stop_token stop)
{
    const auto current = begin();
    const std::stop_callback onStop(std::move(stop), [this] { abortParsing(); });
    if (!url_)
        return parseGiven(current);
    const auto url = sanitized(*url_);
    if (!url)
        return ParserError::internalError("Failed url sanitizing.");
    const bool isKnown = validators != Validators();
    auto fetched = fetcher_->contentsOfIfModified(*url, validators, current);
    if (!fetched)
        return ParserError::internalError(fetched.error());
    if (!*fetched) {
        if (!isKnown)
            return ParserError::internalError("nothing came, though nothing was known");
        return std::nullopt;
    }
    data_ = std::move((*fetched)->bytes);
    auto result = parseData(current);
    data_.reset();
    if (result)
        validators = std::move((*fetched)->validators);
    return result;
}

Result<Feed, ParserError> FeedParser::parseGiven(const std::stop_token& stop)
{
    if (data_)
        return parseData(stop);
    if (xmlStream_)
        return run(std::make_shared<XMLFeedParser>(xmlStream_), stop);
    return ParserError::internalError("Fatal error. Unable to parse from the initialized state.");
}

Result<Feed, ParserError> FeedParser::parseData(const std::stop_token& stop)
{
    const auto type = makeFeedDataType(*data_);
    if (!type)
        return ParserError::feedNotFound();
    if (*type == FeedDataType::json) {
        const auto size = data_->size();
        data_->resize(size + kPadding);
        auto result = run(std::make_shared<JSONFeedParser>(ByteView(*data_).first(size), Padding::there), stop);
        data_->resize(size);
        return result;
    }
    return run(std::make_shared<XMLFeedParser>(ByteView(*data_)), stop);
}

Result<Feed, ParserError> FeedParser::run(std::shared_ptr<FeedParserProtocol> parser, const std::stop_token& stop)
{
    {
        const std::lock_guard lock(mutex_);
        parser_ = parser;
    }
    // It may have come while there was no parser to tell.
    if (stop.stop_requested())
        parser->abortParsing();
    auto result = parser->parse();
    const std::lock_guard lock(mutex_);
    parser_.reset();
    return result;
}

void FeedParser::parseAsync(const DispatchQueue& queue, std::function<void(Result<Feed, ParserError>)> result)
{
    queue([this, result = std::move(result)] { result(parse()); });
}

void FeedParser::abortParsing()
{
    std::shared_ptr<FeedParserProtocol> parser;
    std::stop_source stop(std::nostopstate);
    {
        const std::lock_guard lock(mutex_);
        parser = parser_;
        stop = stop_;
    }
    stop.request_stop();
    if (parser)
        parser->abortParsing();
}

} // namespace FeedKit
