#pragma once

#include "FeedKit/basics/Bytes.h"

#include <optional>

namespace FeedKit {

enum class FeedDataType { xml, json };

// What a document is by its first significant character, "<" or "{", which must come within 200 bytes: white space,
// control characters and a byte order mark of UTF-8 don't count. Absent for anything else.
std::optional<FeedDataType> makeFeedDataType(ByteView data);

} // namespace FeedKit
