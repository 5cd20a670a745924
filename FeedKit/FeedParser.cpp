#include "FeedKit/FeedParser.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/fetch/CurlFetcher.h"
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

Result<Feed, ParserError> FeedParser::parse()
{
    if (url_) {
        const auto url = sanitized(*url_);
        if (!url)
            return ParserError::internalError("Failed url sanitizing.");
        auto fetched = fetcher_->contentsOf(*url);
        if (!fetched)
            return ParserError::internalError(fetched.error());
        data_ = *std::move(fetched);
    }
    if (data_)
        return parseData();
    if (xmlStream_)
        return run(std::make_shared<XMLFeedParser>(xmlStream_));
    return ParserError::internalError("Fatal error. Unable to parse from the initialized state.");
}

std::optional<Result<Feed, ParserError>> FeedParser::parseIfModified(Validators& validators)
{
    if (!url_)
        return parse();
    const auto url = sanitized(*url_);
    if (!url)
        return ParserError::internalError("Failed url sanitizing.");
    auto fetched = fetcher_->contentsOfIfModified(*url, validators);
    if (!fetched)
        return ParserError::internalError(fetched.error());
    if (!*fetched)
        return std::nullopt;
    data_ = std::move((*fetched)->bytes);
    auto result = parseData();
    if (result)
        validators = std::move((*fetched)->validators);
    return result;
}

Result<Feed, ParserError> FeedParser::parseData()
{
    const auto type = makeFeedDataType(*data_);
    if (!type)
        return ParserError::feedNotFound();
    if (*type == FeedDataType::json)
        return run(std::make_shared<JSONFeedParser>(*data_));
    return run(std::make_shared<XMLFeedParser>(vitrel::ByteView(*data_)));
}

Result<Feed, ParserError> FeedParser::run(std::shared_ptr<FeedParserProtocol> parser)
{
    {
        const std::lock_guard lock(mutex_);
        parser_ = parser;
    }
    return parser->parse();
}

void FeedParser::parseAsync(const DispatchQueue& queue, std::function<void(Result<Feed, ParserError>)> result)
{
    queue([this, result = std::move(result)] { result(parse()); });
}

void FeedParser::abortParsing()
{
    std::shared_ptr<FeedParserProtocol> parser;
    {
        const std::lock_guard lock(mutex_);
        parser = parser_;
    }
    if (parser)
        parser->abortParsing();
}

} // namespace FeedKit
