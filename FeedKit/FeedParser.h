#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Export.h"
#include "FeedKit/basics/Result.h"
#include "FeedKit/fetch/Fetcher.h"
#include "FeedKit/fetch/URL.h"
#include "FeedKit/models/Feed.h"
#include "FeedKit/models/ParserError.h"
#include "FeedKit/xml/NSInputStream.h"

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>

namespace FeedKit {

// Runs blocks, one after the other or not, on threads of its own.
using DispatchQueue = std::function<void(std::function<void()> block)>;

// Parses one feed, of whatever format: from a URL, which it fetches, from memory or from a stream. One call at a time
// on one parser, on any thread; abortParsing() may come from another. Nothing throws; an error leaves no part of a
// feed. One that has been moved from can only be assigned to or destroyed.
class FEEDKIT_API FeedParser
{
public:
    // "feed:" stands for "http:". `fetcher` isn't null; by default http, https and file are fetched by libcurl.
    explicit FeedParser(URL url);
    FeedParser(URL url, std::shared_ptr<Fetcher> fetcher);
    explicit FeedParser(Bytes data);
    // Of a document's text; it is copied.
    explicit FeedParser(std::string_view document);
    // Of XML, whatever it holds. It is read on the thread that parses, and not to its end if the document ends before.
    explicit FeedParser(std::shared_ptr<NSInputStream> xmlStream);
    FeedParser(FeedParser&&) noexcept;
    FeedParser& operator=(FeedParser&&) noexcept;
    ~FeedParser();

    // Blocks until done, the fetch included. Again on a URL fetches anew; on a stream it goes on where that stands.
    Result<Feed, ParserError> parse();
    // The same unless the resource is still the one that came with `validators` (then absent, and nothing is parsed);
    // they become those of what was fetched, if the parse gives a feed. Without a URL, as parse(). A request to `stop`
    // is a call of abortParsing(), also if it came before.
    std::optional<Result<Feed, ParserError>> parseIfModified(Validators& validators, std::stop_token stop = {});
    // Submits one block that parses and calls `result`, all on `queue`. The parser must live until then, where it is.
    void parseAsync(const DispatchQueue& queue, std::function<void(Result<Feed, ParserError>)> result);
    // Ends a parse of XML or a fetch that runs with an error, at once; one that waits for a stream, too, if the stream
    // can tell that it waits (NSInputStream::waitForBytes). Without effect on the parse of JSON and when nothing runs.
    // Any thread.
    void abortParsing();

private:
    struct FEEDKIT_LOCAL State;
    std::unique_ptr<State> state_;
};

} // namespace FeedKit
