#pragma once

#include "base/Bytes.h"

#include <optional>

namespace FeedKit {

enum class FeedDataType { xml, json };

// What a document is by its first significant character, "<" or "{", which must come within 200 bytes: white space,
// control characters and a byte order mark of UTF-8 don't count. Absent for anything else.
std::optional<FeedDataType> makeFeedDataType(vitrel::ByteView data);

} // namespace FeedKit
