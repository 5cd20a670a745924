#pragma once

#include "FeedKit/models/FeedParserProtocol.h"
#include "base/Bytes.h"

namespace FeedKit {

// Reads a JSON Feed document. Nothing need claim to be one: any JSON object whose known keys hold the right types is.
class JSONFeedParser final : public FeedParserProtocol
{
public:
    // `data` must outlive the parser. `padding` bytes behind it may be read, as decode() has it.
    explicit JSONFeedParser(vitrel::ByteView data, std::size_t padding = 0)
        : data(data)
        , padding_(padding)
    { }

    // Blocks until done. A failure anywhere fails the document: internalError with what is wrong, and where. Dates are
    // what RFC3339DateFormatter reads. The rules of the decoding are those of decode() in JSONCoding.h. Can't be
    // interrupted.
    vitrel::Result<Feed, ParserError> parse() override;

    const vitrel::ByteView data;

private:
    std::size_t padding_;
};

} // namespace FeedKit
