#pragma once

#include "FeedKit/basics/Bytes.h"
#include "FeedKit/basics/Result.h"
#include "FeedKit/dates/DateFormatters.h"
#include "FeedKit/dates/DateStrategies.h"
#include "FeedKit/models/Extent.h"
#include "FeedKit/models/Forgivings.h"
#include "FeedKit/models/JSONFeed.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

// The JSON Feed models from JSON texts and as JSON texts. Never throw. Any thread.
namespace FeedKit {

// How the text of a date reads; decodingStrategy is one.
using DateDecodingStrategy = std::function<Result<Date, DateDecodingError>(std::string_view text)>;
// How a date is written, as a JSON text; encodingStrategy is one.
using DateEncodingStrategy = std::function<std::string(Date date)>;

// Reads what `formatter` reads. `formatter` isn't null.
DateDecodingStrategy formatted(std::shared_ptr<const DateFormatter> formatter);

// Whether kPadding bytes behind a document may be read, whatever they hold.
enum class Padding { none, there };
inline constexpr std::size_t kPadding = 64;

struct JSONDecodingError {
    std::string description; // a sentence in English, with the key where the types don't fit
};

// One JSON object (RFC 8259, in UTF-8, with or without a byte-order mark) as a JSONFeed, JSONFeedItem,
// JSONFeedAttachment, JSONFeedAuthor or JSONFeedHub.
//
// A key that is missing or null leaves its field absent; a value of another type than the field's, or a date that the
// strategy doesn't read, is an error of the whole. Unknown keys may hold anything. Of a key that occurs twice the last
// value counts. An integer may be written with a fraction of zero or an exponent (3.0, 3e2) if it is whole and fits.
// Errors too: numbers in known keys that fit neither 64 bits nor a double, half surrogate pairs, values nested deeper
// than 1024, documents of 4 GiB, and models out of proportion to the document (ModelBudget).
//
// With the padding behind `json` the document isn't copied.
template <Model T>
Result<T, JSONDecodingError> decode(ByteView json, const DateDecodingStrategy& dates, Padding padding = Padding::none);

// The same for a feed with RFC 3339's dates, but that what `forgivings` allows is forgiven and counted there.
//
// jsonTypes: a number or a flag stands for its text, a text for the number or flag that it says, a single value for an
// array of one, an array for its first element, an author's name for the author; a value that still doesn't fit leaves
// its field absent, an element that doesn't is left out. dates: those that toDateLeniently reads; of no type that fits
// if jsonTypes is allowed. jsonVersion: the first of "authors" (version 1.1) is the author of a feed or item without
// one.
Result<JSONFeed, JSONDecodingError> decodeLeniently(
    ByteView json, Forgivings& forgivings, Extent extent = Extent::model, Padding padding = Padding::none);

// A JSON object with all keys of the type, each once and in a fixed order; null for an absent field. Bytes that aren't
// UTF-8 become U+FFFD; a number that JSON can't write (NaN, infinite) becomes null.
std::string encode(const JSONFeed& feed, const DateEncodingStrategy& dates);
std::string encode(const JSONFeedItem& item, const DateEncodingStrategy& dates);
std::string encode(const JSONFeedAttachment& attachment);
std::string encode(const JSONFeedAuthor& author);
std::string encode(const JSONFeedHub& hub);

} // namespace FeedKit
