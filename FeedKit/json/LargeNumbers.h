#pragma once

#include <string>
#include <string_view>

namespace FeedKit {

// What stands where a number was that no double holds: of no field's type, so it fails a known key and no other.
inline constexpr char kBeyondRange[] = "[[]]";

// `json` with its numbers so that a reader of 64-bit integers and doubles takes the document: integers beyond 64 bits
// as doubles, what is beyond those as kBeyondRange. What isn't JSON stays so.
std::string withinRange(std::string_view json);

} // namespace FeedKit
