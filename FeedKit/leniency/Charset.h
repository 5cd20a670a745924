#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/models/Forgivings.h"

#include <optional>
#include <string>
#include <string_view>

namespace FeedKit {

// The document as UTF-8, without a byte order mark and with as many line ends ahead of its first character as it had,
// its XML declaration as it was. The encoding is the one that the document says or implies (XML 1.0, appendix F) if its
// bytes are valid in it; failing that, and where Forgivable::charset is allowed, the one that HTTP's content type names
// (RFC 7303), UTF-16 if every other byte is zero, that of a declaration that isn't the first, or UTF-8 in which each
// invalid byte is a character of windows-1252. Absent if that isn't allowed. Counts what it forgives. Any thread.
std::optional<std::string> decodedText(ByteView document, std::string_view httpCharset, Forgivings& forgivings);

} // namespace FeedKit
