#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/json/JSONCoding.h"
#include "FeedKit/models/FeedParserProtocol.h"

namespace FeedKit {

// Reads a JSON Feed document. Nothing need claim to be one: any JSON object whose known keys hold the right types is.
class JSONFeedParser final : public FeedParserProtocol
{
public:
    // `data` must outlive the parser.
    explicit JSONFeedParser(ByteView data, Padding padding = Padding::none)
        : data(data)
        , padding_(padding)
    { }

    // Blocks until done. A failure anywhere fails the document: internalError with what is wrong, and where. Dates are
    // what RFC3339DateFormatter reads. The rules of the decoding are those of decode() in JSONCoding.h. Can't be
    // interrupted.
    Result<Feed, ParserError> parse() override;

    const ByteView data;

private:
    Padding padding_;
};

} // namespace FeedKit
