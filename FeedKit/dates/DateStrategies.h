#pragma once

#include "FeedKit/basics/Date.h"
#include "FeedKit/basics/Result.h"

#include <string>
#include <string_view>

// Dates in JSON texts, for callers who read or write them with the machine's own locale and zone. Never throw. Any
// thread.
namespace FeedKit {

struct DateDecodingError {
    std::string message;
};

// By the first pattern of RFC3339DateFormatter that reads the whole of `text`, in the machine's default locale and
// zone; blanks around it count. The error says "Date decoding strategy failed.".
Result<Date, DateDecodingError> decodingStrategy(std::string_view text);

// `date` as "YYYY-MM-dd'T'HH:mm:ss" in the machine's default locale and zone. YYYY is the year that the week belongs
// to: the last days of December may already count to the next year.
std::string encodingStrategy(Date date);

} // namespace FeedKit
