#pragma once

#include "FeedKit/basics/Result.h"
#include "FeedKit/models/Feed.h"
#include "FeedKit/models/ParserError.h"

namespace FeedKit {

// What the parsers of the formats have in common.
class FeedParserProtocol
{
public:
    virtual ~FeedParserProtocol() = default;

    // Blocks until done.
    virtual Result<Feed, ParserError> parse() = 0;
    // Asks a parse that runs to end with an error. Without effect on one that can't be interrupted. Any thread.
    virtual void abortParsing() { }
};

} // namespace FeedKit
