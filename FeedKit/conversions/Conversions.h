#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Texts of a feed as values. Texts are UTF-8; absent means that the text doesn't read. Nothing depends on the locale.
// Any thread.
namespace FeedKit {

// `text` without the white space and newlines at its ends: Unicode's space separators (category Zs), U+0009 to
// U+000D, U+0085, U+2028 and U+2029. A view into `text`.
std::string_view trimmed(std::string_view text);

// A decimal integer: an optional sign, digits, nothing else, within 64 bits.
std::optional<std::int64_t> toInteger(std::string_view text);

// A decimal floating-point number that takes the whole text, finite; no blanks, no words, no hexadecimal digits.
std::optional<double> toDouble(std::string_view text);

// "True", "true", "Yes", "yes", "1", and "False", "false", "No", "no", "0"; nothing else.
std::optional<bool> toBool(std::string_view text);

// Seconds from "ss", "mm:ss", "hh:mm:ss" and so on to the left in powers of 60; blanks around the whole don't matter.
// Each piece is an integer with an optional sign of its own. Absent, too, for what a double can't hold.
std::optional<double> toDuration(std::string_view text);

} // namespace FeedKit
