#include "FeedKit/FeedParser.h"

#include "FeedKit/FeedDataType.h"
#include "FeedKit/fetch/CurlFetcher.h"
#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/json/JSONFeedParser.h"
#include "FeedKit/models/FeedParserProtocol.h"
#include "FeedKit/xml/XMLFeedParser.h"

#include <mutex>

namespace FeedKit {

namespace {

std::optional<URL> sanitized(const URL& url)
{
    return replacing(url, "feed", "http");
}

} // namespace

struct FeedParser::State {
    std::stop_token begin();
    std::optional<Result<Feed, ParserError>> parseIfModified(Validators& validators, const std::stop_token& stop);
    Result<Feed, ParserError> parseGiven(const std::stop_token& stop);
    Result<Feed, ParserError> parseData(const std::stop_token& stop);
    Result<Feed, ParserError> run(std::shared_ptr<FeedParserProtocol> parser, const std::stop_token& stop);
    void abortParsing();

    std::optional<Bytes> data;
    std::optional<URL> url;
    std::shared_ptr<NSInputStream> xmlStream;
    std::shared_ptr<Fetcher> fetcher;

    std::mutex mutex; // for what follows
    std::stop_source stopSource; // of the latest parse, its fetch included
    std::shared_ptr<FeedParserProtocol> running;
};

FeedParser::FeedParser(URL url)
    : FeedParser(std::move(url), std::make_shared<CurlFetcher>())
{ }

FeedParser::FeedParser(URL url, std::shared_ptr<Fetcher> fetcher)
    : state_(std::make_unique<State>())
{
    state_->url = std::move(url);
    state_->fetcher = std::move(fetcher);
}

FeedParser::FeedParser(Bytes data)
    : state_(std::make_unique<State>())
{
    state_->data = std::move(data);
}

FeedParser::FeedParser(std::string_view document)
    : FeedParser(Bytes(document.begin(), document.end()))
{ }

FeedParser::FeedParser(std::shared_ptr<NSInputStream> xmlStream)
    : state_(std::make_unique<State>())
{
    state_->xmlStream = std::move(xmlStream);
}

FeedParser::FeedParser(FeedParser&&) noexcept = default;
FeedParser& FeedParser::operator=(FeedParser&&) noexcept = default;
FeedParser::~FeedParser() = default;

Result<Feed, ParserError> FeedParser::parse()
{
    if (state_->url) {
        Validators unknown;
        // What nothing is known of can't be the same as before.
        return *parseIfModified(unknown);
    }
    return state_->parseGiven(state_->begin());
}

std::optional<Result<Feed, ParserError>> FeedParser::parseIfModified(Validators& validators, std::stop_token stop)
{
    const auto current = state_->begin();
    const std::stop_callback onStop(std::move(stop), [this] { abortParsing(); });
    if (!state_->url)
        return state_->parseGiven(current);
    return state_->parseIfModified(validators, current);
}

void FeedParser::parseAsync(const DispatchQueue& queue, std::function<void(Result<Feed, ParserError>)> result)
{
    queue([this, result = std::move(result)] { result(parse()); });
}

void FeedParser::abortParsing()
{
    state_->abortParsing();
}

// Whatever was aborted before is over.
std::stop_token FeedParser::State::begin()
{
    const std::lock_guard lock(mutex);
    stopSource = std::stop_source();
    running.reset();
    return stopSource.get_token();
}

std::optional<Result<Feed, ParserError>> FeedParser::State::parseIfModified(
    Validators& validators, const std::stop_token& current)
{
    const auto address = sanitized(*url);
    if (!address)
        return ParserError::internalError("Failed url sanitizing.");
    const bool isKnown = validators != Validators();
    auto fetched = fetcher->contentsOfIfModified(*address, validators, current);
    if (!fetched)
        return ParserError::internalError(fetched.error());
    if (!*fetched) {
        if (!isKnown)
            return ParserError::internalError("nothing came, though nothing was known");
        return std::nullopt;
    }
    data = std::move((*fetched)->bytes);
    auto result = parseData(current);
    data.reset();
    if (result)
        validators = std::move((*fetched)->validators);
    return result;
}

Result<Feed, ParserError> FeedParser::State::parseGiven(const std::stop_token& stop)
{
    if (data)
        return parseData(stop);
    if (xmlStream)
        return run(std::make_shared<XMLFeedParser>(xmlStream), stop);
    return ParserError::internalError("Fatal error. Unable to parse from the initialized state.");
}

Result<Feed, ParserError> FeedParser::State::parseData(const std::stop_token& stop)
{
    const auto type = makeFeedDataType(*data);
    if (!type)
        return ParserError::feedNotFound();
    if (*type == FeedDataType::json) {
        const auto size = data->size();
        data->resize(size + kPadding);
        auto result = run(std::make_shared<JSONFeedParser>(ByteView(*data).first(size), Padding::there), stop);
        data->resize(size);
        return result;
    }
    return run(std::make_shared<XMLFeedParser>(ByteView(*data)), stop);
}

Result<Feed, ParserError> FeedParser::State::run(
    std::shared_ptr<FeedParserProtocol> parser, const std::stop_token& stop)
{
    {
        const std::lock_guard lock(mutex);
        running = parser;
    }
    // It may have come while there was no parser to tell.
    if (stop.stop_requested())
        parser->abortParsing();
    auto result = parser->parse();
    const std::lock_guard lock(mutex);
    running.reset();
    return result;
}

void FeedParser::State::abortParsing()
{
    std::shared_ptr<FeedParserProtocol> parser;
    std::stop_source stop(std::nostopstate);
    {
        const std::lock_guard lock(mutex);
        parser = running;
        stop = stopSource;
    }
    stop.request_stop();
    if (parser)
        parser->abortParsing();
}

} // namespace FeedKit
