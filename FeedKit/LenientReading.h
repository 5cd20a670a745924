#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Result.h"
#include "FeedKit/models/Extent.h"
#include "FeedKit/models/Leniency.h"

#include <stop_token>
#include <string_view>

namespace FeedKit {

// The feed of a document, XML or JSON, with what `leniency` allows forgiven and listed. What the strict reading takes
// is taken in the same way and as fast: only a document that fails is mended and read once more. With Leniency::none()
// it is the strict reading, except that nothing can be forgiven.
//
// `httpContentType` is the value of that header, if there was one; its charset counts where the document's own word
// about its encoding doesn't fit its bytes. A request to `stop` ends the parse of XML with an error.
//
// The error is that of the strict reading. With Forgivable::brokenOff a document of XML that breaks gives the feed of
// what came ahead, and `brokeOff` says why and where. Texts that the break cut are left out. Never throws; time is
// linear, memory that of the strict reading and one and a half times the document more. Any thread.
Result<Reading, ParserError> readLeniently(ByteView document, const Leniency& leniency, Extent extent = Extent::model,
    std::string_view httpContentType = {}, std::stop_token stop = {});

} // namespace FeedKit
