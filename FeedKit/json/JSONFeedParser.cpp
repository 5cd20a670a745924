#include "FeedKit/json/JSONFeedParser.h"

namespace FeedKit {

Result<Feed, ParserError> JSONFeedParser::parse()
{
    auto feed = decode<JSONFeed>(data, formatted(std::make_shared<RFC3339DateFormatter>()), padding_);
    if (!feed)
        return ParserError::internalError(feed.error().description);
    return Feed::json(std::move(*feed));
}

} // namespace FeedKit
